#include "config/TextCodec.h"

#include <QStringDecoder>

namespace tonaris {

QString DecodeWindows1252(const QByteArray &bytes)
{
    // 0x80..0x9F; 0 where the code page leaves a gap (kept as the C1 control of that value).
    static const char16_t high[32] = {
        0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};
    QString out(bytes.size(), Qt::Uninitialized);
    QChar *dst = out.data();
    for (const char c : bytes) {
        const uchar b = uchar(c);
        *dst++ = (b >= 0x80 && b < 0xA0 && high[b - 0x80]) ? QChar(high[b - 0x80]) : QChar(b);
    }
    return out;
}

QString DecodeText(const QByteArray &bytes)
{
    if (bytes.size() >= 2 && uchar(bytes[0]) == 0xFF && uchar(bytes[1]) == 0xFE)
        return QStringDecoder(QStringDecoder::Utf16LE).decode(bytes.mid(2));
    if (bytes.size() >= 2 && uchar(bytes[0]) == 0xFE && uchar(bytes[1]) == 0xFF)
        return QStringDecoder(QStringDecoder::Utf16BE).decode(bytes.mid(2));
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (utf8.hasError())
        return DecodeWindows1252(bytes);
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    return text;
}

} // namespace tonaris
