#include "config/AppPaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QStandardPaths>

namespace tonaris {

namespace {
const QLatin1String SettingsFileName("tonaris.ini");

QString folderOrProgram(const QString &programFolder)
{
    return programFolder.isEmpty() ? ProgramFolder() : QDir::cleanPath(programFolder);
}
} // namespace

QString ProgramFolder()
{
    // Without an application object there is no executable path to ask for.
    if (!QCoreApplication::instance())
        return QDir::currentPath();
    return QCoreApplication::applicationDirPath();
}

namespace {
QString settingsOverride;
}

void SetSettingsFile(const QString &path)
{
    settingsOverride = path.isEmpty() ? QString() : QFileInfo(path).absoluteFilePath();
}

QString SettingsFilePath(const QString &programFolder)
{
    if (!settingsOverride.isEmpty())
        return settingsOverride;
    const QString folder = folderOrProgram(programFolder);
    const QString beside = folder + QLatin1Char('/') + SettingsFileName;
    if (QFileInfo(beside).isFile() && QFileInfo(folder).isWritable())
        return beside;
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/tonaris/") + SettingsFileName;
}

QStringList SideFileFolders(const QString &programFolder)
{
    const QString folder = folderOrProgram(programFolder);
    const QString candidates[] = {
        folder,
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
            QStringLiteral("/tonaris"),
        QDir::cleanPath(folder + QStringLiteral("/../share/tonaris")),
    };
    QStringList found;
    for (const QString &candidate : candidates) {
        const QFileInfo info(candidate);
        if (!info.isDir())
            continue;
        const QString canonical = info.canonicalFilePath();
        bool seen = false;
        for (const QString &f : found)
            seen = seen || QFileInfo(f).canonicalFilePath() == canonical;
        if (!seen)
            found.append(QDir::cleanPath(candidate));
    }
    return found;
}

QStringList ListSideFiles(const QString &pattern, const QString &programFolder)
{
    QMap<QString, QString> byName; // folded name -> path; QMap keeps them sorted
    for (const QString &folder : SideFileFolders(programFolder)) {
        const QDir dir(folder);
        // QDir::match ignores case, where a name filter of entryList would not on Linux.
        for (const QString &name : dir.entryList(QDir::Files | QDir::Readable)) {
            if (!QDir::match(pattern, name))
                continue;
            const QString key = name.toCaseFolded();
            if (!byName.contains(key))
                byName.insert(key, dir.filePath(name));
        }
    }
    return byName.values();
}

QString FindSideFile(const QString &fileName, const QString &programFolder)
{
    for (const QString &folder : SideFileFolders(programFolder)) {
        const QDir dir(folder);
        if (dir.exists(fileName))
            return dir.filePath(fileName);
        for (const QString &name : dir.entryList(QDir::Files | QDir::Readable)) {
            if (name.compare(fileName, Qt::CaseInsensitive) == 0)
                return dir.filePath(name);
        }
    }
    return QString();
}

} // namespace tonaris
