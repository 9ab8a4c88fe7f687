#include "voices/TagInterpreter.h"

#include <QStringView>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>

// How the markup is read.
//
// A '<' starts markup only when a complete, well-formed tag follows it up to its '>':
//   <Name (S Attr)* S? >     <Name (S Attr)* S? />     </Name S? >
//   <!-- ... -->             <? Name ... ?>            <!Name ... >
// where Name begins with a letter, '_' or ':' and goes on with letters, digits, '-', '.', '_',
// ':'; Attr is Name S? = S? followed by a value in double or single quotes; S is blanks, tabs
// and line ends. A tag never contains another '<' (not even inside a quoted value), so every
// failed attempt stops at the next '<' at the latest and the whole text is read in one pass.
// Anything else -- "a < b", "x<3", "<>", an unclosed tag, a value without quotes, a lone '>' --
// is spoken text, character for character, and reading goes on right after the '<'.
//
// Entities &amp; &lt; &gt; &quot; &apos; &#N; &#xH; (names are case-sensitive, code points must
// be valid and not 0) are decoded in text and in attribute values; anything else after a '&'
// stays as text. A decoded character outside the Basic Multilingual Plane becomes two UTF-16
// units: the first points at the '&', the second at the character after it, so positions still
// grow strictly.
//
// Values: numbers may be signed, have a fraction (rounded) and blanks around them; a value that
// is not a number leaves the state as it was. VOLUME is clamped to 0..100, RATE and PITCH to
// -10..10 (an absolute and a relative attribute in one tag: absolute first). SILENCE without a
// numeric MSEC is dropped; otherwise its length is clamped to 0..MaxSilenceMs. BOOKMARK without
// MARK is dropped. The empty forms of SPELL and EMPH enclose nothing and change nothing. SILENCE
// and BOOKMARK never open a pair: their closing tags are unmatched and ignored.

namespace tonaris {
namespace {

// Longer pauses are surely typing mistakes; a minute still allows deliberate long breaks.
constexpr int MaxSilenceMs = 60000;
constexpr int MinLevel = -10;
constexpr int MaxLevel = 10;

enum class Name { Unknown, Volume, Rate, Pitch, Silence, Voice, Spell, Emph, Bookmark, Count };

struct Attribute
{
    QStringView name;
    QString value;
};

struct Tag
{
    enum Form { Open, Empty, Close, Ignored };

    Form form = Ignored;
    Name name = Name::Unknown;
    QList<Attribute> attributes;
    int end = 0; // index just after the closing '>'

