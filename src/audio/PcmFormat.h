#pragma once

#include <QtGlobal>

namespace tonaris {

// Interleaved signed PCM as the engines and the devices exchange it.
struct PcmFormat
{
    int sampleRate = 22050;
    int channels = 1;
    int bitsPerSample = 16; // 8 (unsigned, as in WAV) or 16 (signed little-endian)

    int bytesPerFrame() const { return channels * bitsPerSample / 8; }
    bool operator==(const PcmFormat &) const = default;
};

// The engines synthesise in this format; everything else is converted at the edges.
inline constexpr PcmFormat EnginePcmFormat{22050, 1, 16};

// The audio format codes 4 to 39 are the offered formats: rates 8, 11, 12, 16, 22, 24, 32, 44
// and 48 kHz in that order, each as 8 bit mono, 8 bit stereo, 16 bit mono, 16 bit stereo.
// 11 kHz means 11025 Hz, 22 kHz 22050 Hz and 44 kHz 44100 Hz.
inline constexpr int FirstOfferedFormatCode = 4;
inline constexpr int LastOfferedFormatCode = 39;

// False for a code that is no offered PCM format; out is then left alone.
bool PcmFormatFromCode(int code, PcmFormat &out);
// The code of an offered format, or -1 when the format is not among them.
int CodeFromPcmFormat(const PcmFormat &format);

} // namespace tonaris
