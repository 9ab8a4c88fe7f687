#include "documents/KelRTF.h"

#include "config/TextCodec.h"
#include "documents/DocumentReaders.h"

#include <QHash>
#include <QStringDecoder>

#include <vector>

namespace tonaris {

QString DecodeCodePage(const QByteArray &bytes, int codePage)
{
    switch (codePage) {
    case 1252:
    case 0:
        return DecodeWindows1252(bytes);
    case 65001:
        return QString::fromUtf8(bytes);
    case 28591:
        return QString::fromLatin1(bytes);
    default:
        break;
    }
    QByteArray name;
    switch (codePage) {
    case 932:
        name = "Shift_JIS";
        break;
    case 936:
        name = "GBK";
        break;
    case 949:
        name = "EUC-KR";
        break;
    case 950:
        name = "Big5";
        break;
    case 10000:
        name = "macintosh";
        break;
    case 437:
    case 850:
    case 866:
        name = "IBM" + QByteArray::number(codePage);
        break;
    default:
        name = "windows-" + QByteArray::number(codePage);
        break;
    }
    QStringDecoder decoder(name.constData());
    if (!decoder.isValid())
        return DecodeWindows1252(bytes);
    return decoder.decode(bytes);
}

namespace {

// Windows character sets of \fcharset to code pages; 0 means the document's own page.
int charsetCodePage(int charset)
{
    switch (charset) {
    case 77:
        return 10000;
    case 128:
        return 932;
    case 129:
        return 949;
    case 134:
        return 936;
    case 136:
        return 950;
    case 161:
        return 1253;
    case 162:
        return 1254;
    case 163:
        return 1258;
    case 177:
        return 1255;
    case 178:
        return 1256;
    case 186:
        return 1257;
    case 204:
        return 1251;
    case 222:
        return 874;
    case 238:
        return 1250;
    case 255:
        return 437;
    default:
        return 0;
    }
}

// Groups whose text is never part of the document's body.
bool isSkippedDestination(const QByteArray &word)
{
    static const char *const skipped[] = {"colortbl",   "stylesheet",   "info",
                                          "pict",       "header",       "footer",
                                          "headerl",    "headerr",      "headerf",
                                          "footerl",    "footerr",      "footerf",
                                          "footnote",   "objdata",      "objclass",
                                          "objname",    "listtable",    "listoverridetable",
                                          "revtbl",     "rsidtbl",      "xmlnstbl",
                                          "filetbl",    "fldinst",      "datafield",
                                          "themedata",  "latentstyles", "colorschememapping",
                                          "datastore",  "generator",    "pntext",
                                          "pntxta",     "pntxtb",       "listtext",
                                          "nonshppict", "bkmkstart",    "bkmkend",
                                          "userprops",  "docvar",       "mmathPr",
                                          "background", "atnid",        "atnauthor",
                                          "annotation", "fchars",       "lchars",
                                          "pgdsctbl",   "template",     "xe",
                                          "tc",         "shpinst",      "sp"};
    for (const char *s : skipped)
        if (word == s)
            return true;
    return false;
}

class RtfReader
{
public:
    explicit RtfReader(const QByteArray &in)
        : m_in(in)
    {}

    QString run()
    {
        m_out.reserve(m_in.size() / 2);
        const qsizetype n = m_in.size();
        qsizetype i = 0;
        while (i < n) {
            const char c = m_in.at(i);
            if (c == '{') {
                flushBytes();
                m_skipChars = 0;
                if (m_stack.size() < MaxDepth)
                    m_stack.push_back(m_state);
                else
                    ++m_overflow;
                ++i;
            } else if (c == '}') {
                flushBytes();
                m_skipChars = 0;
                if (m_overflow > 0) {
                    --m_overflow;
                } else if (!m_stack.empty()) {
                    m_state = m_stack.back();
                    m_stack.pop_back();
                }
                ++i;
            } else if (c == '\\') {
                i = control(i + 1);
            } else if (c == '\r' || c == '\n') {
                ++i;
            } else {
                literalByte(c);
                ++i;
            }
        }
        flushBytes();
        return m_out;
    }

private:
    enum Destination { Body, FontTable, Skip };
    struct State
    {
        Destination destination = Body;
        int uc = 1;       // characters that stand in for a \uN
        int codePage = 0; // of the present font; 0: the document's
        bool hidden = false;
    };
    static constexpr size_t MaxDepth = 4096;

