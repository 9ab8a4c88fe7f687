// The rows of the command line: which action, which file and which target.
#include "TestSupport.h"
#include "config/CommandLine.h"

#include <QTest>

using namespace tonaris;

class TestCommandLine : public QObject
{
    Q_OBJECT
private slots:
    void parse_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("action");
        QTest::addColumn<bool>("hidden");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("output");
        QTest::addColumn<int>("format");
        using C = CommandLine;
        const QString none;
        QTest::newRow("nothing") << QStringList{} << int(C::None) << false << none << none << 0;
        QTest::newRow("a file") << QStringList{"a b.txt"} << int(C::Open) << false << "a b.txt"
                                << none << 0;
        QTest::newRow("hidden anywhere")
            << QStringList{"a.txt", "/HIDDEN"} << int(C::Open) << true << "a.txt" << none << 0;
        QTest::newRow("hidden alone")
            << QStringList{"/Hidden"} << int(C::None) << true << none << none << 0;
        QTest::newRow("play") << QStringList{"/PLAY", " book.txt "} << int(C::Play) << false
                              << "book.txt" << none << 0;
        QTest::newRow("play with two files")
            << QStringList{"/play", "a.txt", "b.txt"} << int(C::None) << false << none << none << 0;
        QTest::newRow("mp3 beside")
            << QStringList{"/mp3", "dir.x/book.txt"} << int(C::Save) << false << "dir.x/book.txt"
            << "dir.x/book" << 0;
        QTest::newRow("WAV upper case to out")
            << QStringList{"/WAV", "book.txt", "out"} << int(C::Save) << false << "book.txt"
            << "out" << 1;
        QTest::newRow("mp3 hidden first")
            << QStringList{"/hidden", "/Mp3", "b.txt", "o p"} << int(C::Save) << true << "b.txt"
            << "o p" << 0;
        QTest::newRow("no extension")
            << QStringList{"/wav", ".hidden/book"} << int(C::Save) << false << ".hidden/book"
            << ".hidden/book" << 1;
        QTest::newRow("wav alone is a file")
            << QStringList{"/wav"} << int(C::Open) << false << "/wav" << none << 0;
        QTest::newRow("too many") << QStringList{"/mp3", "a", "b", "c"} << int(C::None) << false
                                  << none << none << 0;
    }

    void parse()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, action);
        QFETCH(bool, hidden);
        QFETCH(QString, file);
        QFETCH(QString, output);
        QFETCH(int, format);
        const CommandLine c = CommandLine::parse(arguments);
        QCOMPARE(int(c.action), action);
        QCOMPARE(c.hidden, hidden);
        QCOMPARE(c.file, file);
        QCOMPARE(c.output, output);
        if (c.action == CommandLine::Save)
            QCOMPARE(c.outputFormat, format);
        QCOMPARE(c.ignored,
                 action == int(CommandLine::None) && arguments.size() - (hidden ? 1 : 0) > 0);
    }

    void help()
    {
        QVERIFY(CommandLine::parse({QStringLiteral("--help")}).help);
        QVERIFY(CommandLine::usage().contains(QLatin1String("/mp3 FILE")));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
