// A conversions table, then applied to a line of text.
#include "FuzzSupport.h"
#include "config/TextCodec.h"
#include "textprep/ConversionsTable.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString content = tonaris::DecodeText(tonaris::fuzz::bytes(data, size));
    const auto rules = tonaris::ParseConversionRules(content);
    QString text = QStringLiteral("Mr. Smith paid $5 on 3/4, 1.5 km: ok?\r\nSecond line.");
    tonaris::ApplyConversionRules(text, rules);
    QString self = content.left(512);
    tonaris::ApplyConversionRules(self, rules);
    return 0;
}
