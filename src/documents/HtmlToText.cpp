// The text of an HTML page as a browser shows it, without a browser: one pass over the source,
// a handful of rules about blocks, blanks and entities, and no tree. It copes with any input,
// well-formed or not, in time linear in its length.
#include "documents/DocumentReaders.h"

#include <QHash>

namespace tonaris {

namespace {

// Entities beyond the five basic ones: the Latin-1 upper half in code point order from 160,
// then the others of HTML 4 that texts use.
const char *const Latin1Names[96] = {
    "nbsp",   "iexcl",  "cent",   "pound",  "curren", "yen",    "brvbar", "sect",   "uml",
    "copy",   "ordf",   "laquo",  "not",    "shy",    "reg",    "macr",   "deg",    "plusmn",
    "sup2",   "sup3",   "acute",  "micro",  "para",   "middot", "cedil",  "sup1",   "ordm",
    "raquo",  "frac14", "frac12", "frac34", "iquest", "Agrave", "Aacute", "Acirc",  "Atilde",
    "Auml",   "Aring",  "AElig",  "Ccedil", "Egrave", "Eacute", "Ecirc",  "Euml",   "Igrave",
    "Iacute", "Icirc",  "Iuml",   "ETH",    "Ntilde", "Ograve", "Oacute", "Ocirc",  "Otilde",
    "Ouml",   "times",  "Oslash", "Ugrave", "Uacute", "Ucirc",  "Uuml",   "Yacute", "THORN",
    "szlig",  "agrave", "aacute", "acirc",  "atilde", "auml",   "aring",  "aelig",  "ccedil",
    "egrave", "eacute", "ecirc",  "euml",   "igrave", "iacute", "icirc",  "iuml",   "eth",
    "ntilde", "ograve", "oacute", "ocirc",  "otilde", "ouml",   "divide", "oslash", "ugrave",
    "uacute", "ucirc",  "uuml",   "yacute", "thorn",  "yuml"};

const struct
{
    const char *name;
    char32_t code;
} OtherEntities[] = {
    {"quot", 34},      {"amp", 38},      {"lt", 60},       {"gt", 62},       {"apos", 39},
    {"OElig", 338},    {"oelig", 339},   {"Scaron", 352},  {"scaron", 353},  {"Yuml", 376},
    {"fnof", 402},     {"circ", 710},    {"tilde", 732},   {"ensp", 8194},   {"emsp", 8195},
    {"thinsp", 8201},  {"zwnj", 8204},   {"zwj", 8205},    {"lrm", 8206},    {"rlm", 8207},
    {"ndash", 8211},   {"mdash", 8212},  {"lsquo", 8216},  {"rsquo", 8217},  {"sbquo", 8218},
    {"ldquo", 8220},   {"rdquo", 8221},  {"bdquo", 8222},  {"dagger", 8224}, {"Dagger", 8225},
    {"bull", 8226},    {"hellip", 8230}, {"permil", 8240}, {"prime", 8242},  {"Prime", 8243},
    {"lsaquo", 8249},  {"rsaquo", 8250}, {"oline", 8254},  {"frasl", 8260},  {"euro", 8364},
    {"trade", 8482},   {"larr", 8592},   {"uarr", 8593},   {"rarr", 8594},   {"darr", 8595},
    {"harr", 8596},    {"minus", 8722},  {"infin", 8734},  {"ne", 8800},     {"le", 8804},
    {"ge", 8805},      {"asymp", 8776},  {"sum", 8721},    {"prod", 8719},   {"radic", 8730},
    {"loz", 9674},     {"spades", 9824}, {"clubs", 9827},  {"hearts", 9829}, {"diams", 9830},
    {"thetasym", 977}, {"upsih", 978},   {"piv", 982},     {"sigmaf", 962},  {"hyphen", 8208},
};

const char *const GreekNames[] = {
    "alpha", "beta",   "gamma",   "delta", "epsilon", "zeta",    "eta",  "theta", "iota",
    "kappa", "lambda", "mu",      "nu",    "xi",      "omicron", "pi",   "rho",   nullptr,
    "sigma", "tau",    "upsilon", "phi",   "chi",     "psi",     "omega"};

const QHash<QString, char32_t> &entityTable()
{
    static const QHash<QString, char32_t> table = [] {
        QHash<QString, char32_t> t;
        for (int i = 0; i < 96; ++i)
            t.insert(QLatin1String(Latin1Names[i]), char32_t(160 + i));
        for (const auto &e : OtherEntities)
            t.insert(QLatin1String(e.name), e.code);
        for (int i = 0; i < 25; ++i) {
            if (!GreekNames[i])
                continue;
            QString lower = QLatin1String(GreekNames[i]);
            t.insert(lower, char32_t(945 + i));
            QString upper = lower;
            upper[0] = upper[0].toUpper();
            t.insert(upper, char32_t(913 + i));
        }
        return t;
    }();
    return table;
}

// Numeric references 128..159 name the Windows-1252 characters, as browsers take them.
char32_t fixNumeric(char32_t code)
{
    static const char16_t high[32] = {
        0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
    if (code >= 0x80 && code < 0xA0)
        return high[code - 0x80];
    if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return 0xFFFD;
    return code;
}

int digitValue(QChar c, int base)
{
    const char16_t u = c.unicode();
    int v = -1;
    if (u >= '0' && u <= '9')
        v = u - '0';
    else if (u >= 'a' && u <= 'f')
        v = u - 'a' + 10;
    else if (u >= 'A' && u <= 'F')
        v = u - 'A' + 10;
    return v < base ? v : -1;
}

bool isBlank(QChar c)
{
    const char16_t u = c.unicode();
    return u == ' ' || u == '\t' || u == '\n' || u == '\r' || u == '\f';
}

bool isBlock(const QString &tag)
{
    static const QStringList blocks = {
        QStringLiteral("address"),    QStringLiteral("article"),  QStringLiteral("aside"),
        QStringLiteral("blockquote"), QStringLiteral("body"),     QStringLiteral("caption"),
        QStringLiteral("center"),     QStringLiteral("dd"),       QStringLiteral("details"),
        QStringLiteral("dialog"),     QStringLiteral("dir"),      QStringLiteral("div"),
        QStringLiteral("dl"),         QStringLiteral("dt"),       QStringLiteral("fieldset"),
        QStringLiteral("figcaption"), QStringLiteral("figure"),   QStringLiteral("footer"),
        QStringLiteral("form"),       QStringLiteral("h1"),       QStringLiteral("h2"),
        QStringLiteral("h3"),         QStringLiteral("h4"),       QStringLiteral("h5"),
        QStringLiteral("h6"),         QStringLiteral("header"),   QStringLiteral("hgroup"),
        QStringLiteral("hr"),         QStringLiteral("html"),     QStringLiteral("legend"),
        QStringLiteral("li"),         QStringLiteral("main"),     QStringLiteral("menu"),
        QStringLiteral("nav"),        QStringLiteral("ol"),       QStringLiteral("pre"),
        QStringLiteral("section"),    QStringLiteral("summary"),  QStringLiteral("table"),
        QStringLiteral("tbody"),      QStringLiteral("tfoot"),    QStringLiteral("thead"),
        QStringLiteral("tr"),         QStringLiteral("ul"),       QStringLiteral("listing"),
        QStringLiteral("xmp"),        QStringLiteral("plaintext")};
    return blocks.contains(tag);
}

// Elements whose content is never shown: it is skipped up to the element's end tag.
bool isHiddenRawText(const QString &tag)
{
    static const QStringList hidden = {
        QStringLiteral("script"),   QStringLiteral("style"),    QStringLiteral("title"),
        QStringLiteral("textarea"), QStringLiteral("noscript"), QStringLiteral("iframe"),
        QStringLiteral("noembed"),  QStringLiteral("noframes"), QStringLiteral("template")};
    return hidden.contains(tag);
}

class Converter
{
public:
    explicit Converter(const QString &html)
        : m_in(html)
    {
        m_out.reserve(html.size() / 2);
    }

    QString run()
    {
        const qsizetype n = m_in.size();
        qsizetype i = 0;
        while (i < n) {
            const QChar c = m_in.at(i);
            if (c == QLatin1Char('<')) {
                i = tag(i);
            } else if (c == QLatin1Char('&')) {
                i = entity(i);
            } else {
                text(c);
                ++i;
            }
        }
        return m_out;
    }

private:
    void flushBreaks()
    {
        if (m_breaks > 0 && !m_out.isEmpty())
            for (int b = 0; b < m_breaks; ++b)
                m_out += QLatin1String("\r\n");
        if (m_breaks > 0)
            m_space = false;
        m_breaks = 0;
    }

    void requireBreaks(int count)
    {
        m_breaks = qMax(m_breaks, count);
        m_space = false;
        m_skipNewline = false;
    }

    void text(QChar c)
    {
        if (m_pre > 0) {
            const bool newline = c == QLatin1Char('\n') || c == QLatin1Char('\r');
            if (m_skipNewline && newline) {
                // The line break right after <pre> belongs to the markup.
                m_skipNewline = c == QLatin1Char('\r');
                return;
            }
            m_skipNewline = false;
            flushBreaks();
            if (c == QLatin1Char('\r')) {
                m_out += QLatin1String("\r\n");
                m_afterCr = true;
                return;
            }
            if (c == QLatin1Char('\n')) {
                if (!m_afterCr)
                    m_out += QLatin1String("\r\n");
                m_afterCr = false;
                return;
            }
            m_afterCr = false;
            append(c);
            return;
        }
        if (isBlank(c)) {
            m_space = true;
            return;
        }
        if (m_breaks > 0 && !m_out.isEmpty()) {
            flushBreaks();
        } else {
            m_breaks = 0;
            if (m_space && !m_out.isEmpty() && !m_out.endsWith(QLatin1Char('\n')) &&
                !m_out.endsWith(QLatin1Char('\t')))
                m_out += QLatin1Char(' ');
        }
        m_space = false;
        append(c);
    }

    void append(QChar c)
    {
        if (c == QChar(0xA0))
            c = QLatin1Char(' '); // a blank that does not collapse
        if (!c.isNull())
            m_out += c;
    }

    void textCode(char32_t code)
    {
        if (code <= 0xFFFF) {
            text(QChar(char16_t(code)));
        } else {
            const QString pair = QString::fromUcs4(&code, 1);
            for (QChar c : pair)
                text(c);
        }
    }

    qsizetype entity(qsizetype i)
    {
        const qsizetype n = m_in.size();
        qsizetype j = i + 1;
        if (j < n && m_in.at(j) == QLatin1Char('#')) {
            ++j;
            const bool hex =
                j < n && (m_in.at(j) == QLatin1Char('x') || m_in.at(j) == QLatin1Char('X'));
            if (hex)
                ++j;
            const qsizetype start = j;
            char32_t code = 0;
            while (j < n && j - start < 8) {
                const int digit = digitValue(m_in.at(j), hex ? 16 : 10);
                if (digit < 0)
                    break;
                code = code * (hex ? 16 : 10) + char32_t(digit);
                ++j;
            }
            if (j == start) {
                text(QLatin1Char('&'));
                return i + 1;
            }
            if (j < n && m_in.at(j) == QLatin1Char(';'))
                ++j;
            textCode(fixNumeric(code));
            return j;
        }
        const qsizetype start = j;
        while (j < n && j - start < 32 && m_in.at(j).isLetterOrNumber() &&
               m_in.at(j).unicode() < 128)
            ++j;
        if (j > start) {
            const auto &table = entityTable();
            const auto found = table.constFind(m_in.mid(start, j - start));
            if (found != table.constEnd()) {
                if (j < n && m_in.at(j) == QLatin1Char(';'))
                    ++j;
                textCode(found.value());
                return j;
            }
        }
        text(QLatin1Char('&'));
        return i + 1;
    }

    qsizetype tag(qsizetype i)
    {
        const qsizetype n = m_in.size();
        if (m_in.mid(i, 4) == QLatin1String("<!--")) {
            const qsizetype end = m_in.indexOf(QLatin1String("-->"), i + 4);
            return end < 0 ? n : end + 3;
        }
        qsizetype j = i + 1;
        if (j < n && (m_in.at(j) == QLatin1Char('!') || m_in.at(j) == QLatin1Char('?'))) {
            const qsizetype end = m_in.indexOf(QLatin1Char('>'), j);
            return end < 0 ? n : end + 1;
        }
        const bool closing = j < n && m_in.at(j) == QLatin1Char('/');
        if (closing)
            ++j;
        if (j >= n || !(m_in.at(j).isLetter() && m_in.at(j).unicode() < 128)) {
            text(QLatin1Char('<'));
            return i + 1;
        }
        const qsizetype nameStart = j;
        while (j < n && (m_in.at(j).isLetterOrNumber() || m_in.at(j) == QLatin1Char('-') ||
                         m_in.at(j) == QLatin1Char(':')))
            ++j;
        const QString name = m_in.mid(nameStart, j - nameStart).toLower();
        QChar quote;
        bool selfClosing = false;
        while (j < n) {
            const QChar c = m_in.at(j);
            if (!quote.isNull()) {
                if (c == quote)
                    quote = QChar();
            } else if ((c == QLatin1Char('"') || c == QLatin1Char('\'')) &&
                       m_in.at(j - 1) == QLatin1Char('=')) {
                quote = c; // a quoted value: a '>' inside does not end the tag
            } else if (c == QLatin1Char('>')) {
                selfClosing = m_in.at(j - 1) == QLatin1Char('/');
                break;
            }
            ++j;
        }
        if (j >= n)
            return n; // a tag cut off at the end of the file shows nothing
        ++j;
        element(name, closing, selfClosing);
        if (!closing && !selfClosing && isHiddenRawText(name)) {
            const qsizetype end = m_in.indexOf(QLatin1String("</") + name, j, Qt::CaseInsensitive);
            return end < 0 ? n : end;
        }
        return j;
    }

    void element(const QString &name, bool closing, bool selfClosing)
    {
        if (name == QLatin1String("br")) {
            flushBreaks();
            m_out += QLatin1String("\r\n");
            m_space = false;
            return;
        }
        if (name == QLatin1String("p")) {
            requireBreaks(2);
            return;
        }
        if (name == QLatin1String("pre") || name == QLatin1String("listing") ||
            name == QLatin1String("xmp") || name == QLatin1String("plaintext")) {
            requireBreaks(1);
            if (!closing && !selfClosing) {
                ++m_pre;
                m_skipNewline = true;
            } else if (closing && m_pre > 0) {
                --m_pre;
            }
            m_afterCr = false;
            return;
        }
        if (name == QLatin1String("tr")) {
            m_cells = 0;
            requireBreaks(1);
            return;
        }
        if ((name == QLatin1String("td") || name == QLatin1String("th")) && !closing) {
            if (m_cells++ > 0) {
                flushBreaks();
                m_out += QLatin1Char('\t');
                m_space = false;
            }
            return;
        }
        if (isBlock(name))
            requireBreaks(1);
    }

    const QString &m_in;
    QString m_out;
    int m_breaks = 0;     // line breaks owed before the next text
    bool m_space = false; // a collapsed blank owed before the next text
    int m_pre = 0;        // depth of elements that keep their blanks
    bool m_skipNewline = false;
    bool m_afterCr = false;
    int m_cells = 0; // cells so far in the present table row
};

} // namespace

QString HtmlToText(const QString &html)
{
    return Converter(html).run();
}

} // namespace tonaris
