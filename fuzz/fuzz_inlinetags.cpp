// Inline voice tags inside text: volume, rate, pitch, silence, voice changes.
#include "FuzzSupport.h"
#include "voices/ExternalVoices.h"
#include "voices/TagInterpreter.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(tonaris::fuzz::bytes(data, size));
    (void)tonaris::InterpretTags(text, tonaris::TagState{});
    (void)tonaris::PlainTextSegments(text, tonaris::TagState{});
    (void)tonaris::ExternalVoices::stripInlineTags(text);
    return 0;
}
