#include "documents/ZipArchive.h"

#include "config/MultiLang.h"

#include <QFile>

#include <zip.h>

namespace tonaris {

using MultiLang::Translate;

struct ZipArchive::Handle
{
    zip_t *archive = nullptr;
    ~Handle()
    {
        if (archive)
            zip_discard(archive); // read only: nothing to write back
    }
};

ZipArchive::ZipArchive()
    : m(std::make_unique<Handle>())
{}

ZipArchive::~ZipArchive() = default;

bool ZipArchive::open(const QString &path, QString &error)
{
    m = std::make_unique<Handle>();
    int code = 0;
    m->archive = zip_open(QFile::encodeName(path).constData(), ZIP_RDONLY, &code);
    if (!m->archive) {
        zip_error_t reason;
        zip_error_init_with_code(&reason, code);
        error = Translate(QStringLiteral("It is not a readable zip file:")) + QLatin1Char(' ') +
                QString::fromLocal8Bit(zip_error_strerror(&reason));
        zip_error_fini(&reason);
        return false;
    }
    return true;
}

QStringList ZipArchive::names() const
{
    QStringList list;
    if (!m->archive)
        return list;
    const zip_int64_t count = zip_get_num_entries(m->archive, 0);
    for (zip_int64_t i = 0; i < count; ++i)
        if (const char *name = zip_get_name(m->archive, zip_uint64_t(i), ZIP_FL_ENC_GUESS))
            list << QString::fromUtf8(name);
    return list;
}

bool ZipArchive::contains(const QString &name) const
{
    return m->archive && zip_name_locate(m->archive, name.toUtf8().constData(), 0) >= 0;
}

bool ZipArchive::read(const QString &name, QByteArray &data, QString &error) const
{
    data.clear();
    const auto missing = [&] {
        error = Translate(QStringLiteral("The part %1 is missing.")).arg(name);
        return false;
    };
    if (!m->archive)
        return missing();
    const zip_int64_t index = zip_name_locate(m->archive, name.toUtf8().constData(), 0);
    if (index < 0)
        return missing();
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(m->archive, zip_uint64_t(index), 0, &stat) != 0 ||
        !(stat.valid & ZIP_STAT_SIZE) || stat.size > zip_uint64_t(MaxMemberBytes)) {
        error = Translate(QStringLiteral("The part %1 is damaged or too large.")).arg(name);
        return false;
    }
    zip_file_t *file = zip_fopen_index(m->archive, zip_uint64_t(index), 0);
    if (!file) {
        error = Translate(QStringLiteral("The part %1 cannot be unpacked:")).arg(name) +
                QLatin1Char(' ') + QString::fromLocal8Bit(zip_strerror(m->archive));
        return false;
    }
    data.resize(qsizetype(stat.size));
    qsizetype done = 0;
    while (done < data.size()) {
        const zip_int64_t got =
            zip_fread(file, data.data() + done, zip_uint64_t(data.size() - done));
        if (got <= 0)
            break;
        done += qsizetype(got);
    }
    // A damaged member fails its checksum at the end of the read.
    const bool closed = zip_fclose(file) == 0;
    const bool ok = closed && done == data.size();
    if (!ok) {
        error = Translate(QStringLiteral("The part %1 is damaged.")).arg(name);
        data.truncate(done);
        return false;
    }
    return true;
}

} // namespace tonaris
