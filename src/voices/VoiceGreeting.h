#pragma once

#include <QString>

namespace tonaris {

// What a voice says about itself, found by its language code (either family's form).
struct VoiceGreetingInfo
{
    QString VoiceCountryName; // the language's own name; for an unknown code the code itself
    QString VoiceGreeting;    // the long greeting spoken from the flag
    int flag = 17;            // index of the flag picture, 0..18; 17 is the unknown country
};

// Flag index of an unknown language.
inline constexpr int UnknownFlag = 17;

// The greeting of a voice with this name and Language field. The code is lowered and cut
// before its first ";" here too. These phrases are sample sentences in their own languages and
// are never translated.
VoiceGreetingInfo PrepareVoiceGreeting(const QString &name, const QString &language);

// The short announcement on selecting a voice: "Name; Country." when the country is wanted,
// else "Name.".
QString VoiceAnnouncement(const QString &name, const QString &countryName, bool speakCountryToo);

} // namespace tonaris
