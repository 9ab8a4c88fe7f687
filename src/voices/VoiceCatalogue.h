#pragma once

#include "voices/SpeechEngine.h"

#include <QList>
#include <QString>

namespace tonaris {

// Values of EngineKind: the engine family whose voices fill the catalogue.
enum EngineKindValue {
    EngineKindBuiltIn = 0, // voices in this process; language codes as hexadecimal text ("409")
    EngineKindExternal = 1 // voices of external programs; language codes as decimal text ("1033")
};

// One voice of the catalogue. Its index in the catalogue is its index in ComboVoci and the
// Tag of its menu item.
struct VoiceRecord
{
    QString Name;
    QString Gender; // "MALE" or "FEMALE"
    QString Vendor;
    QString Age; // what engines.ini says of an external voice; empty for the built-in ones
    QString Language;
    QString Description;
    qint16 CharacterPicture = -1; // picture set of the talking character, given on first binding
    quint8 Volume = 50;
    qint16 Speed = 0;
    qint16 Pitch = 0;
    QString id; // what the engine selects the voice by (VoiceInfo::id)
};

// The catalogue of one engine family, in the engine's order. VoiceInfo::language is taken as the
// family gives it: hexadecimal text from the built-in engine, decimal text ("1033") from the
// external programs' voices.
// Built-in: "_" in names becomes a blank, the vendor is cut before its first ",", the language is
// lowered and cut before its first ";". External: Name is the shorter of name and description,
// Description the longer.
QList<VoiceRecord> BuildVoiceRecords(const QList<VoiceInfo> &voices, int engineKind);

// Code for a language no Windows language code exists for (LOCALE_CUSTOM_UNSPECIFIED): such
// voices land in "Other Countries" as "Name (1000)".
inline constexpr char UnknownLanguageCode[] = "1000";

// The Windows language code, lower-case hexadecimal text, of an espeak-ng language tag
// ("en-us" -> "409"). Case does not matter. A tag that is not in the table is shortened by its
// last subtag until one is ("fr-ca" -> "fr" -> "40c"); a tag whose language is not there at all,
// and an empty tag, give UnknownLanguageCode.
QString LanguageCodeFromTag(const QString &tag);

// The language groups of the voice menu, in the order in which a voice's code is tested.
enum LanguageGroup {
    GroupItalian,
    GroupRussian,
    GroupGerman,
    GroupFrench,
    GroupGreek,
    GroupEnglishUS,
    GroupEnglishGB,
    GroupSpanish,
    GroupSpanishMexico,
    GroupSpanishArgentine,
    GroupSpanishChile,
    GroupPortuguese,
    GroupPortugueseBrazil,
    GroupCatalan,
    GroupDutch,
    GroupSwedish,
    GroupJapanese,
    GroupChina,
    GroupOtherCountries,
    LanguageGroupCount
};

// The first group whose code equals language exactly (no case folding here: the catalogue has
// lowered it). For the external family French is tested with "1032", Greek's code, ahead of
// Greek: Greek voices go to French, French ones (1036) to Other Countries. The greeting table
// has the right code; the two are meant to differ.
LanguageGroup LanguageGroupOf(const QString &language, int engineKind);

// Caption of a group's parent menu ("Italian", "English (USA)", ...).
QString LanguageGroupCaption(int group);
// Object names of a group's parent menu ("menuItalian") and of its submenu items
// ("subMenuItalian").
QString LanguageGroupMenuName(int group);
QString LanguageGroupSubmenuName(int group);

struct VoiceMenuItem
{
    QString caption;
    int voiceIndex = -1; // the item's Tag
};

struct VoiceMenuGroup
{
    LanguageGroup group = GroupOtherCountries;
    QList<VoiceMenuItem> items; // in catalogue order
    bool visible = false;       // the parent shows only when its first item has a caption
};

// The 19 groups in table order, each with its voices in catalogue order. Captions are the
// voice's Name, in Other Countries "Name (Language)" so that the unknown code shows.
QList<VoiceMenuGroup> BuildVoiceMenus(const QList<VoiceRecord> &voices, int engineKind);

// The text of a voice in ComboVoci. Built-in: Name when it already bears Vendor (ignoring case;
// an empty Vendor never does), else "Vendor Name". External: "Name Vendor".
QString VoiceComboText(const VoiceRecord &voice, int engineKind);

} // namespace tonaris