    bool showing() const { return m_state.destination == Body && !m_state.hidden; }

    int codePage() const { return m_state.codePage ? m_state.codePage : m_ansiCodePage; }

    void flushBytes()
    {
        if (m_bytes.isEmpty())
            return;
        m_out += DecodeCodePage(m_bytes, codePage());
        m_bytes.clear();
    }

    void emitChar(char16_t c)
    {
        if (!showing())
            return;
        flushBytes();
        if (c)
            m_out += QChar(c);
    }

    void lineBreak()
    {
        if (!showing())
            return;
        flushBytes();
        m_out += QLatin1String("\r\n");
    }

    void literalByte(char c)
    {
        if (m_skipChars > 0) {
            --m_skipChars;
            return;
        }
        if (m_state.destination == FontTable) {
            if (c == ';')
                m_fontNumber = -1;
            return;
        }
        if (!showing())
            return;
        if (c == '\t') {
            emitChar('\t');
            return;
        }
        if (uchar(c) < 0x20)
            return;
        m_bytes += c;
    }

    // After the backslash; gives the position after the control word or symbol.
    qsizetype control(qsizetype i)
    {
        const qsizetype n = m_in.size();
        if (i >= n)
            return n;
        const char c = m_in.at(i);
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')))
            return symbol(i);
        qsizetype j = i;
        while (
            j < n && j - i < 32 &&
            ((m_in.at(j) >= 'a' && m_in.at(j) <= 'z') || (m_in.at(j) >= 'A' && m_in.at(j) <= 'Z')))
            ++j;
        const QByteArray word = m_in.mid(i, j - i);
        bool hasParam = false;
        qint64 param = 0;
        bool negative = false;
        if (j < n && m_in.at(j) == '-') {
            negative = true;
            ++j;
        }
        const qsizetype digits = j;
        while (j < n && m_in.at(j) >= '0' && m_in.at(j) <= '9') {
            if (j - digits < 10)
                param = param * 10 + (m_in.at(j) - '0');
            ++j;
        }
        hasParam = j > digits;
        if (negative)
            param = -param;
        param = qBound(qint64(INT_MIN), param, qint64(INT_MAX));
        if (j < n && m_in.at(j) == ' ')
            ++j;
        if (word == "bin") {
            flushBytes();
            // Binary data follows the delimiter, exactly param bytes of it.
            const qint64 skip = qBound<qint64>(0, param, n - j);
            return j + skip;
        }
        word_(word, hasParam, int(param));
        return j;
    }

    qsizetype symbol(qsizetype i)
    {
        const char c = m_in.at(i);
        switch (c) {
        case '\'': {
            const qsizetype n = m_in.size();
            if (i + 2 >= n)
                return n; // cut off in the middle of the escape
            bool ok = false;
            const int byte = m_in.mid(i + 1, 2).toInt(&ok, 16);
            if (!ok)
                return qMin(i + 1, n);
            if (m_skipChars > 0) {
                --m_skipChars;
            } else if (showing()) {
                m_bytes += char(byte);
            }
            return i + 3;
        }
        case '\\':
        case '{':
        case '}':
            literalByte(c == '\\' ? '\\' : c);
            return i + 1;
        case '~':
            emitChar(0xA0);
            return i + 1;
        case '_':
            emitChar(0x2011);
            return i + 1;
        case '*':
            m_state.destination = Skip;
            return i + 1;
        case '\r':
        case '\n':
            lineBreak(); // a backslash before a line break is a \par
            return i + 1;
        case '\t':
            emitChar('\t');
            return i + 1;
        default: // \- optional hyphen, \| \: and the like show nothing
            return i + 1;
        }
    }

