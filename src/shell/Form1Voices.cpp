// The main window's voices: the catalogue of the engine family in use with its list and language
// menus, binding a voice, its greeting and flag, the switch between the built-in voices and
// those of external programs, and the values each voice may keep for itself.
#include "shell/Form1.h"

#include "config/AppPaths.h"
#include "config/Dialogs.h"
#include "config/KelIni.h"
#include "config/MultiLang.h"
#include "textprep/Text.h"
#include "voices/AudioFormats.h"
#include "voices/ExternalVoiceEngine.h"
#include "voices/ExternalVoices.h"
#include "voices/VoiceGreeting.h"

#include <QAction>
#include <QActionGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QSvgRenderer>
#include <QVBoxLayout>

#include <functional>

namespace tonaris {

using MultiLang::Translate;

namespace {

// The flags in the order of their indices; 17 is the unknown country.
const char *const FlagFiles[] = {
    ":/flags/00-argentina.svg",      ":/flags/01-brazil.svg",  ":/flags/02-catalonia.svg",
    ":/flags/03-chile.svg",          ":/flags/04-china.svg",   ":/flags/05-netherlands.svg",
    ":/flags/06-france.svg",         ":/flags/07-germany.svg", ":/flags/08-greece.svg",
    ":/flags/09-united-kingdom.svg", ":/flags/10-italy.svg",   ":/flags/11-mexico.svg",
    ":/flags/12-portugal.svg",       ":/flags/13-spain.svg",   ":/flags/14-sweden.svg",
    ":/flags/15-united-states.svg",  ":/flags/16-russia.svg",  ":/flags/17-unknown.svg",
    ":/flags/18-japan.svg",
};
constexpr int FlagCount = int(std::size(FlagFiles));
const QSize FlagSize(36, 24);

QPixmap flagPixmap(int index, qreal devicePixelRatio)
{
    QPixmap pixmap(FlagSize * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer{QString::fromLatin1(FlagFiles[qBound(0, index, FlagCount - 1)])};
    QPainter painter(&pixmap);
    painter.setClipRect(QRect(QPoint(0, 0), FlagSize));
    renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(FlagSize)));
    return pixmap;
}

// The language menus as the editor's popup shows them.
constexpr LanguageGroup PopupOrder[] = {
    GroupItalian,        GroupEnglishUS,     GroupEnglishGB,
    GroupSpanish,        GroupSpanishMexico, GroupSpanishArgentine,
    GroupSpanishChile,   GroupPortuguese,    GroupPortugueseBrazil,
    GroupCatalan,        GroupGerman,        GroupFrench,
    GroupGreek,          GroupDutch,         GroupSwedish,
    GroupRussian,        GroupChina,         GroupJapanese,
    GroupOtherCountries,
};

// What the flag does for the mouse it does for the keyboard: Enter or Space on the focused flag
// is the double-click.
class FlagActivation : public QObject
{
public:
    FlagActivation(QObject *parent, std::function<void()> activate)
        : QObject(parent)
        , m_activate(std::move(activate))
    {}

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::MouseButtonDblClick) {
            m_activate();
            return true;
        }
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent *>(event)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Space) {
                m_activate();
                return true;
            }
        }
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> m_activate;
};

// The items the external programs cannot serve, by object name; each exists once its feature
// is built, and a missing one is passed over.
const char *const DisabledForExternal[] = {"menuAddInitialAndFinalSilence",
                                           "menuCustomizeVoiceInQuotedText"};
const char *const HiddenForExternal[] = {"menuPlaySoundFile",
                                         "menuRecognitionSample",
                                         "menuRecognitionWithTimeoutSample",
                                         "menuTAGValidityOnlyForCurrentLine",
                                         "menuInsertSpecialTAG",
                                         "menuCallRoutineSample"};

} // namespace

