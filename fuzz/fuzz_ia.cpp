// A personality file for the reply engine, then a few sentences put to it.
#include "FuzzSupport.h"
#include "conversation/Prattle.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString path = tonaris::fuzz::scratchFile(tonaris::fuzz::bytes(data, size), ".ia");
    tonaris::Prattle prattle;
    prattle.LoadIAFile(path);
    for (const char *s : {"hello", "what is your name?", "", "yes", "no no no", "hello"}) {
        QString sentence = QString::fromLatin1(s);
        (void)prattle.Rispondi(sentence);
    }
    return 0;
}
