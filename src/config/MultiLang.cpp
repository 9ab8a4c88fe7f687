#include "config/MultiLang.h"

#include "config/AppPaths.h"
#include "config/TextCodec.h"

#include <QFile>
#include <QHash>
#include <QMutex>
#include <QSet>

namespace tonaris::MultiLang {

namespace {

struct Language
{
    QStringList keys;
    QStringList values;
    QHash<QString, int> first; // key -> index of its first entry; empty keys left out
    QStringList misses;
    QSet<QString> missed;
};

Language &language()
{
    static Language loaded;
    return loaded;
}
QMutex missMutex;

QString trimBlanks(const QString &text)
{
    qsizetype start = 0, end = text.size();
    while (start < end && text[start] == QLatin1Char(' '))
        ++start;
    while (end > start && text[end - 1] == QLatin1Char(' '))
        --end;
    return text.mid(start, end - start);
}

// Collapsing, trimming and upper-casing, but the "&" stays: what a continued key line gets.
QString normalizeLine(const QString &text)
{
    QString t = text;
    t.replace(QLatin1Char('\t'), QLatin1Char(' '));
    return trimBlanks(CollapseSpaces(t)).toUpper();
}

// One line of the file at a time; the stop rule counts each line break as two characters, as
// a file written with CR LF has them, so a Linux file reads as its Windows twin does.
void parse(const QString &text, Language &into)
{
    enum { Head, Key, Value } state = Head;
    QList<QStringView> lines;
    QList<bool> broken; // whether a line break ends the line
    qsizetype virtualLength = 0;
    for (qsizetype i = 0; i < text.size();) {
        qsizetype end = i;
        while (end < text.size() && text[end] != QLatin1Char('\r') &&
               text[end] != QLatin1Char('\n'))
            ++end;
        lines.append(QStringView(text).mid(i, end - i));
        virtualLength += end - i;
        if (end < text.size()) {
            broken.append(true);
            virtualLength += 2;
            end += (text[end] == QLatin1Char('\r') && end + 1 < text.size() &&
                    text[end + 1] == QLatin1Char('\n'))
                       ? 2
                       : 1;
        } else {
            broken.append(false);
        }
        i = end;
    }
    if (lines.isEmpty())
        return;

    qsizetype position = 1; // where the next line starts, counted from 1
    for (qsizetype n = 0; n < lines.size(); ++n) {
        const QString line = lines[n].toString();
        const QChar lead = line.isEmpty() ? QChar() : line[0];
        if (lead == QLatin1Char('1')) {
            into.keys.append(NormalizeKey(line.mid(1)));
            into.values.append(QString());
            state = Key;
        } else if (lead == QLatin1Char('2') && state == Key) {
            into.values.last() = trimBlanks(line.mid(1));
            state = Value;
        } else if (state == Key) {
            into.keys.last() += QStringLiteral("\r\n") + normalizeLine(line);
        } else if (state == Value) {
            into.values.last() += QStringLiteral("\r\n") + trimBlanks(line);
        }
        position += line.size() + (broken[n] ? 2 : 0);
        if (position > virtualLength - 2)
            break;
    }
}

} // namespace

QString CollapseSpaces(const QString &text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        if (c == QLatin1Char(' ') && out.endsWith(QLatin1Char(' ')))
            continue;
        out += c;
    }
    return out;
}

QString NormalizeKey(const QString &text)
{
    return normalizeLine(text).remove(QLatin1Char('&'));
}

bool LoadLanguageFile(const QString &path)
{
    UnloadLanguage();
    QString file = path;
    if (file.isEmpty())
        file = QStringLiteral("tonaris.lng");
    if (!file.contains(QLatin1Char('/')))
        file = FindSideFile(file);
    QFile f(file);
    if (file.isEmpty() || !f.open(QIODevice::ReadOnly))
        return false;
    Language loaded;
    parse(DecodeText(f.readAll()), loaded);
    for (int i = 0; i < loaded.keys.size(); ++i) {
        if (!loaded.keys[i].isEmpty() && !loaded.first.contains(loaded.keys[i]))
            loaded.first.insert(loaded.keys[i], i);
    }
    language() = std::move(loaded);
    return true;
}

void UnloadLanguage()
{
    QMutexLocker lock(&missMutex);
    language() = Language();
}

int LanguageEntryCount()
{
    return int(language().keys.size());
}

int EntryIndex(const QString &text)
{
    const Language &l = language();
    if (l.keys.isEmpty())
        return -1;
    return l.first.value(NormalizeKey(text), -1);
}

QString EntryValue(int index)
{
    return language().values.value(index);
}

bool HasEntry(const QString &text)
{
    return EntryIndex(text) >= 0;
}

QString Translate(const QString &text)
{
    Language &l = language();
    if (l.keys.isEmpty())
        return text;
    const QString key = NormalizeKey(text);
    const int index = l.first.value(key, -1);
    if (index >= 0)
        return l.values[index];
    if (!key.isEmpty()) {
        QMutexLocker lock(&missMutex);
        if (!l.missed.contains(key)) {
            l.missed.insert(key);
            l.misses.append(key);
        }
    }
    return text;
}

QStringList UntranslatedKeys()
{
    QMutexLocker lock(&missMutex);
    return language().misses;
}

} // namespace tonaris::MultiLang
