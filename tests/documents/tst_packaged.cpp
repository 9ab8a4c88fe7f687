// E-books and office documents made here (zipped with libzip, as their programs store them) read
// back in reading order, chapters as titled #BREAK lines, and damaged ones as far as they go.
#include "TestSupport.h"
#include "documents/DocumentReaders.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <zip.h>

using namespace tonaris;

// Declared before the documents: moc takes the "//" of their addresses for comments.
class TestPackaged : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;

private slots:
    void initTestCase();
    void read_data();
    void read();
};

namespace {

using Members = QList<std::pair<QString, QByteArray>>;

const QByteArray Container = R"(<?xml version="1.0"?>
<container xmlns="urn:oasis:names:tc:opendocument:xmlns:container" version="1.0">
<rootfiles><rootfile full-path="OEBPS/content.opf" media-type="application/oebps-package+xml"/>
</rootfiles></container>)";

// The manifest lists the pages out of order: the spine decides.
const QByteArray Package = R"(<?xml version="1.0"?>
<package xmlns="http://www.idpf.org/2007/opf" version="3.0">
<manifest>
 <item id="two" href="text/chapter%202.xhtml" media-type="application/xhtml+xml"/>
 <item id="cover" href="cover.xhtml" media-type="application/xhtml+xml"/>
 <item id="one" href="text/one.xhtml" media-type="application/xhtml+xml"/>
 <item id="css" href="style.css" media-type="text/css"/>
</manifest>
<spine><itemref idref="cover"/><itemref idref="one"/><itemref idref="two"/></spine>
</package>)";

QByteArray page(const char *body)
{
    return QByteArray(R"(<?xml version="1.0" encoding="UTF-8"?>
<html xmlns="http://www.w3.org/1999/xhtml"><head><title>Page</title></head><body>)") +
           body + "</body></html>";
}

const QByteArray CoverPage = page(R"(<img src="cover.jpg" alt=""/>)");
const QByteArray PageOne = page("<h1>Chapter One</h1><p>Alpha beta.</p><p>Gamma&#160;delta.</p>");
const QByteArray PageTwo =
    page("<h2 class=\"c\">Chapter <i>Two</i></h2><p>Epsilon &amp; zeta.</p>");

const char *const WordNs =
    R"( xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main")"
    R"( xmlns:mc="http://schemas.openxmlformats.org/markup-compatibility/2006")";

QByteArray wordDocument(const QByteArray &body)
{
    return QByteArray("<?xml version=\"1.0\"?><w:document") + WordNs + "><w:body>" + body +
           "</w:body></w:document>";
}

// A heading, runs split mid-word, a tab stop in the properties (no text), a real tab, a line
// break, deleted text, and a text box stored twice (for new and old programs).
const QByteArray WordBody = wordDocument(
    R"(<w:p><w:pPr><w:pStyle w:val="Heading1"/><w:tabs><w:tab w:val="left" w:pos="720"/></w:tabs></w:pPr><w:r><w:t>The Title</w:t></w:r></w:p>)"
    R"(<w:p><w:r><w:rPr><w:b/></w:rPr><w:t xml:space="preserve">Hel</w:t></w:r><w:r><w:t xml:space="preserve">lo world</w:t></w:r><w:r><w:tab/><w:t>tabbed</w:t><w:br/><w:t>next</w:t></w:r><w:del><w:r><w:delText>gone</w:delText></w:r></w:del></w:p>)"
    R"(<w:p><w:r><mc:AlternateContent><mc:Choice Requires="wps"><w:txbxContent><w:p><w:r><w:t>In a box</w:t></w:r></w:p></w:txbxContent></mc:Choice><mc:Fallback><w:txbxContent><w:p><w:r><w:t>In a box</w:t></w:r></w:p></w:txbxContent></mc:Fallback></mc:AlternateContent><w:t>after</w:t></w:r></w:p>)");

const QByteArray OdtContent = R"(<?xml version="1.0" encoding="UTF-8"?>
<office:document-content xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"
 xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0"><office:body><office:text>
<text:sequence-decls/>
<text:h text:outline-level="1">The   Title</text:h>
<text:p>One<text:s text:c="3"/>two <text:span>three</text:span><text:note><text:note-citation>1</text:note-citation><text:note-body><text:p>A note</text:p></text:note-body></text:note>
four<text:tab/>five<text:line-break/>six</text:p>
<text:list><text:list-item><text:p>Listed</text:p></text:list-item></text:list>
</office:text></office:body></office:document-content>)";

const QByteArray Fb2Book = R"(<?xml version="1.0" encoding="UTF-8"?>
<FictionBook xmlns="http://www.gribuser.ru/xml/fictionbook/2.0">
<description><title-info><book-title>Not read</book-title></title-info></description>
<body><title><p>Book Name</p></title>
<section><title><p>Part I</p><p>Dawn</p></title><p>First   line.</p><empty-line/>
 <section><title><p>Inner</p></title><poem><stanza><v>Verse one</v></stanza></poem></section></section>
<section><p>Untitled text.</p></section>
</body>
<body name="notes"><section><p>A footnote</p></section></body>
<binary id="x" content-type="image/png">AAAA</binary>
</FictionBook>)";

QString lines(std::initializer_list<const char *> list)
{
    QString text;
    for (const char *line : list)
        text += QString::fromUtf8(line) + QLatin1String("\r\n");
    return text;
}

