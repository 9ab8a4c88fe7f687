// CustomTAG.TXT: groups of tags and their entries.
#include "FuzzSupport.h"
#include "config/TextCodec.h"
#include "textprep/CustomTags.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    (void)tonaris::ParseCustomTags(tonaris::DecodeText(tonaris::fuzz::bytes(data, size)));
    return 0;
}
