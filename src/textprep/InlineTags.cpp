#include "textprep/InlineTags.h"

namespace tonaris {

namespace {

const QChar Quote(QuoteCharacter);
const QChar AngleOpen(0xAB);  // «
const QChar AngleClose(0xBB); // »

// The 14 characters in front of an attribute's opening quote that mark the program's own tags.
// Matching only the tail of the longer heads is deliberate: it is what existing texts rely on.
constexpr qsizetype AttributeTailLength = 14;
const QString AttributeTails[] = {
    QStringLiteral("<VOLUME LEVEL="),
    QStringLiteral("<SILENCE MSEC="),
    QStringLiteral("RATE ABSSPEED="),
    QStringLiteral("TCH ABSMIDDLE="),
};

QString quoted(const QString &value)
{
    return Quote + value + Quote;
}

bool followsAttributeHead(const QString &text, qsizetype quote)
{
    const QStringView tail =
        QStringView(text).mid(quote - AttributeTailLength, AttributeTailLength);
    for (const QString &t : AttributeTails)
        if (tail == t)
            return true;
    return false;
}

} // namespace

QString SilenceTag(int milliseconds)
{
    return TagSilenceHead + quoted(QString::number(milliseconds)) + TagSilenceTail;
}

QString ResetTagsText(int pitch)
{
    return TagPitchHead + quoted(QString::number(pitch)) + TagEmptyTail + TagVolumeHead +
           quoted(QStringLiteral("100")) + TagEmptyTail + TagSpeedHead +
           quoted(QStringLiteral("0")) + TagEmptyTail;
}

QString StringInsertAt(int position, const QString &text, const QString &insertion)
{
    if (position < 0 || position > text.size())
        return QString();
    return text.left(position) + insertion + text.mid(position);
}

QString QuotedOpening(const QuotedVoice &voice)
{
    return QStringLiteral("<VOICE REQUIRED=") + quoted(QStringLiteral("Name=") + voice.name) +
           QStringLiteral("><RATE ABSSPEED=") + quoted(QString::number(voice.speed)) +
           QStringLiteral("><PITCH ABSMIDDLE=") + quoted(QString::number(voice.pitch)) +
           QStringLiteral(">");
}

QString QuotedClosing()
{
    return QStringLiteral("</PITCH></RATE></VOICE>");
}

bool WrapQuotedText(QString &In_Out_Text, const QuotedVoice &voice)
{
    QString &text = In_Out_Text;
    const QString opening = QuotedOpening(voice);
    const QString closing = QuotedClosing();
    const qsizetype l1 = opening.size();
    const qsizetype l2 = closing.size();
    bool wrapped = false;

    // Double quotes. `skip` only returns to false at a quote in the first 14 columns, and
    // positions only grow: once an attribute of the program's tags has been seen, the rest of
    // the line keeps its double quotes as they are.
    bool skip = false;
    qsizetype pos = 0;
    for (;;) {
        const qsizetype q = text.indexOf(Quote, pos);
        if (q < 0)
            break;
        if (q < AttributeTailLength)
            skip = false;
        else if (followsAttributeHead(text, q))
            skip = true;
        if (skip) {
            pos = q + 1;
            continue;
        }
        const qsizetype q2 = text.indexOf(Quote, q + 1);
        if (q2 < 0)
            break;
        text.insert(q, opening);
        text.insert(q2 + l1 + 1, closing);
        wrapped = true;
        pos = q2 + l1 + l2;
    }

    // Angle quotes, whatever tags the line holds.
    pos = 0;
    for (;;) {
        const qsizetype a = text.indexOf(AngleOpen, pos);
        if (a < 0)
            break;
        const qsizetype b = text.indexOf(AngleClose, a + 1);
        if (b < 0)
            break;
        text.insert(a, opening);
        text.insert(b + l1 + 1, closing);
        wrapped = true;
        pos = b + l1 + l2;
    }
    return wrapped;
}

QString SpecialTagText(SpecialTag tag)
{
    switch (tag) {
    case SpecialTag::Silence:
        return QLatin1Char(' ') + SilenceTag(500) + QLatin1Char(' ');
    case SpecialTag::Volume:
        return TagVolumeHead + quoted(QStringLiteral("50")) + TagEmptyTail;
    case SpecialTag::Speed:
        return TagSpeedHead + quoted(QStringLiteral("0")) + TagEmptyTail;
    case SpecialTag::Pitch:
        return TagPitchHead + quoted(QStringLiteral("0")) + TagEmptyTail;
    case SpecialTag::Spell:
        return QStringLiteral("<SPELL> SpelledText </SPELL>");
    case SpecialTag::Emphasize:
        return QStringLiteral("<EMPH>");
    }
    return QString();
}

TagWrite SpecialTagWrite(SpecialTag tag)
{
    TagWrite w;
    w.text = SpecialTagText(tag);
    const int length = int(w.text.size());
    // Where the value starts, counted back from the end of the tag, and how long it is.
    struct Value
    {
        int fromEnd;
        int length;
    };
    Value value{0, -1};
    switch (tag) {
    case SpecialTag::Silence:
        value = {8, 3};
        break;
    case SpecialTag::Volume:
        value = {5, 2};
        break;
    case SpecialTag::Speed:
    case SpecialTag::Pitch:
        value = {4, 1};
        break;
    case SpecialTag::Spell:
        value = {20, 11};
        break;
    case SpecialTag::Emphasize:
        break; // only the opening tag: the caret goes behind it
    }
    w.selStart = length - value.fromEnd;
    w.selLength = value.length;
    return w;
}

} // namespace tonaris
