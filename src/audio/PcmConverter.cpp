#include "audio/PcmConverter.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tonaris {

bool PcmConverter::isSupported(const PcmFormat &format)
{
    return format.sampleRate >= 1000 && format.sampleRate <= 384000 &&
           (format.channels == 1 || format.channels == 2) &&
           (format.bitsPerSample == 8 || format.bitsPerSample == 16);
}

PcmConverter::PcmConverter(const PcmFormat &from, const PcmFormat &to)
    : m_from(from)
    , m_to(to)
{
    if (!isSupported(from) || !isSupported(to)) {
        m_error = QStringLiteral("Unsupported PCM format");
        return;
    }
    if (from.sampleRate == to.sampleRate)
        return;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    // Medium quality with intermediate phase keeps the delay to a few milliseconds, which
    // matters on the speaking path; speech at these rates loses nothing audible.
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_MQ, SOXR_INTERMEDIATE_PHASE);
    soxr_error_t error = nullptr;
    m_soxr = soxr_create(from.sampleRate, to.sampleRate, static_cast<unsigned>(to.channels), &error,
                         &io, &quality, nullptr);
    if (error || !m_soxr)
        m_error = QStringLiteral("Cannot create the resampler: %1")
                      .arg(QString::fromUtf8(error ? error : "unknown error"));
}

PcmConverter::~PcmConverter()
{
    if (m_soxr)
        soxr_delete(m_soxr);
}

void PcmConverter::convert(const char *data, qsizetype bytes, QByteArray &out)
{
    if (!isValid() || !data || bytes <= 0)
        return;
    if (m_from == m_to) {
        out.append(data, bytes - bytes % m_from.bytesPerFrame());
        return;
    }
    const size_t frames = static_cast<size_t>(bytes / m_from.bytesPerFrame());
    const auto *bytes8 = reinterpret_cast<const uchar *>(data);
    const int inCh = m_from.channels;
    const int outCh = m_to.channels;
    m_in.resize(frames * static_cast<size_t>(outCh));
    // Channels are mapped before resampling so that the resampler works on the output layout.
    for (size_t f = 0; f < frames; ++f) {
        float v[2];
        for (int c = 0; c < inCh; ++c) {
            const size_t i = f * static_cast<size_t>(inCh) + static_cast<size_t>(c);
            if (m_from.bitsPerSample == 8) {
                v[c] = (int(bytes8[i]) - 128) / 128.0f;
            } else {
                qint16 s;
                std::memcpy(&s, data + i * 2, 2);
                v[c] = s / 32768.0f;
            }
        }
        float *dst = &m_in[f * static_cast<size_t>(outCh)];
        if (inCh == outCh) {
            std::copy(v, v + inCh, dst);
        } else if (outCh == 2) {
            dst[0] = dst[1] = v[0];
        } else {
            dst[0] = (v[0] + v[1]) * 0.5f;
        }
    }
    if (!m_soxr) {
        encode(m_in.data(), frames, out);
        return;
    }
    const double ratio = double(m_to.sampleRate) / m_from.sampleRate;
    m_out.resize(static_cast<size_t>(std::ceil(frames * ratio)) * static_cast<size_t>(outCh) +
                 256 * static_cast<size_t>(outCh));
    size_t done = 0;
    while (done < frames) {
        size_t idone = 0;
        size_t odone = 0;
        const size_t capacity = m_out.size() / static_cast<size_t>(outCh);
        if (soxr_process(m_soxr, m_in.data() + done * static_cast<size_t>(outCh), frames - done,
                         &idone, m_out.data(), capacity, &odone))
            return;
        encode(m_out.data(), odone, out);
        done += idone;
        if (idone == 0 && odone == 0)
            break;
    }
}

void PcmConverter::flush(QByteArray &out)
{
    if (!m_soxr)
        return;
    const auto outCh = static_cast<size_t>(m_to.channels);
    m_out.resize(1024 * outCh);
    for (;;) {
        size_t odone = 0;
        if (soxr_process(m_soxr, nullptr, 0, nullptr, m_out.data(), 1024, &odone) || odone == 0)
            break;
        encode(m_out.data(), odone, out);
    }
    soxr_clear(m_soxr);
}

void PcmConverter::reset()
{
    if (m_soxr)
        soxr_clear(m_soxr);
}

void PcmConverter::encode(const float *samples, size_t frames, QByteArray &out) const
{
    const size_t count = frames * static_cast<size_t>(m_to.channels);
    const qsizetype start = out.size();
    out.resize(start + static_cast<qsizetype>(count) * (m_to.bitsPerSample / 8));
    char *dst = out.data() + start;
    for (size_t i = 0; i < count; ++i) {
        const float v = std::clamp(samples[i], -1.0f, 1.0f);
        if (m_to.bitsPerSample == 8) {
            dst[i] = static_cast<char>(static_cast<uchar>(std::lround(v * 127.0f) + 128));
        } else {
            const auto s = static_cast<qint16>(std::lround(v * 32767.0f));
            std::memcpy(dst + i * 2, &s, 2);
        }
    }
}

} // namespace tonaris
