// WAV headers as any program may have written them, lying sizes included.
#include "FuzzSupport.h"
#include "audio/WavReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString path = tonaris::fuzz::scratchFile(tonaris::fuzz::bytes(data, size), ".wav");
    tonaris::WavReader reader;
    if (reader.open(path)) {
        QList<qint16> samples;
        while (reader.read(samples, 4096) > 0 && samples.size() < (1 << 20)) {
        }
    }
    QList<qint16> pcm;
    (void)tonaris::ReadWavAsEnginePcm(path, pcm);
    return 0;
}
