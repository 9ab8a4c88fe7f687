#include "voices/AudioFormats.h"

#include "audio/PcmFormat.h"

#include <array>

namespace tonaris {

namespace {

constexpr std::array<const char *, 9> OfferedRates{"8",  "11", "12", "16", "22",
                                                   "24", "32", "44", "48"};
constexpr std::array<const char *, 4> OfferedLayouts{"8 Bit Mono", "8 Bit Stereo", "16 Bit Mono",
                                                     "16 Bit Stereo"};
constexpr std::array<const char *, 4> CompressedRates{"8", "11", "22", "44"};
constexpr std::array<const char *, 3> CompressedKinds{"ALaw", "uLaw", "ADPCM"};
constexpr int FirstCompressedCode = 41; // ALaw 8 kHz Mono
constexpr int FirstGsmCode = 65;

} // namespace

void GetAudioFormatName(int code, QString &name, bool &offered)
{
    offered = false;
    if (code >= FirstOfferedFormatCode && code <= LastOfferedFormatCode) {
        const int n = code - FirstOfferedFormatCode;
        name = QLatin1String(OfferedRates[static_cast<size_t>(n / 4)]) + QLatin1String(" kHz ") +
               QLatin1String(OfferedLayouts[static_cast<size_t>(n % 4)]);
        offered = true;
        return;
    }
    if (code >= FirstCompressedCode && code < FirstGsmCode) {
        // Each kind runs through the four rates, mono before stereo.
        const int n = code - FirstCompressedCode;
        name = QLatin1String(CompressedKinds[static_cast<size_t>(n / 8)]) + QLatin1Char(' ') +
               QLatin1String(CompressedRates[static_cast<size_t>(n % 8 / 2)]) +
               QLatin1String(n % 2 == 0 ? " kHz Mono" : " kHz Stereo");
        return;
    }
    if (code >= FirstGsmCode && code < AudioFormatEndMarker) {
        name = QLatin1String("GSM610 ") +
               QLatin1String(CompressedRates[static_cast<size_t>(code - FirstGsmCode)]) +
               QLatin1String(" kHz Mono");
        return;
    }
    switch (code) {
    case AudioFormatDefault:
        name = QStringLiteral("Default");
        break;
    case 0:
        name = QStringLiteral("No Format Assigned");
        break;
    case 1:
        name = QStringLiteral("Text Format");
        break;
    case 2:
        name = QStringLiteral("Non Standard");
        break;
    case 3:
        name = QStringLiteral("Extended Audio Format");
        break;
    case 40:
        name = QStringLiteral("8 kHz 1 Bit Mono");
        break;
    case AudioFormatEndMarker:
        name = QStringLiteral("SAFT NUM FORMATS");
        break;
    default:
        break; // unknown: the caller's text stands
    }
}

QList<int> OfferedAudioFormatCodes()
{
    QList<int> codes;
    for (int code = FirstOfferedFormatCode; code <= LastOfferedFormatCode; ++code)
        codes.append(code);
    return codes;
}

} // namespace tonaris
