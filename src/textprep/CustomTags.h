#pragma once

#include <QList>
#include <QString>

namespace tonaris {

// The user's own snippets for the editor's "Insert custom TAG" menu, from the side file
// "CustomTAG.TXT". A line that is shorter than 2 characters without its blanks is passed over;
// a line that begins with "[" and ends with "]" as it stands starts a group, captioned by what
// lies between; any other line is an entry of the last group above it, or of none above the
// first group. An entry inserts the whole line as it stands and is captioned by it without its
// blanks. At most 10 groups: the eleventh header and everything behind it are dropped. Pure and
// reentrant.

constexpr int CustomTagGroupCount = 10;

struct CustomTagEntry
{
    QString caption;
    QString text;

    bool operator==(const CustomTagEntry &) const = default;
};

struct CustomTagGroup
{
    QString caption;
    QList<CustomTagEntry> entries; // a header with no entry keeps none
};

struct CustomTags
{
    QList<CustomTagGroup> groups;    // in file order, at most CustomTagGroupCount
    QList<CustomTagEntry> ungrouped; // entries above the first header

    // The menu stays hidden when the first group's caption and the first ungrouped entry's
    // caption are both empty (a file of blank lines, no file, or only "[]" headers first).
    bool menuVisible() const;
};

CustomTags ParseCustomTags(const QString &content);

// The file decoded as side files are; a missing file gives nothing.
CustomTags LoadCustomTags(const QString &path);

} // namespace tonaris
