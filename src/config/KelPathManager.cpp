#include "config/KelPathManager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <functional>

namespace tonaris {

namespace {

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t';
}

// Classic wildcard walk: on a mismatch after a "*", let that star swallow one more character.
bool matchWildcard(QStringView text, QStringView mask)
{
    qsizetype t = 0, m = 0, starMask = -1, starText = 0;
    while (t < text.size()) {
        if (m < mask.size() && mask[m] == u'*') {
            starMask = m++;
            starText = t;
        } else if (m < mask.size() &&
                   (mask[m] == u'?' || mask[m].toCaseFolded() == text[t].toCaseFolded())) {
            ++m;
            ++t;
        } else if (starMask >= 0) {
            m = starMask + 1;
            t = ++starText;
        } else {
            return false;
        }
    }
    while (m < mask.size() && mask[m] == u'*')
        ++m;
    return m == mask.size();
}

QString joinPath(const QString &folder, const QString &name)
{
    if (folder.endsWith(u'/'))
        return folder + name;
    return folder + u'/' + name;
}

bool sameIgnoringCase(const QString &a, const QString &b)
{
    // toUpper as well, because the keyword line was upper-cased that way ("ß" became "SS").
    return a.compare(b, Qt::CaseInsensitive) == 0 || a.toUpper() == b.toUpper();
}

} // namespace

bool KelPathManager::KillFile(const QString &In_FilePath)
{
    const QFileInfo info(In_FilePath);
    if (In_FilePath.isEmpty() || (info.isDir() && !info.isSymLink()))
        return false;
    return QFile::remove(In_FilePath);
}

QString KelPathManager::GetExtension(const QString &In_Path)
{
    const QString name = GetFileName(In_Path);
    if (name == u"." || name == u"..")
        return QString();
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot > 0 ? name.mid(dot) : QString();
}

QString KelPathManager::RemoveExtension(const QString &In_Path)
{
    return In_Path.chopped(GetExtension(In_Path).size());
}

QString KelPathManager::GetFileName(const QString &In_Path)
{
    return In_Path.mid(In_Path.lastIndexOf(u'/') + 1);
}

QString KelPathManager::GetRoot(const QString &In_Path)
{
    return In_Path.startsWith(u'/') ? QStringLiteral("/") : QString();
}

QString KelPathManager::GetPath(const QString &In_Path)
{
    return In_Path.left(In_Path.lastIndexOf(u'/') + 1);
}

QString KelPathManager::GetUpperPath(const QString &In_Path)
{
    const qsizetype slash = In_Path.lastIndexOf(u'/');
    if (slash < 0)
        return QString();
    return slash == 0 ? QStringLiteral("/") : In_Path.left(slash);
}

void KelPathManager::PathSplit(QString In_Path, QString &Out_PathRoot, QString &Out_PathMedium,
                               QString &Out_DirOrFile)
{
    Out_PathRoot = GetRoot(In_Path);
    const QString rest = In_Path.mid(Out_PathRoot.size());
    const qsizetype slash = rest.lastIndexOf(u'/');
    Out_PathMedium = rest.left(slash + 1);
    Out_DirOrFile = rest.mid(slash + 1);
}

QString KelPathManager::BuildPathAndArguments(const QString &In_Path, const QString &In_Arguments)
{
    const bool quote = std::any_of(In_Path.cbegin(), In_Path.cend(), isBlank);
    QString result = In_Path;
    if (quote)
        result = u'"' + In_Path + u'"';
    if (!In_Arguments.isEmpty())
        result += u' ' + In_Arguments;
    return result;
}

void KelPathManager::GetPathAndArguments(QString In_PathAndArguments, QString &Out_Path,
                                         QString &Out_Arguments)
{
    const QString text = In_PathAndArguments.trimmed();
    bool quoted = false;
    qsizetype end = 0;
    for (; end < text.size(); ++end) {
        if (text[end] == u'"')
            quoted = !quoted;
        else if (!quoted && isBlank(text[end]))
            break;
    }
    Out_Path = text.left(end).remove(u'"');
    Out_Arguments = text.mid(end).trimmed();
}

