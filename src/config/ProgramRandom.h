#pragma once

#include <QtGlobal>

namespace tonaris {

// The program's one random source: seeded from the clock on first use, so that every draw of a
// run (a #RANDOM case, a reply of a personality) comes from the same sequence. Tests seed it to
// make draws repeatable. User-interface thread only.

// A uniform number in [0, 1).
double ProgramRandom();
void SeedProgramRandom(quint32 seed);

} // namespace tonaris
