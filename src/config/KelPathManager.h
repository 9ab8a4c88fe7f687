#pragma once

#include <QString>
#include <QStringList>

namespace tonaris {

// File-name plumbing shared by the window, the keyword interpreter and the reply engine. Paths use
// "/" only; nothing here shows a message: failure is false or an empty string. The functions are
// stateless and reentrant, so an instance is only a place to call them from.
class KelPathManager
{
public:
    // Deletes a file (never a folder); true when it is gone.
    static bool KillFile(const QString &In_FilePath);

    // The extension with its point: from the last "." of the last component, "" when there is
    // none. A leading point names a hidden file, not an extension (".bashrc" has none).
    static QString GetExtension(const QString &In_Path);
    static QString RemoveExtension(const QString &In_Path);
    // The last component; "" when the path ends in "/".
    static QString GetFileName(const QString &In_Path);
    // "/" for an absolute path, "" for a relative one.
    static QString GetRoot(const QString &In_Path);
    // The path less its last component, ending in "/"; "" when there is no "/".
    static QString GetPath(const QString &In_Path);
    // The part before the last "/"; "/" stays the root rather than becoming "".
    static QString GetUpperPath(const QString &In_Path);
    // Root + middle + last part gives the path back; the middle part ends in "/" unless empty.
    static void PathSplit(QString In_Path, QString &Out_PathRoot, QString &Out_PathMedium,
                          QString &Out_DirOrFile);

    // The path, in double quotes when it holds a blank, then a blank and the arguments when
    // there are any.
    static QString BuildPathAndArguments(const QString &In_Path,
                                         const QString &In_Arguments = QString());
    // Splits a trimmed command at its first blank outside double quotes. The path loses its
    // quotes; the arguments keep theirs, trimmed, for SplitPathArguments to take apart.
    static void GetPathAndArguments(QString In_PathAndArguments, QString &Out_Path,
                                    QString &Out_Arguments);
    // Expands %NAME%, $NAME and ${NAME}; names not set in the environment stay as written.
    static QString GetPathFromPathWithEnvironment(const QString &In_PathWithEnvironment);
    // Wildcard match ignoring case: "*" any run (also across "/"), "?" one character; several
    // masks separated by ";"; "*.*" matches every name, dotted or not.
    static bool ValidatePathMask(const QString &In_Path, const QString &in_Mask);
    // Adds a closing "/" to a non-empty path that lacks one.
    static void AddBackSlash(QString &In_Out_Path);
    // Removes closing "/" characters, but never turns "/" into "".
    static void RemoveBackSlash(QString &In_Out_Path);

    static bool ExistPath(const QString &Path);
    static bool ExistDirectory(const QString &Path);
    static bool ExistFile(const QString &Path);

    // A command text as arguments: the text is trimmed; blanks separate arguments; a double
    // quote toggles a stretch in which blanks belong to the argument; quotes are dropped; runs
    // of blanks give no empty argument, but "" gives one on purpose; an unclosed quote runs to
    // the end. An empty text gives no argument.
    static QStringList SplitPathArguments(const QString &commandText);

    // Keyword lines arrive upper-cased, while Linux file names are case-sensitive: finds the
    // existing file or folder whose components match those of `path` ignoring case. Each
    // component prefers the exact name, then the case-insensitive ones in code-point order;
    // a branch that leads nowhere is left for the next candidate. A relative path counts from
    // `baseFolder` (the current folder when empty). Gives the absolute clean path, or "".
    static QString FindFileCaseInsensitive(const QString &path,
                                           const QString &baseFolder = QString());
};

} // namespace tonaris
