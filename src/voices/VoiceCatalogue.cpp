#include "voices/VoiceCatalogue.h"

#include <QHash>

#include <array>
#include <utility>

namespace tonaris {

namespace {

// espeak-ng language tags and the Windows language codes that stand for them. Where Windows has
// a code only for one country of a language, that one is used (Sindhi of Pakistan, Lule Sami of
// Sweden); dialects and scripts of one language share its code (vi-vn-x-south, fa-latn).
// Languages Windows has no code for (Esperanto, Lojban, Klingon, Ancient Greek, ...) are left
// out and get UnknownLanguageCode.
const QHash<QString, QString> &tagCodes()
{
    static const QHash<QString, QString> codes{
        {"af", "436"},    {"am", "45e"},     {"ar", "401"},     {"as", "44d"},
        {"az", "42c"},    {"ba", "46d"},     {"be", "423"},     {"bg", "402"},
        {"bn", "445"},    {"bs", "141a"},    {"ca", "403"},     {"chr", "45c"},
        {"cmn", "804"},   {"cs", "405"},     {"cy", "452"},     {"da", "406"},
        {"de", "407"},    {"el", "408"},     {"en", "809"},     {"en-029", "2409"},
        {"en-gb", "809"}, {"en-us", "409"},  {"es", "40a"},     {"es-419", "80a"},
        {"es-mx", "80a"}, {"es-ar", "2c0a"}, {"es-cl", "340a"}, {"et", "425"},
        {"eu", "42d"},    {"fa", "429"},     {"fi", "40b"},     {"fr", "40c"},
        {"fr-be", "80c"}, {"fr-ch", "100c"}, {"ga", "83c"},     {"gd", "491"},
        {"gn", "474"},    {"gu", "447"},     {"haw", "475"},    {"he", "40d"},
        {"hi", "439"},    {"hr", "41a"},     {"hbs", "41a"},    {"hu", "40e"},
        {"hy", "42b"},    {"hyw", "42b"},    {"id", "421"},     {"is", "40f"},
        {"it", "410"},    {"ja", "411"},     {"ka", "437"},     {"kk", "43f"},
        {"kl", "46f"},    {"kn", "44b"},     {"ko", "412"},     {"kok", "457"},
        {"ku", "492"},    {"ky", "440"},     {"la", "476"},     {"lb", "46e"},
        {"lt", "427"},    {"lv", "426"},     {"mi", "481"},     {"mk", "42f"},
        {"ml", "44c"},    {"mr", "44e"},     {"ms", "43e"},     {"mt", "43a"},
        {"my", "455"},    {"nb", "414"},     {"no", "414"},     {"ne", "461"},
        {"nl", "413"},    {"om", "472"},     {"or", "448"},     {"pa", "446"},
        {"pap", "479"},   {"pl", "415"},     {"pt", "816"},     {"pt-br", "416"},
        {"qu", "46b"},    {"quc", "486"},    {"ro", "418"},     {"ru", "419"},
        {"sd", "859"},    {"si", "45b"},     {"sk", "41b"},     {"sl", "424"},
        {"smj", "143b"},  {"sq", "41c"},     {"sr", "c1a"},     {"sv", "41d"},
        {"sw", "441"},    {"ta", "449"},     {"te", "44a"},     {"th", "41e"},
        {"tk", "442"},    {"tn", "432"},     {"tr", "41f"},     {"tt", "444"},
        {"ug", "480"},    {"uk", "422"},     {"ur", "420"},     {"uz", "443"},
        {"vi", "42a"},    {"yue", "c04"},    {"zh", "804"},     {"zh-cmn", "804"},
        {"zh-tw", "404"}, {"zh-yue", "c04"},
    };
    return codes;
}

struct GroupRow
{
    const char *menu;    // parent menu's object name
    const char *submenu; // submenu items' object name
    const char *caption;
    std::array<const char *, 2> builtIn; // nullptr: unused
    const char *external;                // nullptr: no voice of this family goes here
};

// "1032" in the French row is Greek's code and stays so; see LanguageGroupOf.
constexpr std::array<GroupRow, LanguageGroupCount> Groups{{
    {"menuItalian", "subMenuItalian", "Italian", {"410", nullptr}, "1040"},
    {"menuRussian", "subMenuRussian", "Russian", {"419", nullptr}, "1049"},
    {"menuGerman", "subMenuGerman", "German", {"407", nullptr}, "1031"},
    {"menuFrench", "subMenuFrench", "French", {"40c", nullptr}, "1032"},
    {"MenuGreek", "subMenuGreek", "Greek", {"408", nullptr}, "1032"},
    {"menuEnglishUS", "subMenuEnglishUS", "English (USA)", {"409", nullptr}, "1033"},
    {"menuEnglishGB", "subMenuEnglishGB", "English (GB)", {"809", nullptr}, "2057"},
    {"menuSpanish", "subMenuSpanish", "Spanish (Spain)", {"40a", nullptr}, "1034"},
    {"menuSpanishMexico", "subMenuSpanishMexico", "Spanish (Mexico)", {"80a", nullptr}, nullptr},
    {"menuSpanishArgentine",
     "subMenuSpanishArgentine",
     "Spanish (Argentine)",
     {"2c0a", nullptr},
     nullptr},
    {"menuSpanishChile", "subMenuSpanishChile", "Spanish (Chile)", {"340a", nullptr}, nullptr},
    {"menuPortuguese", "subMenuPortuguese", "Portuguese (Portugal)", {"816", nullptr}, "2070"},
    {"menuPortugueseBrazil",
     "subMenuPortugueseBrazil",
     "Portuguese (Brazil)",
     {"416", nullptr},
     "1046"},
    {"menuCatalan", "subMenuCatalan", "Catalan", {"403", nullptr}, nullptr},
    {"menuDutch", "subMenuDutch", "Dutch", {"413", nullptr}, "1043"},
    {"menuSwedish", "subMenuSwedish", "Swedish", {"41d", nullptr}, "1053"},
    {"menuJapanese", "subMenuJapanese", "Japanese", {"411", nullptr}, nullptr},
    {"menuChina", "subMenuChina", "Chinese", {"804", "404"}, nullptr},
    {"menuOtherCountries", "subMenuOtherCountries", "Other Countries", {nullptr, nullptr}, nullptr},
}};

const GroupRow *groupRow(int group)
{
    return group >= 0 && group < LanguageGroupCount ? &Groups[static_cast<size_t>(group)] : nullptr;
}

} // namespace

QString LanguageCodeFromTag(const QString &tag)
{
    QString key = tag.trimmed().toLower().replace(QLatin1Char('_'), QLatin1Char('-'));
    while (!key.isEmpty()) {
        const auto it = tagCodes().constFind(key);
        if (it != tagCodes().constEnd())
            return it.value();
        const qsizetype dash = key.lastIndexOf(QLatin1Char('-'));
        key = dash < 0 ? QString() : key.left(dash);
    }
    return QString::fromLatin1(UnknownLanguageCode);
}

QList<VoiceRecord> BuildVoiceRecords(const QList<VoiceInfo> &voices, int engineKind)
{
    QList<VoiceRecord> out;
    out.reserve(voices.size());
    for (const VoiceInfo &v : voices) {
        VoiceRecord r;
        r.id = v.id;
        if (engineKind == EngineKindExternal) {
            r.Gender = v.gender.compare(QLatin1String("FEMALE"), Qt::CaseInsensitive) == 0
                           ? QStringLiteral("FEMALE")
                           : QStringLiteral("MALE");
            r.Vendor = v.vendor;
            r.Age = v.age;
            r.Language = v.language;
            r.Name = v.name;
            r.Description = v.description;
            // An empty description never becomes the name.
            if (!r.Description.isEmpty() && r.Description.size() < r.Name.size())
                std::swap(r.Name, r.Description);
        } else {
            r.Gender = v.gender.toUpper();
            r.Vendor = v.vendor.section(QLatin1Char(','), 0, 0);
            r.Language = v.language.toLower().section(QLatin1Char(';'), 0, 0);
            r.Description = v.description;
            r.Name = QString(v.name).replace(QLatin1Char('_'), QLatin1Char(' '));
        }
        out.append(r);
    }
    return out;
}

LanguageGroup LanguageGroupOf(const QString &language, int engineKind)
{
    for (int g = 0; g < GroupOtherCountries; ++g) {
        const GroupRow &row = Groups[static_cast<size_t>(g)];
        if (engineKind == EngineKindExternal) {
            if (row.external && language == QLatin1String(row.external))
                return static_cast<LanguageGroup>(g);
            continue;
        }
        for (const char *code : row.builtIn)
            if (code && language == QLatin1String(code))
                return static_cast<LanguageGroup>(g);
    }
    return GroupOtherCountries;
}

QString LanguageGroupCaption(int group)
{
    const GroupRow *row = groupRow(group);
    return row ? QString::fromLatin1(row->caption) : QString();
}

QString LanguageGroupMenuName(int group)
{
    const GroupRow *row = groupRow(group);
    return row ? QString::fromLatin1(row->menu) : QString();
}

QString LanguageGroupSubmenuName(int group)
{
    const GroupRow *row = groupRow(group);
    return row ? QString::fromLatin1(row->submenu) : QString();
}

QList<VoiceMenuGroup> BuildVoiceMenus(const QList<VoiceRecord> &voices, int engineKind)
{
    QList<VoiceMenuGroup> groups(LanguageGroupCount);
    for (int g = 0; g < LanguageGroupCount; ++g)
        groups[g].group = static_cast<LanguageGroup>(g);
    for (int i = 0; i < voices.size(); ++i) {
        const VoiceRecord &v = voices[i];
        const LanguageGroup g = LanguageGroupOf(v.Language, engineKind);
        VoiceMenuItem item;
        item.caption = g == GroupOtherCountries
                           ? QString(v.Name + QLatin1String(" (") + v.Language + QLatin1Char(')'))
                           : v.Name;
        item.voiceIndex = i;
        QList<VoiceMenuItem> &items = groups[g].items;
        // An item 0 without a caption counts as free, also when a nameless voice took it.
        if (!items.isEmpty() && items.first().caption.isEmpty())
            items.first() = item;
        else
            items.append(item);
    }
    for (VoiceMenuGroup &g : groups)
        g.visible = !g.items.isEmpty() && !g.items.first().caption.isEmpty();
    return groups;
}

QString VoiceComboText(const VoiceRecord &voice, int engineKind)
{
    if (engineKind == EngineKindExternal)
        return voice.Name + QLatin1Char(' ') + voice.Vendor;
    if (!voice.Vendor.isEmpty() && voice.Name.contains(voice.Vendor, Qt::CaseInsensitive))
        return voice.Name;
    return voice.Vendor + QLatin1Char(' ') + voice.Name;
}

} // namespace tonaris
