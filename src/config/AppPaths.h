#pragma once

#include <QString>
#include <QStringList>

namespace tonaris {

// Where the program keeps its settings and finds its side files (translations, tables,
// personalities). Every function takes the program's folder so that tests can stand in for it;
// empty means the folder of the running executable. Stateless and reentrant.

// The folder of the executable, without a closing "/".
QString ProgramFolder();

// "tonaris.ini" beside the program when the program's folder is writable and already holds
// it (a portable copy), else $XDG_CONFIG_HOME/tonaris/tonaris.ini. The folder of the second
// may not exist yet: writing the settings creates it.
QString SettingsFilePath(const QString &programFolder = QString());
// A settings file named on the command line (--config), which SettingsFilePath gives from then
// on; empty returns to the usual place. Set it before anything reads the settings.
void SetSettingsFile(const QString &path);

// The existing folders among: the program's folder, $XDG_DATA_HOME/tonaris, and the installed
// share/tonaris next to the executable's bin folder; in that order, without repeats.
QStringList SideFileFolders(const QString &programFolder = QString());

// Full paths of the files matching a wildcard pattern such as "*.lng" in the side-file
// folders. Names compare without regard to case (files come from Windows too); the first
// folder wins for equal names. Sorted by file name.
QStringList ListSideFiles(const QString &pattern, const QString &programFolder = QString());

// The first side file with this name, compared without regard to case; "" when none.
QString FindSideFile(const QString &fileName, const QString &programFolder = QString());

} // namespace tonaris
