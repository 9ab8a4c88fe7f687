// The main window's memory between runs: the Options menu items it owns so far, the language
// menu with its restart, and the settings file read at start-up and written at shut-down.
#include "shell/Form1.h"

#include "config/AppPaths.h"
#include "config/Dialogs.h"
#include "config/KelIni.h"
#include "config/KelStartProgram.h"
#include "config/MultiLang.h"
#include "config/ProgramConsent.h"
#include "textprep/Text.h"
#include "voices/VoiceParameters.h"

#include <QAction>
#include <QActionGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QMenu>
#include <QMenuBar>

namespace tonaris {

using MultiLang::Translate;

namespace {
const QString Section = QStringLiteral("Settings");
QString yesNo(bool on)
{
    return on ? QStringLiteral("True") : QStringLiteral("False");
}
// "italiano.lng" -> "Italiano": each word with a capital first letter.
QString properCase(const QString &name)
{
    QStringList words = name.toLower().split(QLatin1Char(' '));
    for (QString &w : words)
        if (!w.isEmpty())
            w[0] = w[0].toUpper();
    return words.join(QLatin1Char(' '));
}
// Every key the program keeps, in the order the file holds them, with the value a key gets
// while the feature behind it has never written one. Keys of other versions follow these.
const struct
{
    const char *key;
    const char *missing;
} SettingsOrder[] = {
    {"SaveSettings", "True"},
    {"ErrorResolutionShowed", "False"},
    {"FileLNGForTranslate", ""},
    {"SpeechInterface", "SAPI5"},
    {"VoiceForQuoted", "False"},
    {"VoiceForQuotedIndex", "0"},
    {"VoiceForQuotedSpeed", "0"},
    {"VoiceForQuotedPitch", "0"},
    {"Mp3Quality", "Balanced"},
    {"FileAIPersonality", ""},
    {"FileCorrectionTable", ""},
    {"AudioFormat", "-1"},
    {"AudioFormatSAPI4", "-1"},
    {"DeviceAudioOutput", ""},
    {"ASREngine", "0"},
    {"ASRAudioInput", "0"},
    {"RunWithIdlePriority", "False"},
    {"FontName", ""},
    {"FontSize", ""},
    {"IAReply", "False"},
    {"WordWrap", "False"},
    {"AutoSelectAudioFormat", "True"},
    {"VerboseMode", "False"},
    {"SpeakVolumeNumberAndVolumeTitle", "False"},
    {"SpeakVolumeTitleAndVolumeNumber", "True"},
    {"AutoFormatHard", "False"},
    {"AutoFormat", "False"},
    {"AutoApplyConversionsTable", "False"},
    {"AddInitialAndFinalSilence", "False"},
    {"OnVoiceSelectSpeakCountryToo", "True"},
    {"AlwaysSaveAudioWithMaxVolume", "True"},
    {"TAGValidityOnlyForCurrentLine", "True"},
    {"KeyboardEditMode", "False"},
    {"ConfigureVoicesIndependently", "False"},
    {"AutoLoadLastSaved", "False"},
    {"LastSavedFilename", ""},
    {"LastCursorPosition", ""},
    {"Tracking", "0"},
    {"Volume", "50"},
    {"Speed", "0"},
    {"Pitch", "0"},
    {"CharacterEnabled", "1"},
    {"VoceSAPI5Selezionata", "0"},
    {"VoceSAPI4Selezionata", "0"},
    {"SpeechLineOnEnterPressed", "0"},
    {"ExtensionFilterIndex", "2"},
    {"SplitMp3Size", "0"},
};

} // namespace

void Form1::buildOptionsMenu()
{
    menuOptions = menuBar()->addMenu(QStringLiteral("&Options"));
    menuOptions->setObjectName(QStringLiteral("menuOptions"));
    auto checkItem = [this](const char *name, const char *caption) {
        QAction *a = menuOptions->addAction(QLatin1String(caption));
        a->setObjectName(QLatin1String(name));
        a->setCheckable(true);
        return a;
    };
    menuTAGValidityOnlyForCurrentLine =
        checkItem("menuTAGValidityOnlyForCurrentLine", "TAGs &validity for current line only");
    connect(menuTAGValidityOnlyForCurrentLine, &QAction::toggled, this,
            [this](bool on) { m_session.TagsForCurrentLineOnly = on ? 1 : 0; });
    buildAudioMenu();
    buildVoiceMenus();
    menuOptions->addSeparator();

    menuLanguageSelection = menuOptions->addMenu(QStringLiteral("Lan&guage selection"));
    menuLanguageSelection->setObjectName(QStringLiteral("menuLanguageSelection"));
    auto *languages = new QActionGroup(menuLanguageSelection);
    auto addLanguage = [&](const QString &caption, const QString &tag) {
        QAction *a = menuLanguageSelection->addAction(caption);
        a->setObjectName(QStringLiteral("menuMultiLanguageFiles"));
        a->setData(tag);
        a->setCheckable(true);
        languages->addAction(a);
        connect(a, &QAction::triggered, this, [this, a] { menuMultiLanguageFiles_Click(a); });
        return a;
    };
    addLanguage(QStringLiteral("&English (Default)"), QString())->setChecked(true);
    for (const QString &file : ListSideFiles(QStringLiteral("*.lng")))
        addLanguage(properCase(QFileInfo(file).completeBaseName()), QFileInfo(file).fileName());
    menuOptions->addSeparator();
    menuSaveSettings = checkItem("menuSaveSettings", "Save &settings on exit");
}

QAction *Form1::languageItem(const QString &tag) const
{
    for (QAction *a : menuLanguageSelection->actions())
        if (a->isCheckable() && a->data().toString().compare(tag, Qt::CaseInsensitive) == 0)
            return a;
    return nullptr;
}

void Form1::menuMultiLanguageFiles_Click(QAction *item)
{
    // The group has already moved the check; the question is all that is left.
    if (item->data().toString() == m_languageTag || m_loading)
        return;
    const int answer = Dialogs::instance()->choose(
        this, Translate(QStringLiteral("You need to restart for apply this changes. Restart now?")),
        {Translate(QStringLiteral("&Yes")), Translate(QStringLiteral("&No"))}, QString());
    if (answer != 0)
        return; // the check stays; the language and the file stay as they were
    LanguageChanged = true;
    close();
    KelStartProgram::StartProgram(QCoreApplication::applicationFilePath(), {}, false, true);
}

// The language goes first: every caption of the window is translated once, when it is built.
void Form1::loadLanguage()
{
    IniFile ini(SettingsFilePath());
    if (!ini.existed())
        return;
    const QString tag = ini.read(Section, QStringLiteral("FileLNGForTranslate"), QString());
    if (QAction *item = languageItem(tag)) {
        item->setChecked(true);
        m_languageTag = item->data().toString();
        if (!m_languageTag.isEmpty())
            MultiLang::LoadLanguageFile(m_languageTag);
    }
}

void Form1::LoadSettings()
{
    m_loading = true;
    IniFile ini(SettingsFilePath());
    auto read = [&](const char *key, const char *fallback) {
        return ini.read(Section, QLatin1String(key), QLatin1String(fallback));
    };
    bool voiceTaken = false;
    loadSaveSettings(ini);
    ResolutionWarningShown = IniBool(read("ErrorResolutionShowed", "False"));
    if (!ini.existed()) {
        // A first run.
        menuAlwaysSaveAudioWithMaxVolume->trigger();
        menuTAGValidityOnlyForCurrentLine->trigger();
        menuSaveSettings->setChecked(true);
        menuAutoSelectAudioFormat->setChecked(true);
        SetVolumeSlider(VolumeDefault);
        SetSpeedSlider(SpeedDefault);
        SetPitchSlider(PitchDefault);
    } else {
        CheckTracking->setChecked(IniVal(read("Tracking", "0")) == 1);
        if (IniBool(read("SaveSettings", "True")))
            menuSaveSettings->trigger();
        if (IniBool(read("WordWrap", "False")))
            findChild<QAction *>(QStringLiteral("menuWordWrap"))->trigger();
        if (IniBool(read("TAGValidityOnlyForCurrentLine", "True")))
            menuTAGValidityOnlyForCurrentLine->trigger();
        CheckSpeechLineOnPressEnter->setChecked(IniVal(read("SpeechLineOnEnterPressed", "0")) == 1);
        // Read before the voice is bound, which may choose the voice's own format.
        menuAutoSelectAudioFormat->setChecked(IniBool(read("AutoSelectAudioFormat", "True")));
        menuVerbose->setChecked(IniBool(read("VerboseMode", "False")));
        menuOnVoiceSelectSpeakCountryToo->setChecked(
            IniBool(read("OnVoiceSelectSpeakCountryToo", "True")));
        menuKeyboardEditMode->setChecked(IniBool(read("KeyboardEditMode", "")));
        CheckIA->setChecked(IniBool(read("IAReply", "False")));
        CheckShowCharacter->setChecked(read("CharacterEnabled", "1") == QLatin1String("1"));
        if (IniBool(read("AlwaysSaveAudioWithMaxVolume", "True")))
            menuAlwaysSaveAudioWithMaxVolume->trigger();
        menuConfigureVoicesIndependently->setChecked(
            IniBool(read("ConfigureVoicesIndependently", "0")));
        SetVolumeSlider(IniStrictOrDefault(QStringLiteral("Volume"), read("Volume", "50"),
                                           VolumeDefault, 0, 255));
        SetSpeedSlider(
            IniStrictOrDefault(QStringLiteral("Speed"), read("Speed", "0"), SpeedDefault));
        SetPitchSlider(
            IniStrictOrDefault(QStringLiteral("Pitch"), read("Pitch", "0"), PitchDefault));
        VoceSAPI5Selezionata = IniVal(read("VoceSAPI5Selezionata", "0"));
        VoceSAPI4Selezionata = IniVal(read("VoceSAPI4Selezionata", "0"));
        const int voice = m_session.EngineKind == EngineKindExternal ? VoceSAPI4Selezionata
                                                                     : VoceSAPI5Selezionata;
        if (voice >= 0 && voice < ComboVoci->count()) {
            ComboVoci->setCurrentIndex(voice); // events are held: this binds nothing yet
            voiceTaken = true;
        }
        QStringList allowed;
        for (int i = 1;; ++i) {
            const QString program =
                ini.read(Section, QStringLiteral("AllowedProgram%1").arg(i), QString());
            if (program.isEmpty())
                break;
            allowed.append(program);
        }
        m_consent->setAllowedList(allowed);
        // Each voice's own values, by vendor and name, before the first binding.
        if (menuConfigureVoicesIndependently->isChecked()) {
            for (VoiceRecord &v : Voices) {
                const QString key = v.Vendor + v.Name;
                v.Volume = quint8(IniVal(
                    ini.read(Section, QStringLiteral("Volume_") + key, QStringLiteral("50"))));
                v.Speed = qint16(
                    IniVal(ini.read(Section, QStringLiteral("Speed_") + key, QStringLiteral("0"))));
                v.Pitch = qint16(
                    IniVal(ini.read(Section, QStringLiteral("Pitch_") + key, QStringLiteral("0"))));
            }
        }
    }
    if (!voiceTaken && ComboVoci->count() > 0) {
        // Nothing remembered: a voice of the user's language, else the engine's default,
        // rather than whatever sorts first.
        int index = -1;
        const QString language = LanguageCodeFromTag(QLocale::system().bcp47Name());
        for (int i = 0; i < VoiceCount() && index < 0; ++i)
            if (Voices.at(i).Language == language)
                index = i;
        for (int i = 0; i < VoiceCount() && index < 0; ++i)
            if (Voices.at(i).id == Voice->CurrentVoiceId())
                index = i;
        ComboVoci->setCurrentIndex(qMax(index, 0));
    }
    m_loading = false;

    // The voice is bound once everything it depends on is read; then events flow again.
    if (VoiceCount() > 0)
        ImpostaVoce(SelectedVoice);
    --EventsSuppressed; // raised when the voices were started

    if (ini.existed() && !menuAutoSelectAudioFormat->isChecked()) {
        auto formatIndex = [&](const char *key) {
            const int index = IniVal(read(key, "-1"));
            return index >= 0 && index < ComboAudioFormat->count() ? index : -1;
        };
        AudioFormatIndexSapi4 = formatIndex("AudioFormatSAPI4");
        AudioFormatIndexSapi5 = formatIndex("AudioFormat");
        const int index = m_session.EngineKind == EngineKindExternal ? AudioFormatIndexSapi4
                                                                     : AudioFormatIndexSapi5;
        if (index >= 0)
            ComboAudioFormat->setCurrentIndex(index);
    }
    // The device always, by its name; one that is gone gives way to the first.
    selectAudioOutput(ini.read(Section, QStringLiteral("DeviceAudioOutput"), QString()));
    if (m_session.EngineKind != EngineKindExternal)
        ShowCurrentAudioFormat();
    loadTextPrepSettings(ini);
    loadConversationSettings(ini);
}

void Form1::SaveSettings()
{
    if (ComboVoci->count() == 0)
        return; // nothing was set up, so nothing is stored
    IniFile ini(SettingsFilePath());
    auto write = [&](const char *key, const QString &value) {
        ini.write(Section, QLatin1String(key), value);
    };
    write("SaveSettings", yesNo(menuSaveSettings->isChecked()));
    if (ResolutionWarningShown)
        write("ErrorResolutionShowed", QStringLiteral("True"));
    saveDocumentSettings(ini);
    if (menuSaveSettings->isChecked())
        write("SpeechInterface",
              menuSAPI5->isChecked() ? QStringLiteral("SAPI5") : QStringLiteral("SAPI4"));
    if (LanguageChanged) {
        const QAction *checked = nullptr;
        for (QAction *a : menuLanguageSelection->actions())
            if (a->isChecked())
                checked = a;
        write("FileLNGForTranslate", checked ? checked->data().toString() : QString());
    }
    if (menuSaveSettings->isChecked()) {
        saveSaveSettings(ini);
        write("WordWrap", yesNo(Text1->WordWrap()));
        write("TAGValidityOnlyForCurrentLine",
              yesNo(menuTAGValidityOnlyForCurrentLine->isChecked()));
        write("Tracking", QString::number(CheckTracking->isChecked() ? 1 : 0));
        write("VoceSAPI5Selezionata", QString::number(VoceSAPI5Selezionata));
        write("VoceSAPI4Selezionata", QString::number(VoceSAPI4Selezionata));
        write("OnVoiceSelectSpeakCountryToo", yesNo(menuOnVoiceSelectSpeakCountryToo->isChecked()));
        write("AlwaysSaveAudioWithMaxVolume", yesNo(menuAlwaysSaveAudioWithMaxVolume->isChecked()));
        write("ConfigureVoicesIndependently", yesNo(menuConfigureVoicesIndependently->isChecked()));
        write("SpeechLineOnEnterPressed",
              QString::number(CheckSpeechLineOnPressEnter->isChecked() ? 1 : 0));
        write("Volume", QString::number(CurrentVolume()));
        write("Speed", QString::number(CurrentSpeed()));
        write("Pitch", QString::number(CurrentPitch()));
        write("VerboseMode", yesNo(menuVerbose->isChecked()));
        write("AutoSelectAudioFormat", yesNo(menuAutoSelectAudioFormat->isChecked()));
        write("AudioFormat", QString::number(AudioFormatIndexSapi5));
        write("AudioFormatSAPI4", QString::number(AudioFormatIndexSapi4));
        write("DeviceAudioOutput", ComboAudioOutput->currentText());
        write("IAReply", yesNo(CheckIA->isChecked()));
        write("KeyboardEditMode", yesNo(menuKeyboardEditMode->isChecked()));
        write("CharacterEnabled", QString::number(CheckShowCharacter->isChecked() ? 1 : 0));
        saveTextPrepSettings(ini);
        saveConversationSettings(ini);
        const QStringList allowed = m_consent->allowedList();
        for (int i = 0; i <= allowed.size(); ++i) // one more, emptied, ends the list
            ini.write(Section, QStringLiteral("AllowedProgram%1").arg(i + 1), allowed.value(i));
        // Last, the values of each voice, by vendor and name: voices that have left the
        // machine keep theirs in the file.
        if (menuConfigureVoicesIndependently->isChecked()) {
            for (const VoiceRecord &v : std::as_const(Voices)) {
                const QString key = v.Vendor + v.Name;
                ini.write(Section, QStringLiteral("Volume_") + key, QString::number(v.Volume));
                ini.write(Section, QStringLiteral("Speed_") + key, QString::number(v.Speed));
                ini.write(Section, QStringLiteral("Pitch_") + key, QString::number(v.Pitch));
            }
        }
    }
    // The documented keys first and all of them, so that the file reads as a whole; what older
    // or newer versions wrote stays behind them.
    QStringList order;
    for (const auto &k : SettingsOrder) {
        const QString key = QLatin1String(k.key);
        if (menuSaveSettings->isChecked() && !ini.contains(Section, key))
            ini.write(Section, key, QLatin1String(k.missing));
        order.append(key);
    }
    for (const VoiceRecord &v : std::as_const(Voices))
        for (const char *prefix : {"Volume_", "Speed_", "Pitch_"})
            order.append(QLatin1String(prefix) + v.Vendor + v.Name);
    ini.orderSection(Section, order);
    // A settings folder that cannot be written (read-only, or not a folder at all) costs the
    // settings of this run, not the run: they stay in memory and the cause is told once.
    QString error;
    if (!ini.save(&error)) {
        KeepIniFileInMemory(SettingsFilePath());
        Dialogs::instance()->message(
            this,
            Translate(QStringLiteral("The settings cannot be saved to %1 (%2): they are kept "
                                     "until Tonaris is closed."))
                .arg(QDir::toNativeSeparators(SettingsFilePath()), error),
            Dialogs::Exclamation, QString());
    }
}

} // namespace tonaris