QString KelPathManager::GetPathFromPathWithEnvironment(const QString &In_PathWithEnvironment)
{
    static const QRegularExpression reference(QStringLiteral(
        R"(%([A-Za-z_][A-Za-z0-9_]*)%|\$\{([A-Za-z_][A-Za-z0-9_]*)\}|\$([A-Za-z_][A-Za-z0-9_]*))"));
    QString result;
    qsizetype done = 0;
    auto it = reference.globalMatch(In_PathWithEnvironment);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        QString name = match.captured(1);
        if (name.isEmpty())
            name = match.captured(2);
        if (name.isEmpty())
            name = match.captured(3);
        result += QStringView(In_PathWithEnvironment).sliced(done, match.capturedStart() - done);
        result += qEnvironmentVariableIsSet(name.toLocal8Bit().constData())
                      ? qEnvironmentVariable(name.toLocal8Bit().constData())
                      : match.captured();
        done = match.capturedEnd();
    }
    return result + QStringView(In_PathWithEnvironment).sliced(done);
}

bool KelPathManager::ValidatePathMask(const QString &In_Path, const QString &in_Mask)
{
    const QStringList masks = in_Mask.split(u';', Qt::SkipEmptyParts);
    return std::any_of(masks.cbegin(), masks.cend(), [&](const QString &rawMask) {
        const QString mask = rawMask.trimmed();
        return mask == u"*.*" || (!mask.isEmpty() && matchWildcard(In_Path, mask));
    });
}

void KelPathManager::AddBackSlash(QString &In_Out_Path)
{
    if (!In_Out_Path.isEmpty() && !In_Out_Path.endsWith(u'/'))
        In_Out_Path += u'/';
}

void KelPathManager::RemoveBackSlash(QString &In_Out_Path)
{
    while (In_Out_Path.size() > 1 && In_Out_Path.endsWith(u'/'))
        In_Out_Path.chop(1);
}

bool KelPathManager::ExistPath(const QString &Path)
{
    return !Path.isEmpty() && QFileInfo::exists(Path);
}

bool KelPathManager::ExistDirectory(const QString &Path)
{
    return !Path.isEmpty() && QFileInfo(Path).isDir();
}

bool KelPathManager::ExistFile(const QString &Path)
{
    const QFileInfo info(Path);
    return !Path.isEmpty() && info.exists() && !info.isDir();
}

QStringList KelPathManager::SplitPathArguments(const QString &commandText)
{
    const QString text = commandText.trimmed();
    QStringList arguments;
    QString current;
    bool started = false;
    bool quoted = false;
    for (const QChar c : text) {
        if (c == u'"') {
            quoted = !quoted;
            started = true;
        } else if (!quoted && isBlank(c)) {
            if (started)
                arguments.append(current);
            current.clear();
            started = false;
        } else {
            current += c;
            started = true;
        }
    }
    if (started)
        arguments.append(current);
    return arguments;
}

QString KelPathManager::FindFileCaseInsensitive(const QString &path, const QString &baseFolder)
{
    if (path.trimmed().isEmpty())
        return QString();
    const QDir base(baseFolder.isEmpty() ? QDir::currentPath() : baseFolder);
    const QString wanted = QDir::cleanPath(base.absoluteFilePath(path));
    const QStringList components = wanted.split(u'/', Qt::SkipEmptyParts);

    std::function<QString(const QString &, qsizetype)> search;
    search = [&](const QString &folder, qsizetype index) -> QString {
        if (index == components.size())
            return folder;
        const QString &component = components[index];
        QStringList candidates;
        if (QFileInfo::exists(joinPath(folder, component)))
            candidates.append(component);
        QStringList others;
        const QStringList entries = QDir(folder).entryList(
            QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::NoSort);
        for (const QString &entry : entries) {
            if (entry != component && sameIgnoringCase(entry, component))
                others.append(entry);
        }
        std::sort(others.begin(), others.end());
        candidates += others;
        for (const QString &candidate : std::as_const(candidates)) {
            const QString found = search(joinPath(folder, candidate), index + 1);
            if (!found.isEmpty())
                return found;
        }
        return QString();
    };
    return search(QStringLiteral("/"), 0);
}

} // namespace tonaris
