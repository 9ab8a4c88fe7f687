#pragma once

#include <QString>
#include <QStringList>

namespace tonaris::MultiLang {

// Interface translation. The program's texts are English; a language file (".lng") pairs
// English texts with translated ones. Keys are the English texts normalised: runs of blanks
// collapsed, trimmed, upper-cased and without "&", so access keys and padding do not disturb the
// match. A tab counts as a blank, so a menu text with its shortcut after a tab matches a key
// written with a blank there. Load once at start-up, before other threads translate; after that
// the functions are safe to call from any thread.

// The text in the interface language: the value of the first entry whose key equals the
// normalised text, as the file writes it; the text itself when nothing is loaded or it has no
// entry.
QString Translate(const QString &text);

// Replaces every run of blanks by one blank. An empty text stays empty.
QString CollapseSpaces(const QString &text);

// The form in which keys are kept and compared.
QString NormalizeKey(const QString &text);

// Loads a language file, dropping the one loaded before. A name without "/" is looked for
// among the side files; an empty name means "tonaris.lng" there. False when the file cannot
// be read: then nothing is loaded and the interface stays English, without a message.
// Lines of a file: "1" starts an entry with its English text, "2" starts its translation,
// other lines continue the key or the value of several lines (joined with CR LF), and lines
// before the first entry are remarks.
bool LoadLanguageFile(const QString &path = QString());
// Drops the loaded language: English again.
void UnloadLanguage();

// Number of entries; 0 when no translation is loaded.
int LanguageEntryCount();
// The index of the first entry for the text, -1 when none (nothing loaded, or an empty text).
int EntryIndex(const QString &text);
QString EntryValue(int index);
bool HasEntry(const QString &text);

// Texts asked for through Translate since the last load that had no entry, normalised, in the
// order first asked; lets a test or a translator find what a file lacks.
QStringList UntranslatedKeys();

} // namespace tonaris::MultiLang
