#include "audio/AudioOutput.h"
#include "config/AppPaths.h"
#include "config/CommandLine.h"
#include "config/Dialogs.h"
#include "config/RunOptions.h"
#include "shell/Form1.h"
#include "shell/WidgetDialogs.h"
#include "voices/EspeakEngine.h"
#include "voices/ExternalVoices.h"
#include "voices/RenderFarm.h"
#include "voices/VoiceCatalogue.h"

#include <QApplication>
#include <QDir>
#include <QMutex>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// In a hidden run what Qt and the sound server remark on goes to a log in the cache folder, so
// that standard error holds the run's own one line. While Qt starts, a window's run holds the
// remarks back until the platform is up: one that cannot start (no reachable display) ends the
// program with one line and status 1 instead of Qt's abort.
QMutex logMutex;
std::FILE *logFile = nullptr;
QByteArray logPath;
bool hiddenRun = false;
QList<std::pair<QtMsgType, QString>> heldBack;

void quietMessage(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtFatalMsg) {
        std::fputs(hiddenRun ? "Tonaris: the display could not be opened: unset DISPLAY and "
                               "WAYLAND_DISPLAY to run hidden without one.\n"
                             : "Tonaris: no display could be opened: use /hidden to save audio "
                               "without one (see --help).\n",
                   tonaris::ConsoleDialogs::stream());
        std::fflush(tonaris::ConsoleDialogs::stream());
        std::_Exit(1);
    }
    const QMutexLocker lock(&logMutex);
    if (!hiddenRun) {
        heldBack.append({type, text});
        return;
    }
    if (!logFile && !logPath.isEmpty()) {
        // Concurrent runs share the log: each line is appended whole, with the run's process
        // number; a log grown past a megabyte starts again.
        struct stat info;
        if (::stat(logPath.constData(), &info) == 0 && info.st_size > 1024 * 1024)
            std::remove(logPath.constData());
        logFile = std::fopen(logPath.constData(), "a");
        logPath.clear(); // one try
    }
    if (logFile) {
        std::fprintf(logFile, "[%lld] %s\n", static_cast<long long>(::getpid()),
                     text.toLocal8Bit().constData());
        std::fflush(logFile);
    }
}

void tell(const QString &line)
{
    std::FILE *out = tonaris::ConsoleDialogs::stream();
    std::fputs(("Tonaris: " + line + QLatin1Char('\n')).toLocal8Bit().constData(), out);
    std::fflush(out);
}

