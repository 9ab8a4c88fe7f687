#pragma once

#include <QList>
#include <QString>

namespace tonaris {

// Format codes of the audio output stream: -1 default, 0..3 no PCM, 4..39 the offered PCM
// formats (see PcmFormat.h), 40..68 compressed formats we name but never offer.
inline constexpr int AudioFormatDefault = -1;
inline constexpr int AudioFormatEngineNative = 22; // 22 kHz 16 Bit Mono, the built-in voices' own
// 11 kHz 16 Bit Mono: what an external voice is given when the format its program writes is
// not known.
inline constexpr int AudioFormatExternalDefault = 10;
// One past the last known code: the enumeration's end marker.
inline constexpr int AudioFormatEndMarker = 69;

// The display name of a code and whether it is offered to the user. For a code that is neither
// known nor the end marker, name is left as it was.
void GetAudioFormatName(int code, QString &name, bool &offered);

// The offered codes in list order: list index = code - 4. Settings store the list index.
QList<int> OfferedAudioFormatCodes();

} // namespace tonaris
