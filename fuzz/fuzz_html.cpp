// HTML and the encodings a page may arrive in.
#include "FuzzSupport.h"
#include "documents/DocumentReaders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    (void)tonaris::HtmlToText(tonaris::DecodeRawText(tonaris::fuzz::bytes(data, size)));
    return 0;
}