    // The value of the first attribute with that name, in any case.
    std::optional<QString> attribute(QLatin1StringView wanted) const
    {
        for (const Attribute &a : attributes) {
            if (a.name.compare(wanted, Qt::CaseInsensitive) == 0)
                return a.value;
        }
        return std::nullopt;
    }
};

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r';
}

bool isNameStart(QChar c)
{
    return c.isLetter() || c == u'_' || c == u':';
}

bool isNameChar(QChar c)
{
    return isNameStart(c) || c.isDigit() || c == u'-' || c == u'.';
}

Name nameOf(QStringView name)
{
    static const std::array<std::pair<QLatin1StringView, Name>, 8> names = {{
        {QLatin1StringView("VOLUME"), Name::Volume},
        {QLatin1StringView("RATE"), Name::Rate},
        {QLatin1StringView("PITCH"), Name::Pitch},
        {QLatin1StringView("SILENCE"), Name::Silence},
        {QLatin1StringView("VOICE"), Name::Voice},
        {QLatin1StringView("SPELL"), Name::Spell},
        {QLatin1StringView("EMPH"), Name::Emph},
        {QLatin1StringView("BOOKMARK"), Name::Bookmark},
    }};
    for (const auto &[text, value] : names) {
        if (name.compare(text, Qt::CaseInsensitive) == 0)
            return value;
    }
    return Name::Unknown;
}

// The length of the entity starting at the '&' at input[at], or 0 when there is none; the
// decoded code point goes to *code.
int entityAt(QStringView input, qsizetype at, char32_t *code)
{
    static const std::array<std::pair<QLatin1StringView, char32_t>, 5> named = {{
        {QLatin1StringView("&amp;"), U'&'},
        {QLatin1StringView("&lt;"), U'<'},
        {QLatin1StringView("&gt;"), U'>'},
        {QLatin1StringView("&quot;"), U'"'},
        {QLatin1StringView("&apos;"), U'\''},
    }};
    const QStringView rest = input.mid(at);
    if (rest.size() < 3)
        return 0;
    if (rest[1] != u'#') {
        for (const auto &[text, value] : named) {
            if (rest.startsWith(text)) {
                *code = value;
                return int(text.size());
            }
        }
        return 0;
    }
    const bool hex = rest[2] == u'x';
    const int base = hex ? 16 : 10;
    qsizetype p = hex ? 3 : 2;
    const qsizetype firstDigit = p;
    char32_t value = 0;
    for (; p < rest.size(); ++p) {
        const char16_t u = rest[p].unicode();
        int digit = -1;
        if (u >= u'0' && u <= u'9')
            digit = u - u'0';
        else if (hex && u >= u'a' && u <= u'f')
            digit = u - u'a' + 10;
        else if (hex && u >= u'A' && u <= u'F')
            digit = u - u'A' + 10;
        if (digit < 0)
            break;
        value = value * char32_t(base) + char32_t(digit);
        if (value > 0x10FFFF)
            return 0;
    }
    if (p == firstDigit || p >= rest.size() || rest[p] != u';')
        return 0;
    if (value == 0 || (value >= 0xD800 && value <= 0xDFFF))
        return 0;
    *code = value;
    return int(p + 1);
}

// Appends the code point as one or two UTF-16 units with their source positions.
void appendCode(char32_t code, int pos, QString *text, QList<int> *positions)
{
    if (QChar::requiresSurrogates(code)) {
        text->append(QChar(QChar::highSurrogate(code)));
        text->append(QChar(QChar::lowSurrogate(code)));
        if (positions) {
            positions->append(pos);
            positions->append(pos + 1);
        }
    } else {
        text->append(QChar(char16_t(code)));
        if (positions)
            positions->append(pos);
    }
}

QString decodeEntities(QStringView value)
{
    QString out;
    out.reserve(value.size());
    for (qsizetype i = 0; i < value.size();) {
        char32_t code = 0;
        const int length = value[i] == u'&' ? entityAt(value, i, &code) : 0;
        if (length > 0) {
            appendCode(code, 0, &out, nullptr);
            i += length;
        } else {
            out.append(value[i++]);
        }
    }
    return out;
}

// A whole number, optionally signed and with a fraction (rounded), blanks around allowed.
// Saturates far outside any range a tag uses, so that later arithmetic cannot overflow.
std::optional<int> numberOf(const QString &text)
{
    const QStringView v = QStringView(text).trimmed();
    qsizetype p = 0;
    const bool negative = p < v.size() && v[p] == u'-';
    if (p < v.size() && (v[p] == u'-' || v[p] == u'+'))
        ++p;
    double value = 0;
    qsizetype digits = 0;
    for (; p < v.size() && v[p] >= u'0' && v[p] <= u'9'; ++p, ++digits)
        value = std::min(value * 10 + (v[p].unicode() - u'0'), 1e7);
    if (p < v.size() && v[p] == u'.') {
        double scale = 0.1;
        for (++p; p < v.size() && v[p] >= u'0' && v[p] <= u'9'; ++p, ++digits, scale /= 10)
            value += (v[p].unicode() - u'0') * scale;
    }
    if (digits == 0 || p != v.size())
        return std::nullopt;
    const int rounded = int(std::lround(value));
    return negative ? -rounded : rounded;
}

class Interpreter
{
public:
    Interpreter(const QString &input, const TagState &start)
        : m_input(input)
        , m_state(start)
    {}

