// The settings file: sections, keys, quotes, odd line ends; read, then one key written back.
#include "FuzzSupport.h"
#include "config/KelIni.h"

#include <QFile>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // A fresh name each time, so no read is served from memory.
    static int round = 0;
    const QString path = tonaris::fuzz::scratchFile(tonaris::fuzz::bytes(data, size),
                                                    QStringLiteral("-%1.ini").arg(++round));
    for (const char *section : {"Options", "Voice", ""})
        for (const char *key : {"Rate", "Volume", "Language", ""})
            (void)tonaris::IniVal(tonaris::IniRead(path, QString::fromLatin1(section),
                                                   QString::fromLatin1(key), QStringLiteral("7")));
    (void)tonaris::IniWrite(path, QStringLiteral("Options"), QStringLiteral("Rate"),
                            QStringLiteral("3"));
    (void)tonaris::IniRead(path, QStringLiteral("Options"), QStringLiteral("Rate"), QString());
    QFile::remove(path);
    return 0;
}
