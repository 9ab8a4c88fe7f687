// Readers of plain, HTML and rich text: the decoding rules, the markup rules and bad input.
#include "TestSupport.h"
#include "documents/DocumentReaders.h"
#include "documents/KelRTF.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace tonaris;

namespace {

// The share of words two texts have in common, counted with repeats, after case, blanks,
// underscores of emphasis and curved quotes are made alike.
double wordOverlap(const QString &a, const QString &b)
{
    auto words = [](QString s) {
        s = s.toLower()
                .replace(u'_', u' ')
                .replace(QChar(0x2018), u'\'')
                .replace(QChar(0x2019), u'\'');
        s.replace(QChar(0x201C), u'"').replace(QChar(0x201D), u'"');
        QStringList list = s.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
        list.sort();
        return list;
    };
    const QStringList x = words(a), y = words(b);
    QStringList common;
    std::set_intersection(x.begin(), x.end(), y.begin(), y.end(), std::back_inserter(common));
    return double(common.size()) / qMax(1, int(qMax(x.size(), y.size())));
}

QString writeFile(const QTemporaryDir &dir, const QString &name, const QByteArray &bytes)
{
    return test::writeFile(dir.filePath(name), bytes);
}

} // namespace

class TestReaders : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;

private slots:
    void initTestCase() { test::isolateEnvironment(); }

    void rawFileEncodings_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const QByteArray &bytes, const char *text) {
            QTest::newRow(name) << bytes << QString::fromUtf8(text);
        };
        row("utf-8", "caf\xC3\xA9 \xE2\x82\xAC", "café €");
        row("utf-8 with mark", "\xEF\xBB\xBFxyz", "xyz");
        row("windows-1252", "caf\xE9 \x80 \x93x\x94", "café € “x”");
        row("utf-16 le with mark", QByteArray("\xFF\xFEz\0\xE9\0\r\0\n\0", 10), "zé\r\n");
        row("utf-16 be with mark", QByteArray("\xFE\xFF\0a\0\xE9", 6), "aé");
        // Two bytes are too few for the mark: they stay the two characters they are.
        row("utf-16 mark alone, 2 bytes", "\xFF\xFE", "ÿþ");
        row("nul bytes dropped", QByteArray("a\0b\0c", 5), "abc");
        row("empty", QByteArray(), "");
    }
    void rawFileEncodings()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, expected);
        const QString path = writeFile(dir, QStringLiteral("raw.txt"), bytes);
        QString text, error;
        QVERIFY(ReadRawFile(path, text, error));
        QCOMPARE(text, expected);
    }

    void utf16OfThreeBytesGivesOneCharacter()
    {
        QString text, error;
        QVERIFY(ReadRawFile(writeFile(dir, QStringLiteral("three.txt"),
                                      "\xFF\xFE"
                                      "A"),
                            text, error));
        QCOMPARE(text.size(), 1); // the half of a character, no mark
        QVERIFY(text != QStringLiteral("A"));
    }

    void htmlToText_data()
    {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const char *html, const char *text) {
            QTest::newRow(name) << QString::fromUtf8(html) << QString::fromUtf8(text);
        };
        row("paragraphs", "<p>One</p><p>Two</p>", "One\r\n\r\nTwo");
        row("line breaks", "a<br>b<BR/>c", "a\r\nb\r\nc");
        row("blanks collapse", "  a \n\t b  ", "a b");
        row("scripts and styles dropped",
            "<style>p{x:1}</style><script>if (a<b) go('</p>');</script>Text", "Text");
        row("head and title dropped",
            "<html><head><title>T</title><meta x=1></head><body>B</body></html>", "B");
        row("entities", "&lt;a&gt; &amp; &eacute;&#233;&#xE9;&nbsp;x &copy; &unknown; &#150;",
            "<a> & ééé x © &unknown; –");
        row("pre keeps blanks", "<pre>\n a  b\n c</pre>after", " a  b\r\n c\r\nafter");
        row("table cells and rows",
            "<table><tr><td>A</td><td> B </td></tr><tr><th>C</th><td>D</td></tr></table>",
            "A\tB\r\nC\tD");
        row("comments", "a<!-- <p>x</p> -->b", "ab");
        row("quoted >", "<a title=\"x>y\">link</a>", "link");
        row("lone <", "a < b", "a < b");
        row("tag cut off", "text<a hre", "text");
        row("blocks", "<h1>Title</h1><div>x <b>bold</b></div><ul><li>a</li><li>b</li></ul>",
            "Title\r\nx bold\r\na\r\nb");
    }
    void htmlToText()
    {
        QFETCH(QString, html);
        QFETCH(QString, expected);
        QCOMPARE(HtmlToText(html), expected);
    }

    void richText_data()
    {
        QTest::addColumn<QByteArray>("rtf");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const QByteArray &rtf, const char *text) {
            QTest::newRow(name) << rtf << QString::fromUtf8(text);
        };
        row("paragraphs and lines",
            "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 One\\par Two\\line Three\\par}",
            "One\r\nTwo\r\nThree\r\n");
        row("unicode with fallback", "{\\rtf1\\ansi\\uc1 caf\\u233?\\par}", "café\r\n");
        row("unicode, two fallbacks", "{\\rtf1\\uc2\\u8364\\'80\\'80 x}", "€ x");
        row("surrogate pair", "{\\rtf1\\uc1\\u-10179?\\u-8704?}", "😀");
        row("hex in 1252", "{\\rtf1\\ansi\\ansicpg1252 na\\'efve \\'93q\\'94}", "naïve “q”");
        row("hex in 1251", "{\\rtf1\\ansi\\ansicpg1251 \\'cf\\'f0\\'e8}", "При");
        row("font charset",
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0 Times;}{\\f1\\fcharset204 Arial Cyr;}}"
            "\\f1 \\'cf\\'f0\\'e8\\f0  \\'e9}",
            "При é");
        row("tables and info skipped",
            "{\\rtf1{\\colortbl;\\red0\\green0\\blue0;}{\\stylesheet{\\s0 Normal;}}"
            "{\\info{\\title T}{\\author A}}{\\*\\generator Foo;}{\\pict\\pngblip 89504e47}"
            "Body{\\*\\bkmkstart x}\\par}",
            "Body\r\n");
        row("table as text",
            "{\\rtf1\\trowd\\cellx1000\\cellx2000 A\\cell B\\cell\\row\\trowd C\\cell "
            "D\\cell\\row}",
            "A\tB\r\nC\tD\r\n");
        row("escaped symbols", "{\\rtf1 a\\{b\\}c\\\\d\\~e\\tab f}", "a{b}c\\d\u00A0e\tf");
        row("field result", "{\\rtf1{\\field{\\*\\fldinst HYPERLINK \"x\"}{\\fldrslt link}}\\par}",
            "link\r\n");
        row("binary data skipped", "{\\rtf1 a{\\pict\\bin3 }}}x}b}", "ab");
        row("hidden text", "{\\rtf1 a{\\v hidden}b}", "ab");
        row("backslash before a line break", "{\\rtf1 a\\\nb}", "a\r\nb");
        row("plain text, no markup", "Just text\r\nline", "Just text\r\nline");
        row("truncated", "{\\rtf1\\ansi Hello\\par Wor", "Hello\r\nWor");
        row("truncated in an escape", "{\\rtf1 abc\\'e", "abc");
        row("unbalanced closing", "{\\rtf1 a}}}b", "ab");
    }
    void richText()
    {
        QFETCH(QByteArray, rtf);
        QFETCH(QString, expected);
        QCOMPARE(RichTextToPlain(rtf), expected);
    }

    void richTextBombOfNestedGroups()
    {
        const int depth = 2'000'000;
        const QByteArray rtf =
            "{\\rtf1 start" + QByteArray(depth, '{') + "deep" + QByteArray(depth, '}') + "after}";
        const QString text = RichTextToPlain(rtf);
        QCOMPARE(text, QStringLiteral("startdeepafter"));
    }

    void corpusHtmlMatchesItsText()
    {
        const QString htm = test::corpusFile(QStringLiteral("news-from-nowhere.htm"));
        const QString txt = test::corpusFile(QStringLiteral("news-from-nowhere.txt"));
        if (htm.isEmpty() || txt.isEmpty())
            QSKIP("corpus not present");
        QString fromHtml, plain, error;
        QVERIFY(ReadDocument(htm, fromHtml, error));
        QVERIFY(ReadDocument(txt, plain, error));
        QVERIFY(fromHtml.startsWith(QStringLiteral("News from Nowhere")));
        QVERIFY(!fromHtml.contains(QStringLiteral("margin-top"))); // the style sheet stays out
        QVERIFY2(wordOverlap(fromHtml, plain) > 0.98,
                 qPrintable(QString::number(wordOverlap(fromHtml, plain))));
    }

    void badInput_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("read");
        QTest::addColumn<QString>("contains");
        QByteArray binary;
        for (int i = 0; i < 70000; ++i)
            binary += char((i * 7919) & 0xFF);
        QTest::newRow("binary as .txt") << "bin.txt" << binary << true << QString();
        QTest::newRow("binary as .rtf") << "bin.rtf" << binary << true << QString();
        QTest::newRow("binary as .htm") << "bin.htm" << binary << true << QString();
        QTest::newRow("truncated rtf")
            << "cut.rtf" << QByteArray("{\\rtf1{\\fonttbl{\\f0 A") << true << QString();
        QTest::newRow(".doc that is text") << "notes.doc" << QByteArray("plain words\r\nhere")
                                           << true << QStringLiteral("plain words");
        QTest::newRow(".doc that is rtf")
            << "rich.doc" << QByteArray("{\\rtf1 rich\\par}") << true << QStringLiteral("rich");
        QTest::newRow("pdf that is not one")
            << "bad.pdf" << QByteArray("not a pdf at all") << false << QString();
        QTest::newRow("unknown extension")
            << "any.xyz" << QByteArray("raw text") << true << QStringLiteral("raw text");
    }
    void badInput()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(bool, read);
        QFETCH(QString, contains);
        const QString path = writeFile(dir, name, bytes);
        QString text, error;
        QCOMPARE(ReadDocument(path, text, error), read);
        QVERIFY(!text.contains(QChar(0)));
        if (read)
            QVERIFY(text.contains(contains));
        else
            QVERIFY2(error.contains(QStringLiteral("bad.pdf")), qPrintable(error));
    }

    void missingAndFolders()
    {
        QString text, error;
        QVERIFY(!ReadDocument(dir.filePath(QStringLiteral("nothing.txt")), text, error));
        QVERIFY(!error.isEmpty());
        QVERIFY(!ReadDocument(dir.path() + QStringLiteral("/"), text, error));
        // Dropped files of unknown kinds are ignored: no text, nothing to say.
        ReadOptions drop;
        drop.unknownAsRaw = false;
        QVERIFY(!ReadDocument(writeFile(dir, QStringLiteral("a.xyz"), "x"), text, error, drop));
        QVERIFY(error.isEmpty());
    }

    void largeHtmlPage()
    {
        const QByteArray paragraph = "<p>Para &amp; <b>text</b> here.</p>\n";
        QByteArray page = "<html><body>";
        page.reserve(52 * 1024 * 1024);
        while (page.size() < 50 * 1024 * 1024)
            page += paragraph;
        const QString path = writeFile(dir, QStringLiteral("big.html"), page + "</body></html>");
        page.clear();
        QString text, error;
        QVERIFY(ReadDocument(path, text, error));
        QVERIFY(text.startsWith(QStringLiteral("Para & text here.\r\n\r\nPara & text here.")));
        QVERIFY(text.endsWith(QStringLiteral("here.")));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestReaders)
#include "tst_readers.moc"
