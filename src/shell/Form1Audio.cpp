// The main window's side of what is heard: the volume, speed and pitch sliders with their
// spoken values, the output device and the audio format of the main voice.
#include "shell/Form1.h"

#include "audio/AudioOutput.h"
#include "config/MultiLang.h"
#include "shell/FormShellExtensions.h"
#include "shell/LevelSlider.h"
#include "voices/AudioFormats.h"
#include "voices/ExternalVoiceEngine.h"
#include "voices/ThreadedEngine.h"
#include "voices/VoiceParameters.h"

#include <QAction>
#include <QAudioDevice>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMediaDevices>
#include <QMenu>
#include <QVBoxLayout>

namespace tonaris {

using MultiLang::Translate;

namespace {

LevelSlider *makeLevel(QWidget *parent, LevelSlider::Kind kind, const char *frameName,
                       const char *caption)
{
    auto *frame = new QGroupBox(parent);
    frame->setObjectName(QLatin1String(frameName));
    auto *layout = new QVBoxLayout(frame);
    auto *slider = new LevelSlider(kind, frame);
    slider->setRestCaption(QLatin1String(caption));
    slider->setFrame(frame);
    layout->addWidget(slider, 0, Qt::AlignHCenter);
    return slider;
}

// A frame with one list and its label on one line.
QComboBox *makeCombo(QWidget *parent, const char *frameName, const char *frameCaption,
                     const char *labelName, const char *labelCaption, const char *comboName)
{
    auto *frame = new QGroupBox(QLatin1String(frameCaption), parent);
    frame->setObjectName(QLatin1String(frameName));
    auto *layout = new QHBoxLayout(frame);
    auto *label = new QLabel(QLatin1String(labelCaption), frame);
    label->setObjectName(QLatin1String(labelName));
    auto *combo = new QComboBox(frame);
    combo->setObjectName(QLatin1String(comboName));
    label->setBuddy(combo); // a screen reader names the list by its label
    layout->addWidget(label);
    layout->addWidget(combo, 1);
    // A long device name is cut rather than widening the column.
    combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    combo->setMinimumContentsLength(12);
    return combo;
}

} // namespace

void Form1::buildAudioControls(QWidget *parent)
{
    installLevelSliderAccessibility();
    PictureVolumeButton = makeLevel(parent, LevelSlider::Kind::Volume, "FrameVolume", "Volume");
    PictureSpeedButton = makeLevel(parent, LevelSlider::Kind::Speed, "FrameSpeed", "Speed");
    PicturePitchButton = makeLevel(parent, LevelSlider::Kind::Pitch, "FramePitch", "Pitch");

    connect(PictureVolumeButton, &LevelSlider::valueChanged, this, &Form1::applyVolume);
    connect(PictureSpeedButton, &LevelSlider::valueChanged, this, &Form1::applySpeed);
    connect(PicturePitchButton, &LevelSlider::valueChanged, this, &Form1::applyPitch);
    // What the user sets becomes the selected voice's own, used when voices are configured
    // independently. A dragged pitch of an external voice is heard but not kept.
    connect(PictureVolumeButton, &LevelSlider::valueEdited, this, [this](int value, bool) {
        if (SelectedVoice >= 0 && SelectedVoice < VoiceCount())
            Voices[SelectedVoice].Volume = quint8(value);
    });
    connect(PictureSpeedButton, &LevelSlider::valueEdited, this, [this](int value, bool) {
        if (SelectedVoice >= 0 && SelectedVoice < VoiceCount())
            Voices[SelectedVoice].Speed = qint16(value);
    });
    connect(PicturePitchButton, &LevelSlider::valueEdited, this, [this](int value, bool byDrag) {
        if (byDrag && m_session.EngineKind == EngineKindExternal)
            return;
        if (SelectedVoice >= 0 && SelectedVoice < VoiceCount())
            Voices[SelectedVoice].Pitch = qint16(value);
    });
    for (LevelSlider *slider : {PictureVolumeButton, PictureSpeedButton, PicturePitchButton})
        connect(slider, &LevelSlider::speakValueRequested, this, &Form1::speakLevel);

    ComboAudioOutput = makeCombo(parent, "FrameAudioOutput", "Audio Output", "LabelAudioOutput",
                                 "Output dev&ice", "ComboAudioOutput");
    if (AudioOutput::devicesWanted())
        for (const QAudioDevice &device : QMediaDevices::audioOutputs())
            ComboAudioOutput->addItem(device.description(), device.id());
    ComboAudioFormat = makeCombo(parent, "FrameAudioFormats", "Audio Format", "LabelAudioFormat",
                                 "Forma&t", "ComboAudioFormat");
    for (int code : OfferedAudioFormatCodes()) {
        QString name;
        bool offered = false;
        GetAudioFormatName(code, name, offered);
        ComboAudioFormat->addItem(name, code);
    }
    ShowCurrentAudioFormat();

    connect(ComboAudioOutput, &QComboBox::activated, this, &Form1::ComboAudioOutput_Click);
    connect(ComboAudioFormat, &QComboBox::currentIndexChanged, this,
            &Form1::ComboAudioFormat_Click);
}

void Form1::buildAudioMenu()
{
    menuAutoSelectAudioFormat =
        menuOptions->addAction(QStringLiteral("Auto select voice-specific audio &format"));
    menuAutoSelectAudioFormat->setObjectName(QStringLiteral("menuAutoSelectAudioFormat"));
    menuAutoSelectAudioFormat->setCheckable(true);

    menuAccessibilityOptions = menuOptions->addMenu(QStringLiteral("Accessibility &options"));
    menuAccessibilityOptions->setObjectName(QStringLiteral("menuAccessibilityOptions"));
    menuVerbose = menuAccessibilityOptions->addAction(QStringLiteral("&Verbose mode"));
    menuVerbose->setObjectName(QStringLiteral("menuVerbose"));
    menuVerbose->setCheckable(true);
    QAction *explorer =
        menuAccessibilityOptions->addAction(QStringLiteral("&Explorer Integration..."));
    explorer->setObjectName(QStringLiteral("menuExplorerIntegration"));
    connect(explorer, &QAction::triggered, this, &Form1::menuExplorerIntegration_Click);
    menuKeyboardEditMode =
        menuAccessibilityOptions->addAction(QStringLiteral("Enable &TAB key on text box"));
    menuKeyboardEditMode->setObjectName(QStringLiteral("menuKeyboardEditMode"));
    menuKeyboardEditMode->setCheckable(true);
}

void Form1::menuExplorerIntegration_Click()
{
    auto *form = new FormShellExtensions(this);
    form->setAttribute(Qt::WA_DeleteOnClose);
    form->open();
}

// The sliders keep their rest captions themselves, so they need the translation as well.
void Form1::setLevelCaptions()
{
    PictureVolumeButton->setRestCaption(Translate(QStringLiteral("Volume")));
    PictureSpeedButton->setRestCaption(Translate(QStringLiteral("Speed")));
    PicturePitchButton->setRestCaption(Translate(QStringLiteral("Pitch")));
}

// The engine gets the value even when the slider already stood there: at start the voice's own
// volume and rate need not be the slider's.
void Form1::SetVolumeSlider(int value)
{
    PictureVolumeButton->setValue(value);
    applyVolume(PictureVolumeButton->value());
}

void Form1::SetSpeedSlider(int value)
{
    PictureSpeedButton->setValue(value);
    applySpeed(PictureSpeedButton->value());
}

void Form1::SetPitchSlider(int value)
{
    PicturePitchButton->setValue(value);
    applyPitch(PicturePitchButton->value());
}

// The user's scale goes to the engine of the family in use.
void Form1::applyVolume(int value)
{
    if (m_session.EngineKind == EngineKindExternal) {
        if (DSS) {
            DSS->SetVolumeLeft(externalVolume(value, Sapi4Volume));
            DSS->SetVolumeRight(externalVolume(value, Sapi4Volume));
        }
    } else {
        Voice->SetVolume(builtinVolume(value));
    }
}

void Form1::applySpeed(int value)
{
    if (m_session.EngineKind == EngineKindExternal) {
        if (DSS)
            DSS->SetSpeed(externalSpeed(value, Sapi4Speed));
    } else {
        Voice->SetRate(builtinRate(value));
    }
}

// The built-in voice has no pitch property: the value reaches it in the run's tag reset.
void Form1::applyPitch(int value)
{
    if (m_session.EngineKind == EngineKindExternal) {
        if (DSS)
            DSS->SetPitch(externalPitch(value, Sapi4Pitch));
    } else {
        m_session.CurrentPitch = builtinPitchTag(value);
    }
}

int Form1::CurrentVolume() const
{
    return PictureVolumeButton->value();
}

int Form1::CurrentSpeed() const
{
    return PictureSpeedButton->value();
}

int Form1::CurrentPitch() const
{
    return PicturePitchButton->value();
}

// Verbose mode says the new value, but never into a running text.
void Form1::speakLevel(const QString &text)
{
    if (!menuVerbose->isChecked() || m_session.SpeechState != SpeechSession::StateIdle)
        return;
    m_session.ResetEngineTags();
    m_session.PersistTags = 0;
    m_session.PlayTTS(text);
}

void Form1::stopRunningSpeech()
{
    if (m_session.SpeechState != SpeechSession::StateIdle &&
        m_session.SpeechState != SpeechSession::StateSaving) {
        m_session.SpeechRequest = SpeechSession::RequestStop;
        m_session.TimerSpeech_Timer();
    }
}

void Form1::ComboAudioOutput_Click()
{
    const int index = ComboAudioOutput->currentIndex();
    if (index < 0)
        return;
    stopRunningSpeech();
    if (auto *engine = qobject_cast<ThreadedEngine *>(Voice)) {
        // The list may have changed since it was filled: the device is found by its id, and a
        // device that is gone leaves the system's default.
        const QByteArray id = ComboAudioOutput->itemData(index).toByteArray();
        QAudioDevice chosen;
        for (const QAudioDevice &device : QMediaDevices::audioOutputs())
            if (device.id() == id)
                chosen = device;
        engine->output()->setDevice(chosen);
    }
    ComboAudioFormat_Click(); // a new output has to get the format again
}

void Form1::ComboAudioFormat_Click()
{
    if (EventsSuppressed > 0)
        return;
    const int index = ComboAudioFormat->currentIndex();
    if (index < 0)
        return;
    if (m_session.SpeechState != SpeechSession::StateSaving)
        stopRunningSpeech();
    const int code = ComboAudioFormat->itemData(index).toInt();
    if (m_session.EngineKind == EngineKindExternal) {
        if (DSS)
            DSS->SetAudioFormatType(code);
        AudioFormatIndexSapi4 = index;
    } else {
        Voice->SetAudioFormatType(code);
        AudioFormatIndexSapi5 = index;
    }
}

void Form1::ShowCurrentAudioFormat()
{
    SpeechEngine *engine = Voice;
    if (m_session.EngineKind == EngineKindExternal && DSS)
        engine = DSS;
    const int index = ComboAudioFormat->findData(engine->AudioFormatType());
    if (index < 0)
        return; // a format we do not offer leaves the list where it was
    ++EventsSuppressed;
    ComboAudioFormat->setCurrentIndex(index);
    --EventsSuppressed;
    (m_session.EngineKind == EngineKindExternal ? AudioFormatIndexSapi4 : AudioFormatIndexSapi5) =
        index;
}

void Form1::selectAudioOutput(const QString &description)
{
    if (ComboAudioOutput->count() == 0)
        return;
    const int found = ComboAudioOutput->findText(description);
    ComboAudioOutput->setCurrentIndex(found >= 0 ? found : 0);
    ComboAudioOutput_Click();
}

} // namespace tonaris
