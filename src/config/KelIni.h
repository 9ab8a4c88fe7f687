#pragma once

#include <QString>
#include <QStringList>

#include <climits>
#include <optional>

namespace tonaris {

// The settings file: a classic INI file of "[Section]" lines and "key=value" lines. Section and
// key names match without regard to case; the first of equal sections or keys counts. Reading
// accepts CR LF or LF and text written on Windows; writing keeps every other line as it stands,
// keeps the file's line breaks, writes UTF-8 and replaces the file atomically.

// The longest value a read gives back: the classic profile buffer held 255 characters with its
// end mark, and a longer value comes back cut, as files written by older versions expect.
constexpr int IniMaxValueLength = 254;

// A name without "." gets ".ini"; a name without "/" lies in the settings folder.
QString IniFilePath(const QString &file);

// The value, or the default (less its closing blanks) when the file, the section or the key is
// missing; cut to IniMaxValueLength. Blanks around the value and one pair of matching quotes
// around it are dropped. Reads of an unchanged file are served from memory, so start-up may read
// key after key. Thread-safe.
QString IniRead(const QString &file, const QString &section, const QString &key,
                const QString &defaultValue);

// Sets one key: updated where it stands, else added at the end of its section, else the section
// is appended; a missing file (and folder) is created. False, with the reason in `error` when
// given, when the file could not be written; the old file is then untouched. Each call replaces
// the file (about half a millisecond): to write many keys at shut-down, use IniFile. Thread-safe.
bool IniWrite(const QString &file, const QString &section, const QString &key, const QString &value,
              QString *error = nullptr);

// From now on this process never writes the file: its changes stay in memory (a run whose
// command line overrides the settings).
void KeepIniFileInMemory(const QString &file);

// One settings file in memory: load once, read and write many keys, save once. Same rules as
// IniRead and IniWrite. Not thread-safe; one owner at a time.
class IniFile
{
public:
    // Loads at once; `file` is normalised as IniFilePath says.
    explicit IniFile(const QString &file);

    QString path() const { return m_path; }
    // Whether the file existed at the last load: a first run has none.
    bool existed() const { return m_existed; }
    void reload();

    QString read(const QString &section, const QString &key, const QString &defaultValue) const;
    void write(const QString &section, const QString &key, const QString &value);
    bool isModified() const { return m_modified; }
    // Whether the section holds the key.
    bool contains(const QString &section, const QString &key) const;
    // Puts the lines of the named keys first in their section, in the order given; the other
    // lines of the section (keys of other versions, comments) follow in the order they had.
    void orderSection(const QString &section, const QStringList &keys);
    // Replaces the file atomically when something changed; true when nothing had to be done.
    bool save(QString *error = nullptr);

    // The file as it would be saved.
    QByteArray contents() const;

private:
    int findSection(const QString &section) const;
    int findKey(int sectionLine, const QString &key) const;
    void parse(const QString &text);

    QString m_path;
    QStringList m_lines;
    QString m_lineBreak = QStringLiteral("\n");
    bool m_endsWithBreak = true;
    bool m_existed = false;
    bool m_modified = false;
};

// ---- Reading values -------------------------------------------------------------------------

// True only for exactly "True": "true", "1" and "" are false.
bool IniBool(const QString &text);
// The number at the front of the text, 0 when there is none: blanks anywhere are skipped, a
// sign, digits, a fraction and an exponent are taken, "&H" and "&O" give hexadecimal and octal.
// Rounded half to even and held to the range of int.
int IniVal(const QString &text);
// The whole text (blanks around it aside) as a number, rounded half to even; nothing when it is
// no number or lies outside the range of int.
std::optional<int> IniStrict(const QString &text);

// A strict setting: the number, or the default when the text is no number or lies outside
// minimum..maximum; then the key is reported once per run through the message dialog, and the
// program goes on.
int IniStrictOrDefault(const QString &key, const QString &text, int defaultValue,
                       int minimum = INT_MIN, int maximum = INT_MAX);
// Shows a message about a setting unless one about this key was shown before in this run.
void ReportSettingOnce(const QString &key, const QString &message);
// Forgets which keys were reported (a new run, or a test).
void ResetSettingReports();

} // namespace tonaris
