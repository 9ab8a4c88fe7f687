#pragma once

#include <QtGlobal>

namespace tonaris {

// Volume, speed and pitch on the user's scale, the same for every voice of both engine families.
// The sliders and the settings hold these; the conversions below turn them into engine units.
inline constexpr int VolumeMinimum = 0;
inline constexpr int VolumeMaximum = 100;
inline constexpr int VolumeDefault = 50;
inline constexpr int SpeedMinimum = -10;
inline constexpr int SpeedMaximum = 10;
inline constexpr int SpeedDefault = 0;
inline constexpr int PitchMinimum = -10;
inline constexpr int PitchMaximum = 10;
inline constexpr int PitchDefault = 0;

// Rounds numerator / denominator to the nearest integer, ties to the even one, exactly (no
// floating point). A zero denominator gives 0.
qint64 divideRoundEven(qint64 numerator, qint64 denominator);

// The built-in family takes the user's scale as it stands: Volume 0..100, Rate -10..10, and the
// pitch travels in the text as a tag (-10..10), never as a property of the voice object.
inline int builtinVolume(int value)
{
    return value;
}
inline int builtinRate(int value)
{
    return value;
}
inline int builtinPitchTag(int value)
{
    return value;
}

// A range an external voice program offers for one quantity, in its own units.
struct EngineRange
{
    qint32 minimum = 0;
    qint32 maximum = 0;
};

// The range for speed or pitch, made symmetric round the engine's present value so that the
// middle of the slider is the engine's own default: the half-width is the smaller distance.
EngineRange centredRange(qint32 minimum, qint32 present, qint32 maximum);

// The external family: the user's scale spread over the engine's range, rounded to the even
// number on a tie (volume 50 of 0..65535 gives 32768). Values outside the user's scale are
// passed on unchecked, extrapolated; a result beyond 32 bits is held at the 32-bit limit.
qint32 externalVolume(int value, EngineRange range);
qint32 externalSpeed(int value, EngineRange range);
qint32 externalPitch(int value, EngineRange range);

} // namespace tonaris
