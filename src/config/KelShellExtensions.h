#pragma once

#include <QString>
#include <QStringList>

namespace tonaris {

// The verbs Tonaris adds to the file managers' context menus for a kind of document. One verb
// (say "Tonaris Speak") for one extension (say "txt") is one entry: a KDE service menu
// "kio/servicemenus/tonaris-speak-txt.desktop" under the user's data folder. Beside the entries,
// each verb keeps, while it has at least one extension,
//   - "applications/tonaris-speak.desktop", offered under "Open With" for the MIME types of its
//     extensions (GNOME, Xfce and the others that read desktop entries);
//   - a Nautilus script "nautilus/scripts/<menu text>".
// A command is an argument list (the program and its switches); the file is always added as one
// more argument, by the file manager, and no shell ever reads a file's name.
// Extensions are taken with or without their leading "."; an empty one does nothing.
class KelShellExtensions
{
public:
    // The data folder is $XDG_DATA_HOME when left empty.
    explicit KelShellExtensions(const QString &dataFolder = QString());

    // The six kinds of document the dialog offers the verbs for, in its order.
    static const QStringList DocumentExtensions;

    bool ExistExplorerContextualExtension(const QString &In_Extension,
                                          const QString &In_KeyName) const;
    // False when a file could not be written; what was written stays.
    bool AddExplorerContextualExtension(const QString &In_Extension, const QString &In_KeyName,
                                        const QString &In_NewMenuVoice,
                                        const QStringList &In_Command);
    // Removing what does not exist is no error.
    bool RemoveExplorerContextualExtension(const QString &In_Extension, const QString &In_KeyName);

    // The Exec value of a desktop entry that runs the command on one file (%f), quoted and
    // escaped by the desktop entry rules, so that any program path survives.
    static QString DesktopExec(const QStringList &command);
    // "text/plain" for "txt" ...; empty for an extension Tonaris does not know.
    static QStringList MimeTypesOf(const QString &extension);

    QString serviceMenuPath(const QString &extension, const QString &keyName) const;
    QString applicationPath(const QString &keyName) const;
    QString scriptsFolder() const;

private:
    QString scriptOf(const QString &keyName) const;
    bool updateVerbFiles(const QString &keyName, const QString &menuText,
                         const QStringList &command);

    QString m_data;
};

} // namespace tonaris
