// A language file for the menus and messages.
#include "FuzzSupport.h"
#include "config/MultiLang.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    namespace ml = tonaris::MultiLang;
    const QString path = tonaris::fuzz::scratchFile(tonaris::fuzz::bytes(data, size), ".lng");
    if (ml::LoadLanguageFile(path)) {
        for (int i = 0; i < ml::LanguageEntryCount() && i < 64; ++i)
            (void)ml::EntryValue(i);
        (void)ml::Translate(QStringLiteral("&File"));
        (void)ml::UntranslatedKeys();
    }
    ml::UnloadLanguage();
    return 0;
}
