#include "TestSupport.h"
#include "voices/TagInterpreter.h"

#include <QRandomGenerator>
#include <QTest>

using namespace tonaris;

Q_DECLARE_METATYPE(tonaris::TagState)

namespace {

// Only what differs from the default state, so that rows stay short.
QString renderState(const TagState &s)
{
    QStringList out;
    if (s.volume != 100)
        out << QStringLiteral("v%1").arg(s.volume);
    if (s.rate || s.pitch)
        out << QStringLiteral("r%1 p%2").arg(s.rate).arg(s.pitch);
    if (!s.voiceRequired.isEmpty() || !s.voiceOptional.isEmpty())
        out << QStringLiteral("voice[%1|%2]").arg(s.voiceRequired, s.voiceOptional);
    if (s.spell)
        out << QStringLiteral("spell");
    if (s.emphasis)
        out << QStringLiteral("e%1").arg(s.emphasis);
    return out.join(u' ');
}

// Source positions as runs, "0-4,9": where each character came from shows at a glance.
QString renderPositions(const QList<int> &pos)
{
    QStringList runs;
    for (qsizetype i = 0; i < pos.size();) {
        qsizetype j = i;
        while (j + 1 < pos.size() && pos[j + 1] == pos[j] + 1)
            ++j;
        runs << (i == j ? QString::number(pos[i])
                        : QStringLiteral("%1-%2").arg(pos[i]).arg(pos[j]));
        i = j + 1;
    }
    return runs.join(u',');
}

QString render(const TagParseResult &r)
{
    QStringList parts;
    for (const SpeechSegment &s : r.segments) {
        if (s.kind == SpeechSegment::Text)
            parts << QStringLiteral("T@%1\"%2\" %3")
                         .arg(renderPositions(s.sourcePos), s.text, renderState(s.state))
                         .trimmed();
        else if (s.kind == SpeechSegment::Silence)
            parts << QStringLiteral("S@%1 %2ms").arg(s.sourceStart).arg(s.silenceMs);
        else
            parts << QStringLiteral("B@%1 \"%2\"").arg(s.sourceStart).arg(s.bookmark);
    }
    const QString all = parts.join(QStringLiteral(" | ")) + QStringLiteral(" => ");
    return QString(all + renderState(r.finalState)).trimmed();
}

// What the engine relies on to map word events back into the line; empty when all holds.
QString brokenInvariant(const QString &input, const TagParseResult &r)
{
    int last = -1;
    for (const SpeechSegment &s : r.segments) {
        if (s.sourceStart <= last || s.sourceStart >= input.size())
            return QStringLiteral("segment start %1 out of order").arg(s.sourceStart);
        if (s.state.volume < 0 || s.state.volume > 100 || qAbs(s.state.rate) > 10 ||
            qAbs(s.state.pitch) > 10 || s.silenceMs < 0 || s.silenceMs > 60000)
            return QStringLiteral("value out of range at %1").arg(s.sourceStart);
        if (s.kind != SpeechSegment::Text) {
            if (input[s.sourceStart] != u'<')
                return QStringLiteral("mark at %1 is not a tag").arg(s.sourceStart);
            last = s.sourceStart;
            continue;
        }
        if (s.text.isEmpty() || s.sourcePos.size() != s.text.size() ||
            s.sourcePos.first() != s.sourceStart)
            return QStringLiteral("bad text segment at %1").arg(s.sourceStart);
        for (qsizetype i = 0; i < s.text.size(); ++i) {
            const int pos = s.sourcePos[i];
            if (pos <= last || pos >= input.size())
                return QStringLiteral("position %1 out of order").arg(pos);
            // A decoded entity points at its '&'; a surrogate pair's second half one further.
            const bool entity = input[pos] == u'&' ||
                                (i > 0 && input[pos - 1] == u'&' && s.text[i].isLowSurrogate());
            if (!entity && s.text[i] != input[pos])
                return QStringLiteral("character at %1 differs from the input").arg(pos);
            last = pos;
        }
    }
    return {};
}

} // namespace