void Form1::buildVoiceControls(QWidget *frame, QBoxLayout *row)
{
    ImageBandiera = new QLabel(frame);
    ImageBandiera->setObjectName(QStringLiteral("ImageBandiera"));
    ImageBandiera->setFixedSize(FlagSize);
    ImageBandiera->setFocusPolicy(Qt::StrongFocus);
    ImageBandiera->setAccessibleName(QStringLiteral("Voice greeting"));
    ImageBandiera->installEventFilter(
        new FlagActivation(ImageBandiera, [this] { ImageBandiera_DblClick(); }));
    row->addWidget(ImageBandiera);
}

void Form1::buildVoiceMenus()
{
    auto checkItem = [this](const char *name, const char *caption) {
        auto *a = new QAction(QLatin1String(caption), menuOptions);
        a->setObjectName(QLatin1String(name));
        a->setCheckable(true);
        return a;
    };
    menuConfigureVoicesIndependently =
        checkItem("menuConfigureVoicesIndependently", "Configure voices &independently");
    menuOptions->insertAction(menuTAGValidityOnlyForCurrentLine, menuConfigureVoicesIndependently);
    connect(menuConfigureVoicesIndependently, &QAction::triggered, this,
            &Form1::menuConfigureVoicesIndependently_Click);

    menuAlwaysSaveAudioWithMaxVolume =
        checkItem("menuAlwaysSaveAudioWithMaxVolume", "Always save audio with ma&x volume");
    connect(menuAlwaysSaveAudioWithMaxVolume, &QAction::triggered, this,
            &Form1::menuAlwaysSaveAudioWithMaxVolume_Click);
    menuSAPI4 = checkItem("menuSAPI4", "Use ext&ernal voice programs");
    menuSAPI5 = checkItem("menuSAPI5", "Use b&uilt-in voices");
    // Choosing the checked one again keeps it checked; the click handlers tell the rest.
    auto *engines = new QActionGroup(menuOptions);
    engines->setExclusionPolicy(QActionGroup::ExclusionPolicy::ExclusiveOptional);
    engines->addAction(menuSAPI4);
    engines->addAction(menuSAPI5);
    connect(menuSAPI4, &QAction::triggered, this, &Form1::menuSAPI4_Click);
    connect(menuSAPI5, &QAction::triggered, this, &Form1::menuSAPI5_Click);

    QAction *before = menuAutoSelectAudioFormat;
    menuOptions->insertAction(before, menuAlwaysSaveAudioWithMaxVolume);
    menuOptions->insertSeparator(before);
    menuOptions->insertAction(before, menuSAPI4);
    menuOptions->insertAction(before, menuSAPI5);
    menuOptions->insertSeparator(before);

    menuOnVoiceSelectSpeakCountryToo =
        new QAction(QStringLiteral("&On voice select speak country too"), menuAccessibilityOptions);
    menuOnVoiceSelectSpeakCountryToo->setObjectName(
        QStringLiteral("menuOnVoiceSelectSpeakCountryToo"));
    menuOnVoiceSelectSpeakCountryToo->setCheckable(true);
    menuOnVoiceSelectSpeakCountryToo->setChecked(true);
    menuAccessibilityOptions->addAction(menuOnVoiceSelectSpeakCountryToo);
}

void Form1::buildLanguageMenus()
{
    QAction *first = MenuQuickVoiceSelect->actions().value(0);
    for (LanguageGroup group : PopupOrder) {
        auto *menu = new QMenu(LanguageGroupCaption(group), MenuQuickVoiceSelect);
        menu->setObjectName(LanguageGroupMenuName(group));
        menu->menuAction()->setObjectName(LanguageGroupMenuName(group));
        menu->menuAction()->setVisible(false);
        MenuQuickVoiceSelect->insertMenu(first, menu);
        LanguageMenus[group] = menu;
    }
    MenuQuickVoiceSelect->insertSeparator(first);
}

std::function<QList<ExternalVoice>()> Form1::discoverExternalVoices;

