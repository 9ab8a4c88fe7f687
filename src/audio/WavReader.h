#pragma once

#include "audio/PcmFormat.h"

#include <QFile>
#include <QList>
#include <QString>

namespace tonaris {

// Reads a PCM WAV file piece by piece: 8, 16, 24 or 32-bit integer or 32-bit float, 1 or 2
// channels, any rate. Unknown chunks are skipped; a data size beyond the end of the file or a
// placeholder size (0 or 0xFFFFFFFF, as streaming writers leave it) reads what is there.
class WavReader
{
public:
    bool open(const QString &path);
    QString errorString() const { return m_error; }

    // The file's rate and channels, as 16-bit samples (what read() gives).
    PcmFormat format() const { return {m_rate, m_channels, 16}; }

    // Appends up to maxFrames frames as interleaved 16-bit samples; 0 at the end of the data.
    qsizetype read(QList<qint16> &out, qsizetype maxFrames);

private:
    bool fail(const QString &message);

    QFile m_file;
    QString m_error;
    int m_rate = 0;
    int m_channels = 0;
    int m_bits = 0;
    bool m_float = false;
    qint64 m_remaining = 0; // bytes of sample data left to read
};

// The whole file converted to the engine format. False with a message the caller may show.
bool ReadWavAsEnginePcm(const QString &path, QList<qint16> &out, QString *error = nullptr);

} // namespace tonaris
