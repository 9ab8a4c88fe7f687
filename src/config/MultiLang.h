#pragma once

#include <QString>

namespace tonaris::MultiLang {

// The text in the interface language, keyed by the English text; the text itself when no
// language file is loaded or it has no entry.
QString Translate(const QString &text);

} // namespace tonaris::MultiLang
