// RTF as a stranger may write it: groups, control words, hex escapes, code pages.
#include "FuzzSupport.h"
#include "documents/KelRTF.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input = tonaris::fuzz::bytes(data, size);
    (void)tonaris::RichTextToPlain(input);
    if (size >= 2)
        (void)tonaris::DecodeCodePage(input.mid(2), (data[0] << 8) | data[1]);
    return 0;
}