// Libraries and helper programs print to standard error themselves (the sound server's client,
// a document converter): a hidden run sends that file descriptor to the log as well and keeps a
// copy of the real one for its own lines. Left as it is when the log cannot be opened.
void standardErrorToLog()
{
    struct stat info;
    if (::stat(logPath.constData(), &info) == 0 && info.st_size > 1024 * 1024)
        std::remove(logPath.constData());
    const int log = ::open(logPath.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (log < 0)
        return;
    const int terminal = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    std::FILE *own = terminal >= 0 ? ::fdopen(terminal, "w") : nullptr;
    if (own && ::dup2(log, STDERR_FILENO) >= 0) {
        std::setvbuf(own, nullptr, _IONBF, 0);
        tonaris::ConsoleDialogs::setStream(own);
        logFile = stderr; // Qt's remarks go the same way
        logPath.clear();
    } else if (own) {
        std::fclose(own);
    } else if (terminal >= 0) {
        ::close(terminal);
    }
    ::close(log);
}

// --list-voices: the voices of both families, one a line, tab-separated.
int listVoices(int argc, char *argv[])
{
    hiddenRun = true; // what the engines remark on goes to the log
    QCoreApplication app(argc, argv);
    tonaris::AudioOutput::setDevicesWanted(false);
    struct Family
    {
        QList<tonaris::VoiceInfo> voices;
        int kind;
        const char *name;
    };
    QList<Family> families;
    if (tonaris::EspeakEngine::available()) {
        tonaris::EspeakEngine engine;
        families.append({engine.GetVoices(), tonaris::EngineKindBuiltIn, "built-in"});
    }
    QList<tonaris::VoiceInfo> external;
    for (const tonaris::ExternalVoice &voice : tonaris::ExternalVoices::discover())
        external.append(voice.info);
    families.append({external, tonaris::EngineKindExternal, "external"});
    int count = 0;
    for (const Family &family : std::as_const(families)) {
        const QList<tonaris::VoiceRecord> records =
            tonaris::BuildVoiceRecords(family.voices, family.kind);
        for (qsizetype i = 0; i < records.size(); ++i) {
            const QString tag = family.voices.at(i).languageTag;
            const QString line = records.at(i).Name + QLatin1Char('\t') +
                                 (tag.isEmpty() ? QStringLiteral("-") : tag) + QLatin1Char('\t') +
                                 records.at(i).Gender.toLower() + QLatin1Char('\t') +
                                 QLatin1String(family.name) + QLatin1Char('\n');
            std::fputs(line.toUtf8().constData(), stdout);
            ++count;
        }
    }
    std::fflush(stdout);
    if (count == 0)
        tell(QStringLiteral("no voice is installed (package espeak-ng-data)."));
    return count ? tonaris::ExitSuccess : tonaris::ExitNoVoice;
}

// Several inputs: one run of this program for each, in turn, each writing beside its input.
// Every run tells its own failure; the status is 0 only when all succeeded.
int saveEach(int argc, char *argv[], const tonaris::RunOptions &options,
             const tonaris::CommandLine &commandLine)
{
    QCoreApplication app(argc, argv);
    int status = tonaris::ExitSuccess;
    for (const QString &file : commandLine.files) {
        QStringList arguments = options.toArguments();
        if (commandLine.hidden)
            arguments.append(QStringLiteral("/hidden"));
        arguments << (commandLine.outputFormat == 1 ? QStringLiteral("/wav")
                                                    : QStringLiteral("/mp3"))
                  << QStringLiteral("--") << file;
        QProcess run;
        run.setProcessChannelMode(QProcess::ForwardedChannels);
        run.setInputChannelMode(QProcess::ForwardedInputChannel);
        run.start(QCoreApplication::applicationFilePath(), arguments);
        if (!run.waitForFinished(-1) || run.exitStatus() != QProcess::NormalExit) {
            tell(QStringLiteral("the save of %1 ended abnormally.").arg(file));
            status = tonaris::ExitFailure;
        } else if (run.exitCode() != 0) {
            status = run.exitCode();
        }
    }
    return status;
}

// Standard input into a file of the private folder; false, told, when it cannot be read.
bool readStandardInput(const QString &path)
{
    QFile in, out(path);
    if (!in.open(stdin, QIODevice::ReadOnly) || !out.open(QIODevice::WriteOnly)) {
        tell(QStringLiteral("standard input cannot be read."));
        return false;
    }
    char buffer[65536];
    for (qint64 n; (n = in.read(buffer, sizeof buffer)) > 0;)
        if (out.write(buffer, n) != n) {
            tell(QStringLiteral("standard input cannot be kept: %1").arg(out.errorString()));
            return false;
        }
    return true;
}

// The finished audio onto standard output.
bool writeStandardOutput(const QString &path)
{
    QFile in(path), out;
    if (!in.open(QIODevice::ReadOnly)) {
        tell(QStringLiteral("volumes cannot go to standard output: save them into a folder."));
        return false;
    }
    if (!out.open(stdout, QIODevice::WriteOnly)) {
        tell(QStringLiteral("standard output cannot be written."));
        return false;
    }
    char buffer[65536];
    for (qint64 n; (n = in.read(buffer, sizeof buffer)) > 0;)
        if (out.write(buffer, n) != n) {
            tell(QStringLiteral("standard output cannot be written."));
            return false;
        }
    out.flush();
    return true;
}

bool displayNamed()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

} // namespace