    TagParseResult run()
    {
        const qsizetype n = m_input.size();
        for (qsizetype i = 0; i < n;) {
            const QChar c = m_input[i];
            if (c == u'<') {
                if (const std::optional<Tag> tag = tagAt(i)) {
                    apply(*tag, int(i));
                    i = tag->end;
                    continue;
                }
            } else if (c == u'&') {
                char32_t code = 0;
                if (const int length = entityAt(m_input, i, &code)) {
                    SpeechSegment &segment = textSegment(int(i));
                    appendCode(code, int(i), &segment.text, &segment.sourcePos);
                    i += length;
                    continue;
                }
            }
            SpeechSegment &segment = textSegment(int(i));
            segment.text.append(c);
            segment.sourcePos.append(int(i));
            ++i;
        }
        TagParseResult result;
        result.segments = std::move(m_segments);
        // Paired tags never outlive the call, whether closed or not.
        result.finalState = m_frames.isEmpty() ? m_state : m_frames.first().saved;
        return result;
    }

private:
    struct Frame
    {
        Name name;
        TagState saved;
    };

    // The Text segment the character at pos belongs to: the last one if nothing came between
    // and the state is the same, otherwise a new one.
    SpeechSegment &textSegment(int pos)
    {
        if (m_segments.isEmpty() || m_segments.last().kind != SpeechSegment::Text ||
            (m_stateTouched && m_segments.last().state != m_state)) {
            SpeechSegment segment;
            segment.sourceStart = pos;
            segment.state = m_state;
            m_segments.append(segment);
        }
        m_stateTouched = false;
        return m_segments.last();
    }

    std::optional<Tag> tagAt(qsizetype at)
    {
        const QStringView in = m_input;
        const qsizetype n = in.size();
        qsizetype p = at + 1;
        if (p >= n)
            return std::nullopt;

        Tag tag;
        if (in[p] == u'!' || in[p] == u'?') {
            if (in.sliced(at).startsWith(u"<!--")) {
                // Once no comment end is left, none will be found later either.
                const qsizetype close = m_noCommentEnd ? -1 : in.indexOf(u"-->", at + 4);
                if (close < 0) {
                    m_noCommentEnd = true;
                    return std::nullopt;
                }
                tag.end = int(close + 3);
                return tag;
            }
            const bool instruction = in[p] == u'?';
            if (p + 1 >= n || !isNameStart(in[p + 1]))
                return std::nullopt;
            for (p += 2; p < n && in[p] != u'<'; ++p) {
                if (in[p] == u'>' && (!instruction || in[p - 1] == u'?')) {
                    tag.end = int(p + 1);
                    return tag;
                }
            }
            return std::nullopt;
        }

        const bool closing = in[p] == u'/';
        if (closing)
            ++p;
        const qsizetype nameStart = p;
        if (p >= n || !isNameStart(in[p]))
            return std::nullopt;
        while (p < n && isNameChar(in[p]))
            ++p;
        tag.name = nameOf(in.sliced(nameStart, p - nameStart));

        for (;;) {
            const qsizetype blankStart = p;
            while (p < n && isBlank(in[p]))
                ++p;
            if (p >= n)
                return std::nullopt;
            if (in[p] == u'>') {
                tag.form = closing ? Tag::Close : Tag::Open;
                tag.end = int(p + 1);
                return tag;
            }
            if (closing)
                return std::nullopt;
            if (in[p] == u'/') {
                if (p + 1 >= n || in[p + 1] != u'>')
                    return std::nullopt;
                tag.form = Tag::Empty;
                tag.end = int(p + 2);
                return tag;
            }
            if (p == blankStart || !isNameStart(in[p]))
                return std::nullopt;
            const qsizetype attributeStart = p;
            while (p < n && isNameChar(in[p]))
                ++p;
            const QStringView attributeName = in.sliced(attributeStart, p - attributeStart);
            while (p < n && isBlank(in[p]))
                ++p;
            if (p >= n || in[p] != u'=')
                return std::nullopt;
            ++p;
            while (p < n && isBlank(in[p]))
                ++p;
            if (p >= n || (in[p] != u'"' && in[p] != u'\''))
                return std::nullopt;
            const QChar quote = in[p++];
            const qsizetype valueStart = p;
            while (p < n && in[p] != quote && in[p] != u'<')
                ++p;
            if (p >= n || in[p] != quote)
                return std::nullopt;
            tag.attributes.append(
                {attributeName, decodeEntities(in.sliced(valueStart, p - valueStart))});
            ++p;
        }
    }

