#include "session/SpeechSession.h"

#include "config/MultiLang.h"
#include "config/ProgramConsent.h"
#include "session/SaveToAudio.h"
#include "textprep/InlineTags.h"
#include "textprep/Text.h"
#include "voices/ExternalVoiceEngine.h"
#include "voices/SpeechEngine.h"

#include <QFile>
#include <QTemporaryDir>

namespace tonaris {

namespace {
const QChar Tab = QLatin1Char('\t');
const QChar Blank = QLatin1Char(' ');

bool isActiveState(int state)
{
    return state == SpeechSession::StateSpeaking || state == SpeechSession::StatePaused ||
           state == SpeechSession::StatePausedRecognizing ||
           state == SpeechSession::StateRecognizing;
}
} // namespace

SpeechSession::SpeechSession(QObject *parent)
    : QObject(parent)
    , m_save(std::make_unique<SaveToAudio>(*this))
{
    TimerSpeech.setInterval(RestingInterval);
    connect(&TimerSpeech, &QTimer::timeout, this, &SpeechSession::TimerSpeech_Timer);
    TimerSpeech.start();
}

SpeechSession::~SpeechSession()
{
    if (PlayActive == 1)
        playWatchEnd();
    StopPlayOver();
}

void SpeechSession::setEditor(Text *editor)
{
    m_editor = editor;
}

void SpeechSession::setVoices(SpeechEngine *voice, SpeechEngine *voiceOver)
{
    if (Voice)
        disconnect(Voice, nullptr, this, nullptr);
    Voice = voice;
    VoiceOver = voiceOver;
    if (Voice) {
        connect(Voice, &SpeechEngine::Word, this, &SpeechSession::Voice_Word);
        connect(Voice, &SpeechEngine::EndStream, this, &SpeechSession::Voice_EndStream);
        connect(Voice, &SpeechEngine::AudioLevel, this,
                [this](int, qint64, int level) { emit audioLevel(level); });
    }
}

void SpeechSession::setExternalVoice(ExternalVoiceEngine *dss)
{
    if (DSS)
        disconnect(DSS, nullptr, this, nullptr);
    DSS = dss;
    if (DSS) {
        connect(DSS, &SpeechEngine::EndStream, this, &SpeechSession::Voice_EndStream);
        connect(DSS, &SpeechEngine::AudioLevel, this,
                [this](int, qint64, int level) { emit audioLevel(level); });
    }
}

// ---------------------------------------------------------------------------------------------
// The tick

void SpeechSession::TimerSpeech_Timer()
{
    if (TimerSpeech.interval() != RestingInterval)
        TimerSpeech.setInterval(RestingInterval);

    RecorderPlaybackWatch();
    DictationGate();
    emit ticked();

    // A sound file of a script has finished playing.
    if (PlayActive == 1 && Voice && Voice->RunningState() == SRSEDone)
        playWatchEnd();
    // A sound under the speech never outlives its run.
    if (PlayOverActive == 1 && ((VoiceOver && VoiceOver->RunningState() == SRSEDone) ||
                                (SpeechState == StateIdle && SpeechRequest == RequestNone)))
        StopPlayOver();

    switch (SpeechRequest) {
    case RequestUnload:
        SpeechRequest = RequestNone;
        emit unloadRequested();
        return;
    case RequestStop:
        stopRun();
        return;
    case RequestPause:
        pauseRun();
        return;
    case RequestResume:
        resumeRun();
        return;
    default:
        break;
    }

    // A #WAIT holds the stepping, not the requests above.
    if (WaitActive == 1) {
        if (QDateTime::currentDateTime() < WaitUntil)
            return;
        WaitActive = 0;
    }

    if (SpeechRequest == RequestStart) {
        SpeechRequest = RequestNone;
        if (SpeechState == StateIdle) {
            m_reported.clear();
            if (Consent)
                Consent->startRun();
            SplitSpeechLines(SpeechText);
            SpeechText.clear();
            if (SpeechLineCount > 0) {
                SpeechLineIndex = SpeechStartLine;
                SpeechStartLine = 0;
                ShowStateReproducing();
                ResetEngineTags();
                SpeechRequest = RequestStep;
                SetTimerFast();
            }
        }
    }

    if (SpeechRequest == RequestStep) {
        SpeechRequest = RequestNone;
        if (SpeechState == StateIdle) {
            stepLine();
            ++SpeechLineIndex;
            if (SpeechRequest == RequestNone)
                SpeechState = StateSpeaking;
        }
        SetTimerFast();
        return;
    }
    if (SpeechRequest == RequestRecognize) {
        SpeechRequest = RequestNone;
        if (SpeechState == StateIdle)
            StartRecognitionWait();
    }

    if (SpeechState == StateRecognizing)
        RecognitionTimeoutCount();

    if (SpeechState == StateSpeaking) {
        bool done = true;
        if (EngineKind != 1 && Voice)
            done = Voice->RunningState() == SRSEDone;
        else if (EngineKind == 1 && DSS)
            done = !DSS->Speaking() && !Sapi4Paused; // that engine has no paused state to read
        if (done) {
            if (SpeechLineIndex < SpeechLineCount && SpeechLineIndex != SpeechStopLine) {
                SpeechRequest = RequestStep;
                SpeechState = StateIdle;
                SetTimerFast();
                return;
            }
            endOfRun();
        }
    }

    if (SpeechRequest == RequestSave) {
        SpeechRequest = RequestNone;
        if (SpeechState == StateIdle)
            StartSaving();
    }

    if (SpeechState != StateSaving) {
        if (SpeechRequest == RequestAbortSave)
            SpeechRequest = RequestNone; // nothing to abort
        IdleWatchers();
    } else {
        SaveStep();
    }
}

void SpeechSession::stepLine()
{
    if (SpeechLineIndex < 0 || SpeechLineIndex >= SpeechLineCount)
        return; // a jump past the table; the poll ends the run
    const QString line = SpeechLines.at(SpeechLineIndex);
    const QString test = line.trimmed();
    if (test.startsWith(QLatin1Char('#'))) {
        InterpretKeywordLine(line);
        return;
    }
    PersistTags = TagsForCurrentLineOnly == 0 ? 1 : 0;
    if (SpeechStartColumn < 1) {
        PlayTTS(line);
    } else {
        PlayTTS(line.right(std::max<qsizetype>(0, line.size() - SpeechStartColumn)));
        SpeechStartColumn = 0;
    }
}

void SpeechSession::stopRun()
{
    SpeechFromClipboard = false;
    // A paused engine is resumed before it is stopped.
    if (SpeechState == StatePaused || SpeechState == StatePausedRecognizing) {
        SpeechRequest = RequestResume;
        TimerSpeech_Timer();
    }
    SpeechRequest = RequestNone;
    ClearCallStack();
    ShowStateReady();
    ClearSpeechLines();
    WaitActive = 0;
    if (PlayActive == 1)
        playWatchEnd();
    if (PlayOverActive == 1)
        StopPlayOver();
    if (SpeechState == StateSpeaking)
        PurgeSpeech();
    else if (SpeechState == StateRecognizing)
        PauseRecognition();
    SpeechState = StateIdle;
}

void SpeechSession::pauseRun()
{
    SpeechRequest = RequestNone;
    if (SpeechState == StateSpeaking) {
        if (EngineKind != 1) {
            if (Voice)
                Voice->Pause();
            if (VoiceOver)
                VoiceOver->Pause();
        } else if (DSS) {
            DSS->AudioPause();
            Sapi4Paused = true;
        }
        ShowStatePaused();
        SpeechState = StatePaused;
    } else if (SpeechState == StateRecognizing) {
        ShowStatePaused();
        SpeechState = StatePausedRecognizing;
    }
    if (m_editor) {
        m_editor->SetSelStart(m_editor->GetPosStartFromLineIndex(SpeechLineIndex));
        m_editor->ScrollToActualPos();
    }
}

void SpeechSession::resumeRun()
{
    SpeechRequest = RequestNone;
    if (SpeechState == StatePaused) {
        if (EngineKind != 1) {
            if (Voice)
                Voice->Resume();
            if (VoiceOver)
                VoiceOver->Resume();
        } else if (DSS) {
            DSS->AudioResume();
            Sapi4Paused = false;
        }
        ShowStateReproducing();
        SpeechState = StateSpeaking;
    } else if (SpeechState == StatePausedRecognizing) {
        ShowStateRecognizing();
        SpeechState = StateRecognizing;
    }
}

void SpeechSession::endOfRun()
{
    SpeechFromClipboard = false;
    if (SpeechRestoreCaret && m_editor) {
        // Behind the last line the caret goes to the end of the text.
        const int start = m_editor->GetPosStartFromLineIndex(SpeechLineIndex - 1 + SpeechCaretBias);
        m_editor->SetSelStart(start < 0 ? m_editor->Length() : start);
        m_editor->ScrollToActualPos();
    }
    ClearCallStack();
    ShowStateReady();
    ClearSpeechLines();
    SpeechState = StateIdle;
    if (HiddenMode)
        emit unloadRequested();
}

void SpeechSession::playWatchEnd()
{
    PlayActive = 0;
    if (!PlayTempPath.isEmpty()) {
        QFile::remove(PlayTempPath);
        PlayTempPath.clear();
    }
}

void SpeechSession::SplitSpeechLines(const QString &In_Text)
{
    SpeechLineCount = 0;
    SpeechLines.clear();
    SpeechLineOffsets.clear();
    if (In_Text.isEmpty())
        return;
    const QStringList pieces = In_Text.split(QStringLiteral("\r\n"));
    SpeechLines.reserve(pieces.size());
    SpeechLineOffsets.reserve(pieces.size());
    int position = 1;
    for (QString piece : pieces) {
        // No entry handed to the engine exceeds the line limit; the cut may fall in a word.
        while (piece.size() > MaxLineLength) {
            SpeechLines.append(piece.left(MaxLineLength).replace(Tab, Blank));
            SpeechLineOffsets.append(position);
            position += MaxLineLength;
            piece.remove(0, MaxLineLength);
        }
        SpeechLines.append(piece.replace(Tab, Blank));
        SpeechLineOffsets.append(position);
        position += static_cast<int>(piece.size()) + 2;
    }
    SpeechLineCount = static_cast<int>(SpeechLines.size());
}

void SpeechSession::ClearSpeechLines()
{
    SpeechText.clear();
    SpeechLineCount = 0;
    SpeechLines.clear();
    SpeechLineOffsets.clear();
}

// ---------------------------------------------------------------------------------------------
// Commands

void SpeechSession::stopAtOnce()
{
    if (SpeechState == StateSpeaking) {
        SpeechRequest = RequestStop;
        TimerSpeech_Timer();
    }
}

void SpeechSession::prepareRun(const QString &text, bool trackWords, int caretBias)
{
    SpeechText = text;
    SpeechStopLine = -1;
    SpeechTrackWords = trackWords;
    SpeechRestoreCaret = trackWords && CheckTracking == 1;
    if (SpeechRestoreCaret)
        SpeechCaretBias = caretBias;
    SpeechRequest = RequestStart;
}

void SpeechSession::CommandSpeech_Click()
{
    if (isActiveState(SpeechState)) {
        SpeechRequest = RequestStop;
        if (m_editor)
            m_editor->SetSelStart(m_editor->GetPosStartFromLineIndex(SpeechLineIndex - 1));
    } else if (SpeechState == StateIdle && m_editor) {
        prepareRun(m_editor->text(), true, 1);
    }
    SetTimerFast();
}

void SpeechSession::CommandSpeakFromThisLine_Click()
{
    // While speaking this only stops; the next press starts from the caret.
    if (SpeechState == StateSpeaking) {
        SpeechRequest = RequestStop;
    } else if (SpeechState == StateIdle && m_editor) {
        SpeechStartLine = m_editor->GetCurrentLineIndex();
        prepareRun(m_editor->text(), true, 1);
    }
    SetTimerFast();
}

namespace {
enum class LineTarget { Next, Previous, Current };
}

static void speakOneLine(SpeechSession &s, Text *editor, LineTarget which)
{
    if (s.SpeechState != SpeechSession::StateIdle || !editor)
        return;
    const int current = editor->GetCurrentLineIndex();
    int target = current;
    if (which == LineTarget::Next)
        target = std::min(current + 1, editor->LineCount() - 1);
    else if (which == LineTarget::Previous)
        target = std::max(current - 1, 0);
    editor->SetSelStart(editor->GetPosStartFromLineIndex(target));
    editor->ScrollToActualPos();
    s.SpeechText = editor->text();
    s.SpeechStartLine = target;
    s.SpeechStopLine = target + 1;
    s.SpeechTrackWords = true;
    s.SpeechRestoreCaret = s.CheckTracking == 1;
    if (s.SpeechRestoreCaret)
        s.SpeechCaretBias = 0;
    s.SpeechRequest = SpeechSession::RequestStart;
}

void SpeechSession::CommandSpeakNextLine_Click()
{
    stopAtOnce();
    speakOneLine(*this, m_editor, LineTarget::Next);
    SetTimerFast();
}

void SpeechSession::CommandSpeakPrevLine_Click()
{
    stopAtOnce();
    speakOneLine(*this, m_editor, LineTarget::Previous);
    SetTimerFast();
}

void SpeechSession::CommandSpeakCurrentLine_Click()
{
    stopAtOnce();
    speakOneLine(*this, m_editor, LineTarget::Current);
    SetTimerFast();
}

void SpeechSession::menuSpeakFromHere_Click()
{
    stopAtOnce();
    if (SpeechState == StateIdle && m_editor) {
        const int line = m_editor->GetCurrentLineIndex();
        SpeechStartLine = line;
        SpeechStartColumn = m_editor->SelStart() - m_editor->GetPosStartFromLineIndex(line);
        prepareRun(m_editor->text(), false, SpeechCaretBias);
    }
    SetTimerFast();
}

void SpeechSession::menuSpeakSelected_Click()
{
    stopAtOnce();
    if (SpeechState == StateIdle && m_editor)
        prepareRun(m_editor->text().mid(m_editor->SelStart(), m_editor->SelLength()), false,
                   SpeechCaretBias);
    SetTimerFast();
}

void SpeechSession::CommandPauseResume_Click()
{
    if (SpeechState == StateSpeaking || SpeechState == StateRecognizing) {
        SpeechRequest = RequestPause;
        if (m_editor)
            m_editor->SetSelStart(m_editor->GetPosStartFromLineIndex(SpeechLineIndex - 1));
    } else if (SpeechState == StatePaused || SpeechState == StatePausedRecognizing) {
        SpeechRequest = RequestResume;
    }
    SetTimerFast();
}

void SpeechSession::menuSaveAudioFileAs_Click()
{
    if (SpeechState == StateIdle && m_editor) {
        SpeechText = m_editor->text();
        SpeechRequest = RequestSave;
    }
}

void SpeechSession::AbortSaveToFile()
{
    if (SpeechState == StateSaving)
        SpeechRequest = RequestAbortSave;
}

// ---------------------------------------------------------------------------------------------
// Handing text to the engine

void SpeechSession::PlayTTS(QString In_Testo)
{
    In_Testo.replace(Tab, Blank);
    if (In_Testo.trimmed().isEmpty())
        return;
    if (EngineKind != 1) {
        if (!Voice)
            return;
        WrapQuotedForEngine(In_Testo);
        if (Voice->RunningState() != SRSEDone)
            PurgeSpeech();
        Voice->Speak(In_Testo, PersistTags != 1 ? SVSFlagsAsync | SVSFIsXML
                                                : SVSFlagsAsync | SVSFIsXML | SVSFPersistXML);
    } else if (DSS) {
        if (DSS->Speaking())
            PurgeSpeech();
        DSS->SpeakText(In_Testo);
    }
}

int SpeechSession::PlayTTSToFile(QString In_Testo)
{
    In_Testo.replace(Tab, Blank);
    const QString trimmed = In_Testo.trimmed();
    if (trimmed.isEmpty() || !Voice)
        return 0;
    int stream = 0;
    // The save step waits for the engine itself, within its time budget.
    if (EngineKind != 1) {
        WrapQuotedForEngine(In_Testo);
        stream =
            Voice->Speak(In_Testo, PersistTags != 1 ? SVSFlagsAsync | SVSFIsXML
                                                    : SVSFlagsAsync | SVSFIsXML | SVSFPersistXML);
    } else if (DSS) {
        DSS->SpeakText(In_Testo);
    }
    AudioCharsWritten += trimmed.size();
    return stream;
}

void SpeechSession::PurgeSpeech()
{
    if (EngineKind != 1 && Voice)
        Voice->Speak(QStringLiteral(" "), SVSFPurgeBeforeSpeak);
    else if (EngineKind == 1 && DSS)
        DSS->AudioReset();
}

void SpeechSession::ResetEngineTags()
{
    if (EngineKind == 1 || !Voice)
        return;
    Voice->Speak(ResetTagsText(CurrentPitch), SVSFPurgeBeforeSpeak | SVSFIsXML | SVSFPersistXML);
}

void SpeechSession::WrapQuotedForEngine(QString &In_Out_Line)
{
    if (EngineKind == 1 || !CustomizeVoiceInQuotedText)
        return;
    const QString name = VoiceNameAt ? VoiceNameAt(VoiceForQuotedIndex) : QString();
    if (name.isEmpty()) {
        QString probe = In_Out_Line; // only a line that would change is worth telling about
        if (WrapQuotedText(probe, {}))
            reportOnce(MultiLang::Translate(QStringLiteral(
                "The voice chosen for quoted text is not installed; quoted text is read by the "
                "current voice.")));
        return;
    }
    if (WrapQuotedText(In_Out_Line, {name, VoiceForQuotedSpeed, VoiceForQuotedPitch}))
        PersistTags = 0;
}

// ---------------------------------------------------------------------------------------------
// The state display

void SpeechSession::showState(int display, bool activeState)
{
    if (StatusDisplay == display)
        return;
    StatusDisplay = display;
    if (m_editor) {
        // Words being highlighted cannot be edited at the same time.
        if (!activeState)
            m_editor->SetLocked(false);
        else if (CheckTracking == 1 && SpeechTrackWords)
            m_editor->SetLocked(true);
    }
    emit displayChanged(display);
}

void SpeechSession::ShowStateSaving()
{
    showState(DisplaySaving, true);
}

void SpeechSession::ShowStatePaused()
{
    showState(DisplayPaused, true);
}

void SpeechSession::ShowStateReproducing()
{
    showState(DisplayReproducing, true);
}

void SpeechSession::ShowStateRecognizing()
{
    showState(DisplayRecognizing, true);
}

void SpeechSession::ShowStateReady()
{
    showState(DisplayReady, false);
}

// ---------------------------------------------------------------------------------------------
// Engine events

void SpeechSession::Voice_Word(int, qint64, int CharacterPosition, int Length)
{
    if (CheckTracking != 1 || !SpeechTrackWords || SpeechLineCount < 1 || !m_editor)
        return;
    // The tick moves the index on as soon as a line is handed to the engine.
    const int entry = SpeechLineIndex - 1;
    if (entry < 0 || entry >= SpeechLineOffsets.size())
        return;
    m_editor->SetSelStart(SpeechLineOffsets.at(entry) + CharacterPosition - 1);
    m_editor->SetSelLength(Length);
    m_editor->ScrollToActualPos();
}

void SpeechSession::Voice_EndStream(int, qint64)
{
    SetTimerFast();
}

// ---------------------------------------------------------------------------------------------
// Steps of subsystems that are not part of the loop yet.

void SpeechSession::PauseRecognition()
{
    if (PauseRecognitionHook)
        PauseRecognitionHook();
}
void SpeechSession::StartSaving()
{
    m_save->StartSaving();
}
void SpeechSession::SaveStep()
{
    m_save->SaveStep();
}
void SpeechSession::RecorderPlaybackWatch() {}
void SpeechSession::DictationGate()
{
    if (DictationTick)
        DictationTick(SpeechState == StateIdle && SpeechRequest == RequestNone);
}
void SpeechSession::IdleWatchers() {}

} // namespace tonaris
