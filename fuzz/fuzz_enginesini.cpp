// engines.ini: the programs that speak as extra voices, and the arguments filled for them.
#include "FuzzSupport.h"
#include "voices/ExternalVoices.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString path = tonaris::fuzz::scratchFile(tonaris::fuzz::bytes(data, size), ".ini");
    QStringList warnings;
    const auto voices = tonaris::ExternalVoices::readEnginesFile(path, &warnings);
    for (const auto &voice : voices)
        (void)tonaris::ExternalVoices::fillArguments(voice, {});
    (void)tonaris::ExternalVoices::decimalLanguageCode(
        QString::fromUtf8(tonaris::fuzz::bytes(data, size)).left(32));
    return 0;
}
