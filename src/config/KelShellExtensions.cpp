#include "config/KelShellExtensions.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace tonaris {

const QStringList KelShellExtensions::DocumentExtensions = {
    QStringLiteral("txt"),  QStringLiteral("doc"), QStringLiteral("htm"),
    QStringLiteral("html"), QStringLiteral("rtf"), QStringLiteral("pdf")};

namespace {

const QString ScriptMark = QStringLiteral("# Tonaris verb: ");

QString bareExtension(const QString &extension)
{
    QString e = extension.trimmed().toLower();
    if (e.startsWith(QLatin1Char('.')))
        e.remove(0, 1);
    return e;
}

// "Tonaris Speak" -> "tonaris-speak": the verb's part of its file names.
QString slugOf(const QString &keyName)
{
    QString slug;
    for (const QChar c : keyName.trimmed().toLower())
        slug += c.isLetterOrNumber() ? c : QLatin1Char('-');
    return slug;
}

// A desktop entry's string value: backslash and control characters escaped.
QString escapeValue(const QString &value)
{
    QString out;
    for (const QChar c : value) {
        if (c == QLatin1Char('\\'))
            out += QLatin1String("\\\\");
        else if (c == QLatin1Char('\n'))
            out += QLatin1String("\\n");
        else if (c == QLatin1Char('\r'))
            out += QLatin1String("\\r");
        else if (c == QLatin1Char('\t'))
            out += QLatin1String("\\t");
        else
            out += c;
    }
    return out;
}

// One word for a POSIX shell, in single quotes.
QString shellWord(const QString &word)
{
    QString quoted = word;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

bool writeFile(const QString &path, const QString &text, bool executable)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(text.toUtf8());
    if (!file.commit())
        return false;
    if (executable)
        QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner | QFile::ExeUser |
                                        QFile::ExeGroup | QFile::ExeOther);
    return true;
}

bool removeFile(const QString &path)
{
    return !QFileInfo::exists(path) || QFile::remove(path);
}

} // namespace

KelShellExtensions::KelShellExtensions(const QString &dataFolder)
    : m_data(dataFolder.isEmpty()
                 ? QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                 : dataFolder)
{}

QStringList KelShellExtensions::MimeTypesOf(const QString &extension)
{
    const QString e = bareExtension(extension);
    if (e == QLatin1String("txt"))
        return {QStringLiteral("text/plain")};
    if (e == QLatin1String("doc"))
        return {QStringLiteral("application/msword")};
    if (e == QLatin1String("htm") || e == QLatin1String("html"))
        return {QStringLiteral("text/html")};
    if (e == QLatin1String("rtf"))
        return {QStringLiteral("application/rtf"), QStringLiteral("text/rtf")};
    if (e == QLatin1String("pdf"))
        return {QStringLiteral("application/pdf")};
    return {};
}

QString KelShellExtensions::DesktopExec(const QStringList &command)
{
    QStringList words;
    for (const QString &argument : command) {
        QString word = QStringLiteral("\"");
        for (const QChar c : argument) {
            if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') ||
                c == QLatin1Char('\\'))
                word += QLatin1Char('\\');
            word += c;
            if (c == QLatin1Char('%'))
                word += QLatin1Char('%'); // "%%" is a literal "%"
        }
        words.append(word + QLatin1Char('"'));
    }
    words.append(QStringLiteral("%f"));
    return escapeValue(words.join(QLatin1Char(' ')));
}

QString KelShellExtensions::serviceMenuPath(const QString &extension, const QString &keyName) const
{
    return m_data + QStringLiteral("/kio/servicemenus/") + slugOf(keyName) + QLatin1Char('-') +
           bareExtension(extension) + QStringLiteral(".desktop");
}

QString KelShellExtensions::applicationPath(const QString &keyName) const
{
    return m_data + QStringLiteral("/applications/") + slugOf(keyName) + QStringLiteral(".desktop");
}

QString KelShellExtensions::scriptsFolder() const
{
    return m_data + QStringLiteral("/nautilus/scripts");
}

// The Nautilus script of a verb, found by the mark it carries: its name is the menu text,
// which depends on the language it was written in.
QString KelShellExtensions::scriptOf(const QString &keyName) const
{
    QDirIterator it(scriptsFolder(), QDir::Files);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        if (file.size() > 64 * 1024 || !file.open(QIODevice::ReadOnly))
            continue;
        if (QString::fromUtf8(file.readAll()).contains(ScriptMark + keyName + QLatin1Char('\n')))
            return path;
    }
    return {};
}

bool KelShellExtensions::ExistExplorerContextualExtension(const QString &In_Extension,
                                                          const QString &In_KeyName) const
{
    if (bareExtension(In_Extension).isEmpty())
        return false;
    return QFileInfo::exists(serviceMenuPath(In_Extension, In_KeyName));
}

