#pragma once

#include <QObject>
#include <QString>

namespace tonaris::test {

// Call first in every test program: private settings and home, quiet audio logging.
void isolateEnvironment();

// A file of the shared corpus of books, or an empty string when the corpus is not there.
QString corpusFile(const QString &name);

// The descendant of that name; a missing one ends the test program, naming it.
template <typename T> T *child(const QObject *parent, const char *name)
{
    T *found = parent->findChild<T *>(QLatin1String(name));
    if (!found)
        qFatal("no child %s", name);
    return found;
}

} // namespace tonaris::test
