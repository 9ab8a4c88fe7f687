// Documents made by real tools and read back; writers and their round trips; converters missing.
#include "TestSupport.h"
#include "documents/Converters.h"
#include "documents/DocumentReaders.h"
#include "documents/DocumentWriters.h"
#include "documents/KelRTF.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;

namespace {

const QString KnownText =
    QStringLiteral("Tonaris reads documents aloud.\r\n"
                   "A second paragraph with accents: café, naïve, Ærø, and the euro sign €.\r\n"
                   "\r\n"
                   "Quotes: \"straight\" and a dash – here; the end.\r\n");

const QString LongText = KnownText.repeated(4);
// A document name a shell would misread in every way: the office suite, catdoc and antiword
// each read or write the file of that name and run nothing ("x" never appears).
const QString Hostile = QStringLiteral("-made \"d\" 'q' $(touch x) `touch x`; e\nf.");

// Blanks of any kind and length made one space, curved double quotes made straight.
QString normalised(QString s)
{
    s.replace(QChar(0x201C), QLatin1Char('"'));
    s.replace(QChar(0x201D), QLatin1Char('"'));
    return s.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts)
        .join(QLatin1Char(' '));
}

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// PATH pointing at an empty folder for as long as it lives.
struct NoProgramsOnPath
{
    QTemporaryDir empty;
    QByteArray saved = qgetenv("PATH");
    NoProgramsOnPath() { qputenv("PATH", empty.path().toLocal8Bit()); }
    ~NoProgramsOnPath() { qputenv("PATH", saved); }
};

} // namespace

