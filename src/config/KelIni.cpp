#include "config/KelIni.h"

#include "config/AppPaths.h"
#include "config/Dialogs.h"
#include "config/MultiLang.h"
#include "config/TextCodec.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <QSaveFile>
#include <QSet>

#include <cmath>
#include <memory>

namespace tonaris {

namespace {

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

QString trimBlanks(const QString &text)
{
    qsizetype start = 0, end = text.size();
    while (start < end && isBlank(text[start]))
        ++start;
    while (end > start && isBlank(text[end - 1]))
        --end;
    return text.mid(start, end - start);
}

// The section name of a "[name]" line; null for any other line.
QString sectionName(const QString &line)
{
    const QString t = trimBlanks(line);
    if (!t.startsWith(QLatin1Char('[')))
        return QString();
    const qsizetype close = t.indexOf(QLatin1Char(']'));
    QString name = trimBlanks(t.mid(1, close < 0 ? -1 : close - 1));
    if (name.isNull())
        name = QLatin1String("");
    return name;
}

// The key of a "key=value" line; empty for any other line. Remarks start with ";".
QString keyName(const QString &line)
{
    const qsizetype eq = line.indexOf(QLatin1Char('='));
    if (eq <= 0)
        return QString();
    const QString key = trimBlanks(line.left(eq));
    return key.startsWith(QLatin1Char(';')) ? QString() : key;
}

QString cut(const QString &value)
{
    return value.left(IniMaxValueLength);
}

// Files read through IniRead, kept while their size and times stay as they were.
struct CacheEntry
{
    QDateTime modified, changed;
    qint64 size = -1;
    bool exists = false;
    std::shared_ptr<IniFile> file;
};
QMutex cacheMutex;
QHash<QString, CacheEntry> cache;

CacheEntry stamp(const QString &path)
{
    const QFileInfo info(path);
    CacheEntry e;
    e.exists = info.exists();
    if (e.exists) {
        e.modified = info.lastModified();
        e.changed = info.metadataChangeTime();
        e.size = info.size();
    }
    return e;
}

bool sameStamp(const CacheEntry &a, const CacheEntry &b)
{
    return a.exists == b.exists && a.size == b.size && a.modified == b.modified &&
           a.changed == b.changed;
}

// Caller holds cacheMutex.
std::shared_ptr<IniFile> cachedFile(const QString &path)
{
    CacheEntry now = stamp(path);
    auto it = cache.find(path);
    if (it != cache.end() && sameStamp(*it, now))
        return it->file;
    now.file = std::make_shared<IniFile>(path);
    cache.insert(path, now);
    return now.file;
}

QMutex reportMutex;
QSet<QString> reportedKeys;

int digitValue(QChar c)
{
    const char16_t u = c.toLower().unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'z')
        return u - u'a' + 10;
    return 99;
}

// Digits of a base from s[i...], as a 32-bit pattern like the classic &H and &O forms.
int radixValue(const QString &s, qsizetype &i, int base)
{
    quint32 value = 0;
    for (; i < s.size() && digitValue(s[i]) < base; ++i)
        value = value * quint32(base) + quint32(digitValue(s[i]));
    return int(qint32(value));
}

// The decimal number at s[i...]: sign, digits, fraction, exponent; the characters used in `used`.
std::optional<double> decimalAt(const QString &s, qsizetype i, qsizetype &used)
{
    const qsizetype start = i;
    QString number;
    if (i < s.size() && (s[i] == QLatin1Char('-') || s[i] == QLatin1Char('+')))
        number += s[i++];
    qsizetype digits = 0;
    for (; i < s.size() && s[i].isDigit() && s[i].unicode() < 128; ++i, ++digits)
        number += s[i];
    if (i < s.size() && s[i] == QLatin1Char('.')) {
        number += s[i++];
        for (; i < s.size() && s[i].isDigit() && s[i].unicode() < 128; ++i, ++digits)
            number += s[i];
    }
    if (digits == 0) {
        used = 0;
        return std::nullopt;
    }
    if (i < s.size() && QStringLiteral("eEdD").contains(s[i])) {
        qsizetype j = i + 1;
        QString exponent = QStringLiteral("e");
        if (j < s.size() && (s[j] == QLatin1Char('-') || s[j] == QLatin1Char('+')))
            exponent += s[j++];
        if (j < s.size() && s[j].isDigit() && s[j].unicode() < 128) {
            for (; j < s.size() && s[j].isDigit() && s[j].unicode() < 128; ++j)
                exponent += s[j];
            number += exponent;
            i = j;
        }
    }
    used = i - start;
    bool ok = false;
    const double value = number.toDouble(&ok);
    return ok ? std::optional<double>(value) : std::nullopt;
}

std::optional<int> toInt(double value)
{
    const double rounded = std::nearbyint(value); // half to even, as the classic conversions
    if (!std::isfinite(rounded) || rounded < double(INT_MIN) || rounded > double(INT_MAX))
        return std::nullopt;
    return int(rounded);
}

} // namespace