// The engines, the family the settings name, the catalogue and the list; the binding waits for
// the settings, so events stay held until then.
void Form1::startVoices()
{
    const QList<ExternalVoice> external =
        discoverExternalVoices ? discoverExternalVoices() : ExternalVoices::discover();
    if (!external.isEmpty()) {
        DSS = new ExternalVoiceEngine(external, this);
        m_session.setExternalVoice(DSS);
    }
    menuSAPI4->setEnabled(DSS != nullptr);
    connect(this, &Form1::voiceBound, this, &Form1::followBoundVoice);

    ++EventsSuppressed; // lowered once the settings are read and the voice is bound
    IniFile ini(SettingsFilePath());
    const QString family =
        ini.existed() ? ini.read(QStringLiteral("Settings"), QStringLiteral("SpeechInterface"),
                                 QStringLiteral("SAPI5"))
                      : QStringLiteral("SAPI5");
    // The external family named but gone: no menu checked, the built-in voices listed.
    if (family == QLatin1String("SAPI4")) {
        if (DSS)
            menuSAPI4->trigger();
    } else {
        menuSAPI5->trigger();
    }
    BuildVoiceCatalogue();
    if (VoiceCount() == 0)
        Dialogs::instance()->message(this,
                                     Translate(QStringLiteral("No voices actually installed")),
                                     Dialogs::Exclamation, QString());
    fillVoiceCombo();
}

// ---------------------------------------------------------------------------------------------
// The catalogue

void Form1::BuildVoiceCatalogue()
{
    Voices.clear();
    BoundVoice = -1;
    for (QMenu *menu : LanguageMenus)
        if (menu)
            menu->clear(); // every item of the group goes, the highest first or not
    const int kind = m_session.EngineKind;
    QList<VoiceInfo> found;
    if (kind == EngineKindExternal) {
        if (DSS)
            found = DSS->GetVoices();
    } else {
        found = Voice->GetVoices();
    }
    Voices = BuildVoiceRecords(found, kind);
    // A rebuild erases what each voice kept; until the next start the sliders' values stand in.
    for (VoiceRecord &voice : Voices) {
        voice.Volume = quint8(CurrentVolume());
        voice.Speed = qint16(CurrentSpeed());
        voice.Pitch = qint16(CurrentPitch());
    }
    for (const VoiceMenuGroup &group : BuildVoiceMenus(Voices, kind)) {
        QMenu *menu = LanguageMenus[group.group];
        if (!menu)
            continue;
        for (const VoiceMenuItem &item : group.items) {
            QString caption = item.caption;
            QAction *a = menu->addAction(caption.replace(QLatin1Char('&'), QLatin1String("&&")));
            a->setObjectName(LanguageGroupSubmenuName(group.group));
            a->setData(item.voiceIndex); // the item's Tag
            const int index = item.voiceIndex;
            connect(a, &QAction::triggered, this, [this, index] { subMenuVoice_Click(index); });
        }
        menu->menuAction()->setVisible(group.visible);
    }
}

void Form1::fillVoiceCombo()
{
    ++EventsSuppressed;
    ComboVoci->clear();
    for (const VoiceRecord &voice : Voices)
        ComboVoci->addItem(VoiceComboText(voice, m_session.EngineKind));
    --EventsSuppressed;
}

void Form1::RefreshVoiceList()
{
    BuildVoiceCatalogue();
    if (VoiceCount() == 0)
        return; // the list keeps what it showed
    fillVoiceCombo();
    // The remembered voice announces itself as it is bound. An index that no longer exists
    // falls back to the first voice.
    int index =
        m_session.EngineKind == EngineKindExternal ? VoceSAPI4Selezionata : VoceSAPI5Selezionata;
    if (index < 0 || index >= ComboVoci->count())
        index = 0;
    if (ComboVoci->currentIndex() == index)
        ComboVoci_Click();
    else
        ComboVoci->setCurrentIndex(index);
    SetVolumeSlider(CurrentVolume());
    SetSpeedSlider(CurrentSpeed());
    SetPitchSlider(CurrentPitch());
}

