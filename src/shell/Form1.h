#pragma once

#include "session/BatchConversion.h"
#include "session/SpeechSession.h"
#include "voices/ExternalVoices.h"
#include "voices/VoiceCatalogue.h"
#include "voices/VoiceParameters.h"

#include <QMainWindow>

#include <functional>
#include <memory>

class QAction;
class QCheckBox;
class QComboBox;
class QLabel;
class QMenu;
class QPushButton;
class QBoxLayout;

namespace tonaris {

class FormFind;
class FrameRecord;
class Resizer;
class TalkingCharacter;
class MediaControls;
struct RunOptions;
class ClipboardWatch;
class FormWaitToSaving;
class IniFile;
class ProgramConsent;
struct CommandLine;
class FormReplace;
class LevelSlider;
class SpeechEngine;
class ExternalVoiceEngine;
class Text;
class Prattle;
class SpeechRecognizer;

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

    // ---- The window as a whole: layout, keys, menus (Form1Layout.cpp, Form1Keys.cpp,
    // Form1Menus.cpp) ----
    // The keys of the whole window, seen before the control with the focus sees them. shift
    // adds 1 for Shift, 2 for Ctrl, 4 for Alt. A key that is handled gets keyCode 0 and sets
    // SuppressKeyPress.
    void Form_KeyDown(int &keyCode, int shift);
    // Moves the focus to the next (or previous) enabled control of the window's own order; the
    // editor, the lists, the buttons, the check boxes and the three knobs take part.
    void MoveTabFocus(bool Backward);
    // Esc: stops what is being read or listened for; false when nothing runs.
    bool stopReading();
    // The desktop's media keys and sound menu (MPRIS), while a session bus exists.
    void setupMediaControls();
    MediaControls *Media = nullptr;
    void menuShortcutKeys_Click();
    void menuDonations_Click();
    void menuAboutTonaris_Click();
    // Once a second on the speech timer: a new text on the clipboard is spoken.
    void clipboardLook();
    QString LastClipboardText;
    ClipboardWatch *Clipboard = nullptr;
    int ClipboardTicks = 0;
    Resizer *Resizer1 = nullptr;
    bool ResizeAllowed = false;
    QCheckBox *CheckIA = nullptr;
    QCheckBox *CheckGetClipboard = nullptr;
    QCheckBox *CheckASR = nullptr;
    QCheckBox *CheckShowCharacter = nullptr;
    TalkingCharacter *PictureCharacter = nullptr;
    QAction *menuKeyboardEditMode = nullptr;

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

    // The voice catalogue of the engine family in use; an index here is an index in ComboVoci.
    QList<VoiceRecord> Voices;
    int VoiceCount() const { return int(Voices.size()); }
    int SelectedVoice = 0;
    int BoundVoice = -1; // the voice bound last; another value forces the next bind
    int VoceSAPI4Selezionata = -1;
    int VoceSAPI5Selezionata = -1;
    QString VoiceGreeting;
    QString VoiceCountryName;
    int ImageBandieraFlag = -1; // flag index shown, -1 before the first bind

    void BuildVoiceCatalogue();
    void RefreshVoiceList();
    bool VoiceIsUsable(int In_NumVoce) const;
    void ImpostaVoce(int &In_NumVoce);
    void PrepareVoiceGreeting();
    void ComboVoci_Click();
    void ImageBandiera_DblClick();
    // A voice picked in the editor's popup: bound without a greeting, and a #VOICE line written.
    void subMenuVoice_Click(int voiceIndex);
    void InsertVoiceLine();
    void menuSAPI4_Click();
    void menuSAPI5_Click();
    void menuConfigureVoicesIndependently_Click();
    void menuAlwaysSaveAudioWithMaxVolume_Click();
    ExternalVoiceEngine *externalVoice() const { return DSS; }
    // Where the voices of external programs come from; unset, the machine is searched.
    // Tests set it before creating the window.
    static std::function<QList<ExternalVoice>()> discoverExternalVoices;
    // The engine family in use: the built-in engine (0) or the external programs (1).
    int EngineKind() const { return m_session.EngineKind; }

