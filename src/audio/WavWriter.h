#pragma once

#include "audio/PcmFormat.h"

#include <QFile>
#include <QString>

namespace tonaris {

// Writes a PCM WAV file as a stream: the header goes first with placeholder sizes (what the
// readers of an unfinished file accept), the samples follow as they come, and close() puts the
// real sizes in. A failed write (a full disk) is remembered: later writes do nothing and close()
// reports it, so the caller never takes a damaged file for a finished one.
// Not thread-safe: one thread at a time.
class WavWriter
{
public:
    WavWriter() = default;
    ~WavWriter();
    WavWriter(const WavWriter &) = delete;
    WavWriter &operator=(const WavWriter &) = delete;

    // Creates or replaces the file. False with errorString() when it cannot be written.
    bool open(const QString &path, const PcmFormat &format);
    bool isOpen() const { return m_file.isOpen(); }
    QString path() const { return m_file.fileName(); }
    PcmFormat format() const { return m_format; }

    // Appends samples already in the file's format. False once any write has failed.
    bool write(const char *data, qsizetype bytes);
    // Pushes what is buffered to the file, so that a reader of the growing file sees it.
    bool flush();
    qint64 dataBytes() const { return m_dataBytes; }

    // Writes the sizes and closes. False when anything went wrong since open().
    bool close();
    bool failed() const { return !m_error.isEmpty(); }
    QString errorString() const { return m_error; }

    // The 44-byte header of a PCM WAV file; sizes of 0xFFFFFFFF mean "up to the end".
    static QByteArray header(const PcmFormat &format, quint32 dataBytes);
    static constexpr int HeaderBytes = 44;

private:
    bool writeAll(const char *data, qint64 bytes);
    bool drain();
    bool fail(const QString &what);

    QFile m_file;
    QByteArray m_buffer;
    PcmFormat m_format;
    qint64 m_dataBytes = 0;
    QString m_error;
};

} // namespace tonaris
