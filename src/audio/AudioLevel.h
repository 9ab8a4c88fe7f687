#pragma once

#include "audio/PcmFormat.h"

namespace tonaris {

// Loudness 0..100 of interleaved PCM, as the talking mouth and the level meter show it:
// ordinary speech lands in the middle, a full-scale tone at 100.
int AudioLevelOf(const char *data, qsizetype frames, const PcmFormat &format);

} // namespace tonaris
