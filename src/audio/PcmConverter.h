#pragma once

#include "audio/PcmFormat.h"

#include <QByteArray>
#include <QString>

#include <vector>

typedef struct soxr *soxr_t;

namespace tonaris {

// Streaming conversion between interleaved PCM formats (rate, 1 or 2 channels, 8 or 16 bit).
// Equal rates skip the resampler, so the engine format to itself costs one copy and no delay.
// Not thread-safe: one stream at a time, from one thread at a time.
class PcmConverter
{
public:
    PcmConverter(const PcmFormat &from, const PcmFormat &to);
    ~PcmConverter();
    PcmConverter(const PcmConverter &) = delete;
    PcmConverter &operator=(const PcmConverter &) = delete;

    // False when a format is unsupported or the resampler could not be made.
    bool isValid() const { return m_error.isEmpty(); }
    QString errorString() const { return m_error; }
    const PcmFormat &from() const { return m_from; }
    const PcmFormat &to() const { return m_to; }

    // Appends the converted frames to out. A trailing partial input frame is ignored.
    void convert(const char *data, qsizetype bytes, QByteArray &out);
    // Appends what the resampler still holds, then starts a fresh stream.
    void flush(QByteArray &out);
    // Forgets what the resampler holds.
    void reset();

    static bool isSupported(const PcmFormat &format);

private:
    void encode(const float *samples, size_t frames, QByteArray &out) const;

    PcmFormat m_from;
    PcmFormat m_to;
    QString m_error;
    soxr_t m_soxr = nullptr;
    std::vector<float> m_in;
    std::vector<float> m_out;
};

} // namespace tonaris