class TestConverters : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    QString known; // the known text as a .txt file, the source of the made documents

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        known = dir.filePath(QStringLiteral("known text.txt")); // a blank in the name
        QString error;
        QVERIFY(WriteTextFile(known, KnownText, error));
    }

    // One conversion per format by the office suite, read back by our readers.
    void madeByRealTools_data()
    {
        QTest::addColumn<QString>("format");
        QTest::newRow("doc") << QStringLiteral("doc");
        QTest::newRow("rtf") << QStringLiteral("rtf");
        QTest::newRow("pdf") << QStringLiteral("pdf");
    }
    void madeByRealTools()
    {
        QFETCH(QString, format);
        if (Converters::OfficeProgram().isEmpty())
            QSKIP("LibreOffice is not installed");
        const QString target = dir.filePath(Hostile + format);
        QString error;
        if (format == QLatin1String("doc")) {
            // Long enough for every reader of .doc files (antiword refuses short ones).
            QVERIFY2(WriteWordDocument(target, LongText, error), qPrintable(error));
        } else {
            QByteArray bytes;
            QVERIFY2(
                Converters::OfficeConvert(known, format, QLatin1Char('.') + format, bytes, error),
                qPrintable(error));
            test::writeFile(target, bytes);
        }
        QString text;
        QVERIFY2(ReadDocument(target, text, error), qPrintable(error));
        QCOMPARE(normalised(text),
                 normalised(format == QLatin1String("doc") ? LongText : KnownText));
    }

    // The readers of .doc files in turn: those before fail (programs that only fail stand
    // first on the path), and the next one reads the document made above.
    void wordReadersInTurn_data()
    {
        QTest::addColumn<QStringList>("failing");
        QTest::newRow("catdoc") << QStringList();
        QTest::newRow("antiword") << QStringList{QStringLiteral("catdoc")};
        QTest::newRow("libreoffice")
            << QStringList{QStringLiteral("catdoc"), QStringLiteral("antiword")};
    }
    void wordReadersInTurn()
    {
        QFETCH(QStringList, failing);
        const QString doc = dir.filePath(Hostile + QStringLiteral("doc"));
        if (!QFile::exists(doc))
            QSKIP("no document was made");
        QTemporaryDir fakes;
        for (const QString &name : failing) {
            const QString fake = test::writeFile(fakes.filePath(name), "#!/bin/sh\nexit 1\n");
            QVERIFY(QFile::setPermissions(fake, QFile::ReadOwner | QFile::ExeOwner));
        }
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", fakes.path().toLocal8Bit() + ':' + path);
        QString text, error;
        const bool read = ReadWordDocument(doc, text, error);
        qputenv("PATH", path);
        QVERIFY2(read, qPrintable(error));
        QCOMPARE(normalised(text), normalised(LongText));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("x"))) && !QFile::exists("x"));
    }

    void htmlSavedTwiceDoesNotGrow()
    {
        const QString text = QStringLiteral("Line <one> & two\r\n\r\n   indented  twice\r\nlast");
        const QString path = dir.filePath(QStringLiteral("page.html"));
        QString error, back;
        QVERIFY(WriteDocument(path, text, error));
        QVERIFY(ReadDocument(path, back, error));
        QCOMPARE(back, text);
        const qint64 size = QFileInfo(path).size();
        QVERIFY(WriteDocument(path, back, error));
        QVERIFY(ReadDocument(path, back, error));
        QCOMPARE(back, text);
        QCOMPARE(QFileInfo(path).size(), size);
    }

    void writers_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("txt") << "a.txt" << QByteArray("caf\xC3\xA9\r\nline\r\n");
        QTest::newRow("upper-case extension") << "b.TXT" << QByteArray("caf\xC3\xA9\r\nline\r\n");
        QTest::newRow("rtf as plain text") << "c.rtf" << QByteArray("caf\xC3\xA9\r\nline\r\n");
    }
    void writers()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, expected);
        QString error;
        QVERIFY(WriteDocument(dir.filePath(name), QStringLiteral("café\nline"), error));
        QCOMPARE(fileBytes(dir.filePath(name)), expected);
        QString back;
        QVERIFY(ReadDocument(dir.filePath(name), back, error));
        QCOMPARE(back, QStringLiteral("café\r\nline\r\n"));
    }

    void unsupportedSaveLeavesTheOldFile_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("pdf") << "old.pdf";
        QTest::newRow("unknown") << "old.xyz";
        QTest::newRow("no extension") << "old";
    }
    void unsupportedSaveLeavesTheOldFile()
    {
        QFETCH(QString, name);
        const QString path = dir.filePath(name);
        test::writeFile(path, "old content");
        QString error;
        QVERIFY(!WriteDocument(path, QStringLiteral("new"), error));
        QCOMPARE(error,
                 QStringLiteral("It's impossible to save this file to its original format."));
        QCOMPARE(fileBytes(path), QByteArray("old content"));
    }

    void failedWriteReports()
    {
        QString error;
        QVERIFY(!WriteDocument(dir.filePath(QStringLiteral("no/such/folder/a.txt")),
                               QStringLiteral("x"), error));
        QVERIFY(error.contains(QStringLiteral("a.txt")));
    }

    void missingConvertersNameTheirPackage()
    {
        test::writeFile(dir.filePath(QStringLiteral("word.doc")),
                        QByteArray("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1") + QByteArray(600, 'x'));
        NoProgramsOnPath noPrograms;
        QString text, error;
        QVERIFY(!ReadDocument(dir.filePath(QStringLiteral("word.doc")), text, error));
        QVERIFY2(error.contains(QStringLiteral("catdoc")), qPrintable(error));
        QVERIFY(!ReadPdfFile(dir.filePath(QStringLiteral("any.pdf")), text, error));
        QVERIFY2(error.contains(QStringLiteral("poppler-utils")), qPrintable(error));
        QVERIFY(!WriteDocument(dir.filePath(QStringLiteral("out.doc")), KnownText, error));
        QVERIFY2(error.contains(QStringLiteral("libreoffice-writer-nogui")), qPrintable(error));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("out.doc"))));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestConverters)
#include "tst_converters.moc"
