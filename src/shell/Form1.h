#pragma once

#include "session/SpeechSession.h"

#include <QMainWindow>

#include <memory>

class QAction;
class QCheckBox;
class QComboBox;
class QLabel;
class QMenu;
class QPushButton;
class QVBoxLayout;

namespace tonaris {

class FormFind;
class ProgramConsent;
class FormReplace;
class LevelSlider;
class SpeechEngine;
class Text;

// The main window: the editor, the speech commands and the state display around one session.
class Form1 : public QMainWindow
{
    Q_OBJECT
public:
    // With no engines given, the window makes the built-in ones; tests may pass their own.
    explicit Form1(SpeechEngine *voice = nullptr, SpeechEngine *voiceOver = nullptr,
                   QWidget *parent = nullptr);
    ~Form1() override;

    SpeechSession &session() { return m_session; }
    Text *Text1 = nullptr;

    // False when no audio output exists: speaking aloud is then disabled.
    bool canSpeak() const { return m_canSpeak; }

    // Set when a key has been consumed, so that its character reaches no control.
    bool SuppressKeyPress = false;

    // The Edit menu and the editor's popup.
    void menuSelectAll_Click();
    void menuCut_Click();
    void menuCopy_Click();
    void menuPaste_Click();
    void menuDelete_Click();
    void menuFind_Click();
    void menuReplace_Click();
    void menuWordWrap_Click();
    FormFind *formFind();

    // The settings file: read once at start-up, written once at shut-down.
    void LoadSettings();
    void SaveSettings();
    bool LanguageChanged = false;

    // Puts keyword text at the start of the caret's line.
    void InsertKeywordText(const QString &In_Text);

    // Volume 0..100, speed and pitch -10..10: each stores the value (held to the slider's
    // range), applies it to the main voice at once and places the knob.
    void SetVolumeSlider(int value);
    void SetSpeedSlider(int value);
    void SetPitchSlider(int value);
    int CurrentVolume() const;
    int CurrentSpeed() const;
    int CurrentPitch() const;

    // The output device and the audio format of the main voice; a running text (not a save)
    // is stopped first. Nothing when no entry is selected.
    void ComboAudioOutput_Click();
    void ComboAudioFormat_Click();
    // Selects the main voice's present format in the list, if it is offered there.
    void ShowCurrentAudioFormat();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void buildWindow();
    void buildContextMenu();
    void fillVoices();
    void ComboVoci_Click();
    void onDisplayChanged(int display);
    void Text1_ContextMenu(bool &handled, const QPoint &globalPos);
    void setCaptions();
    void buildEditMenu();
    void setEditMenuCaptions();
    void Text1_KeyDown(int &keyCode, int shift);
    void Text1_KeyPress(int &keyAscii);
    void buildKeywordMenu();
    void setKeywordMenuCaptions();
    void selectVoiceByName(const QString &upperName);
    void buildOptionsMenu();
    void loadLanguage();
    QAction *languageItem(const QString &tag) const;
    void menuMultiLanguageFiles_Click(QAction *item);
    void buildAudioControls(QWidget *parent, QVBoxLayout *side);
    void buildAudioMenu();
    void setLevelCaptions();
    void speakLevel(const QString &text);
    void stopRunningSpeech();
    void autoSelectAudioFormat();
    void selectAudioOutput(const QString &description);

    SpeechSession m_session;
    SpeechEngine *Voice = nullptr;
    SpeechEngine *VoiceOver = nullptr;
    bool m_canSpeak = true;

    QComboBox *ComboVoci = nullptr;
    QPushButton *CommandSpeech = nullptr;
    QPushButton *CommandPauseResume = nullptr;
    QPushButton *CommandSpeakFromThisLine = nullptr;
    QPushButton *CommandSpeakNextLine = nullptr;
    QPushButton *CommandSpeakPrevLine = nullptr;
    QPushButton *CommandSpeakCurrentLine = nullptr;
    QCheckBox *CheckTracking = nullptr;
    QCheckBox *CheckSpeechLineOnPressEnter = nullptr;
    QMenu *menuEdit = nullptr;
    QMenu *menuInsertKeyWord = nullptr;
    QMenu *menuOptions = nullptr;
    QMenu *menuLanguageSelection = nullptr;
    QAction *menuTAGValidityOnlyForCurrentLine = nullptr;
    QAction *menuSaveSettings = nullptr;
    QString m_languageTag;
    bool m_loading = false;
    bool m_settingsSaved = false;
    std::unique_ptr<ProgramConsent> m_consent;
    FormFind *m_formFind = nullptr;
    FormReplace *m_formReplace = nullptr;
    QLabel *StatusBar = nullptr;
    QLabel *StatusBarVoice = nullptr;
    QLabel *ImagePuntoSpento = nullptr;
    QLabel *ImagePuntoVerde = nullptr;
    QLabel *ImagePuntoRosso = nullptr;
    QMenu *MenuQuickVoiceSelect = nullptr;

    LevelSlider *PictureVolumeButton = nullptr;
    LevelSlider *PictureSpeedButton = nullptr;
    LevelSlider *PicturePitchButton = nullptr;
    QComboBox *ComboAudioOutput = nullptr;
    QComboBox *ComboAudioFormat = nullptr;
    QMenu *menuAccessibilityOptions = nullptr;
    QAction *menuVerbose = nullptr;
    QAction *menuAutoSelectAudioFormat = nullptr;
    int AudioFormatIndex = -1; // list index of the format chosen last, -1 before any
    bool EventsSuppressed = false;
};

} // namespace tonaris
