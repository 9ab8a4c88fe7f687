#include "config/ProgramRandom.h"

#include <QDateTime>

#include <random>

namespace tonaris {

namespace {
std::mt19937 &generator()
{
    static std::mt19937 g(static_cast<quint32>(QDateTime::currentMSecsSinceEpoch()));
    return g;
}
} // namespace

double ProgramRandom()
{
    // generate_canonical may round up to 1.0; the interval stays half-open.
    const double r = std::generate_canonical<double, 32>(generator());
    return r < 1.0 ? r : 0.0;
}

void SeedProgramRandom(quint32 seed)
{
    generator().seed(seed);
}

} // namespace tonaris
