#include "textprep/ConversionsTable.h"

#include "config/AppPaths.h"
#include "config/TextCodec.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>

#include <cstring>

namespace tonaris {

namespace {

// Folds one UTF-16 unit for comparison without case. One unit in, one unit out, so that
// positions in the folded text are positions in the text. Turkish and Azeri keep their dotted
// and dotless i apart, as those users expect.
class CaseFolder
{
public:
    CaseFolder()
    {
        const QLocale::Language language = QLocale().language();
        m_turkic = language == QLocale::Turkish || language == QLocale::Azerbaijani;
    }

    char16_t fold(char16_t c) const
    {
        if (c < 0x80)
            return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c;
        if (m_turkic) {
            if (c == u'\u0130') // İ
                return u'i';
            if (c == u'\u0131') // ı
                return u'\u0131';
        }
        if (QChar::isSurrogate(c))
            return c;
        return char16_t(QChar::toCaseFolded(char32_t(c)));
    }

    QString fold(const QString &text) const
    {
        QString out(text.size(), Qt::Uninitialized);
        const char16_t *s = reinterpret_cast<const char16_t *>(text.constData());
        char16_t *d = reinterpret_cast<char16_t *>(out.data());
        for (qsizetype i = 0; i < text.size(); ++i)
            d[i] = fold(s[i]);
        return out;
    }

private:
    bool m_turkic = false;
};

} // namespace

QList<ConversionRule> ParseConversionRules(const QString &content)
{
    QList<ConversionRule> rules;
    qsizetype start = 0;
    const qsizetype size = content.size();
    while (start <= size) {
        qsizetype end = start;
        while (end < size && content.at(end) != u'\r' && content.at(end) != u'\n')
            ++end;
        const QStringView line = QStringView(content).mid(start, end - start);
        if (line.startsWith(u"=~")) {
            qsizetype eq = 2;
            while ((eq = line.indexOf(u'=', eq)) > 0 && line.at(eq - 1) == u'\\')
                ++eq;
            if (eq > 2)
                rules.append({line.mid(2, eq - 2).toString(), line.mid(eq + 1).toString(), true});
        } else if (const qsizetype eq = line.indexOf(u'='); eq > 0) {
            rules.append({line.left(eq).toString(), line.mid(eq + 1).toString()});
        }
        if (end >= size)
            break;
        // CR LF is one break; a lone CR or LF is one too.
        start =
            end +
            (content.at(end) == u'\r' && end + 1 < size && content.at(end + 1) == u'\n' ? 2 : 1);
    }
    return rules;
}

QList<ConversionRule> LoadConversionRules(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return ParseConversionRules(DecodeText(file.readAll()));
}

namespace {

// Finds a folded key in the folded text. The scan looks for the key's rarest character (by a
// count taken over the text once) with the library's vectorised character search and compares
// the whole key only there: most keys of a table are absent or rare, and each rule scans the
// whole text, so this scan is what a table costs.
class KeyFinder
{
public:
    explicit KeyFinder(const QString &text)
        : m_counts(0x10000, 0)
    {
        for (const QChar c : text)
            ++m_counts[c.unicode()];
    }

    void setKey(const QString &key)
    {
        m_key = key;
        m_anchor = 0;
        for (qsizetype i = 1; i < key.size(); ++i)
            if (m_counts[key.at(i).unicode()] < m_counts[key.at(m_anchor).unicode()])
                m_anchor = i;
    }

    qsizetype find(const QString &text, qsizetype from) const
    {
        const qsizetype length = m_key.size();
        const QChar anchor = m_key.at(m_anchor);
        const QStringView view(text);
        qsizetype p = from + m_anchor;
        for (;;) {
            p = view.indexOf(anchor, p);
            if (p < 0)
                return -1;
            const qsizetype start = p - m_anchor;
            if (start + length > text.size())
                return -1;
            if (std::memcmp(text.constData() + start, m_key.constData(),
                            size_t(length) * sizeof(QChar)) == 0)
                return start;
            ++p;
        }
    }

private:
    QList<int> m_counts;
    QString m_key;
    qsizetype m_anchor = 0;
};

} // namespace

void ApplyConversionRules(QString &In_Out_Text, const QList<ConversionRule> &rules)
{
    if (rules.isEmpty() || In_Out_Text.isEmpty())
        return;
    const CaseFolder folder;
    QString &text = In_Out_Text;
    // The folded copy is searched; the text is changed in step with it.
    QString folded = folder.fold(text);
    KeyFinder finder(folded);
    for (const ConversionRule &rule : rules) {
        if (rule.key.isEmpty())
            continue;
        if (rule.regex) {
            const QRegularExpression re(rule.key,
                                        QRegularExpression::CaseInsensitiveOption |
                                            QRegularExpression::UseUnicodePropertiesOption);
            if (!re.isValid() || !re.match(text).hasMatch())
                continue;
            text.replace(re, rule.value);
            folded = folder.fold(text);
            continue;
        }
        const QString key = folder.fold(rule.key);
        finder.setKey(key);
        qsizetype hit = finder.find(folded, 0);
        if (hit < 0)
            continue;
        const QString &value = rule.value;
        const QString foldedValue = folder.fold(value);
        // A value that folds to its key (a change of case only) leaves the folded copy as it is.
        const bool foldedStays = foldedValue == key;
        QString newText, newFolded;
        newText.reserve(text.size());
        if (!foldedStays)
            newFolded.reserve(text.size());
        qsizetype from = 0;
        while (hit >= 0) {
            newText.append(QStringView(text).mid(from, hit - from));
            newText.append(value);
            if (!foldedStays) {
                newFolded.append(QStringView(folded).mid(from, hit - from));
                newFolded.append(foldedValue);
            }
            from = hit + key.size();
            hit = finder.find(folded, from);
        }
        newText.append(QStringView(text).mid(from));
        text = std::move(newText);
        if (!foldedStays) {
            newFolded.append(QStringView(folded).mid(from));
            folded = std::move(newFolded);
        }
    }
}

void ApplyConversionsTable(QString &In_Out_Text, const QString &tablePath)
{
    if (tablePath.isEmpty() || !QFileInfo(tablePath).isFile())
        return;
    ApplyConversionRules(In_Out_Text, LoadConversionRules(tablePath));
}

QString ConversionsTableCaption(const QString &fileName)
{
    QStringList words = QFileInfo(fileName).completeBaseName().toLower().split(QLatin1Char(' '));
    for (QString &w : words)
        if (!w.isEmpty())
            w[0] = w[0].toUpper();
    return words.join(QLatin1Char(' '));
}

QList<ConversionsTableFile> ListConversionsTables(const QString &programFolder)
{
    QList<ConversionsTableFile> tables;
    for (const QString &path : ListSideFiles(QStringLiteral("*.tab"), programFolder)) {
        const QString name = QFileInfo(path).fileName();
        tables.append({ConversionsTableCaption(name), name, path});
    }
    return tables;
}

} // namespace tonaris
