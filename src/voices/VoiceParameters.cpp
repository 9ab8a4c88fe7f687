#include "voices/VoiceParameters.h"

#include <algorithm>
#include <limits>

namespace tonaris {

namespace {

qint32 saturate(qint64 v)
{
    return qint32(std::clamp<qint64>(v, std::numeric_limits<qint32>::min(),
                                     std::numeric_limits<qint32>::max()));
}

// min + (max - min) x (value - low) / (high - low), as the engine ranges are applied.
qint32 spread(int value, int low, int high, EngineRange range)
{
    const qint64 width = qint64(range.maximum) - range.minimum;
    return saturate(range.minimum + divideRoundEven(width * (qint64(value) - low), high - low));
}

} // namespace

qint64 divideRoundEven(qint64 numerator, qint64 denominator)
{
    if (denominator == 0)
        return 0;
    if (denominator < 0) {
        numerator = -numerator;
        denominator = -denominator;
    }
    qint64 quotient = numerator / denominator; // truncated towards zero
    qint64 remainder = numerator % denominator;
    if (remainder < 0) { // floor division, so the remainder lies in [0, denominator)
        --quotient;
        remainder += denominator;
    }
    const qint64 twice = 2 * remainder;
    if (twice > denominator || (twice == denominator && (quotient & 1) != 0))
        ++quotient;
    return quotient;
}

EngineRange centredRange(qint32 minimum, qint32 present, qint32 maximum)
{
    const qint64 half =
        std::max<qint64>(0, std::min(qint64(present) - minimum, qint64(maximum) - present));
    return {saturate(present - half), saturate(present + half)};
}

// Rounded to the nearest, ties to even, like speed and pitch: 50 over 0..65535 gives 32768.
// The sliders' description would cut the volume to its integer part (32767); the general rule
// for passing values to the engines is the one kept.
qint32 externalVolume(int value, EngineRange range)
{
    return spread(value, VolumeMinimum, VolumeMaximum, range);
}

qint32 externalSpeed(int value, EngineRange range)
{
    return spread(value, SpeedMinimum, SpeedMaximum, range);
}

qint32 externalPitch(int value, EngineRange range)
{
    return spread(value, PitchMinimum, PitchMaximum, range);
}

} // namespace tonaris