bool writeZip(const QString &path, const Members &members)
{
    int code = 0;
    zip_t *archive =
        zip_open(QFile::encodeName(path).constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    if (!archive)
        return false;
    for (const auto &[name, data] : members) {
        zip_source_t *source = zip_source_buffer(archive, data.constData(), data.size(), 0);
        if (!source || zip_file_add(archive, name.toUtf8().constData(), source, 0) < 0) {
            zip_source_free(source);
            zip_discard(archive);
            return false;
        }
    }
    return zip_close(archive) == 0;
}

} // namespace

void TestPackaged::initTestCase()
{
    test::isolateEnvironment();
}

void TestPackaged::read_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<Members>("members"); // empty: `raw` is the whole file
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("expected"); // the text, or a part of the message when !ok

    const Members epub = {{QStringLiteral("mimetype"), "application/epub+zip"},
                          {QStringLiteral("META-INF/container.xml"), Container},
                          {QStringLiteral("OEBPS/content.opf"), Package},
                          {QStringLiteral("OEBPS/cover.xhtml"), CoverPage},
                          {QStringLiteral("OEBPS/text/one.xhtml"), PageOne},
                          {QStringLiteral("OEBPS/text/chapter 2.xhtml"), PageTwo}};
    const QString book =
        lines({"#BREAK Chapter One", "Chapter One", "", "Alpha beta.", "", "Gamma delta.",
               "#BREAK Chapter Two", "Chapter Two", "", "Epsilon & zeta."});
    QTest::newRow("epub in spine order") << "book.epub" << epub << QByteArray() << true << book;

    Members noContainer = epub;
    noContainer.removeAt(1);
    QTest::newRow("epub without container")
        << "nc.epub" << noContainer << QByteArray() << true << book;
    Members lostChapter = epub;
    lostChapter.removeLast();
    QTest::newRow("epub missing a chapter")
        << "lost.epub" << lostChapter << QByteArray() << true
        << lines({"#BREAK Chapter One", "Chapter One", "", "Alpha beta.", "", "Gamma delta."});
    QTest::newRow("epub without package") << "np.epub" << Members{epub.at(0), epub.at(3)}
                                          << QByteArray() << false << "package file is missing";
    QTest::newRow("epub not a zip") << "junk.epub" << Members() << QByteArray("PK\3\4junk") << false
                                    << "not a readable zip file";
    QByteArray cut;
    {
        const QString whole = dir.filePath(QStringLiteral("whole.epub"));
        QVERIFY(writeZip(whole, epub));
        QFile f(whole);
        QVERIFY(f.open(QIODevice::ReadOnly));
        cut = f.readAll();
        cut.chop(40); // the end of the directory is gone
    }
    QTest::newRow("epub cut short")
        << "cut.epub" << Members() << cut << false << "not a readable zip file";

    const QString word = lines({"The Title", "Hello world\ttabbed", "next", "In a box", "after"});
    QTest::newRow("docx") << "a.docx" << Members{{QStringLiteral("word/document.xml"), WordBody}}
                          << QByteArray() << true << word;
    QTest::newRow("docx broken off")
        << "b.docx"
        << Members{{QStringLiteral("word/document.xml"),
                    WordBody.left(WordBody.indexOf("<w:p><w:r><w:rPr>"))}}
        << QByteArray() << true << lines({"The Title"});
    QTest::newRow("docx without its document")
        << "c.docx" << Members{{QStringLiteral("word/styles.xml"), "<x/>"}} << QByteArray() << false
        << "word/document.xml";
    QTest::newRow("docx damaged from the start")
        << "d.docx" << Members{{QStringLiteral("word/document.xml"), "<w:document><<"}}
        << QByteArray() << false << "damaged";

    QTest::newRow("odt") << "a.odt" << Members{{QStringLiteral("content.xml"), OdtContent}}
                         << QByteArray() << true
                         << lines({"The Title", "One   two three four\tfive", "six", "Listed"});

    QTest::newRow("fb2") << "a.fb2" << Members() << Fb2Book << true
                         << lines({"Book Name", "#BREAK Part I Dawn", "Part I", "Dawn",
                                   "First line.", "", "Inner", "Verse one", "#BREAK",
                                   "Untitled text."});
    QTest::newRow("fb2 broken off")
        << "b.fb2" << Members() << Fb2Book.left(Fb2Book.indexOf("<empty-line")) << true
        << lines({"Book Name", "#BREAK Part I Dawn", "Part I", "Dawn", "First line."});
    QTest::newRow("fb2 not xml") << "c.fb2" << Members() << QByteArray("just text") << false
                                 << "damaged";
}

void TestPackaged::read()
{
    QFETCH(QString, name);
    QFETCH(Members, members);
    QFETCH(QByteArray, raw);
    QFETCH(bool, ok);
    QFETCH(QString, expected);
    const QString path = dir.filePath(name);
    if (members.isEmpty()) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(raw);
    } else {
        QVERIFY(writeZip(path, members));
    }
    QString text, error;
    QCOMPARE(ReadDocument(path, text, error), ok);
    if (ok) {
        QCOMPARE(text, expected);
    } else {
        QVERIFY2(error.contains(expected), qPrintable(error));
        QVERIFY(text.isEmpty());
    }
}

TONARIS_TEST_GUILESS_MAIN(TestPackaged)
#include "tst_packaged.moc"
