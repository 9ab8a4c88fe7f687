#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>

// Read access to the members of a zip file (EPUB, DOCX and ODT are zip files), on libzip. An
// archive whose directory is damaged does not open; one member that is damaged gives false and
// leaves the others readable. Not shared between threads.
namespace tonaris {

class ZipArchive
{
public:
    // Members larger than this are refused rather than unpacked into memory.
    static constexpr qint64 MaxMemberBytes = 128 * 1024 * 1024;

    ZipArchive();
    ~ZipArchive();
    ZipArchive(const ZipArchive &) = delete;
    ZipArchive &operator=(const ZipArchive &) = delete;

    // false with a reason (libzip's words) when the file is no zip file or cannot be read.
    bool open(const QString &path, QString &error);
    QStringList names() const;
    bool contains(const QString &name) const;
    // The unpacked member; false with a reason when it is missing, too large or damaged.
    bool read(const QString &name, QByteArray &data, QString &error) const;

private:
    struct Handle;
    std::unique_ptr<Handle> m;
};

} // namespace tonaris