// ---------------------------------------------------------------------------------------------
// Binding

bool Form1::VoiceIsUsable(int In_NumVoce) const
{
    if (In_NumVoce < 0 || In_NumVoce >= VoiceCount())
        return false;
    if (m_session.EngineKind == EngineKindExternal)
        return DSS && In_NumVoce < DSS->CountEngines();
    return !Voices.at(In_NumVoce).id.isEmpty();
}

void Form1::ImpostaVoce(int &In_NumVoce)
{
    auto notWorking = [this] {
        Dialogs::instance()->message(
            this,
            Translate(QStringLiteral("The voice you have selected isn't working.")) +
                QStringLiteral("\r\n") +
                Translate(QStringLiteral("This can be a general speech engine trouble.")) +
                QStringLiteral("\r\n") +
                Translate(QStringLiteral("Try to check the voice from a terminal.")),
            Dialogs::Exclamation, Translate(QStringLiteral("Tonaris")));
    };
    if (!VoiceIsUsable(In_NumVoce)) {
        notWorking();
        return;
    }
    if (BoundVoice == In_NumVoce)
        return;
    ComboVoci->setToolTip(ComboVoci->currentText());
    const bool idle = m_session.SpeechState == SpeechSession::StateIdle ||
                      m_session.SpeechState == SpeechSession::StateSpeaking;

    if (m_session.EngineKind == EngineKindExternal) {
        // A fresh voice starts from its own defaults; the sliders' middle is that default, and
        // the range the widest one symmetric about it.
        DSS->AudioReset();
        DSS->Select(In_NumVoce + 1);
        Sapi4Volume = {ExternalVoiceEngine::MinVolume(), ExternalVoiceEngine::MaxVolume()};
        Sapi4Speed = centredRange(DSS->MinSpeed(), DSS->Speed(), DSS->MaxSpeed());
        Sapi4Pitch = centredRange(DSS->MinPitch(), DSS->Pitch(), DSS->MaxPitch());
        applyVolume(CurrentVolume());
        applySpeed(CurrentSpeed());
        applyPitch(CurrentPitch());
        VoceSAPI4Selezionata = In_NumVoce;
        // The voice's own rate rather than 11 kHz 16 Bit Mono: a 22 kHz neural voice would be
        // down-sampled otherwise.
        if (menuAutoSelectAudioFormat->isChecked() && idle) {
            DSS->SetAudioFormatType(DSS->voices().at(In_NumVoce).formatCode);
            ShowCurrentAudioFormat();
        }
    } else {
        const QString id = Voices.at(In_NumVoce).id;
        if (Voice->CurrentVoiceId() != id) {
            if (!Voice->SetVoiceById(id)) {
                notWorking();
                return;
            }
            // While a save runs the stream keeps its format.
            if (menuAutoSelectAudioFormat->isChecked() && idle)
                Voice->SetAudioFormatType(AudioFormatEngineNative);
            ShowCurrentAudioFormat();
        }
        VoceSAPI5Selezionata = In_NumVoce;
    }

    BoundVoice = In_NumVoce;
    PrepareVoiceGreeting();
    if (menuConfigureVoicesIndependently->isChecked()) {
        const VoiceRecord &own = Voices.at(In_NumVoce);
        SetVolumeSlider(own.Volume);
        SetSpeedSlider(own.Speed);
        SetPitchSlider(own.Pitch);
    }
    emit voiceBound(In_NumVoce);
}

void Form1::PrepareVoiceGreeting()
{
    if (SelectedVoice < 0 || SelectedVoice >= VoiceCount())
        return;
    const VoiceRecord &voice = Voices.at(SelectedVoice);
    const VoiceGreetingInfo info = tonaris::PrepareVoiceGreeting(voice.Name, voice.Language);
    VoiceCountryName = info.VoiceCountryName;
    VoiceGreeting = info.VoiceGreeting;
    ImageBandieraFlag = info.flag;
    ImageBandiera->setPixmap(flagPixmap(info.flag, devicePixelRatioF()));
    ImageBandiera->setToolTip(VoiceCountryName);
    ImageBandiera->setAccessibleDescription(VoiceCountryName);
}