    void apply(const Tag &tag, int at)
    {
        switch (tag.form) {
        case Tag::Ignored:
            return;
        case Tag::Close:
            close(tag.name);
            return;
        case Tag::Open:
        case Tag::Empty:
            break;
        }

        switch (tag.name) {
        case Name::Unknown:
        case Name::Count:
            return;
        case Name::Silence:
            if (const auto ms =
                    numberOf(tag.attribute(QLatin1StringView("MSEC")).value_or(QString()))) {
                SpeechSegment segment;
                segment.kind = SpeechSegment::Silence;
                segment.silenceMs = std::clamp(*ms, 0, MaxSilenceMs);
                segment.sourceStart = at;
                segment.state = m_state;
                m_segments.append(segment);
            }
            return;
        case Name::Bookmark:
            if (const auto mark = tag.attribute(QLatin1StringView("MARK"))) {
                SpeechSegment segment;
                segment.kind = SpeechSegment::Bookmark;
                segment.bookmark = *mark;
                segment.sourceStart = at;
                segment.state = m_state;
                m_segments.append(segment);
            }
            return;
        case Name::Spell:
        case Name::Emph:
            // The empty forms enclose nothing, so they change nothing.
            if (tag.form == Tag::Empty)
                return;
            break;
        case Name::Volume:
        case Name::Rate:
        case Name::Pitch:
        case Name::Voice:
            break;
        }

        if (tag.form == Tag::Open) {
            m_frames.append({tag.name, m_state});
            ++m_openCount[size_t(tag.name)];
        }
        m_stateTouched = true;
        change(tag);
    }

    void change(const Tag &tag)
    {
        const auto number = [&tag](const char *name) {
            const std::optional<QString> value = tag.attribute(QLatin1StringView(name));
            return value ? numberOf(*value) : std::nullopt;
        };
        const auto level = [&number](int *target, const char *absolute, const char *relative) {
            if (const auto value = number(absolute))
                *target = std::clamp(*value, MinLevel, MaxLevel);
            if (const auto value = number(relative))
                *target = std::clamp(*target + *value, MinLevel, MaxLevel);
        };

        switch (tag.name) {
        case Name::Volume:
            if (const auto value = number("LEVEL"))
                m_state.volume = std::clamp(*value, 0, 100);
            break;
        case Name::Rate:
            level(&m_state.rate, "ABSSPEED", "SPEED");
            break;
        case Name::Pitch:
            level(&m_state.pitch, "ABSMIDDLE", "MIDDLE");
            break;
        case Name::Voice:
            // A voice tag is a whole new choice: what it does not ask for, it does not keep.
            m_state.voiceRequired =
                tag.attribute(QLatin1StringView("REQUIRED")).value_or(QString());
            m_state.voiceOptional =
                tag.attribute(QLatin1StringView("OPTIONAL")).value_or(QString());
            break;
        case Name::Spell:
            m_state.spell = true;
            break;
        case Name::Emph:
            ++m_state.emphasis;
            break;
        default:
            break;
        }
    }

    // Closes the innermost open tag of that name and everything opened inside it. The count of
    // open tags per name keeps unmatched closing tags from searching the stack.
    void close(Name name)
    {
        if (m_openCount[size_t(name)] == 0)
            return;
        for (;;) {
            const Frame frame = m_frames.takeLast();
            --m_openCount[size_t(frame.name)];
            if (frame.name == name) {
                m_state = frame.saved;
                m_stateTouched = true;
                return;
            }
        }
    }

    const QString &m_input;
    TagState m_state;
    QList<SpeechSegment> m_segments;
    QList<Frame> m_frames;
    std::array<int, size_t(Name::Count)> m_openCount{};
    bool m_stateTouched = false;
    bool m_noCommentEnd = false;
};

} // namespace

TagParseResult InterpretTags(const QString &input, const TagState &start)
{
    return Interpreter(input, start).run();
}

TagParseResult PlainTextSegments(const QString &input, const TagState &start)
{
    TagParseResult result;
    result.finalState = start;
    if (input.isEmpty())
        return result;
    SpeechSegment segment;
    segment.text = input;
    segment.sourcePos.resize(input.size());
    std::iota(segment.sourcePos.begin(), segment.sourcePos.end(), 0);
    segment.state = start;
    result.segments.append(segment);
    return result;
}

} // namespace tonaris
