#pragma once

#include <QString>

namespace tonaris::test {

// Call first in every test program: private settings and home, quiet audio logging.
void isolateEnvironment();

// A file of the shared corpus of books, or an empty string when the corpus is not there.
QString corpusFile(const QString &name);

} // namespace tonaris::test
