#include "audio/AudioLevel.h"

#include <cmath>
#include <cstring>

namespace tonaris {

int AudioLevelOf(const char *data, qsizetype frames, const PcmFormat &format)
{
    const qsizetype count = frames * format.channels;
    if (count <= 0)
        return 0;
    double sum = 0;
    for (qsizetype i = 0; i < count; ++i) {
        double v;
        if (format.bitsPerSample == 8) {
            v = (int(uchar(data[i])) - 128) * 256.0;
        } else {
            qint16 s;
            std::memcpy(&s, data + i * 2, 2);
            v = s;
        }
        sum += v * v;
    }
    const double rms = std::sqrt(sum / double(count));
    // RMS of 8000 (a sine at about a third of full scale) already fills the meter.
    return qBound(0, int(std::lround(rms * 100.0 / 8000.0)), 100);
}

} // namespace tonaris
