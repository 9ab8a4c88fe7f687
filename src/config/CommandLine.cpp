#include "config/CommandLine.h"

#include <QCoreApplication>

namespace tonaris {

CommandLine CommandLine::parse(const QStringList &arguments, bool inputsOnly)
{
    CommandLine c;
    QStringList args;
    for (const QString &a : arguments) {
        if (a.compare(QLatin1String("/hidden"), Qt::CaseInsensitive) == 0) {
            c.hidden = true;
            continue;
        }
        if (a == QLatin1String("--help") || a == QLatin1String("-h") || a == QLatin1String("/?")) {
            c.help = true;
            continue;
        }
        if (!a.isEmpty())
            args.append(a);
    }
    const qsizetype n = args.size();
    if (n == 0)
        return c;
    const QString command = args.at(0).toLower();
    if (n == 1) {
        c.action = Open;
        c.file = args.at(0).trimmed();
    } else if (n == 2 && command == QLatin1String("/play")) {
        c.action = Play;
        c.file = args.at(1).trimmed();
    } else if ((n >= 4 || (n == 3 && inputsOnly)) &&
               (command == QLatin1String("/wav") || command == QLatin1String("/mp3"))) {
        // Several inputs: each is saved beside itself, by a run of its own.
        c.action = Save;
        for (qsizetype i = 1; i < n; ++i)
            c.files.append(args.at(i).trimmed());
        c.outputFormat = command.right(3) == QLatin1String("mp3") ? 0 : 1;
    } else if ((n == 2 || n == 3) &&
               (command == QLatin1String("/wav") || command == QLatin1String("/mp3"))) {
        c.action = Save;
        c.file = args.at(1).trimmed();
        if (n == 3) {
            c.output = args.at(2);
        } else {
            // The input without its extension; the save appends the target's own.
            const qsizetype slash = c.file.lastIndexOf(QLatin1Char('/'));
            const qsizetype dot = c.file.lastIndexOf(QLatin1Char('.'));
            c.output = dot > slash + 1 ? c.file.left(dot) : c.file;
        }
        c.outputFormat = command.right(3) == QLatin1String("mp3") ? 0 : 1;
    } else {
        c.ignored = true;
    }
    return c;
}

QString CommandLine::usage()
{
    return QCoreApplication::translate(
        "CommandLine",
        "Usage: tonaris [/hidden] [FILE | /play FILE | /wav FILE [OUTPUT] | /mp3 FILE [OUTPUT]]\n"
        "\n"
        "  FILE               open the text in the editor\n"
        "  /play FILE         open the text and read it aloud, with the window minimised\n"
        "  /wav FILE [OUTPUT] save the text as OUTPUT.wav (default: FILE without its "
        "extension) and end\n"
        "  /mp3 FILE [OUTPUT] save the text as OUTPUT.mp3 (needs the program lame) and end\n"
        "  /wav|/mp3 FILE FILE FILE...\n"
        "                     save each text beside itself\n"
        "  /hidden            no window; without a display no screen is needed. A failure is\n"
        "                     told on standard error and the exit status is not 0\n"
        "  --help             this text\n"
        "\n"
        "Switches may be written in any case. The audio format, the voice, the volumes and the\n"
        "spoken titles are those chosen last in the window, unless the options below say\n"
        "otherwise.\n");
}

} // namespace tonaris
