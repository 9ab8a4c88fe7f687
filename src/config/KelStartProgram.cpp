#include "config/KelStartProgram.h"

#include "config/KelPathManager.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QStandardPaths>

#include <sched.h>
#include <sys/resource.h>

namespace tonaris::KelStartProgram {

namespace {

QPointer<QProcess> runningChild;
int lastExitCode = -1;

// Resolves what execve would run, so that a non-executable file is refused before forking.
QString executableFor(const QString &program)
{
    if (program.isEmpty())
        return QString();
    if (!program.contains(u'/'))
        return QStandardPaths::findExecutable(program);
    const QFileInfo info(program);
    return info.isFile() && info.isExecutable() ? program : QString();
}

// Nice 19 alone still takes a share of a busy processor; SCHED_IDLE runs only when it is idle.
void lowerPriority(pid_t pid)
{
    setpriority(PRIO_PROCESS, id_t(pid), 19);
    sched_param param{};
    param.sched_priority = 0;
    sched_setscheduler(pid, SCHED_IDLE, &param);
}

void configure(QProcess &process, const QString &program, const QStringList &arguments, bool show,
               Priority priority)
{
    process.setProgram(program);
    process.setArguments(arguments);
    if (show) {
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.setInputChannelMode(QProcess::ForwardedInputChannel);
    } else {
        process.setStandardInputFile(QProcess::nullDevice());
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
    }
    if (priority == Priority::Idle) {
        // Runs in the forked child before exec: only async-signal-safe system calls here.
        process.setChildProcessModifier([] { lowerPriority(0); });
    }
}

qint64 startOnItsOwn(const QString &executable, const QStringList &arguments, bool show,
                     Priority priority)
{
    QProcess process;
    configure(process, executable, arguments, show, priority);
    qint64 pid = 0;
    if (!process.startDetached(&pid))
        return 0;
    // A detached start skips the child modifier, so the priority is lowered from here, a moment
    // after exec.
    if (priority == Priority::Idle)
        lowerPriority(pid_t(pid));
    return pid;
}

} // namespace

qint64 StartProgram(const QString &program, const QStringList &arguments, bool wait, bool show,
                    Priority priority)
{
    if (runningChild)
        return 0;
    const QString executable = executableFor(program);
    if (executable.isEmpty())
        return 0;

    if (!wait)
        return startOnItsOwn(executable, arguments, show, priority);

    QProcess process;
    configure(process, executable, arguments, show, priority);
    lastExitCode = -1;
    process.start();
    // Reports only whether exec succeeded; the child itself is not waited for here.
    if (!process.waitForStarted())
        return 0;
    const qint64 pid = process.processId();
    runningChild = &process;

    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    if (process.state() != QProcess::NotRunning)
        loop.exec();
    if (process.state() != QProcess::NotRunning) {
        // The loop was told to leave while the child still ran: the program is shutting down.
        process.kill();
        process.waitForFinished(5000);
    }
    runningChild = nullptr;
    if (process.exitStatus() == QProcess::NormalExit && process.error() != QProcess::Crashed)
        lastExitCode = process.exitCode();
    return pid;
}

qint64 StartProgram(const QString &commandLine, bool wait, bool show, Priority priority)
{
    if (!commandLine.startsWith(u'"') && !commandLine.endsWith(u'"'))
        return StartProgram(commandLine, QStringList(), wait, show, priority);
    QStringList arguments = KelPathManager::SplitPathArguments(commandLine);
    if (arguments.isEmpty())
        return 0;
    const QString program = arguments.takeFirst();
    return StartProgram(program, arguments, wait, show, priority);
}

void KillProgram()
{
    if (runningChild)
        runningChild->kill();
}

qint64 RunningChild()
{
    return runningChild ? runningChild->processId() : 0;
}

int LastExitCode()
{
    return lastExitCode;
}

bool OpenDocument(const QString &path)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists())
        return false;
    // xdg-utils is not on every system; GLib's opener follows the same associations.
    // An absolute path cannot be mistaken for an option of either.
    QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    QStringList arguments{info.absoluteFilePath()};
    if (opener.isEmpty()) {
        opener = QStandardPaths::findExecutable(QStringLiteral("gio"));
        arguments.prepend(QStringLiteral("open"));
    }
    if (opener.isEmpty())
        return false;
    QProcess process;
    process.setProgram(opener);
    process.setArguments(arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    return process.startDetached();
}

bool ExecuteOrOpen(const QString &path, const QStringList &arguments)
{
    // Not bound by the one-child rule: nothing waits for this one.
    const QString executable = executableFor(path);
    if (!executable.isEmpty())
        return startOnItsOwn(executable, arguments, true, Priority::Normal) != 0;
    return OpenDocument(path);
}

} // namespace tonaris::KelStartProgram