    // ---- Saving to audio files, the progress and power-off windows, the command line ----
    // (Form1Save.cpp)
    void menuSaveAudioFileAs_Click();
    void AggiornaFormWaitToSaving(const QString &In_Messaggio1, const QString &In_Messaggio2,
                                  bool In_Messaggio2IsGrayed, int In_PercentualeDiAvanzamento);
    FormWaitToSaving *formWaitToSaving() const { return m_formWaitToSaving; }
    // Reads a document of any supported kind for the command line; false, with the reason in
    // `error`, when it cannot be read.
    bool ReadTextFile(const QString &path, QString &Out_Text, QString *error = nullptr);
    // Acts on the command line once the window is ready. False when a hidden run has nothing
    // to do: the cause has been told, and the program should end with ExitStatus().
    bool RunCommandLine(const CommandLine &commandLine);
    // The command line's overrides of voice, levels and format, for this run only (the
    // settings file is not written from then on). An ExitCode; not ExitSuccess with `message`
    // saying why (empty when it was told already).
    int ApplyRunOptions(const RunOptions &options, QString *message);
    // 0 unless a run from the command line failed.
    int ExitStatus() const;
    void buildSaveMenus();
    void loadSaveSettings(const IniFile &ini);
    void saveSaveSettings(IniFile &ini);
    FormWaitToSaving *m_formWaitToSaving = nullptr;
    QAction *menuSaveAudioFileAs = nullptr;
    QAction *menuRunWithIdlePriority = nullptr;
    QAction *menuAddInitialAndFinalSilence = nullptr;
    QAction *menuSpeakVolumeTitleAndVolumeNumber = nullptr;
    QAction *menuSpeakVolumeNumberAndVolumeTitle = nullptr;
    QAction *menuSplitSize[6] = {};
    QAction *menuOptimizeSize = nullptr;
    QAction *menuBalanced = nullptr;
    QAction *menuOptimizeQuality = nullptr;
    int m_commandLineStatus = 0;
    // ---- end of saving to audio files ----

signals:
    // A voice has been bound; features that depend on the voice follow it.
    void voiceBound(int voiceIndex);

protected:
    void closeEvent(QCloseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildWindow();
    void arrangeWindow();
    void arrangeMenus();
    QMenu *menuHelp = nullptr;
    void buildContextMenu();
    void startVoices();
    void buildVoiceControls(QWidget *frame, QBoxLayout *row);
    void buildVoiceMenus();
    void buildLanguageMenus();
    void fillVoiceCombo();
    void switchEngine(int kind);
    void selectStoredFormatForEngine(int kind);
    void applyVolume(int value);
    void applySpeed(int value);
    void applyPitch(int value);
    void loadVoiceSettings();
    void saveVoiceSettings();
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
    void buildAudioControls(QWidget *parent);
    void buildAudioMenu();
    void setLevelCaptions();
    void speakLevel(const QString &text);
    void stopRunningSpeech();
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
    int AudioFormatIndexSapi5 =
        -1; // list index of the format chosen last per family, -1 before any
    int AudioFormatIndexSapi4 = -1;
    ExternalVoiceEngine *DSS = nullptr;
    int m_engineMenu = -1; // the engine family whose menu is checked; -1 before the first choice
    EngineRange Sapi4Volume{0, 65535};
    EngineRange Sapi4Speed;
    EngineRange Sapi4Pitch;
    QLabel *ImageBandiera = nullptr;
    QMenu *LanguageMenus[LanguageGroupCount] = {};
    QAction *menuSAPI4 = nullptr;
    QAction *menuSAPI5 = nullptr;
    QAction *menuConfigureVoicesIndependently = nullptr;
    QAction *menuAlwaysSaveAudioWithMaxVolume = nullptr;
    QAction *menuOnVoiceSelectSpeakCountryToo = nullptr;
    // Above 0, the voice list, the format list and the engine menus do their bookkeeping only;
    // each programmatic change raises it first and lowers it after, so raises may nest.
    int EventsSuppressed = 0;

    // ---- Text preparation (Form1TextPrep.cpp): the popup's special and custom tags, the
    // second voice of quoted passages, conversions tables and return carriage removal.
public:
    // What a save to audio does to its text before splitting it into lines: the automatic
    // return carriage removal (normal or hard), then the selected conversions table, each as
    // its option in "Audio Book creation" says. The editor is not touched.
    void PrepareTextForSaving(QString &text);
    // The selected conversions table (the first listed when none is checked) over the text.
    void ApplySelectedConversionsTable(QString &text);
    QString SelectedConversionsTable; // caption of the checked table

    void menuSpecialTAG_Click(int tag); // a SpecialTag value
    void menuCustomizeVoiceInQuotedText_Click();
    void menuConversionsTableItem_Click(int index);
    void menuApplyConversionsTable_Click();
    void menuRemoveNewLine_Click();
    void menuRemoveNewLineHard_Click();

    // What the quoted-text options window reads and writes.
    int IsVoiceDifferentForQuotedTextEnabled() const;
    int GetVoicesCount() const;
    QString GetVoiceName(int In_VoiceIndex) const;
    int GetVoiceSelectedForQuoted() const;
    int GetSpeedForQuoted() const;
    int GetPitchForQuoted() const;
    // FlagEnable 1 turns the quoted voice on (and word tracking off, since the tags move the
    // words); any other value turns it off.
    void SetVoiceParametersForQuotedText(int FlagEnable, int Index, int Speed, int Pitch);
    bool VerboseMode() const;
    // Speaks a short text at once when idle, with no tag state kept.
    void SpeakSample(const QString &text);

private:
    void buildTextPrepMenus();
    void loadTextPrepSettings(const IniFile &ini);
    void saveTextPrepSettings(IniFile &ini);
    void LoadCustomTags();
    void replaceEditorText(const QString &text);

    QMenu *menuInsertSpecialTAG = nullptr;
    QMenu *menuInsertCustomTAG = nullptr;
    QMenu *menuAudioBookOptions = nullptr;
    QMenu *menuSelectConversionsTable = nullptr;
    QList<QAction *> menuConversionsTableItem;
    QAction *menuCustomizeVoiceInQuotedText = nullptr;
    QAction *menuAutoApplyConversionsTable = nullptr;
    QAction *menuAutoFormat = nullptr;
    QAction *menuAutoFormatHard = nullptr;
    QAction *menuApplyConversionsTable = nullptr;
    QAction *menuRemoveNewLine = nullptr;
    QAction *menuRemoveNewLineHard = nullptr;
    // ---- Documents and start-up (Form1Documents.cpp, Form1Startup.cpp) ----------------------
public:
    // The path of the document in the editor; "" for none. Saving writes to it.
    QString CurrentFilePath;
    // The text of any document, by its extension (raw text for unknown ones); a null string when
    // it could not be read, with the reason, already translated, in `error`.
    QString ReadDocumentText(const QString &path, QString *error = nullptr);
    // Opens a document as at start-up: when it exists and reads, its text replaces the editor's;
    // a non-empty text makes it the current file. A failed read shows why and keeps the text.
    void OpenDocument(const QString &path);
    // Start-up without a command line: with "Load last opened file at startup" on, reopens the
    // last file and, unless hidden, puts the caret where it was; else focuses the editor.
    void StartUpDocument(bool hidden = false);
    void menuNew_Click();
    void menuOpen_Click();
    void menuAppend_Click();
    void menuFile_Click();
    void menuSaveTextFile_Click();
    void menuSaveTextFileAs_Click();
    void Text1_DropFile(QString &path);
    // Every control and menu item off; only the close box stays usable.
    void DisableAllControls();
    // Tells, once ever, that the screen is smaller than the window needs; an interactive start
    // runs it (runs of the command line never wait for a user).
    void CheckScreenSize();
    bool ResolutionOk = false;
    bool ResolutionWarningShown = false; // kept in the settings
    static void CenterForm(QWidget *form);
    static void FillFontList(QComboBox *combo);

private:
    void buildDocumentControls();
    void buildFontFrame();
    // False, after its one message, when the speech engine could not be started.
    bool engineStarted();
    void startUpDocuments();
    void saveDocumentSettings(IniFile &ini);
    void unloadOtherWindows();
    void setDocumentCaption();
    void replaceText(const QString &text);
    void showReadError(const QString &error);
    QMenu *menuFile = nullptr;
    QAction *menuSaveTextFile = nullptr;
    QAction *menuAutoLoad = nullptr;
    QComboBox *ComboFonts = nullptr;
    QComboBox *ComboFontSize = nullptr;
    QString m_lastSavedFilename;
    int m_lastCursorPosition = 0;
    bool m_startFailed = false;

    // ---- Conversation (Form1Conversation.cpp): replies of a personality, recognition of
    // word lists for the scripts, and dictation into the editor. ----------------------------
public:
    Prattle *Prattle1 = nullptr;
    SpeechRecognizer *ASR = nullptr;
    QString CurrentAIPersonality; // caption of the checked personality
    QList<QAction *> menuAIItem;  // one a personality; the tag (data) is the file name
    void menuAIItem_Click(int Index);
    void menuASROptions_Click();
    void menuExplorerIntegration_Click();
    void CheckASR_Click();
    // Results of the recogniser: a word of the script's list, or a dictated phrase.
    void ASR_Recognition(const QString &text);
    void ASR_FalseRecognition();
    // "Enable AI reply when press Enter" is checked and usable with the voice in use.
    bool AIReplyOn() const;

private:
    void buildConversation();
    void applyAIVoiceRule();
    void dictationTick(bool quiet);
    void loadConversationSettings(const IniFile &ini);
    void saveConversationSettings(IniFile &ini);
    QMenu *menuSelectAI = nullptr;
    QAction *menuASROptions = nullptr;
    // ---- end of conversation ----

    // ---- How the program was started (Form1Startup.cpp) -------------------------------------
public:
    // False on a platform without a screen (offscreen, minimal): a hidden run stays unseen.
    static bool HasDisplay();
    // ---- end of how the program was started ----

    // ---- What follows the bound voice (Form1VoiceFollowers.cpp) -----------------------------
public:
    // The conversation's rule: a reply fits the voice (a personality that answers in its gender
    // and language). Unset, none fits, and CheckIA stays disabled.
    std::function<bool(const VoiceRecord &voice)> ReplyFitsVoice;

private:
    // After each bind: CheckIA by the reply rule, and the character's face of the voice's
    // gender (each voice keeps the face it got first).
    void followBoundVoice(int voiceIndex);
    // ---- end of what follows the bound voice ----

    // ---- Batch conversion and the microphone recorder (Form1Batch.cpp) ----------------------
public:
    // Documents picked in one dialog become audio files beside themselves; the editor and its
    // document stay as they are.
    void menuBatchConversion_Click();
    BatchConversion &batch() { return m_batch; }
    FrameRecord *FrameRecord1 = nullptr;

private:
    void buildBatchAndRecorder();
    BatchConversion m_batch{m_session};
    QAction *menuBatchConversion = nullptr;
    // ---- end of batch conversion and the microphone recorder ----
};

} // namespace tonaris