bool KelShellExtensions::AddExplorerContextualExtension(const QString &In_Extension,
                                                        const QString &In_KeyName,
                                                        const QString &In_NewMenuVoice,
                                                        const QStringList &In_Command)
{
    const QString extension = bareExtension(In_Extension);
    if (extension.isEmpty() || In_Command.isEmpty())
        return false;
    const QString action = slugOf(In_KeyName).remove(QLatin1Char('-'));
    const QString mime = MimeTypesOf(extension).join(QLatin1Char(';'));
    const QString menu =
        QStringLiteral("[Desktop Entry]\n"
                       "Type=Service\n"
                       "ServiceTypes=KonqPopupMenu/Plugin\n"
                       "X-KDE-ServiceTypes=KonqPopupMenu/Plugin\n"
                       "MimeType=%1;\n"
                       "Actions=%2;\n"
                       "X-Tonaris-KeyName=%3\n"
                       "\n"
                       "[Desktop Action %2]\n"
                       "Name=%4\n"
                       "Icon=tonaris\n"
                       "Exec=%5\n")
            .arg(mime.isEmpty() ? QStringLiteral("application/x-extension-") + extension : mime,
                 action, escapeValue(In_KeyName), escapeValue(In_NewMenuVoice),
                 DesktopExec(In_Command));
    if (!writeFile(serviceMenuPath(extension, In_KeyName), menu, true))
        return false;
    return updateVerbFiles(In_KeyName, In_NewMenuVoice, In_Command);
}

bool KelShellExtensions::RemoveExplorerContextualExtension(const QString &In_Extension,
                                                           const QString &In_KeyName)
{
    if (bareExtension(In_Extension).isEmpty())
        return false;
    if (!removeFile(serviceMenuPath(In_Extension, In_KeyName)))
        return false;
    return updateVerbFiles(In_KeyName, QString(), {});
}

// Brings the verb's "Open With" entry and its Nautilus script in line with its entries: gone
// when it has none, else offered for the MIME types of all of them. Without a command (a
// removal) the existing entry keeps its text and command.
bool KelShellExtensions::updateVerbFiles(const QString &keyName, const QString &menuText,
                                         const QStringList &command)
{
    QStringList mimeTypes;
    for (const QString &extension : DocumentExtensions)
        if (ExistExplorerContextualExtension(extension, keyName))
            for (const QString &type : MimeTypesOf(extension))
                if (!mimeTypes.contains(type))
                    mimeTypes.append(type);
    const QString appPath = applicationPath(keyName);
    const QString oldScript = scriptOf(keyName);
    if (mimeTypes.isEmpty())
        return removeFile(appPath) && (oldScript.isEmpty() || removeFile(oldScript));

    const QString mimeLine =
        QStringLiteral("MimeType=") + mimeTypes.join(QLatin1Char(';')) + QLatin1Char(';');
    if (command.isEmpty()) {
        QFile file(appPath);
        if (!file.open(QIODevice::ReadOnly))
            return true; // nothing of ours to bring in line
        QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        file.close();
        for (QString &line : lines)
            if (line.startsWith(QLatin1String("MimeType=")))
                line = mimeLine;
        return writeFile(appPath, lines.join(QLatin1Char('\n')), false);
    }
    const QString entry =
        QStringLiteral("[Desktop Entry]\n"
                       "Type=Application\n"
                       "Name=%1\n"
                       "Icon=tonaris\n"
                       "Exec=%2\n"
                       "NoDisplay=true\n"
                       "Terminal=false\n"
                       "X-Tonaris-KeyName=%3\n"
                       "%4\n")
            .arg(escapeValue(menuText), DesktopExec(command), escapeValue(keyName), mimeLine);
    if (!writeFile(appPath, entry, false))
        return false;

    // Nautilus runs a script with the selected files as its arguments; "$@" hands them on
    // word for word, without the shell looking into them.
    QStringList words;
    for (const QString &word : command)
        words.append(shellWord(word));
    QString name = menuText;
    name.remove(QLatin1Char('&')).replace(QLatin1Char('/'), QLatin1Char('-'));
    const QString script = QStringLiteral("#!/bin/sh\n") + ScriptMark + keyName +
                           QStringLiteral("\nexec ") + words.join(QLatin1Char(' ')) +
                           QStringLiteral(" \"$@\"\n");
    const QString scriptPath = scriptsFolder() + QLatin1Char('/') + name;
    if (!oldScript.isEmpty() && oldScript != scriptPath)
        removeFile(oldScript); // written in another language
    return writeFile(scriptPath, script, true);
}

} // namespace tonaris
