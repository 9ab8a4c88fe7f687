#include "config/RunOptions.h"

#include "config/CommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>

namespace tonaris {

namespace {
const char *const ValueOptions[] = {"voice", "rate", "pitch", "volume", "format", "config"};

bool takesValue(const QString &name)
{
    for (const char *option : ValueOptions)
        if (name == QLatin1String(option))
            return true;
    return false;
}
} // namespace

RunOptions RunOptions::parse(const QStringList &arguments)
{
    RunOptions o;
    // The long options are picked out first: the slash switches and the names of files are
    // no business of QCommandLineParser, which would take "/wav" for a file and "-" for nothing.
    QStringList options{QStringLiteral("tonaris")};
    bool ended = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &a = arguments.at(i);
        if (ended || !a.startsWith(QLatin1String("--"))) {
            o.rest.append(a);
            continue;
        }
        if (a == QLatin1String("--")) {
            ended = true;
            continue;
        }
        options.append(a);
        if (!a.contains(QLatin1Char('=')) && takesValue(a.mid(2))) {
            if (i + 1 >= arguments.size()) {
                o.error = QStringLiteral("%1 needs a value").arg(a);
                return o;
            }
            options.append(arguments.at(++i));
        }
    }

    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption help(QStringLiteral("help"));
    const QCommandLineOption version(QStringLiteral("version"));
    const QCommandLineOption list(QStringLiteral("list-voices"));
    const QCommandLineOption inputs(QStringLiteral("inputs"));
    parser.addOptions({help, version, list, inputs});
    for (const char *name : ValueOptions)
        parser.addOption(QCommandLineOption(QLatin1String(name), QString(), QStringLiteral("v")));
    if (!parser.parse(options)) {
        o.error = parser.errorText();
        return o;
    }
    o.help = parser.isSet(help);
    o.version = parser.isSet(version);
    o.listVoices = parser.isSet(list);
    o.inputsOnly = parser.isSet(inputs);
    o.voice = parser.value(QStringLiteral("voice"));
    o.format = parser.value(QStringLiteral("format"));
    o.config = parser.value(QStringLiteral("config"));
    if (parser.isSet(QStringLiteral("voice")) && o.voice.trimmed().isEmpty())
        o.error = QStringLiteral("--voice needs a name");
    if (parser.isSet(QStringLiteral("format")) && o.format.trimmed().isEmpty())
        o.error = QStringLiteral("--format needs the name of an audio format");
    if (parser.isSet(QStringLiteral("config")) && o.config.isEmpty())
        o.error = QStringLiteral("--config needs a file");
    struct Level
    {
        const char *name;
        std::optional<int> *value;
    };
    for (const Level &level :
         {Level{"rate", &o.rate}, Level{"pitch", &o.pitch}, Level{"volume", &o.volume}}) {
        const QString name = QLatin1String(level.name);
        if (!parser.isSet(name))
            continue;
        bool ok = false;
        const int n = parser.value(name).toInt(&ok);
        if (!ok)
            o.error = QStringLiteral("--%1 needs a whole number, not \"%2\"")
                          .arg(name, parser.value(name));
        else
            *level.value = n;
    }
    return o;
}

bool RunOptions::overridesSettings() const
{
    return !voice.isEmpty() || !format.isEmpty() || rate || pitch || volume;
}

QStringList RunOptions::toArguments() const
{
    QStringList a;
    auto add = [&a](const char *name, const QString &value) {
        if (!value.isEmpty())
            a << QLatin1String("--") + QLatin1String(name) << value;
    };
    add("voice", voice);
    add("format", format);
    add("config", config);
    add("rate", rate ? QString::number(*rate) : QString());
    add("pitch", pitch ? QString::number(*pitch) : QString());
    add("volume", volume ? QString::number(*volume) : QString());
    return a;
}

QString RunOptions::usage()
{
    return CommandLine::usage() +
           QCoreApplication::translate(
               "RunOptions",
               "\n"
               "Options, for this run only (the saved settings are not changed):\n"
               "  --list-voices      print the voices, one a line: name, language tag, gender,\n"
               "                     family (built-in or external); then end\n"
               "  --voice NAME       the voice, by its name as listed (case does not matter)\n"
               "  --rate N           speed, -10 to 10\n"
               "  --pitch N          pitch, -10 to 10\n"
               "  --volume N         volume, 0 to 100\n"
               "  --format TEXT      the audio format as the list names it, e.g. \"22 kHz 16 Bit "
               "Mono\"\n"
               "  --config FILE      read the settings from FILE (and write them there, unless\n"
               "                     the run overrides some); give each concurrent run its own\n"
               "  --inputs           every name after /wav or /mp3 is an input (three or more\n"
               "                     names are inputs anyway); each output lies beside its input\n"
               "  --version          print the version and end\n"
               "\n"
               "A FILE of \"-\" is standard input; an OUTPUT of \"-\" is standard output (a text\n"
               "read from standard input without an OUTPUT goes there too).\n"
               "\n"
               "Exit status: 0 success, 1 other failure (no display, a run cut short), 2 bad\n"
               "arguments (an unknown option, a value out of range, a voice not installed),\n"
               "3 an input missing or unreadable or without text, 4 the target could not be\n"
               "written (or lame is missing), 5 no voice installed. With several inputs: 0 only\n"
               "if every one succeeded, else the status of the last failure.\n");
}

} // namespace tonaris
