#include "conversation/AsrModels.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace tonaris {

namespace {

QString firstFile(const QDir &dir, const QStringList &patterns)
{
    for (const QString &pattern : patterns) {
        // A phone language model lies beside the word one in some models; it cannot dictate.
        for (const QString &file : dir.entryList({pattern}, QDir::Files, QDir::Name))
            if (!file.contains(QStringLiteral("phone")))
                return dir.filePath(file);
    }
    return QString();
}

QString acousticFolder(const QDir &dir)
{
    if (dir.exists(QStringLiteral("mdef")))
        return dir.path();
    for (const QString &sub : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QDir inner(dir.filePath(sub));
        if (inner.exists(QStringLiteral("mdef")))
            return inner.path();
    }
    return QString();
}

} // namespace

QStringList AsrModelRoots()
{
    QStringList roots{QStringLiteral("/usr/share/pocketsphinx/model")};
    for (const QString &data :
         QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation))
        roots.append(data + QStringLiteral("/tonaris/asr"));
    return roots;
}

QList<AsrModel> FindAsrModels(const QStringList &roots)
{
    QList<AsrModel> models;
    QStringList names;
    for (const QString &root : roots) {
        const QDir rootDir(root);
        for (const QString &name :
             rootDir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
            const QDir dir(rootDir.filePath(name));
            AsrModel model{name, acousticFolder(dir), firstFile(dir, {QStringLiteral("*.dict")}),
                           firstFile(dir, {QStringLiteral("*.lm.bin"), QStringLiteral("*.lm"),
                                           QStringLiteral("*.lm.DMP")})};
            if (model.acousticModel.isEmpty() || model.dictionary.isEmpty() || names.contains(name))
                continue;
            names.append(name);
            models.append(model);
        }
    }
    return models;
}

} // namespace tonaris