    void word_(const QByteArray &word, bool hasParam, int param)
    {
        if (word == "u") {
            const char16_t unit = char16_t(param < 0 ? param + 65536 : param);
            if (m_state.destination == Body && !m_state.hidden) {
                flushBytes();
                m_out += QChar(unit);
            }
            m_skipChars = m_state.uc;
            return;
        }
        if (m_skipChars > 0) {
            --m_skipChars; // a control word may stand in for a \uN as well
            return;
        }
        if (word == "par" || word == "line" || word == "sect" || word == "page" ||
            word == "nestrow") {
            lineBreak();
        } else if (word == "row") {
            if (showing()) {
                flushBytes();
                if (m_out.endsWith(QLatin1Char('\t')))
                    m_out.chop(1);
                m_out += QLatin1String("\r\n");
            }
        } else if (word == "cell" || word == "nestcell" || word == "tab") {
            emitChar('\t');
        } else if (word == "emdash") {
            emitChar(0x2014);
        } else if (word == "endash") {
            emitChar(0x2013);
        } else if (word == "emspace" || word == "enspace" || word == "qmspace") {
            emitChar(' ');
        } else if (word == "bullet") {
            emitChar(0x2022);
        } else if (word == "lquote") {
            emitChar(0x2018);
        } else if (word == "rquote") {
            emitChar(0x2019);
        } else if (word == "ldblquote") {
            emitChar(0x201C);
        } else if (word == "rdblquote") {
            emitChar(0x201D);
        } else if (word == "uc") {
            m_state.uc = qBound(0, param, 16);
        } else if (word == "ansicpg") {
            flushBytes();
            m_ansiCodePage = param > 0 ? param : 1252;
        } else if (word == "mac") {
            m_ansiCodePage = 10000;
        } else if (word == "pc") {
            m_ansiCodePage = 437;
        } else if (word == "pca") {
            m_ansiCodePage = 850;
        } else if (word == "deff") {
            m_defaultFont = param;
        } else if (word == "fonttbl") {
            m_state.destination = FontTable;
        } else if (word == "f") {
            flushBytes();
            if (m_state.destination == FontTable)
                m_fontNumber = param;
            else
                m_state.codePage = m_fontCodePages.value(param, 0);
        } else if (word == "fcharset" && m_state.destination == FontTable && m_fontNumber >= 0) {
            if (!m_fontCodePages.contains(m_fontNumber) || m_fontCodePages[m_fontNumber] == 0)
                m_fontCodePages[m_fontNumber] = charsetCodePage(param);
        } else if (word == "cpg" && m_state.destination == FontTable && m_fontNumber >= 0) {
            m_fontCodePages[m_fontNumber] = param;
        } else if (word == "plain") {
            flushBytes();
            m_state.codePage = m_fontCodePages.value(m_defaultFont, 0);
            m_state.hidden = false;
        } else if (word == "v") {
            flushBytes();
            m_state.hidden = !hasParam || param != 0;
        } else if (isSkippedDestination(word)) {
            flushBytes();
            m_state.destination = Skip;
        }
    }

    const QByteArray &m_in;
    QString m_out;
    QByteArray m_bytes; // 8-bit text waiting to be decoded in one piece (multi-byte pages)
    State m_state;
    std::vector<State> m_stack;
    qint64 m_overflow = 0; // groups deeper than MaxDepth, which share the deepest state
    int m_skipChars = 0;
    int m_ansiCodePage = 1252;
    int m_defaultFont = 0;
    int m_fontNumber = -1;
    QHash<int, int> m_fontCodePages;
};

} // namespace

QString RichTextToPlain(const QByteArray &rtf)
{
    qsizetype start = rtf.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    while (start < rtf.size() && (rtf.at(start) == ' ' || rtf.at(start) == '\r' ||
                                  rtf.at(start) == '\n' || rtf.at(start) == '\t'))
        ++start;
    if (rtf.mid(start, 5) != "{\\rtf")
        return DecodeRawText(rtf);
    return RtfReader(rtf).run();
}

} // namespace tonaris
