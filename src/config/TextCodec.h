#pragma once

#include <QByteArray>
#include <QString>

namespace tonaris {

// Text from files as the program reads it: UTF-16 (little- or big-endian) with its mark, UTF-8
// with or without a mark, and anything that is not valid UTF-8 as Windows-1252, so that side
// files and texts written on Windows load. Line breaks are left as they are.
QString DecodeText(const QByteArray &bytes);

// Windows-1252 to text: the printable characters 0x80..0x9F are the typographic ones.
QString DecodeWindows1252(const QByteArray &bytes);

} // namespace tonaris