int main(int argc, char *argv[])
{
    // A helper of a save running in another instance: it renders what that one hands it.
    if (argc == 2 && std::strcmp(argv[1], tonaris::RenderFarm::RenderWorkerArgument) == 0)
        return tonaris::RenderFarm::runWorker();
    // "/hidden" and "--help" are known before Qt starts: help needs no screen, and a hidden run
    // without a display runs on the offscreen platform.
    QStringList rawArguments;
    for (int i = 1; i < argc; ++i)
        rawArguments.append(QString::fromLocal8Bit(argv[i]));
    const tonaris::RunOptions options = tonaris::RunOptions::parse(rawArguments);
    if (!options.error.isEmpty()) {
        QString error = options.error;
        if (error.endsWith(QLatin1Char('.')))
            error.chop(1);
        tell(error + QStringLiteral(" (see --help)."));
        return tonaris::ExitBadArguments;
    }
    const tonaris::CommandLine early =
        tonaris::CommandLine::parse(options.rest, options.inputsOnly);
    if (early.help || options.help) {
        std::fputs(tonaris::RunOptions::usage().toLocal8Bit().constData(), stdout);
        return 0;
    }
    if (options.version) {
        std::fputs("Tonaris " TONARIS_VERSION "\n", stdout);
        return 0;
    }
    if (!options.config.isEmpty())
        tonaris::SetSettingsFile(options.config);
    if (options.listVoices)
        return listVoices(argc, argv);
    if (early.action == tonaris::CommandLine::Save && !early.files.isEmpty())
        return saveEach(argc, argv, options, early);
    const bool platformChosen = !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") ||
                                rawArguments.contains(QLatin1String("-platform"));
    if (!platformChosen && !displayNamed()) {
        if (!early.hidden) {
            std::fputs("Tonaris: no display: use /hidden to save audio without one (see --help).\n",
                       stderr);
            return 1;
        }
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    hiddenRun = early.hidden;
    const QString logFolder =
        QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
        QStringLiteral("/tonaris");
    if (hiddenRun && QDir().mkpath(logFolder)) {
        logPath = QFile::encodeName(logFolder + QStringLiteral("/hidden-run.log"));
        standardErrorToLog();
    }
    const QtMessageHandler loudMessages = qInstallMessageHandler(quietMessage);

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tonaris"));
    tonaris::RenderFarm::setWorkerProgram(QCoreApplication::applicationFilePath());
    if (!hiddenRun) {
        qInstallMessageHandler(loudMessages);
        for (const auto &[type, text] : std::as_const(heldBack))
            loudMessages(type, QMessageLogContext(), text);
        heldBack.clear();
    }
    // What is left once Qt has taken its own options (-platform, -display, ...).
    const tonaris::RunOptions late =
        tonaris::RunOptions::parse(QCoreApplication::arguments().mid(1));
    tonaris::CommandLine commandLine = tonaris::CommandLine::parse(late.rest, late.inputsOnly);
    // "-" stands for standard input and output; the files behind them are this run's own.
    QTemporaryDir pipes;
    const bool fromStandardInput =
        commandLine.action != tonaris::CommandLine::None && commandLine.file == QLatin1String("-");
    const bool toStandardOutput = commandLine.action == tonaris::CommandLine::Save &&
                                  commandLine.output == QLatin1String("-");
    if (fromStandardInput) {
        commandLine.file = pipes.filePath(QStringLiteral("standard input.txt"));
        if (!readStandardInput(commandLine.file))
            return tonaris::ExitUnreadableInput;
    }
    QString standardOutputFile;
    if (toStandardOutput) {
        standardOutputFile =
            pipes.filePath(commandLine.outputFormat == 1 ? QStringLiteral("standard output.wav")
                                                         : QStringLiteral("standard output.mp3"));
        commandLine.output = standardOutputFile;
    }
    tonaris::WidgetDialogs widgetDialogs;
    tonaris::ConsoleDialogs consoleDialogs; // a hidden run tells its messages on standard error
    tonaris::Dialogs::install(commandLine.hidden ? static_cast<tonaris::Dialogs *>(&consoleDialogs)
                                                 : &widgetDialogs);
    // Of the hidden runs only /play needs an output device: a render to a file does not.
    tonaris::AudioOutput::setDevicesWanted(!commandLine.hidden ||
                                           commandLine.action == tonaris::CommandLine::Play);
    int status = 0;
    {
        tonaris::Form1 window;
        // A run that ends by itself may never have shown its window: end the loop explicitly.
        QObject::connect(&window.session(), &tonaris::SpeechSession::unloadRequested, &app,
                         &QCoreApplication::quit, Qt::QueuedConnection);
        if (!commandLine.hidden) {
            window.show();
            window.activateWindow(); // typing goes to the editor at once, with or without a WM
        }
        QString refusal;
        const int overridden = window.ApplyRunOptions(late, &refusal);
        if (overridden != tonaris::ExitSuccess) {
            if (!refusal.isEmpty())
                tonaris::Dialogs::instance()->message(
                    &window, refusal, tonaris::Dialogs::Exclamation, QStringLiteral("Tonaris"));
            status = overridden;
            window.close();
        } else if (window.RunCommandLine(commandLine)) {
            status = QApplication::exec();
        } else {
            window.close();
        }
        if (status == 0)
            status = window.ExitStatus();
    }
    if (status == 0 && toStandardOutput && !writeStandardOutput(standardOutputFile))
        status = tonaris::ExitCannotWrite;
    tonaris::Dialogs::install(nullptr);
    // Everything of ours is written and closed with the window.
    tonaris::ExitWithoutAudioTeardown(status);
}
