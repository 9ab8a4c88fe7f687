#pragma once

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>

namespace tonaris {

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

    // Counters the tick keeps between calls.
    int RecognitionTicks = 0;
    int ClipboardTicks = 0;

    // Window state the loop reads; the window keeps these in step with its controls.
    int CheckTracking = 1;
    bool CustomizeVoiceInQuotedText = false;
    int CurrentPitch = 0;

    QTimer TimerSpeech;
    void SetTimerFast() { TimerSpeech.setInterval(1); }

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
    void PlayTTSToFile(QString In_Testo);
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
    // The display changed to one of the Display values; the window follows.
    void displayChanged(int statusDisplay);
    // The session asks for the program to end (a hidden run is over, or a text asked).
    void unloadRequested();
    // 0..100 while the main voice sounds.
    void audioLevel(int level);

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

    // Steps that belong to subsystems not wired into the loop yet: the keyword interpreter,
    // play-over, script flow, recognition, the save step, the recorder, the clipboard and the
    // talking character. Each is a single call site in the tick.
    void InterpretKeywordLine(const QString &line);
    void ClearCallStack();
    void StopPlayOver();
    void StartRecognitionWait();
    void RecognitionTimeoutCount();
    void PauseRecognition();
    void StartSaving();
    void SaveStep();
    void RecorderPlaybackWatch();
    void DictationGate();
    void IdleWatchers();

    QPointer<Text> m_editor;
    SpeechEngine *Voice = nullptr;
    SpeechEngine *VoiceOver = nullptr;
};

} // namespace tonaris
