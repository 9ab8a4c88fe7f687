#include "textprep/CustomTags.h"

#include "config/TextCodec.h"

#include <QFile>

namespace tonaris {

namespace {
// Only blanks: a tab is part of the line.
QString trimBlanks(const QString &line)
{
    qsizetype from = 0;
    qsizetype to = line.size();
    while (from < to && line.at(from) == u' ')
        ++from;
    while (to > from && line.at(to - 1) == u' ')
        --to;
    return line.mid(from, to - from);
}
} // namespace

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
        const QString trimmed = trimBlanks(line);
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