void Form1::ComboVoci_Click()
{
    SelectedVoice = ComboVoci->currentIndex();
    if (EventsSuppressed > 0 || SelectedVoice < 0)
        return;
    if (m_session.SpeechState == SpeechSession::StateSpeaking ||
        m_session.SpeechState == SpeechSession::StateRecognizing) {
        m_session.SpeechRequest = SpeechSession::RequestStop;
        m_session.TimerSpeech_Timer();
    }
    if (ComboVoci->count() > 0)
        StatusBarVoice->setText(ComboVoci->currentText());
    ImpostaVoce(SelectedVoice);
    // The voice says its own name, in its own language, and if wished the language too.
    if (m_session.SpeechState == SpeechSession::StateIdle && m_canSpeak &&
        SelectedVoice < VoiceCount()) {
        m_session.SpeechText = VoiceAnnouncement(Voices.at(SelectedVoice).Name, VoiceCountryName,
                                                 menuOnVoiceSelectSpeakCountryToo->isChecked());
        m_session.SpeechStopLine = -1;
        m_session.SpeechTrackWords = false;
        m_session.SpeechRestoreCaret = false;
        m_session.SpeechRequest = SpeechSession::RequestStart;
        m_session.TimerSpeech_Timer();
    }
}

void Form1::ImageBandiera_DblClick()
{
    if (m_session.SpeechState != SpeechSession::StateIdle || !m_canSpeak)
        return;
    m_session.SpeechStopLine = -1;
    m_session.SpeechTrackWords = false;
    m_session.SpeechRestoreCaret = false;
    m_session.SpeechText = VoiceGreeting;
    m_session.SpeechRequest = SpeechSession::RequestStart;
    m_session.SetTimerFast();
}

void Form1::subMenuVoice_Click(int voiceIndex)
{
    ++EventsSuppressed;
    ComboVoci->setCurrentIndex(voiceIndex);
    --EventsSuppressed;
    ImpostaVoce(SelectedVoice);
    InsertVoiceLine();
}

// Writes "#VOICE name" for the selected voice at the start of the caret's line, or replaces the
// #VOICE line the caret stands on. On the last line of the text the old line's "#" stays,
// giving "##VOICE name": a line that the run reads as a comment.
void Form1::InsertVoiceLine()
{
    if (SelectedVoice < 0 || SelectedVoice >= VoiceCount())
        return;
    const QString crlf = QStringLiteral("\r\n");
    const QString line = QStringLiteral("#VOICE ") + Voices.at(SelectedVoice).Name + crlf;
    const QString text = Text1->text();
    const int caret = Text1->SelStart();
    // b: 1-based position of the last CR LF ending at or before the caret, -1 when none.
    int b = -1;
    if (caret > 0) {
        const int found = int(text.lastIndexOf(crlf, qMax(0, caret - 2)));
        if (found >= 0)
            b = found + 1;
    }
    const int lineStart = b + 1; // 0-based start of the caret's line
    if (text.mid(lineStart, 6) != QLatin1String("#VOICE")) {
        Text1->SetSelStart(lineStart);
        Text1->SetSelLength(0);
    } else {
        const int end = int(text.indexOf(crlf, lineStart));
        if (end >= 0) {
            Text1->SetSelStart(lineStart);
            Text1->SetSelLength(end + 2 - lineStart);
        } else {
            Text1->SetSelStart(lineStart + 1);
            Text1->SetSelLength(int(text.size()) - lineStart - 1);
        }
    }
    Text1->Insert(line);
    Text1->SetSelStart(lineStart + int(line.size()));
    Text1->ScrollToActualPos();
    Text1->setFocus();
}

