#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace tonaris {

// Conversions tables: plain text files "*.tab" of "key=value" lines that correct words a voice
// pronounces badly or expand abbreviations. The key is everything left of the first "=", the
// value everything right of it (further "=" included); neither is trimmed, and an empty value
// deletes the key. Empty lines, lines without "=" and lines that begin with "=" are passed over;
// there is no comment syntax. A line that begins with "=~" is a regular expression rule:
// "=~pattern=replacement", split at the first "=" not preceded by a backslash (write "\=" for an
// "=" in the pattern), matched without case, "\1" to "\99" in the replacement insert the
// captures. A pattern that does not compile is passed over. Nothing here shows a message.
// Pure and reentrant.

struct ConversionRule
{
    QString key;
    QString value;
    bool regex = false; // key is a regular expression, value may hold \1 captures

    bool operator==(const ConversionRule &) const = default;
};

// The rules of a table's text, in file order. Lines may end in CR LF, LF or CR.
QList<ConversionRule> ParseConversionRules(const QString &content);

// The rules of a table file, decoded as side files are (UTF-8, UTF-16 with its mark, or
// Windows-1252); a missing or unreadable file gives none.
QList<ConversionRule> LoadConversionRules(const QString &path);

// Applies the rules one after the other over the whole text, so that a later rule sees what the
// earlier ones wrote. Each replaces every occurrence of its key, as plain substrings without
// word boundaries, ignoring case the way the user's language does ("Città" matches "CITTÀ");
// the value is inserted exactly as written.
void ApplyConversionRules(QString &In_Out_Text, const QList<ConversionRule> &rules);

// Reads the table file now (nothing is cached) and applies it; a missing file leaves the text.
void ApplyConversionsTable(QString &In_Out_Text, const QString &tablePath);

// A table as the menu lists it.
struct ConversionsTableFile
{
    QString caption; // file name without extension, each word with a capital first letter
    QString tag;     // file name with extension, as the folder listing gave it
    QString path;
};

// The tables among the side files, sorted by file name. programFolder as for ListSideFiles.
QList<ConversionsTableFile> ListConversionsTables(const QString &programFolder = QString());

// "english US.tab" -> "English Us".
QString ConversionsTableCaption(const QString &fileName);

} // namespace tonaris
