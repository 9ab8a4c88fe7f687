#include "audio/PcmFormat.h"

#include <array>

namespace tonaris {

namespace {
constexpr std::array<int, 9> Rates{8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
}

bool PcmFormatFromCode(int code, PcmFormat &out)
{
    if (code < FirstOfferedFormatCode || code > LastOfferedFormatCode)
        return false;
    const int n = code - FirstOfferedFormatCode;
    out.sampleRate = Rates[static_cast<size_t>(n / 4)];
    out.bitsPerSample = (n % 4) < 2 ? 8 : 16;
    out.channels = (n % 2) == 0 ? 1 : 2;
    return true;
}

int CodeFromPcmFormat(const PcmFormat &format)
{
    for (int code = FirstOfferedFormatCode; code <= LastOfferedFormatCode; ++code) {
        PcmFormat f;
        PcmFormatFromCode(code, f);
        if (f == format)
            return code;
    }
    return -1;
}

} // namespace tonaris
