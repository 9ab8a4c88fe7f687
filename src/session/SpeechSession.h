#pragma once

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <memory>
#include <random>

class QTemporaryDir;

namespace tonaris {

class ExternalVoiceEngine;
class ProgramConsent;
class SaveToAudio;
class SpeechEngine;
class Text;

// The speech session of the main window: the requests, the states, the line table and the tick
// that steps a text line by line through the engine. It is single-threaded: everything here,
// engine events included, runs on the user-interface thread.
//
// Member names follow the window's long-standing vocabulary so that the loop reads like its
// description: a command fills the variables, writes SpeechRequest and drops the timer to 1 ms;
// the tick consumes the request.
class SpeechSession : public QObject
{
    Q_OBJECT
public:
    // Values of SpeechRequest.
    enum Request {
        RequestNone = 0,
        RequestStart = 1,
        RequestStep = 2,
        RequestStop = 3,
        RequestPause = 4,
        RequestResume = 5,
        RequestSave = 6,
        RequestRecognize = 7,
        RequestUnload = 8,
        RequestAbortSave = 9,
    };
    // Values of SpeechState.
    enum State {
        StateIdle = 0,
        StateSpeaking = 1,
        StatePaused = 2,
        StatePausedRecognizing = 3,
        StateSaving = 4,
        StateRecognizing = 5,
    };
    // Values of StatusDisplay.
    enum Display {
        DisplayReady = 0,
        DisplaySaving = 1,
        DisplayPaused = 2,
        DisplayReproducing = 3,
        DisplayRecognizing = 4,
    };
    static constexpr int MaxLineLength = 1024;
    static constexpr int RestingInterval = 100;

    explicit SpeechSession(QObject *parent = nullptr);
    ~SpeechSession() override;

    // The editor the commands read and the tracking writes, and the two voice objects.
    // Voice events are connected here; the objects stay owned by the caller.
    void setEditor(Text *editor);
    void setVoices(SpeechEngine *voice, SpeechEngine *voiceOver);
    SpeechEngine *voice() const { return Voice; }
    // The engine of the external voice programs, used while EngineKind is 1; may be none.
    void setExternalVoice(ExternalVoiceEngine *dss);
    ExternalVoiceEngine *externalVoice() const { return DSS; }

    // Session variables.
    int SpeechRequest = 0;
    int SpeechState = 0;
    QString SpeechText;
    QStringList SpeechLines;
    QList<int> SpeechLineOffsets; // 1-based start of each entry in the split text
    int SpeechLineCount = 0;
    int SpeechLineIndex = 0;
    int SpeechStartLine = 0;
    int SpeechStartColumn = 0;
    int SpeechStopLine = -1;
    bool SpeechRestoreCaret = false;
    int SpeechCaretBias = 0;
    bool SpeechTrackWords = false;
    int PersistTags = 0;
    int TagsForCurrentLineOnly = 0;
    bool Sapi4Paused = false;
    int WaitActive = 0;
    QDateTime WaitUntil;
    int PlayActive = 0;
    int PlayOverActive = 0;
    QString PlayTempPath;
    bool HiddenMode = false;
    int StatusDisplay = DisplayReady;
    int EngineKind = 0; // 1: a voice of an external program, otherwise the built-in engine
    qint64 AudioCharsWritten = 0;

    // Keyword lines and script flow.
    QString PlayOverTempPath;
    bool SplitNow = false;
    // The title of the volume a "#BREAK <title>" line opens (chapters of an opened book).
    QString BreakTitle;
    // A titled #BREAK before any spoken line names the first volume instead of splitting: its
    // title, with SpeechLineIndex moved past it; empty when the text does not begin so.
    QString TakeLeadingBreakTitle();
    QStringList RecognitionPhrases;
    QString RecognizedText;
    int RecognitionTimeout = -1;
    bool RecognitionTimedOut = false;
    QList<int> CallStack;
    int CallDepth = 0;
    // Where the program lives ("lame" is looked for there first) and where relative file
    // names of a text are found (the text's own folder).
    QString AppFolder;
    QString TextFolder;
    // The run's text came from the clipboard: it never starts programs.
    bool SpeechFromClipboard = false;
    // Decides whether #EXECUTE may start what a text names; none set: nothing is started.
    ProgramConsent *Consent = nullptr;
    // The recogniser's start; 1 when listening has begun. Until recognition exists it answers
    // 0 and a script that waits for an answer stands still.
    std::function<int(const QStringList &phrases)> StartRecognition;
    std::function<void()> PauseRecognitionHook;
    // Each tick, for dictation: quiet when nothing is spoken or asked for, so that the
    // recogniser never hears the program's own voice.
    std::function<void(bool quiet)> DictationTick;

    // Saving to audio files: its options, its state and its step.
    SaveToAudio &saver() { return *m_save; }
    const SaveToAudio &saver() const { return *m_save; }
    // Whatever the text of a save goes through first (return carriages, conversions table).
    std::function<void(QString &In_Out_Text)> PrepareTextForSave;

