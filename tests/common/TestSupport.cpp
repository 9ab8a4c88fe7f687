#include "TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace tonaris::test {

void isolateEnvironment()
{
    static QTemporaryDir home;
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

} // namespace tonaris::test
