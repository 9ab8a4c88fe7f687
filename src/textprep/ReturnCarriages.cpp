#include "textprep/ReturnCarriages.h"

namespace tonaris {

namespace {

constexpr char16_t CR = u'\r';
constexpr char16_t LF = u'\n';
constexpr int NewLineLength = 2;

// Every run of consecutive line breaks becomes one break: no blank line is left.
void collapseBlankLines(QString &text)
{
    const qsizetype size = text.size();
    if (size < 2 * NewLineLength)
        return;
    QString out;
    out.reserve(size);
    const QChar *s = text.constData();
    qsizetype i = 0;
    while (i < size) {
        if (s[i] == CR && i + 1 < size && s[i + 1] == LF) {
            out.append(s + i, NewLineLength);
            i += NewLineLength;
            while (i + 1 < size && s[i] == CR && s[i + 1] == LF)
                i += NewLineLength;
        } else {
            out.append(s[i]);
            ++i;
        }
    }
    if (out.size() != size)
        text = std::move(out);
}

bool endsSentence(QChar c)
{
    switch (c.unicode()) {
    case u'?':
    case u'.':
    case u'!':
    case LF:
    case u'"':
    case u')':
        return true;
    default:
        return false;
    }
}

} // namespace

void RemoveReturnCarriages(QString &In_Out_Text, bool hard)
{
    QString &text = In_Out_Text;
    if (text.isEmpty())
        return;
    QChar lineHead = text.at(0);
    if (hard)
        collapseBlankLines(text);

    // Positions below are 0-based; a break at p occupies p and p + 1.
    const qsizetype total = text.size();
    const QString breakText = QStringLiteral("\r\n");
    QString out;
    out.reserve(total);
    qsizetype start = 0;
    for (;;) {
        const qsizetype p = text.indexOf(breakText, start);
        if (p < 0) {
            out.append(QStringView(text).mid(start));
            break;
        }
        bool join = false;
        // Neither among the first characters of the text nor so close to its end that the
        // next line has at most one character.
        if (p > 1 && p < total - 3) {
            const QChar before = text.at(p - 1);
            const QChar after = text.at(p + NewLineLength);
            const bool candidate =
                after != u' ' && after != u'\t' && after != u'#' && lineHead != u'#';
            join = candidate && !endsSentence(before) && after != CR;
            lineHead = after;
        }
        if (join) {
            out.append(QStringView(text).mid(start, p - start));
            out.append(u' ');
        } else {
            out.append(QStringView(text).mid(start, p - start + NewLineLength));
        }
        start = p + NewLineLength;
    }
    text = TrimBlanks(out);
}

QString TrimBlanks(const QString &text)
{
    qsizetype from = 0;
    qsizetype to = text.size();
    while (from < to && text.at(from) == u' ')
        ++from;
    while (to > from && text.at(to - 1) == u' ')
        --to;
    return from == 0 && to == text.size() ? text : text.mid(from, to - from);
}

} // namespace tonaris