class TestTagInterpreter : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::isolateEnvironment(); }

    // Defined below the class: moc misreads raw strings holding an odd number of quotes.
    void golden_data();

    void golden()
    {
        QFETCH(QString, input);
        QFETCH(TagState, start);
        QFETCH(QString, expected);
        const TagParseResult result = InterpretTags(input, start);
        QCOMPARE(render(result), expected);
        QCOMPARE(brokenInvariant(input, result), QString());
    }

    void plainText()
    {
        const QString input = QStringLiteral("a<VOLUME LEVEL=\"5\"/>&amp;");
        const TagState start{50, 1, 2, {}, {}, true, 1};
        QCOMPARE(
            render(PlainTextSegments(input, start)),
            QStringLiteral(
                R"(T@0-24"a<VOLUME LEVEL="5"/>&amp;" v50 r1 p2 spell e1 => v50 r1 p2 spell e1)"));
        QVERIFY(PlainTextSegments({}, start).segments.isEmpty());
    }

    // Random tag-ish strings and a few hostile shapes: no crash, positions always hold.
    void robustness()
    {
        QStringList tokens = QStringLiteral("< > / = \" ' & ; # x a 5 -3 !-- --> ? amp lt #x1F600 "
                                            "VOLUME LEVEL RATE SPEED PITCH MIDDLE EMPH SPELL VOICE "
                                            "SILENCE MSEC BOOKMARK MARK foo \u00e9")
                                 .split(u' ');
        tokens << QStringLiteral(" ");
        QRandomGenerator random(20240611);
        for (int round = 0; round < 5000; ++round) {
            QString input;
            for (int count = random.bounded(40); count > 0; --count)
                input += tokens[random.bounded(int(tokens.size()))];
            const QString broken = brokenInvariant(input, InterpretTags(input, {}));
            QVERIFY2(broken.isEmpty(), qPrintable(broken + QStringLiteral(" in ") + input));
        }
        for (const char *piece : {"<EMPH>", "</VOLUME>", "<!--", "<VOLUME LEVEL=\"", "<a b='1'",
                                  "&#1234567", "<?x <"}) {
            const QString input = QString::fromLatin1(piece).repeated(50000);
            QCOMPARE(brokenInvariant(input, InterpretTags(input, {})), QString());
        }
    }
};