QString IniFilePath(const QString &file)
{
    QString path = file;
    if (!path.contains(QLatin1Char('.')))
        path += QStringLiteral(".ini");
    if (!path.contains(QLatin1Char('/')))
        path = QFileInfo(SettingsFilePath()).path() + QLatin1Char('/') + path;
    return path;
}

// ---- IniFile ---------------------------------------------------------------------------------

IniFile::IniFile(const QString &file)
    : m_path(IniFilePath(file))
{
    reload();
}

void IniFile::reload()
{
    m_lines.clear();
    m_lineBreak = QStringLiteral("\n");
    m_endsWithBreak = true;
    m_modified = false;
    QFile f(m_path);
    m_existed = f.exists();
    if (m_existed && f.open(QIODevice::ReadOnly))
        parse(DecodeText(f.readAll()));
}

void IniFile::parse(const QString &text)
{
    if (text.isEmpty())
        return;
    if (text.contains(QLatin1String("\r\n")))
        m_lineBreak = QStringLiteral("\r\n");
    m_lines = text.split(QLatin1Char('\n'));
    m_endsWithBreak = m_lines.last().isEmpty();
    if (m_endsWithBreak)
        m_lines.removeLast();
    for (QString &line : m_lines) {
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
    }
}

int IniFile::findSection(const QString &section) const
{
    const QString wanted = trimBlanks(section);
    for (int i = 0; i < m_lines.size(); ++i) {
        const QString name = sectionName(m_lines[i]);
        if (!name.isNull() && name.compare(wanted, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

int IniFile::findKey(int sectionLine, const QString &key) const
{
    const QString wanted = trimBlanks(key);
    for (int i = sectionLine + 1; i < m_lines.size(); ++i) {
        if (!sectionName(m_lines[i]).isNull())
            break;
        if (keyName(m_lines[i]).compare(wanted, Qt::CaseInsensitive) == 0 && !wanted.isEmpty())
            return i;
    }
    return -1;
}

bool IniFile::contains(const QString &section, const QString &key) const
{
    const int s = findSection(section);
    return s >= 0 && findKey(s, key) >= 0;
}

void IniFile::orderSection(const QString &section, const QStringList &keys)
{
    const int s = findSection(section);
    if (s < 0)
        return;
    int end = s + 1;
    while (end < m_lines.size() && sectionName(m_lines[end]).isNull())
        ++end;
    // Blank lines at the section's end stay there, before the next section.
    int body = end;
    while (body > s + 1 && trimBlanks(m_lines[body - 1]).isEmpty())
        --body;
    QStringList rest = m_lines.mid(s + 1, body - s - 1);
    QStringList ordered;
    for (const QString &key : keys) {
        const QString wanted = trimBlanks(key);
        for (qsizetype i = 0; i < rest.size(); ++i) {
            if (keyName(rest[i]).compare(wanted, Qt::CaseInsensitive) == 0) {
                ordered.append(rest.takeAt(i));
                break;
            }
        }
    }
    ordered += rest;
    for (int i = 0; i < ordered.size(); ++i) {
        if (m_lines[s + 1 + i] != ordered[i]) {
            m_lines[s + 1 + i] = ordered[i];
            m_modified = true;
        }
    }
}

QString IniFile::read(const QString &section, const QString &key, const QString &defaultValue) const
{
    const int s = findSection(section);
    const int k = s < 0 ? -1 : findKey(s, key);
    if (k < 0) {
        QString d = defaultValue;
        while (d.endsWith(QLatin1Char(' ')))
            d.chop(1);
        return cut(d);
    }
    const QString &line = m_lines[k];
    QString value = trimBlanks(line.mid(line.indexOf(QLatin1Char('=')) + 1));
    if (value.size() >= 2 && (value[0] == QLatin1Char('"') || value[0] == QLatin1Char('\'')) &&
        value.back() == value[0])
        value = value.mid(1, value.size() - 2);
    return cut(value);
}

void IniFile::write(const QString &section, const QString &key, const QString &value)
{
    // A line break inside a value would split the line and corrupt the file.
    QString v = value;
    v.replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
    const QString k = trimBlanks(key);
    const QString sec = trimBlanks(section);
    if (k.isEmpty() || k.contains(QLatin1Char('=')))
        return;

    int s = findSection(sec);
    if (s < 0) {
        if (!m_lines.isEmpty() && !trimBlanks(m_lines.last()).isEmpty())
            m_lines.append(QString());
        m_lines.append(QLatin1Char('[') + sec + QLatin1Char(']'));
        m_lines.append(k + QLatin1Char('=') + v);
        m_endsWithBreak = true;
        m_modified = true;
        return;
    }
    const int at = findKey(s, k);
    if (at >= 0) {
        // Keep the spelling of the key as the file has it.
        const QString &line = m_lines[at];
        const QString updated =
            line.left(line.indexOf(QLatin1Char('='))).trimmed() + QLatin1Char('=') + v;
        if (updated != line) {
            m_lines[at] = updated;
            m_modified = true;
        }
        return;
    }
    // After the last line of the section that is not blank, so a blank line before the next
    // section stays where it is.
    int last = s;
    for (int i = s + 1; i < m_lines.size() && sectionName(m_lines[i]).isNull(); ++i) {
        if (!trimBlanks(m_lines[i]).isEmpty())
            last = i;
    }
    m_lines.insert(last + 1, k + QLatin1Char('=') + v);
    if (last + 1 == m_lines.size() - 1)
        m_endsWithBreak = true;
    m_modified = true;
}

QByteArray IniFile::contents() const
{
    QString text = m_lines.join(m_lineBreak);
    if (m_endsWithBreak && !m_lines.isEmpty())
        text += m_lineBreak;
    return text.toUtf8();
}

namespace {
QMutex memoryOnlyMutex;
QSet<QString> memoryOnlyFiles;
bool keptInMemory(const QString &path)
{
    const QMutexLocker lock(&memoryOnlyMutex);
    return memoryOnlyFiles.contains(QFileInfo(path).absoluteFilePath());
}
} // namespace

void KeepIniFileInMemory(const QString &file)
{
    const QMutexLocker lock(&memoryOnlyMutex);
    memoryOnlyFiles.insert(QFileInfo(IniFilePath(file)).absoluteFilePath());
}

bool IniFile::save(QString *error)
{
    if (!m_modified)
        return true;
    if (keptInMemory(m_path)) {
        m_modified = false;
        return true;
    }
    QDir().mkpath(QFileInfo(m_path).path());
    QSaveFile out(m_path);
    if (!out.open(QIODevice::WriteOnly) || out.write(contents()) < 0 || !out.commit()) {
        if (error)
            *error = out.errorString();
        return false;
    }
    m_modified = false;
    m_existed = true;
    return true;
}

// ---- IniRead / IniWrite ----------------------------------------------------------------------

QString IniRead(const QString &file, const QString &section, const QString &key,
                const QString &defaultValue)
{
    const QString path = IniFilePath(file);
    QMutexLocker lock(&cacheMutex);
    return cachedFile(path)->read(section, key, defaultValue);
}

bool IniWrite(const QString &file, const QString &section, const QString &key, const QString &value,
              QString *error)
{
    const QString path = IniFilePath(file);
    QMutexLocker lock(&cacheMutex);
    // A copy: the cached file must not show a change that failed to reach the disk.
    auto ini = std::make_shared<IniFile>(*cachedFile(path));
    ini->write(section, key, value);
    if (!ini->save(error))
        return false;
    CacheEntry now = stamp(path);
    now.file = ini;
    cache.insert(path, now);
    return true;
}

// ---- Reading values --------------------------------------------------------------------------

bool IniBool(const QString &text)
{
    return text == QLatin1String("True");
}

int IniVal(const QString &text)
{
    QString s;
    for (const QChar c : text) {
        if (c != QLatin1Char(' ') && c != QLatin1Char('\t') && c != QLatin1Char('\n'))
            s += c;
    }
    if (s.size() >= 2 && s[0] == QLatin1Char('&')) {
        const QChar radix = s[1].toUpper();
        qsizetype i = 2;
        if (radix == QLatin1Char('H'))
            return radixValue(s, i, 16);
        if (radix == QLatin1Char('O'))
            return radixValue(s, i, 8);
        return 0;
    }
    qsizetype used = 0;
    const std::optional<double> value = decimalAt(s, 0, used);
    if (!value)
        return 0;
    if (const std::optional<int> fits = toInt(*value))
        return *fits;
    return *value < 0 ? INT_MIN : INT_MAX;
}

std::optional<int> IniStrict(const QString &text)
{
    const QString s = trimBlanks(text);
    if (s.size() > 2 && s[0] == QLatin1Char('&')) {
        const QChar radix = s[1].toUpper();
        const int base = radix == QLatin1Char('H') ? 16 : radix == QLatin1Char('O') ? 8 : 0;
        qsizetype i = 2;
        const int value = base ? radixValue(s, i, base) : 0;
        if (!base || i != s.size())
            return std::nullopt;
        return value;
    }
    qsizetype used = 0;
    const std::optional<double> value = decimalAt(s, 0, used);
    if (!value || used != s.size())
        return std::nullopt;
    return toInt(*value);
}

int IniStrictOrDefault(const QString &key, const QString &text, int defaultValue, int minimum,
                       int maximum)
{
    const std::optional<int> value = IniStrict(text);
    if (value && *value >= minimum && *value <= maximum)
        return *value;
    ReportSettingOnce(
        key, MultiLang::Translate(QStringLiteral("The setting %1 cannot take the value \"%2\"; "
                                                 "%3 is used instead."))
                 .arg(key, text, QString::number(defaultValue)));
    return defaultValue;
}

void ReportSettingOnce(const QString &key, const QString &message)
{
    {
        QMutexLocker lock(&reportMutex);
        if (reportedKeys.contains(key.toCaseFolded()))
            return;
        reportedKeys.insert(key.toCaseFolded());
    }
    Dialogs::instance()->message(nullptr, message, Dialogs::Exclamation, QStringLiteral("Tonaris"));
}

void ResetSettingReports()
{
    QMutexLocker lock(&reportMutex);
    reportedKeys.clear();
}

} // namespace tonaris