    void InterpretKeywordLine(const QString &In_Line);
    void StopPlayOver();
    void PushCallReturn(int In_Line);
    bool PopCallReturn(int &Out_Line);
    void ClearCallStack();

    // Counters the tick keeps between calls.
    int RecognitionTicks = 0;
    int ClipboardTicks = 0;

    // Window state the loop reads; the window keeps these in step with its controls.
    int CheckTracking = 1;
    bool CustomizeVoiceInQuotedText = false;
    int CurrentPitch = 0;

    // The second voice of quoted passages: an index into the window's voice list, with a speed
    // and a pitch of its own. VoiceNameAt gives the name of a listed voice, "" for an index
    // outside the list.
    int VoiceForQuotedIndex = 0;
    int VoiceForQuotedSpeed = 0;
    int VoiceForQuotedPitch = 0;
    std::function<QString(int index)> VoiceNameAt;
    // For the built-in voices with quoted voice on: wraps the line's quoted passages in the
    // second voice's tags; a line so changed keeps no tag state for the next. A voice index that
    // names no voice leaves the line as it is and is reported once a run.
    void WrapQuotedForEngine(QString &In_Out_Line);

    QTimer TimerSpeech;
    void SetTimerFast() { TimerSpeech.setInterval(1); }
    // Asks for a run of a text that is not the editor's (a line read on Enter, a copied text):
    // no word tracking, the caret stays where it is.
    void SpeakLooseText(const QString &text)
    {
        SpeechText = text;
        SpeechStopLine = -1;
        SpeechTrackWords = false;
        SpeechRestoreCaret = false;
        SpeechRequest = RequestStart;
        SetTimerFast();
    }

    // The tick. Re-entrant on its stop path: a command that must stop at once sets
    // SpeechRequest to 3 and calls it directly.
    void TimerSpeech_Timer();
    void SplitSpeechLines(const QString &In_Text);
    void ClearSpeechLines();

    // Commands.
    void CommandSpeech_Click();
    void CommandPauseResume_Click();
    void CommandSpeakFromThisLine_Click();
    void CommandSpeakNextLine_Click();
    void CommandSpeakPrevLine_Click();
    void CommandSpeakCurrentLine_Click();
    void menuSpeakFromHere_Click();
    void menuSpeakSelected_Click();
    void menuSaveAudioFileAs_Click();
    void AbortSaveToFile();

    // Handing text to the engine.
    void PlayTTS(QString In_Testo);
    // The stream number the engine gave the line; 0 when nothing was spoken.
    int PlayTTSToFile(QString In_Testo);
    void PurgeSpeech();
    void ResetEngineTags();

    // The state display; each does nothing when its state is already shown.
    void ShowStateSaving();
    void ShowStatePaused();
    void ShowStateReproducing();
    void ShowStateRecognizing();
    void ShowStateReady();

    // Engine events of the main voice.
    void Voice_Word(int StreamNumber, qint64 StreamPosition, int CharacterPosition, int Length);
    void Voice_EndStream(int StreamNumber, qint64 StreamPosition);

signals:
    // #VOICE named a voice, upper-cased; the window selects it when it knows it.
    void voiceRequested(const QString &upperName);
    // A script did something that cannot work (an overflowing number, a return with no
    // call); told once per kind and run, then the line is passed over.
    void problem(const QString &message);
    // The display changed to one of the Display values; the window follows.
    void displayChanged(int statusDisplay);
    // The session asks for the program to end (a hidden run is over, or a text asked).
    void unloadRequested();
    // 0..100 while the main voice sounds.
    void audioLevel(int level);
    // Every tick of TimerSpeech, before its own work: the window's once-a-tick duties.
    void ticked();

private:
    void stepLine();
    void stopRun();
    void endOfRun();
    void pauseRun();
    void resumeRun();
    void stopAtOnce();
    void prepareRun(const QString &text, bool trackWords, int caretBias);
    void playWatchEnd();
    void showState(int display, bool activeState);

    // Keyword helpers.
    void flowKeyword(const QString &up);
    void keywordPlay(const QString &argument, bool over);
    void keywordWait(const QString &argument);
    void keywordExecute(const QString &argument);
    void keywordOpen(const QString &argument);
    QString findScriptFile(const QString &argument) const;
    QString decodeMp3(const QString &mp3);
    void jumpTo(int line);
    void reportOnce(const QString &message);
    int drawCase(int count);

    // Steps that belong to subsystems not wired into the loop yet: recognition, the save step,
    // the recorder, the clipboard and the talking character. Each is a single call site in the
    // tick.
    void StartRecognitionWait();
    void RecognitionTimeoutCount();
    void PauseRecognition();
    void StartSaving();
    void SaveStep();
    void RecorderPlaybackWatch();
    void DictationGate();
    void IdleWatchers();

    QPointer<Text> m_editor;
    QStringList m_reported;
    std::unique_ptr<QTemporaryDir> m_tempDir;
    SpeechEngine *Voice = nullptr;
    SpeechEngine *VoiceOver = nullptr;
    ExternalVoiceEngine *DSS = nullptr;
    std::unique_ptr<SaveToAudio> m_save;
};

} // namespace tonaris
