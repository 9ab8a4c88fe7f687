// The rows of the command line: which action, which file and which target.
#include "TestSupport.h"
#include "config/CommandLine.h"
#include "config/RunOptions.h"

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
        QTest::newRow("three inputs, each beside itself")
            << QStringList{"/mp3", "a", "b", "c"} << int(C::Save) << false << none << none << 0;
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

    // The long options are taken out; slash switches, names and "-" stay for the rows above.
    void options_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("rest");
        QTest::addColumn<QString>("settings"); // voice|format|config|rate|pitch|volume
        QTest::addColumn<QString>("error");
        QTest::newRow("none") << QStringList{"/hidden", "/wav", "-", "-"}
                              << QStringList{"/hidden", "/wav", "-", "-"} << "|||||"
                              << "";
        QTest::newRow("values both ways")
            << QStringList{"/wav",
                           "--voice",
                           "English (America), male",
                           "b.txt",
                           "--rate=-3",
                           "--volume",
                           "80",
                           "--format",
                           "11 kHz 8 Bit Mono",
                           "--config=x.ini"}
            << QStringList{"/wav", "b.txt"}
            << "English (America), male|11 kHz 8 Bit Mono|x.ini|-3||80"
            << "";
        QTest::newRow("-- ends the options")
            << QStringList{"--pitch", "2", "--", "--voice"} << QStringList{"--voice"} << "||||2|"
            << "";
        QTest::newRow("unknown") << QStringList{"--speed", "3"} << QStringList{"3"} << "|||||"
                                 << "Unknown option 'speed'.";
        QTest::newRow("no value") << QStringList{"a.txt", "--voice"} << QStringList{"a.txt"}
                                  << "|||||"
                                  << "--voice needs a value";
        QTest::newRow("not a number") << QStringList{"--rate", "fast"} << QStringList{} << "|||||"
                                      << "--rate needs a whole number, not \"fast\"";
    }
    void options()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, rest);
        QFETCH(QString, settings);
        QFETCH(QString, error);
        const RunOptions o = RunOptions::parse(arguments);
        QCOMPARE(o.error, error);
        if (!error.isEmpty())
            return;
        QCOMPARE(o.rest, rest);
        auto number = [](const std::optional<int> &n) {
            return n ? QString::number(*n) : QString();
        };
        QCOMPARE(QStringList({o.voice, o.format, o.config, number(o.rate), number(o.pitch),
                              number(o.volume)})
                     .join(u'|'),
                 settings);
        // A run of several inputs hands the same choices on.
        QCOMPARE(RunOptions::parse(o.toArguments()).toArguments(), o.toArguments());
    }
};

TONARIS_TEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
