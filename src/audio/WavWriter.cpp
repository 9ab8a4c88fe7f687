#include "audio/WavWriter.h"

#include <QtEndian>

#include <cstring>

namespace tonaris {

namespace {
constexpr quint32 Unknown = 0xFFFFFFFF;
// A RIFF size field holds 32 bits; past that the placeholder stays, which readers accept.
constexpr qint64 MaxDataBytes = qint64(0xFFFFFFFF) - 36;
constexpr qsizetype BufferBytes = 64 * 1024;
} // namespace

WavWriter::~WavWriter()
{
    if (m_file.isOpen())
        close();
}

QByteArray WavWriter::header(const PcmFormat &format, quint32 dataBytes)
{
    QByteArray h(HeaderBytes, '\0');
    char *p = h.data();
    auto put16 = [&](int at, quint16 v) { qToLittleEndian(v, p + at); };
    auto put32 = [&](int at, quint32 v) { qToLittleEndian(v, p + at); };
    memcpy(p, "RIFF", 4);
    put32(4, dataBytes == Unknown ? Unknown : dataBytes + 36);
    memcpy(p + 8, "WAVEfmt ", 8);
    put32(16, 16);
    put16(20, 1); // PCM
    put16(22, quint16(format.channels));
    put32(24, quint32(format.sampleRate));
    put32(28, quint32(format.sampleRate * format.bytesPerFrame()));
    put16(32, quint16(format.bytesPerFrame()));
    put16(34, quint16(format.bitsPerSample));
    memcpy(p + 36, "data", 4);
    put32(40, dataBytes);
    return h;
}

// The file is unbuffered and the samples gather in a buffer of our own: QFile's buffer reports a
// write cut short part way (a full disk, a file-size limit) with no reason, while writing the rest
// unbuffered fails with the system's own ("No space left on device"), which the user is told.
bool WavWriter::writeAll(const char *data, qint64 bytes)
{
    while (bytes > 0) {
        const qint64 n = m_file.write(data, bytes);
        if (n <= 0)
            return false;
        data += n;
        bytes -= n;
    }
    return true;
}

bool WavWriter::fail(const QString &what)
{
    if (m_error.isEmpty())
        m_error = QStringLiteral("%1 %2: %3").arg(what, m_file.fileName(), m_file.errorString());
    return false;
}

bool WavWriter::open(const QString &path, const PcmFormat &format)
{
    if (m_file.isOpen())
        close();
    m_error.clear();
    m_dataBytes = 0;
    m_format = format;
    m_file.setFileName(path);
    m_buffer.clear();
    m_buffer.reserve(BufferBytes);
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        return fail(QStringLiteral("Cannot create"));
    if (!writeAll(header(format, Unknown).constData(), HeaderBytes))
        return fail(QStringLiteral("Cannot write"));
    return true;
}

bool WavWriter::write(const char *data, qsizetype bytes)
{
    if (!m_file.isOpen() || failed())
        return false;
    if (bytes <= 0)
        return true;
    m_buffer.append(data, bytes);
    m_dataBytes += bytes;
    return m_buffer.size() < BufferBytes || drain();
}

bool WavWriter::flush()
{
    if (!m_file.isOpen() || failed())
        return false;
    return drain();
}

bool WavWriter::drain()
{
    const bool written = writeAll(m_buffer.constData(), m_buffer.size());
    m_buffer.resize(0); // keeps its room
    return written || fail(QStringLiteral("Cannot write"));
}

bool WavWriter::close()
{
    if (!m_file.isOpen())
        return !failed();
    if (!failed()) {
        const quint32 size = m_dataBytes > MaxDataBytes ? Unknown : quint32(m_dataBytes);
        if (m_dataBytes % 2 != 0) // chunks are of even length
            m_buffer.append('\0');
        if (drain() &&
            (!m_file.seek(0) || !writeAll(header(m_format, size).constData(), HeaderBytes)))
            fail(QStringLiteral("Cannot write"));
    }
    m_buffer.clear();
    m_file.close();
    if (m_file.error() != QFileDevice::NoError)
        fail(QStringLiteral("Cannot write"));
    return !failed();
}

} // namespace tonaris
