// Lines that begin with "#": the keywords that play sounds, wait, start programs, open other
// texts and steer the order of lines. A keyword line never waits for sound while speaking:
// what takes time is set up here and watched by the tick.
#include "session/SpeechSession.h"

#include "config/KelPathManager.h"
#include "config/KelStartProgram.h"
#include "config/MultiLang.h"
#include "config/ProgramConsent.h"
#include "config/ProgramRandom.h"
#include "config/TextCodec.h"
#include "session/ScriptFlow.h"
#include "textprep/Text.h"
#include "voices/SpeechEngine.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cmath>

namespace tonaris {

namespace {

constexpr int MaxScanLine = 32767;

// The number a text starts with, the rest ignored: "2.5s" is 2.5, "X" is 0.
double leadingNumber(const QString &text)
{
    const QString t = text.trimmed();
    qsizetype end = 0;
    if (end < t.size() && (t[end] == QLatin1Char('-') || t[end] == QLatin1Char('+')))
        ++end;
    bool dot = false;
    while (end < t.size() && (t[end].isDigit() || (!dot && t[end] == QLatin1Char('.')))) {
        dot = dot || t[end] == QLatin1Char('.');
        ++end;
    }
    bool ok = false;
    const double value = t.left(end).toDouble(&ok);
    return ok ? value : 0.0;
}

} // namespace

void SpeechSession::InterpretKeywordLine(const QString &In_Line)
{
    const QString up = flow::KeywordForm(In_Line);
    auto is = [&](const char *keyword) { return up.startsWith(QLatin1StringView(keyword)); };

    if (is("#VOICE")) {
        const QString name = up.mid(7).trimmed();
        if (!name.isEmpty())
            emit voiceRequested(name);
    } else if (is("#PLAYOVER")) {
        if (EngineKind != 1 && SpeechState != StateSaving)
            keywordPlay(up.mid(9).trimmed(), true);
    } else if (is("#ENDPLAYOVER")) {
        if (EngineKind != 1 && SpeechState != StateSaving && PlayOverActive == 1)
            StopPlayOver();
    } else if (is("#PLAY")) {
        if (EngineKind != 1)
            keywordPlay(up.mid(5).trimmed(), false);
    } else if (is("#BREAK")) {
        SplitNow = true;
        BreakTitle = In_Line.trimmed().mid(6).trimmed();
    } else if (is("#WAIT")) {
        keywordWait(up.mid(5));
    } else if (SpeechState != StateSaving) {
        flowKeyword(up);
    }
}

QString SpeechSession::TakeLeadingBreakTitle()
{
    for (int i = SpeechLineIndex; i < SpeechLineCount; ++i) {
        const QString line = SpeechLines.at(i).trimmed();
        if (line.isEmpty())
            continue;
        if (!flow::KeywordForm(line).startsWith(QLatin1String("#BREAK")))
            return {};
        const QString title = line.mid(6).trimmed();
        if (!title.isEmpty())
            SpeechLineIndex = i + 1;
        return title;
    }
    return {};
}

// The keywords that only act while speaking; any other line is a comment.
void SpeechSession::flowKeyword(const QString &up)
{
    auto is = [&](const char *keyword) { return up.startsWith(QLatin1StringView(keyword)); };
    const int current = SpeechLineIndex;
    const bool scannable = current <= MaxScanLine;
    auto scan = [&](auto &&how) {
        if (!scannable) {
            reportOnce(MultiLang::Translate(
                           QStringLiteral("A script keyword beyond line %1 has no effect."))
                           .arg(MaxScanLine));
            return;
        }
        jumpTo(how());
    };

    if (is("#RECOGNIZE_WITH_TIMEOUT")) {
        if (EngineKind == 1)
            return;
        const QString rest = up.mid(23);
        const qsizetype comma = rest.indexOf(QLatin1Char(','));
        if (rest.trimmed().isEmpty() || comma <= 0)
            return;
        RecognitionTimeout = int(std::lround(leadingNumber(rest.left(comma))));
        RecognitionPhrases = rest.mid(comma + 1).split(QLatin1Char(','));
        RecognitionTimedOut = false;
        SpeechRequest = RequestRecognize;
    } else if (is("#RECOGNIZE")) {
        if (EngineKind == 1)
            return;
        RecognitionTimeout = -1;
        RecognitionPhrases = up.mid(10).split(QLatin1Char(','));
        SpeechRequest = RequestRecognize;
    } else if (is("#DO")) {
        // a mark for #LOOP and #EXIT DO
    } else if (is("#LOOP")) {
        scan([&] { return flow::LoopTarget(SpeechLines, current); });
    } else if (is("#EXIT DO")) {
        scan([&] { return flow::ExitDoTarget(SpeechLines, current); });
    } else if (is("#END IF")) {
    } else if (is("#IF RECOGNIZED")) {
        if (EngineKind == 1)
            return;
        const QStringList words = up.mid(14).split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (const QString &w : words) {
            if (w.trimmed() == RecognizedText)
                return; // heard: the body runs
        }
        scan([&] { return flow::SkipIfRecognized(SpeechLines, current); });
    } else if (is("#IF TIMEOUT")) {
        if (EngineKind == 1 || RecognitionTimedOut)
            return;
        scan([&] { return flow::SkipIfTimeout(SpeechLines, current); });
    } else if (is("#CALL")) {
        const QString name = up.mid(5).trimmed();
        scan([&] {
            const int sub = flow::FindSub(SpeechLines, current, name);
            if (sub >= 0)
                PushCallReturn(current);
            return sub;
        });
    } else if (is("#END SUB")) {
        int back = 0;
        if (CallDepth >= 1) {
            if (PopCallReturn(back))
                jumpTo(back);
            else
                reportOnce(MultiLang::Translate(
                    QStringLiteral("A script returned from a routine it was not called into.")));
        }
    } else if (is("#SUB")) {
        scan([&] { return flow::SkipSubBody(SpeechLines, current); });
    } else if (is("#EXECUTE")) {
        keywordExecute(up.mid(8).trimmed());
    } else if (is("#CLOSE")) {
        SpeechRequest = RequestUnload;
    } else if (is("#RANDOM")) {
        scan([&] {
            return flow::RandomTarget(SpeechLines, current, [this](int n) { return drawCase(n); });
        });
    } else if (is("#CASE")) {
        scan([&] { return flow::CaseEnd(SpeechLines, current); });
    } else if (is("#STOP")) {
        SpeechRequest = RequestStop;
    } else if (is("#OPEN")) {
        keywordOpen(up.mid(5).trimmed());
    }
}

void SpeechSession::jumpTo(int line)
{
    if (line >= 0)
        SpeechLineIndex = line; // the tick's increment then runs the line after it
}

int SpeechSession::drawCase(int count)
{
    const float r = std::min(float(ProgramRandom()), std::nextafter(1.0f, 0.0f));
    return std::clamp(int(float(count) * r + 1.0f), 1, count);
}

void SpeechSession::reportOnce(const QString &message)
{
    if (m_reported.contains(message))
        return;
    m_reported.append(message);
    emit problem(message);
}

// ---------------------------------------------------------------------------------------------
// The call stack. A stop frees the storage but keeps the depth, so a run stopped inside a
// routine leaves room that the next call grows past.

void SpeechSession::PushCallReturn(int In_Line)
{
    ++CallDepth;
    CallStack.resize(CallDepth);
    CallStack[CallDepth - 1] = In_Line;
}

bool SpeechSession::PopCallReturn(int &Out_Line)
{
    if (CallStack.isEmpty())
        return false;
    Out_Line = CallStack.last();
    --CallDepth;
    CallStack.resize(std::min<qsizetype>(CallStack.size(), CallDepth));
    if (CallDepth == 0)
        CallStack.clear();
    return true;
}

void SpeechSession::ClearCallStack()
{
    CallStack.clear();
}

// ---------------------------------------------------------------------------------------------
// Files a script names

QString SpeechSession::findScriptFile(const QString &argument) const
{
    QString path, arguments;
    KelPathManager::GetPathAndArguments(argument, path, arguments);
    if (path.isEmpty())
        return QString();
    // Names arrive upper-cased; the file system cares about case.
    return KelPathManager::FindFileCaseInsensitive(path,
                                                   TextFolder.isEmpty() ? AppFolder : TextFolder);
}

QString SpeechSession::decodeMp3(const QString &mp3)
{
    QString lame =
        AppFolder.isEmpty() ? QString() : QDir(AppFolder).filePath(QStringLiteral("lame"));
    if (!QFileInfo(lame).isExecutable())
        lame = QStandardPaths::findExecutable(QStringLiteral("lame"));
    if (lame.isEmpty())
        return QString();
    if (!m_tempDir)
        m_tempDir = std::make_unique<QTemporaryDir>();
    if (!m_tempDir->isValid())
        return QString();
    const QString wav = m_tempDir->filePath(
        QStringLiteral("temp_") + QFileInfo(mp3).completeBaseName() + QStringLiteral(".wav"));
    QFile::remove(wav);
    KelStartProgram::StartProgram(
        lame, {QStringLiteral("--silent"), QStringLiteral("--decode"), mp3, wav}, true, false);
    return QFileInfo::exists(wav) ? wav : QString();
}

void SpeechSession::keywordPlay(const QString &argument, bool over)
{
    if (over && PlayOverActive == 1)
        StopPlayOver();
    const QString file = findScriptFile(argument);
    if (file.isEmpty())
        return;
    QString wav = file, temp;
    if (KelPathManager::GetExtension(file).toLower() == QLatin1String(".mp3")) {
        temp = decodeMp3(file);
        if (temp.isEmpty())
            return;
        wav = temp;
    }
    // Only a decoded MP3 leaves a temporary file behind.
    auto removeTemp = [&temp] {
        if (!temp.isEmpty())
            QFile::remove(temp);
    };
    SpeechEngine *engine = over ? VoiceOver : Voice;
    if (!engine) {
        removeTemp();
        return;
    }
    if (over) {
        PlayOverTempPath = temp;
        engine->SpeakStream(wav, SVSFlagsAsync);
        PlayOverActive = 1;
    } else if (SpeechState == StateSaving) {
        engine->SpeakStream(wav, 0);
        removeTemp();
    } else if (engine->SpeakStream(wav, SVSFlagsAsync) > 0) {
        PlayTempPath = temp;
        PlayActive = 1;
    } else {
        removeTemp();
    }
}

void SpeechSession::StopPlayOver()
{
    const bool sounding = PlayOverActive == 1;
    PlayOverActive = 0;
    if (sounding && VoiceOver)
        VoiceOver->Speak(QStringLiteral(" "), SVSFPurgeBeforeSpeak); // the sound ends with it
    if (!PlayOverTempPath.isEmpty())
        QFile::remove(PlayOverTempPath);
    PlayOverTempPath.clear();
}

void SpeechSession::keywordWait(const QString &argument)
{
    const double value = leadingNumber(argument);
    if (std::abs(value) > 32767) {
        reportOnce(MultiLang::Translate(
                       QStringLiteral("A wait of %1 seconds is too long and was passed over."))
                       .arg(argument.trimmed()));
        return;
    }
    int seconds = int(std::nearbyint(value)); // ties go to the even neighbour
    if (seconds < 1)
        return;
    if (seconds > 30)
        seconds = 60;
    if (SpeechState != StateSaving) {
        WaitActive = 1;
        WaitUntil = QDateTime::currentDateTime().addSecs(seconds);
        return;
    }
    // In a save the pause becomes silence in the output.
    PlayTTSToFile(QStringLiteral("'<SILENCE MSEC=\"") + QString::number(seconds * 1000) +
                  QStringLiteral("\"/>'"));
}

void SpeechSession::keywordExecute(const QString &argument)
{
    QString path, arguments;
    KelPathManager::GetPathAndArguments(argument, path, arguments);
    const QString file = KelPathManager::FindFileCaseInsensitive(
        path, TextFolder.isEmpty() ? AppFolder : TextFolder);
    if (file.isEmpty() || !Consent || !Consent->mayRun(file, SpeechFromClipboard))
        return;
    KelStartProgram::ExecuteOrOpen(file, KelPathManager::SplitPathArguments(arguments));
}

void SpeechSession::keywordOpen(const QString &argument)
{
    const QString file = findScriptFile(argument);
    if (file.isEmpty() || !m_editor)
        return;
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return;
    const QString text = DecodeText(f.readAll());
    f.close();
    m_editor->setText(text);
    TextFolder = QFileInfo(file).absolutePath();
    SpeechRequest = RequestStop;
    TimerSpeech_Timer();
    SpeechText = m_editor->text();
    SpeechStopLine = -1;
    SpeechRestoreCaret = false;
    SpeechTrackWords = false;
    SpeechRequest = RequestStart;
    SetTimerFast();
}

// ---------------------------------------------------------------------------------------------
// Waiting for a spoken answer

void SpeechSession::StartRecognitionWait()
{
    RecognizedText.clear();
    RecognitionTicks = RecognitionTimeout != -1 ? RecognitionTimeout * 10 : -1;
    if (StartRecognition && StartRecognition(RecognitionPhrases) == 1) {
        SpeechState = StateRecognizing;
        ShowStateRecognizing();
    }
    // Otherwise the run stands still until the next command.
}

void SpeechSession::RecognitionTimeoutCount()
{
    if (RecognitionTicks > 0)
        --RecognitionTicks;
    if (!RecognizedText.isEmpty() || RecognitionTicks == 0) {
        PauseRecognition();
        ShowStateReproducing();
        SpeechState = StateSpeaking;
    }
    if (RecognitionTicks == 0)
        RecognitionTimedOut = true;
}

} // namespace tonaris
