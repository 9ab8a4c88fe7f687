// Text of unknown encoding: BOMs, UTF-16 without one, UTF-8, 8-bit code pages.
#include "FuzzSupport.h"
#include "config/TextCodec.h"
#include "documents/DocumentReaders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input = tonaris::fuzz::bytes(data, size);
    (void)tonaris::DecodeText(input);
    (void)tonaris::DecodeWindows1252(input);
    (void)tonaris::CleanWordText(tonaris::DecodeRawText(input));
    return 0;
}
