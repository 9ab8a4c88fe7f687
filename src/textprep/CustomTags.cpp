#include "textprep/CustomTags.h"

#include "config/TextCodec.h"
#include "textprep/ReturnCarriages.h"

#include <QFile>

namespace tonaris {

bool CustomTags::menuVisible() const
{
    const QString firstGroup = groups.isEmpty() ? QString() : groups.first().caption;
    const QString firstEntry = ungrouped.isEmpty() ? QString() : ungrouped.first().caption;
    return !firstGroup.isEmpty() || !firstEntry.isEmpty();
}

CustomTags ParseCustomTags(const QString &content)
{
    CustomTags tags;
    QString normalized = content;
    normalized.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    normalized.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    const QStringList lines = normalized.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QString trimmed = TrimBlanks(line);
        if (trimmed.size() < 2)
            continue;
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            if (tags.groups.size() == CustomTagGroupCount)
                break;
            tags.groups.append({line.mid(1, line.size() - 2), {}});
            continue;
        }
        const CustomTagEntry entry{trimmed, line};
        if (tags.groups.isEmpty())
            tags.ungrouped.append(entry);
        else
            tags.groups.last().entries.append(entry);
    }
    return tags;
}

CustomTags LoadCustomTags(const QString &path)
{
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly))
        return {};
    return ParseCustomTags(DecodeText(file.readAll()));
}

} // namespace tonaris
