#include "documents/Converters.h"

#include "config/AppPaths.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <QUrl>

#include <sched.h>
#include <sys/resource.h>

namespace tonaris::Converters {

QString FindProgram(const QString &name)
{
    const QFileInfo beside(ProgramFolder() + QLatin1Char('/') + name);
    if (beside.isFile() && beside.isExecutable())
        return beside.absoluteFilePath();
    return QStandardPaths::findExecutable(name);
}

Result Run(const QString &program, const QStringList &arguments, int timeoutMs, bool idle)
{
    Result result;
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    if (idle) {
        process.setChildProcessModifier([] {
            setpriority(PRIO_PROCESS, 0, 19);
            sched_param param{};
            sched_setscheduler(0, SCHED_IDLE, &param);
        });
    }
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    bool timedOut = false;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, [&](QProcess::ProcessError e) {
        if (e == QProcess::FailedToStart)
            loop.quit();
    });
    QObject::connect(&limit, &QTimer::timeout, &loop, [&] {
        timedOut = true;
        process.kill();
    });
    process.start();
    if (!process.waitForStarted(10000))
        return result;
    result.started = true;
    limit.start(timeoutMs);
    // Output is drained as it comes, or a child writing much would block on a full pipe.
    QObject::connect(&process, &QProcess::readyReadStandardOutput, &loop,
                     [&] { result.output += process.readAllStandardOutput(); });
    QObject::connect(&process, &QProcess::readyReadStandardError, &loop,
                     [&] { result.errors += process.readAllStandardError(); });
    if (process.state() != QProcess::NotRunning)
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
    }
    result.output += process.readAllStandardOutput();
    result.errors += process.readAllStandardError();
    result.finished = !timedOut && process.exitStatus() == QProcess::NormalExit;
    result.exitCode = result.finished ? process.exitCode() : -1;
    return result;
}

QString OfficeProgram()
{
    for (const char *name : {"soffice", "libreoffice"}) {
        const QString found = FindProgram(QLatin1String(name));
        if (!found.isEmpty())
            return found;
    }
    return {};
}

bool OfficeConvert(const QString &input, const QString &filter, const QString &extension,
                   QByteArray &out, QString &error)
{
    const QString office = OfficeProgram();
    if (office.isEmpty()) {
        error = QStringLiteral("LibreOffice is not installed");
        return false;
    }
    QTemporaryDir work;
    if (!work.isValid()) {
        error = work.errorString();
        return false;
    }
    const QString profile = work.filePath(QStringLiteral("profile"));
    const QString outDir = work.filePath(QStringLiteral("out"));
    QDir().mkpath(outDir);
    const Result run =
        Run(office,
            {QStringLiteral("--headless"), QStringLiteral("--norestore"),
             QStringLiteral("-env:UserInstallation=") +
                 QUrl::fromLocalFile(profile).toString(QUrl::FullyEncoded),
             QStringLiteral("--convert-to"), filter, QStringLiteral("--outdir"), outDir, input},
            180000);
    const QString produced =
        outDir + QLatin1Char('/') + QFileInfo(input).completeBaseName() + extension;
    QFile file(produced);
    if (!run.ok() || !file.open(QIODevice::ReadOnly)) {
        error = run.started ? QStringLiteral("LibreOffice could not convert the file")
                            : QStringLiteral("LibreOffice could not be started");
        return false;
    }
    out = file.readAll();
    return true;
}

} // namespace tonaris::Converters
