#include "audio/AudioOutput.h"
#include "config/CommandLine.h"
#include "shell/Form1.h"
#include "shell/WidgetDialogs.h"

#include <QApplication>
#include <QDir>
#include <QMutex>
#include <QStandardPaths>

#include <cstdio>
#include <cstdlib>

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
                   stderr);
        std::fflush(stderr);
        std::_Exit(1);
    }
    const QMutexLocker lock(&logMutex);
    if (!hiddenRun) {
        heldBack.append({type, text});
        return;
    }
    if (!logFile && !logPath.isEmpty()) {
        logFile = std::fopen(logPath.constData(), "w");
        logPath.clear(); // one try
    }
    if (logFile) {
        std::fprintf(logFile, "%s\n", text.toLocal8Bit().constData());
        std::fflush(logFile);
    }
}

bool displayNamed()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

} // namespace

int main(int argc, char *argv[])
{
    // "/hidden" and "--help" are known before Qt starts: help needs no screen, and a hidden run
    // without a display runs on the offscreen platform.
    QStringList rawArguments;
    for (int i = 1; i < argc; ++i)
        rawArguments.append(QString::fromLocal8Bit(argv[i]));
    const tonaris::CommandLine early = tonaris::CommandLine::parse(rawArguments);
    if (early.help) {
        std::fputs(tonaris::CommandLine::usage().toLocal8Bit().constData(), stdout);
        return 0;
    }
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
    if (hiddenRun && QDir().mkpath(logFolder))
        logPath = QFile::encodeName(logFolder + QStringLiteral("/hidden-run.log"));
    const QtMessageHandler loudMessages = qInstallMessageHandler(quietMessage);

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tonaris"));
    if (!hiddenRun) {
        qInstallMessageHandler(loudMessages);
        for (const auto &[type, text] : std::as_const(heldBack))
            loudMessages(type, QMessageLogContext(), text);
        heldBack.clear();
    }
    // What is left once Qt has taken its own options (-platform, -display, ...).
    const tonaris::CommandLine commandLine =
        tonaris::CommandLine::parse(QCoreApplication::arguments().mid(1));
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
        if (window.RunCommandLine(commandLine))
            status = QApplication::exec();
        else
            window.close();
        if (status == 0)
            status = window.ExitStatus();
    }
    tonaris::Dialogs::install(nullptr);
    // Everything of ours is written and closed with the window.
    tonaris::ExitWithoutAudioTeardown(status);
}