void TestTagInterpreter::golden_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<TagState>("start");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QString &in, const QString &out,
                        TagState start = {}) { QTest::newRow(name) << in << start << out; };
    row("plain text", "Hello world", R"(T@0-10"Hello world" =>)");
    row("empty input", "", "=>");
    row("volume empty form persists", R"(a<VOLUME LEVEL="50"/>b)",
        R"(T@0"a" | T@21"b" v50 => v50)");
    row("volume paired restores", R"(a<VOLUME LEVEL="50">b</VOLUME>c)",
        R"(T@0"a" | T@20"b" v50 | T@30"c" =>)");
    row("volume clamped", R"(<VOLUME LEVEL="30"/><VOLUME LEVEL="150"/>a<VOLUME LEVEL="-5"/>b)",
        R"(T@41"a" | T@62"b" v0 => v0)");
    row("numbers with blanks, fractions, junk",
        R"(<RATE ABSSPEED=" 2.6 "/>a<RATE ABSSPEED="fast"/>b)", R"(T@24,48"ab" r3 p0 => r3 p0)");
    row("same name closes innermost",
        R"(<VOLUME LEVEL="10"><VOLUME LEVEL="20">a</VOLUME>b</VOLUME>c)",
        R"(T@38"a" v20 | T@48"b" v10 | T@58"c" =>)");
    row("rate absolute, relative, clamped",
        R"(<RATE ABSSPEED="-3"/>a<RATE SPEED="2"/>b<RATE SPEED="50"/>c)",
        R"(T@21"a" r-3 p0 | T@39"b" r-1 p0 | T@58"c" r10 p0 => r10 p0)");
    row("pitch paired nesting", R"(<PITCH ABSMIDDLE="4">a<PITCH MIDDLE="-2">b</PITCH>c</PITCH>d)",
        R"(T@21"a" r0 p4 | T@41"b" r0 p2 | T@50"c" r0 p4 | T@59"d" =>)");
    row("silence between quotes", R"(Hello '<SILENCE MSEC="500"/>' world)",
        R"(T@0-6"Hello '" | S@7 500ms | T@28-34"' world" =>)");
    row("silence limits", R"(a<SILENCE MSEC="-5"/>b<SILENCE MSEC="999999"/>c<SILENCE MSEC="x"/>d)",
        R"(T@0"a" | S@1 0ms | T@21"b" | S@22 60000ms | T@46,66"cd" =>)");
    row("voice empty and paired",
        R"(<VOICE REQUIRED="Name=Alex"/>a<VOICE OPTIONAL="Gender=Female;Age!=Child">b</VOICE>c)",
        R"(T@29"a" voice[Name=Alex|] | T@73"b" voice[|Gender=Female;Age!=Child] | T@82"c" voice[Name=Alex|] => voice[Name=Alex|])");
    row("spell paired", "<SPELL>ab</SPELL> c<SPELL/>d", R"(T@7-8"ab" spell | T@17-18,27" cd" =>)");
    row("emph left open lasts to the end", "x <EMPH>y", R"(T@0-1"x " | T@8"y" e1 =>)");
    row("emph nesting depth", "<EMPH><EMPH>a</EMPH>b</EMPH>c",
        R"(T@12"a" e2 | T@20"b" e1 | T@28"c" =>)");
    row("bookmark", R"(a<BOOKMARK MARK="x&amp;y"/>b<BOOKMARK/>c)",
        R"(T@0"a" | B@1 "x&y" | T@27,39"bc" =>)");
    row("any case, single quotes, blanks",
        R"(<volume level = '50' />a<Rate AbsSpeed="2" >b</RATE >c)",
        R"(T@23"a" v50 | T@44"b" v50 r2 p0 | T@53"c" v50 => v50)");
    row("equal state stays one segment", R"(a<VOLUME LEVEL="100"/><br/>b)", R"(T@0,27"ab" =>)");
    row("closing closes inner tags", R"(<VOLUME LEVEL="10">a<RATE SPEED="5">b</VOLUME>c</RATE>d)",
        R"(T@19"a" v10 | T@36"b" v10 r5 p0 | T@46,54"cd" =>)");
    row("unmatched closing ignored", "a</VOLUME>b</EMPH>", R"(T@0,10"ab" =>)");
    row("empty form inside paired ends with it",
        R"(<VOLUME LEVEL="80"><RATE ABSSPEED="3"/>a</VOLUME>b)",
        R"(T@39"a" v80 r3 p0 | T@49"b" =>)");
    row("paired left open does not persist", R"(<VOLUME LEVEL="10">a<PITCH MIDDLE="1"/>)",
        R"(T@19"a" v10 =>)");
    row("start state carried and updated", R"(a<PITCH ABSMIDDLE="1"/>b)",
        R"(T@0"a" v50 r2 p0 voice[Name=X|] | T@23"b" v50 r2 p1 voice[Name=X|] => v50 r2 p1 voice[Name=X|])",
        TagState{50, 2, 0, "Name=X", {}, false, 0});
    row("entities decoded", "a&amp;b&lt;&#65;&#x42;&#x1F600;c",
        R"(T@0-1,6-7,11,16,22-23,31"a&b<AB😀c" =>)");
    row("unknown entities stay text", "&nbsp; &amp &#xZZ; &#0; &AMP;",
        R"(T@0-28"&nbsp; &amp &#xZZ; &#0; &AMP;" =>)");
    row("unknown tags dropped",
        R"(a<foo x="1">b</foo><br/><!-- <VOLUME LEVEL="1"/> --><?xml version="1.0"?>c)",
        R"(T@0,12,73"abc" =>)");
    row("stray angle brackets are text", "a < b, x<3, <>, <<3>>, <<a>> >",
        R"(T@0-23,27-29"a < b, x<3, <>, <<3>>, <> >" =>)");
    row("unquoted value, open comment, unclosed tag",
        R"(<VOLUME LEVEL=50/>a<!-- b<VOLUME LEVEL="50")",
        R"(T@0-42"<VOLUME LEVEL=50/>a<!-- b<VOLUME LEVEL="50"" =>)");
}

TONARIS_TEST_GUILESS_MAIN(TestTagInterpreter)
#include "tst_taginterpreter.moc"
