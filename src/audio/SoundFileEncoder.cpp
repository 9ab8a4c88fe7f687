#include "audio/SoundFileEncoder.h"

#include "audio/Mp3Encoder.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <sndfile.h>
#include <soxr.h>

#include <memory>
#include <vector>

namespace tonaris::SoundFileEncoder {

namespace {

constexpr sf_count_t BlockFrames = 8192;
constexpr int OpusRate = 48000;

QString tr(const char *text)
{
    return QCoreApplication::translate("SoundFileEncoder", text);
}

int formatOf(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("ogg") || suffix == QLatin1String("oga"))
        return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    if (suffix == QLatin1String("opus"))
        return SF_FORMAT_OGG | SF_FORMAT_OPUS;
    if (suffix == QLatin1String("flac"))
        return SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    return 0;
}

struct SndFileCloser
{
    void operator()(SNDFILE *file) const { sf_close(file); }
};
using SndFile = std::unique_ptr<SNDFILE, SndFileCloser>;

struct SoxrDeleter
{
    void operator()(soxr_t resampler) const { soxr_delete(resampler); }
};

} // namespace

bool Handles(const QString &path)
{
    return formatOf(path) != 0;
}

QString PartPath(const QString &target)
{
    const QFileInfo info(target);
    return info.absolutePath() + QStringLiteral("/.") + info.fileName() + QStringLiteral(".part");
}

bool EncodeWav(const QString &wav, const QString &target, const QString &title, QString *error)
{
    const auto failed = [&](const QString &why) {
        if (error)
            *error = tr("Cannot encode %1: %2").arg(target, why);
        return false;
    };
    const int format = formatOf(target);
    if (!format)
        return failed(tr("unknown audio format"));

    SF_INFO in{};
    SndFile source(sf_open(QFile::encodeName(wav).constData(), SFM_READ, &in));
    if (!source)
        return failed(QString::fromLocal8Bit(sf_strerror(nullptr)));

    SF_INFO out{};
    out.channels = in.channels;
    out.format = format;
    const bool opus = (format & SF_FORMAT_SUBMASK) == SF_FORMAT_OPUS;
    out.samplerate = opus ? OpusRate : in.samplerate;
    if (!sf_format_check(&out))
        return failed(tr("%1 Hz with %2 channels cannot be written in this format")
                          .arg(out.samplerate)
                          .arg(out.channels));

    std::unique_ptr<soxr, SoxrDeleter> resampler;
    if (out.samplerate != in.samplerate) {
        soxr_error_t soxrError = nullptr;
        const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
        const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
        resampler.reset(soxr_create(in.samplerate, out.samplerate, unsigned(in.channels),
                                    &soxrError, &io, &quality, nullptr));
        if (soxrError)
            return failed(QString::fromLatin1(soxrError));
    }

    const QString part = PartPath(target);
    QFile::remove(part);
    bool ok = true;
    QString why;
    {
        SndFile sink(sf_open(QFile::encodeName(part).constData(), SFM_WRITE, &out));
        if (!sink)
            return failed(QString::fromLocal8Bit(sf_strerror(nullptr)));
        if (!title.isEmpty())
            sf_set_string(sink.get(), SF_STR_TITLE, title.toUtf8().constData());
        sf_set_string(sink.get(), SF_STR_SOFTWARE, "Tonaris");
        if (!opus) {
            double quality = 0.4; // Vorbis: about 80 kbit/s for a voice; FLAC: its compression
            sf_command(sink.get(), SFC_SET_VBR_ENCODING_QUALITY, &quality, sizeof quality);
        }

        const size_t channels = size_t(in.channels);
        std::vector<float> block(size_t(BlockFrames) * channels);
        const double ratio = double(out.samplerate) / in.samplerate;
        std::vector<float> resampled(size_t(BlockFrames * ratio + 64) * channels);
        const auto write = [&](const float *frames, sf_count_t count) {
            if (count > 0 && sf_writef_float(sink.get(), frames, count) != count) {
                why = QString::fromLocal8Bit(sf_strerror(sink.get()));
                return false;
            }
            return true;
        };
        const auto resampleAndWrite = [&](const float *frames, size_t count) {
            const size_t room = resampled.size() / channels;
            size_t done = 0;
            // The resampler may need several calls to give out what one block makes.
            do {
                size_t used = 0, made = 0;
                if (soxr_process(resampler.get(), frames ? frames + done * channels : nullptr,
                                 count - done, &used, resampled.data(), room, &made)) {
                    why = tr("resampling failed");
                    return false;
                }
                done += used;
                if (!write(resampled.data(), sf_count_t(made)))
                    return false;
                if (!frames && made == 0)
                    return true; // flushed
                if (frames && done >= count && made < room)
                    return true;
            } while (true);
        };
        for (;;) {
            const sf_count_t got = sf_readf_float(source.get(), block.data(), BlockFrames);
            if (got <= 0)
                break;
            ok = resampler ? resampleAndWrite(block.data(), size_t(got)) : write(block.data(), got);
            if (!ok)
                break;
        }
        if (ok && resampler)
            ok = resampleAndWrite(nullptr, 0);
        if (ok && sf_error(sink.get()) != SF_ERR_NO_ERROR) {
            why = QString::fromLocal8Bit(sf_strerror(sink.get()));
            ok = false;
        }
    } // the sink is closed, and its last pages written, here
    if (ok && !ReplaceFile(part, target, &why))
        ok = false;
    if (!ok) {
        QFile::remove(part);
        return failed(why);
    }
    return true;
}

} // namespace tonaris::SoundFileEncoder