// ---------------------------------------------------------------------------------------------
// The engine family

void Form1::menuSAPI4_Click()
{
    switchEngine(EngineKindExternal);
}

void Form1::menuSAPI5_Click()
{
    switchEngine(EngineKindBuiltIn);
}

void Form1::switchEngine(int kind)
{
    QAction *chosen = kind == EngineKindExternal ? menuSAPI4 : menuSAPI5;
    QAction *other = kind == EngineKindExternal ? menuSAPI5 : menuSAPI4;
    if (m_engineMenu == kind) {
        chosen->setChecked(true); // choosing it again changes nothing
        return;
    }
    const int before = m_engineMenu;
    if (m_session.SpeechState != SpeechSession::StateIdle) {
        m_session.SpeechRequest = SpeechSession::RequestStop;
        m_session.TimerSpeech_Timer();
    }
    m_session.EngineKind = kind;
    const bool builtIn = kind != EngineKindExternal;
    auto setEnabled = [this](const char *name, bool on) {
        if (auto *a = findChild<QAction *>(QLatin1String(name)))
            a->setEnabled(on);
    };
    auto setShown = [this](const char *name, bool on) {
        if (auto *m = findChild<QMenu *>(QLatin1String(name)))
            m->menuAction()->setVisible(on);
        else if (auto *a = findChild<QAction *>(QLatin1String(name)))
            a->setVisible(on);
    };
    if (!builtIn) {
        // These programs write one file per line: no volumes, no silence around them.
        if (menuSplitSize[0])
            menuSplitSize[0]->trigger();
    }
    for (const char *name : DisabledForExternal)
        setEnabled(name, builtIn);
    for (const char *name : HiddenForExternal)
        setShown(name, builtIn);
    ComboAudioOutput->setEnabled(builtIn);
    // No word positions from the programs, and quoted-text voices move them.
    const bool tracking = builtIn && !m_session.CustomizeVoiceInQuotedText;
    if (!tracking && builtIn)
        CheckTracking->setChecked(false);
    CheckTracking->setEnabled(tracking);
    if (before != -1)
        selectStoredFormatForEngine(kind);

    chosen->setChecked(true);
    other->setChecked(false);
    m_engineMenu = kind;
    BoundVoice = -1;
    if (EventsSuppressed == 0)
        RefreshVoiceList();
}

void Form1::selectStoredFormatForEngine(int kind)
{
    int index = -1;
    if (kind == EngineKindExternal) {
        if (AudioFormatIndexSapi4 == -1)
            AudioFormatIndexSapi4 = AudioFormatExternalDefault - FirstOfferedFormatCode;
        index = AudioFormatIndexSapi4;
    } else if (AudioFormatIndexSapi5 != -1) {
        index = AudioFormatIndexSapi5;
    } else {
        ShowCurrentAudioFormat();
        return;
    }
    if (ComboAudioFormat->currentIndex() == index)
        ComboAudioFormat_Click();
    else
        ComboAudioFormat->setCurrentIndex(index);
}

// ---------------------------------------------------------------------------------------------
// Values per voice

void Form1::menuConfigureVoicesIndependently_Click()
{
    // The trigger has already moved the check.
    if (!menuConfigureVoicesIndependently->isChecked())
        return; // the voices keep their values until the end of the run
    for (VoiceRecord &voice : Voices) {
        voice.Volume = quint8(CurrentVolume());
        voice.Speed = qint16(CurrentSpeed());
        voice.Pitch = qint16(CurrentPitch());
    }
    menuAlwaysSaveAudioWithMaxVolume->setChecked(false);
}

void Form1::menuAlwaysSaveAudioWithMaxVolume_Click()
{
    if (menuAlwaysSaveAudioWithMaxVolume->isChecked())
        menuConfigureVoicesIndependently->setChecked(false);
}

} // namespace tonaris
