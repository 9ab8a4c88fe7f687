// The command line: which action, which file and target, and the long options.
#include "TestSupport.h"
#include "config/CommandLine.h"
#include "config/RunOptions.h"

#include <QTest>

using namespace tonaris;

class TestCommandLine : public QObject
{
    Q_OBJECT
private slots:
    // Columns: the arguments joined by "|", then action|hidden|file|output|format as text.
    void parse_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const char *arguments, const char *expected) {
            QTest::newRow(name) << QString::fromUtf8(arguments) << QString::fromUtf8(expected);
        };
        row("nothing", "", "None|0|||");
        row("a file", "a b.txt", "Open|0|a b.txt||");
        row("hidden anywhere", "a.txt|/HIDDEN", "Open|1|a.txt||");
        row("hidden alone", "/Hidden", "None|1|||");
        row("play", "/PLAY| book.txt ", "Play|0|book.txt||");
        row("play with two files", "/play|a.txt|b.txt", "None|0|||");
        row("mp3 beside", "/mp3|dir.x/book.txt", "Save|0|dir.x/book.txt|dir.x/book|mp3");
        row("WAV upper case to out", "/WAV|book.txt|out", "Save|0|book.txt|out|wav");
        row("mp3 hidden first", "/hidden|/Mp3|b.txt|o p", "Save|1|b.txt|o p|mp3");
        row("no extension", "/wav|.hidden/book", "Save|0|.hidden/book|.hidden/book|wav");
        row("wav alone is a file", "/wav", "Open|0|/wav||");
        row("three inputs, each beside itself", "/mp3|a|b|c", "Save|0|||mp3");
    }
    void parse()
    {
        QFETCH(QString, arguments);
        const QStringList list = arguments.isEmpty() ? QStringList() : arguments.split(u'|');
        const CommandLine c = CommandLine::parse(list);
        const char *const actions[] = {"None", "Open", "Play", "Save"};
        const QString format = c.action != CommandLine::Save ? QString()
                               : c.outputFormat == 1         ? QStringLiteral("wav")
                                                             : QStringLiteral("mp3");
        QTEST(QStringList({QLatin1String(actions[int(c.action)]), QString::number(c.hidden), c.file,
                           c.output, format})
                  .join(u'|'),
              "expected");
        QCOMPARE(c.ignored, c.action == CommandLine::None && list.size() - c.hidden > 0);
    }

    // The long options are taken out; slash switches, names and "-" stay for the rows above.
    void options_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("rest");
        QTest::addColumn<QString>(
            "settings"); // voice|format|config|rate|pitch|volume, or the error
        const auto row = [](const char *name, const QStringList &arguments, const QStringList &rest,
                            const char *settings) {
            QTest::newRow(name) << arguments << rest << QString::fromUtf8(settings);
        };
        row("none", {"/hidden", "/wav", "-", "-"}, {"/hidden", "/wav", "-", "-"}, "|||||");
        row("values both ways",
            {"/wav", "--voice", "English (America), male", "b.txt", "--rate=-3", "--volume", "80",
             "--format", "11 kHz 8 Bit Mono", "--config=x.ini"},
            {"/wav", "b.txt"}, "English (America), male|11 kHz 8 Bit Mono|x.ini|-3||80");
        row("-- ends the options", {"--pitch", "2", "--", "--voice"}, {"--voice"}, "||||2|");
        row("unknown", {"--speed", "3"}, {}, "Unknown option 'speed'.");
        row("no value", {"a.txt", "--voice"}, {}, "--voice needs a value");
        row("not a number", {"--rate", "fast"}, {}, "--rate needs a whole number, not \"fast\"");
    }
    void options()
    {
        QFETCH(QStringList, arguments);
        const RunOptions o = RunOptions::parse(arguments);
        if (!o.error.isEmpty()) {
            QTEST(o.error, "settings");
            return;
        }
        QTEST(o.rest, "rest");
        const auto number = [](const std::optional<int> &n) {
            return n ? QString::number(*n) : QString();
        };
        QTEST(QStringList(
                  {o.voice, o.format, o.config, number(o.rate), number(o.pitch), number(o.volume)})
                  .join(u'|'),
              "settings");
        // A run of several inputs hands the same choices on.
        QCOMPARE(RunOptions::parse(o.toArguments()).toArguments(), o.toArguments());
    }
};

TONARIS_TEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
