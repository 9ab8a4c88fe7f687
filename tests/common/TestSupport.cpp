#include "TestSupport.h"

#include "audio/AudioOutput.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace tonaris::test {

namespace {
QTemporaryDir *privateHome = nullptr;
}

void isolateEnvironment()
{
    static QTemporaryDir home;
    privateHome = &home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/config")).toUtf8());
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/data")).toUtf8());
    QStandardPaths::setTestModeEnabled(true);
}

QString corpusFile(const QString &name)
{
    const QString path = QStringLiteral(TONARIS_SHARED_DIR "/corpus/") + name;
    return QFileInfo::exists(path) ? path : QString();
}

bool SayIntoMicrophone(const QString &text)
{
    QTemporaryDir dir;
    const QString speech = dir.filePath(QStringLiteral("speech.wav"));
    const QString noise = dir.filePath(QStringLiteral("noise.wav"));
    const QString room = dir.filePath(QStringLiteral("room.wav"));
    auto run = [](const char *program, const QStringList &arguments) {
        return QProcess::execute(QLatin1String(program), arguments) == 0;
    };
    using L = QLatin1String;
    return run("espeak-ng", {L("-v"), L("en-us"), L("-w"), speech, text}) &&
           run("sox", {speech, room, L("pad"), L("1"), L("0")}) &&
           run("sox", {L("-n"), L("-r"), L("22050"), L("-c"), L("1"), L("-b"), L("16"), noise,
                       L("synth"), L("4"), L("whitenoise"), L("vol"), L("0.002"), L("fade"),
                       L("1"), L("4"), L("0")}) &&
           run("sox", {L("-m"), L("-v"), L("1"), room, L("-v"), L("1"), noise, speech}) &&
           run("paplay", {speech});
}

void leaveProcess(int status)
{
    if (privateHome)
        privateHome->remove();
    ExitWithoutAudioTeardown(status);
}

} // namespace tonaris::test
