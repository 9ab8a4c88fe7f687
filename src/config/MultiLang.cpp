#include "config/MultiLang.h"

namespace tonaris::MultiLang {

QString Translate(const QString &text)
{
    return text;
}

} // namespace tonaris::MultiLang
