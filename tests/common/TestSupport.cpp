#include "TestSupport.h"

#include "audio/AudioOutput.h"

#include <QDir>
#include <QFileInfo>
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

void leaveProcess(int status)
{
    if (privateHome)
        privateHome->remove();
    ExitWithoutAudioTeardown(status);
}

} // namespace tonaris::test
