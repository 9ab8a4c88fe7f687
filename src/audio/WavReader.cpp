#include "audio/WavReader.h"

#include "audio/PcmConverter.h"

#include <QtEndian>

#include <cmath>
#include <cstring>

namespace tonaris {

namespace {
constexpr quint16 FormatPcm = 1;
constexpr quint16 FormatFloat = 3;
constexpr quint16 FormatExtensible = 0xFFFE;
} // namespace

bool WavReader::fail(const QString &message)
{
    m_error = message;
    m_file.close();
    return false;
}

bool WavReader::open(const QString &path)
{
    m_file.close();
    m_file.setFileName(path);
    m_rate = m_channels = m_bits = 0;
    m_remaining = 0;
    if (!m_file.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("Cannot open %1: %2").arg(path, m_file.errorString()));
    const QByteArray riff = m_file.read(12);
    if (riff.size() < 12 || !riff.startsWith("RIFF") || riff.mid(8, 4) != "WAVE")
        return fail(QStringLiteral("%1 is not a WAV file").arg(path));

    bool haveFormat = false;
    for (;;) {
        const QByteArray header = m_file.read(8);
        if (header.size() < 8)
            return fail(QStringLiteral("%1 has no audio data").arg(path));
        const quint32 size = qFromLittleEndian<quint32>(header.constData() + 4);
        const QByteArray id = header.left(4);
        if (id == "fmt ") {
            const QByteArray fmt = m_file.read(qMin<quint32>(size, 64));
            if (fmt.size() < 16)
                return fail(QStringLiteral("%1 has a damaged format header").arg(path));
            quint16 tag = qFromLittleEndian<quint16>(fmt.constData());
            if (tag == FormatExtensible && fmt.size() >= 26)
                tag = qFromLittleEndian<quint16>(fmt.constData() + 24); // the subformat's code
            m_channels = qFromLittleEndian<quint16>(fmt.constData() + 2);
            m_rate = static_cast<int>(qFromLittleEndian<quint32>(fmt.constData() + 4));
            m_bits = qFromLittleEndian<quint16>(fmt.constData() + 14);
            m_float = tag == FormatFloat;
            const bool intOk =
                tag == FormatPcm && (m_bits == 8 || m_bits == 16 || m_bits == 24 || m_bits == 32);
            if (!intOk && !(m_float && m_bits == 32))
                return fail(QStringLiteral("%1 is not PCM audio that can be played").arg(path));
            if ((m_channels != 1 && m_channels != 2) || m_rate < 1000 || m_rate > 384000)
                return fail(QStringLiteral("%1 has an unsupported format").arg(path));
            haveFormat = true;
            if (!m_file.seek(m_file.pos() - fmt.size() + size + (size & 1)))
                return fail(QStringLiteral("%1 is truncated").arg(path));
        } else if (id == "data") {
            if (!haveFormat)
                return fail(QStringLiteral("%1 has no format header").arg(path));
            const qint64 available = m_file.size() - m_file.pos();
            m_remaining =
                (size == 0 || size == 0xFFFFFFFFu) ? available : qMin<qint64>(size, available);
            return true;
        } else {
            // Chunks are word-aligned; a chunk running past the end is simply the end.
            const qint64 next = m_file.pos() + size + (size & 1);
            if (next > m_file.size() || !m_file.seek(next))
                return fail(QStringLiteral("%1 has no audio data").arg(path));
        }
    }
}

qsizetype WavReader::read(QList<qint16> &out, qsizetype maxFrames)
{
    const int sampleBytes = m_bits / 8;
    const qint64 frameBytes = qint64(sampleBytes) * m_channels;
    if (!m_file.isOpen() || frameBytes == 0 || maxFrames <= 0)
        return 0;
    const qint64 want = qMin(m_remaining / frameBytes, qint64(maxFrames)) * frameBytes;
    const QByteArray raw = m_file.read(want);
    const qsizetype frames = raw.size() / frameBytes;
    m_remaining = raw.size() < want ? 0 : m_remaining - raw.size();
    const qsizetype count = frames * m_channels;
    const char *p = raw.constData();
    out.reserve(out.size() + count);
    for (qsizetype i = 0; i < count; ++i, p += sampleBytes) {
        qint32 v = 0;
        switch (m_bits) {
        case 8:
            v = (int(uchar(*p)) - 128) << 8;
            break;
        case 16:
            v = qFromLittleEndian<qint16>(p);
            break;
        case 24:
            v = (qint32(uchar(p[0])) | qint32(uchar(p[1])) << 8 | qint32(qint8(p[2])) << 16) >> 8;
            break;
        default:
            if (m_float) {
                const float f = qFromLittleEndian<float>(p);
                v = std::isfinite(f) ? qBound(-32768L, std::lround(f * 32767.0f), 32767L) : 0;
            } else {
                v = qFromLittleEndian<qint32>(p) >> 16;
            }
        }
        out.append(static_cast<qint16>(v));
    }
    return frames;
}

bool ReadWavAsEnginePcm(const QString &path, QList<qint16> &out, QString *error)
{
    WavReader reader;
    if (!reader.open(path)) {
        if (error)
            *error = reader.errorString();
        return false;
    }
    PcmConverter converter(reader.format(), EnginePcmFormat);
    QByteArray engine;
    QList<qint16> piece;
    while (reader.read(piece, 8192) > 0) {
        converter.convert(reinterpret_cast<const char *>(piece.constData()),
                          piece.size() * qsizetype(sizeof(qint16)), engine);
        piece.clear();
    }
    converter.flush(engine);
    out.resize(engine.size() / 2);
    if (!out.isEmpty())
        std::memcpy(out.data(), engine.constData(), size_t(out.size()) * 2);
    return true;
}

} // namespace tonaris
