#include "audio/AudioOutput.h"
#include "config/CommandLine.h"
#include "shell/Form1.h"
#include "shell/WidgetDialogs.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const tonaris::CommandLine commandLine = tonaris::CommandLine::parse(arguments);
    if (commandLine.help) {
        std::fputs(tonaris::CommandLine::usage().toLocal8Bit().constData(), stdout);
        return 0;
    }
    // A hidden run needs no screen: without a display it runs on the offscreen platform.
    if (commandLine.hidden && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") &&
        qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tonaris"));
    tonaris::WidgetDialogs widgetDialogs;
    tonaris::ConsoleDialogs consoleDialogs; // a hidden run tells its messages on standard error
    tonaris::Dialogs::install(commandLine.hidden ? static_cast<tonaris::Dialogs *>(&consoleDialogs)
                                                 : &widgetDialogs);
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
