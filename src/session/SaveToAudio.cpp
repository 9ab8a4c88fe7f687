#include "session/SaveToAudio.h"

#include "audio/Beep.h"
#include "audio/Mp3Encoder.h"
#include "audio/SoundFileEncoder.h"
#include "config/Dialogs.h"
#include "config/KelPathManager.h"
#include "config/MultiLang.h"
#include "session/SpeechSession.h"
#include "voices/ExternalVoiceEngine.h"
#include "voices/SpeechEngine.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMutexLocker>
#include <QScopedValueRollback>
#include <QStandardPaths>
#include <QSysInfo>
#include <QThread>
#include <QThreadPool>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <signal.h>

Q_LOGGING_CATEGORY(lcSave, "tonaris.session.save", QtWarningMsg)

namespace tonaris {

using MultiLang::Translate;

namespace {
const int SplitLimits[SaveToAudio::SplitSizeCount] = {0, 5000, 10000, 20000, 30000, 2147483647};
const QLatin1String TempName("tonaris_temp");
const QLatin1String LineFileName("tonaris_SAPI4_temp.wav");

// "book.mp3" -> "book.wav"; anything else gets ".wav" added.
QString asWavName(const QString &path)
{
    if (path.right(3).toLower() == QLatin1String("mp3"))
        return path.left(path.size() - 3) + QStringLiteral("wav");
    return path + QStringLiteral(".wav");
}
} // namespace

SaveToAudio::SaveToAudio(SpeechSession &session)
    : s(session)
    , m_files(std::make_shared<BackgroundFiles>())
{}

SaveToAudio::~SaveToAudio()
{
    KillEncoders();
}

void SaveToAudio::menuSplitSize_Click(int index)
{
    if (index < 0 || index >= SplitSizeCount)
        index = 0;
    SplitSizeIndex = index;
    AudioVolumeLimit = SplitLimits[index];
}

QString SaveToAudio::Announcement(int number, const QString &title, bool numberFirst)
{
    const QString n = QString::number(number);
    return numberFirst ? n + QStringLiteral(", ") + title + QLatin1Char('.')
                       : title + QStringLiteral(", ") + n + QLatin1Char('.');
}

QString SaveToAudio::VolumePath(const QString &folder, int number, const QString &fileName)
{
    return QDir(folder).filePath(QStringLiteral("%1_").arg(number, 3, 10, QLatin1Char('0')) +
                                 fileName);
}

QStringList SaveToAudio::QualityArguments(bool externalVoices, int quality)
{
    static const char *const builtIn[] = {"24", "40", "64"};
    static const char *const programs[] = {"11", "22", "44"};
    const int q = std::clamp(quality, 0, 2);
    return {QStringLiteral("-q0"), QStringLiteral("--abr"),
            QLatin1String(externalVoices ? programs[q] : builtIn[q])};
}

QString SaveToAudio::SilenceTag(int milliseconds)
{
    return QStringLiteral("'<SILENCE MSEC=\"%1\"/>'.").arg(milliseconds);
}

QString SaveToAudio::LameMissingMessage()
{
    return Translate(QStringLiteral(
        "To use the Mp3 compression you need the mp3 Lame encoder: install the package "
        "''lame'' (sudo apt install lame) or put the program ''lame'' in the folder of Tonaris."));
}

// Each process notes its temporary files in a journal of its own, named after the machine and
// the process, so that a Tonaris starting while another one saves leaves that save's files alone.
QString SaveToAudio::JournalFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
           QStringLiteral("/tonaris");
}

QString SaveToAudio::JournalPath()
{
    return JournalFolder() + QStringLiteral("/unfinished-audio-%1-%2.txt")
                                 .arg(QSysInfo::machineHostName())
                                 .arg(QCoreApplication::applicationPid());
}

namespace {
bool journalWritten = false; // by this process

// Whether the journal at `path` belongs to a process of this machine that is still running.
// Journals of other machines sharing the home folder count as alive: only they know.
bool journalOwnerAlive(const QString &path)
{
    const QString name = QFileInfo(path).completeBaseName();
    const QString prefix = QStringLiteral("unfinished-audio-%1-").arg(QSysInfo::machineHostName());
    if (!name.startsWith(prefix))
        return true;
    bool ok = false;
    const qint64 pid = name.mid(prefix.size()).toLongLong(&ok);
    if (!ok || pid <= 0)
        return true;
    if (pid == QCoreApplication::applicationPid())
        return journalWritten; // else a leftover of an earlier process that had this number
    return ::kill(pid_t(pid), 0) == 0 || errno == EPERM;
}

QStringList notedPaths(const QString &journalPath)
{
    QFile journal(journalPath);
    if (!journal.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(journal.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

// Only names of our own making are ever deleted.
bool isTemporaryName(const QString &path)
{
    const QString name = QFileInfo(path).fileName();
    return name.startsWith(TempName) || name.startsWith(LineFileName.chopped(4)) ||
           (name.startsWith(QLatin1Char('.')) && name.endsWith(QLatin1String(".part")));
}

QFileInfoList journals()
{
    return QDir(SaveToAudio::JournalFolder())
        .entryInfoList({QStringLiteral("unfinished-audio-*.txt")}, QDir::Files | QDir::Hidden);
}
} // namespace

void SaveToAudio::CleanUpTemporaryFiles()
{
    for (const QFileInfo &journal : journals()) {
        if (journalOwnerAlive(journal.absoluteFilePath()))
            continue;
        for (const QString &path : notedPaths(journal.absoluteFilePath()))
            if (isTemporaryName(path))
                QFile::remove(path);
        QFile::remove(journal.absoluteFilePath());
    }
}

bool SaveToAudio::FolderInUseByAnotherSave(const QString &folder)
{
    const QString own = JournalPath();
    const QString wanted = QFileInfo(folder).canonicalFilePath();
    if (wanted.isEmpty())
        return false;
    for (const QFileInfo &journal : journals()) {
        if (journal.absoluteFilePath() == own || !journalOwnerAlive(journal.absoluteFilePath()))
            continue;
        for (const QString &path : notedPaths(journal.absoluteFilePath()))
            if (isTemporaryName(path) &&
                QFileInfo(QFileInfo(path).absolutePath()).canonicalFilePath() == wanted)
                return true;
    }
    return false;
}

void SaveToAudio::note(const QString &path)
{
    QDir().mkpath(JournalFolder());
    journalWritten = true;
    QFile f(JournalPath());
    if (f.open(QIODevice::Append))
        f.write(path.toUtf8() + '\n');
}

void SaveToAudio::forget(const QString &path)
{
    QStringList paths = notedPaths(JournalPath());
    if (paths.isEmpty())
        return;
    paths.removeAll(path);
    if (paths.isEmpty()) {
        QFile::remove(JournalPath());
        return;
    }
    // Written beside and renamed over, without waiting for the disk: the journal is a hint for
    // the next start, and a sync here would hold the window up while the disk is busy with audio.
    const QString fresh = JournalPath() + QStringLiteral(".new");
    QFile out(fresh);
    if (out.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
        out.write(paths.join(QLatin1Char('\n')).toUtf8() + '\n') > 0) {
        out.close();
        std::rename(QFile::encodeName(fresh).constData(),
                    QFile::encodeName(JournalPath()).constData());
    } else {
        out.close();
        QFile::remove(fresh);
    }
}

// Unlinking a WAV of a gigabyte, or renaming a new one over an old target, keeps the file system
// busy for a good part of a second, so such work happens on a worker thread; the save ends only
// when all of it is done. `temporary` is the temporary file the work does away with.
void SaveToAudio::inBackground(const QString &temporary, std::function<QString()> work)
{
    ++m_files->pending;
    QThreadPool::globalInstance()->start([files = m_files, temporary, work = std::move(work)] {
        const QString error = work();
        const QMutexLocker lock(&files->mutex);
        files->settled.append(temporary);
        if (!error.isEmpty())
            files->errors.append(error);
        --files->pending;
    });
}

void SaveToAudio::removeInBackground(const QString &path)
{
    inBackground(path, [path] {
        QFile::remove(path);
        return QString();
    });
}

bool SaveToAudio::settleBackground()
{
    QStringList settled;
    {
        const QMutexLocker lock(&m_files->mutex);
        settled.swap(m_files->settled);
        m_errors.append(m_files->errors);
        m_files->errors.clear();
    }
    for (const QString &path : std::as_const(settled))
        forget(path);
    return m_files->pending == 0;
}

bool SaveToAudio::external() const
{
    return s.EngineKind == 1 && s.externalVoice();
}

QString SaveToAudio::tempPathFor(int number) const
{
    // Several volumes' files may exist at once while they are encoded.
    const QString name = splitting() ? QStringLiteral("%1%2_%3.wav")
                                           .arg(TempName, m_tempSuffix)
                                           .arg(number, 3, 10, QLatin1Char('0'))
                                     : TempName + m_tempSuffix + QStringLiteral(".wav");
    return QDir(AudioFileFolder).filePath(name);
}

QString SaveToAudio::lineFilePath() const
{
    QString name = LineFileName;
    return QDir(AudioFileFolder).filePath(name.insert(name.size() - 4, m_tempSuffix));
}

void SaveToAudio::fail(const QString &message)
{
    ExitStatus = 1;
    Dialogs::instance()->message(nullptr, message, Dialogs::Exclamation, QStringLiteral("Tonaris"));
}

void SaveToAudio::progress(const QString &what, bool grayed)
{
    if (AggiornaFormWaitToSaving)
        AggiornaFormWaitToSaving(Translate(what), Translate(QStringLiteral("Total progress")),
                                 grayed, SaveProgress);
    if (s.HiddenMode) {
        qint64 bytes = m_renderedBytes;
        if (m_phase == Phase::Rendering && s.voice())
            bytes += std::max<qint64>(0, s.voice()->OutputFileBytes());
        const qint64 perSecond = qint64(m_format.sampleRate) * m_format.bytesPerFrame();
        m_terminal.update(SaveProgress, perSecond > 0 ? double(bytes) / double(perSecond) : 0.0);
    }
}

// ---------------------------------------------------------------------------------------------
// The start of a save

void SaveToAudio::StartSaving()
{
    if (s.SpeechText.isEmpty())
        return;
    SpeechEngine *voice = s.voice();
    if (!voice)
        return;
    ExitStatus = 0;
    m_errors.clear();
    m_failed = false;
    auto giveUp = [this] {
        ExitStatus = 1;
        s.SpeechText.clear();
        if (BatchMode == 1)
            emit s.unloadRequested();
    };

    // Target.
    if (BatchMode != 0) {
        AudioFilePath = BatchOutputFile;
        AudioFileType = BatchOutputFormat == 1 ? FileTypeWav : FileTypeMp3;
    } else {
        const QString proposed = CurrentFilePath.isEmpty()
                                     ? QStringLiteral("Tonaris")
                                     : QFileInfo(CurrentFilePath).completeBaseName();
        int type = AudioFileType;
        AudioFilePath = ChooseTarget ? ChooseTarget(proposed, type) : QString();
        if (AudioFilePath.isEmpty()) {
            s.SpeechText.clear();
            return;
        }
        AudioFileType = type == FileTypeWav ? FileTypeWav : FileTypeMp3;
    }

    // Extension, and the encoder an MP3 needs.
    QString wanted = QStringLiteral(".wav");
    // Ogg Vorbis, Opus and FLAC, named by the target: rendered as WAV, encoded file by file.
    if (SoundFileEncoder::Handles(AudioFilePath)) {
        AudioFileType = FileTypeWav;
        wanted = KelPathManager::GetExtension(AudioFilePath).toLower();
    }
    if (!startM4b(wanted)) {
        giveUp();
        return;
    }
    if (AudioFileType == FileTypeMp3) {
        wanted = QStringLiteral(".mp3");
        m_lame = Mp3Encoder::findLame(s.AppFolder);
        if (m_lame.isEmpty()) {
            fail(LameMissingMessage());
            giveUp();
            return;
        }
    }
    if (QFileInfo(AudioFilePath).suffix().isEmpty() ||
        KelPathManager::GetExtension(AudioFilePath).toLower() != wanted)
        AudioFilePath += wanted;
    AudioFilePath = QFileInfo(AudioFilePath).absoluteFilePath();

    // An existing target is replaced only when the new one is complete.
    if (QFileInfo::exists(AudioFilePath)) {
        if (BatchMode == 0) {
            const int answer = Dialogs::instance()->choose(
                nullptr,
                AudioFilePath + QLatin1Char(' ') + Translate(QStringLiteral("already exists.")) +
                    QStringLiteral("\r\n") +
                    Translate(QStringLiteral("Do you want to replace it?")),
                {Translate(QStringLiteral("&Yes")), Translate(QStringLiteral("&No"))},
                Translate(QStringLiteral("Save Text File as")));
            if (answer != 0) {
                s.SpeechText.clear();
                return;
            }
        }
        if (!QFileInfo(AudioFilePath).isWritable() ||
            !QFileInfo(QFileInfo(AudioFilePath).absolutePath()).isWritable()) {
            fail(Translate(QStringLiteral("Cannot replace %1.")).arg(AudioFilePath));
            giveUp();
            return;
        }
    }

    AudioFileFolder = QFileInfo(AudioFilePath).absolutePath();
    VolumeTitle = QFileInfo(AudioFilePath).completeBaseName();
    if (!QFileInfo(AudioFileFolder).isDir() || !QFileInfo(AudioFileFolder).isWritable()) {
        fail(Translate(QStringLiteral("Cannot write in the folder %1.")).arg(AudioFileFolder));
        giveUp();
        return;
    }

    // Another Tonaris saving into this folder, or a run from the command line (scripts start
    // several at once into one folder): the temporary names carry the process's number.
    m_tempSuffix.clear();
    if (BatchMode == 1 || FolderInUseByAnotherSave(AudioFileFolder))
        m_tempSuffix = QLatin1Char('-') + QString::number(QCoreApplication::applicationPid());

    // Text preparation works on the text of the run, never on the editor.
    if (s.PrepareTextForSave)
        s.PrepareTextForSave(s.SpeechText);
    s.SplitSpeechLines(s.SpeechText);
    s.SpeechText.clear();
    if (s.SpeechLineCount == 0)
        return;

    // Volumes get a folder of their own, named as the target (an audiobook holds them as chapters).
    m_resumeJournal.clear();
    if (splitting() && !m_m4b) {
        const QString folder = QDir(AudioFileFolder).filePath(VolumeTitle);
        if (!offerResume(folder) && (QFileInfo::exists(folder) || !QDir().mkdir(folder))) {
            fail(Translate(QStringLiteral("Cannot create the folder %1: it exists already or "
                                          "the disk refuses it."))
                     .arg(folder));
            s.ClearSpeechLines();
            giveUp();
            return;
        }
        AudioFilePath = QDir(folder).filePath(QFileInfo(AudioFilePath).fileName());
        AudioFileFolder = folder;
    }

    s.SpeechLineIndex = 0;
    AudioVolumeNumber = 1;
    s.SplitNow = false;
    s.BreakTitle.clear();
    applyResume();
    Aborted = false;
    SaveProgress = 0;
    m_encodedBytes = 0;
    m_volumes.clear();
    AudioTempPath = tempPathFor(1);
    m_stopped = false;
    m_batchSave = BatchMode == 2;

    if (ShowProgressWindow)
        ShowProgressWindow(true);
    if (BatchMode != 2 && !s.HiddenMode)
        Beep(4000, 100);
    s.ResetEngineTags();

    // Volume loudness is the voice's own or the highest, as the user chose.
    if (AlwaysSaveAudioWithMaxVolume) {
        if (external()) {
            m_savedLeft = s.externalVoice()->VolumeLeft();
            m_savedRight = s.externalVoice()->VolumeRight();
            s.externalVoice()->SetVolumeLeft(ExternalVoiceEngine::MaxVolume());
            s.externalVoice()->SetVolumeRight(ExternalVoiceEngine::MaxVolume());
        } else {
            m_savedVolume = voice->Volume();
            voice->SetVolume(100);
        }
    }

    const QString firstTitle = m_resume.volume > 1 ? m_resume.title
                               : splitting()       ? s.TakeLeadingBreakTitle()
                                                   : QString();
    m_chapterTitle = !firstTitle.isEmpty() ? firstTitle
                     : splitting()         ? VolumeTitle + QStringLiteral(" 1")
                                           : VolumeTitle;
    const QString announcement =
        Announcement(AudioVolumeNumber, firstTitle.isEmpty() ? VolumeTitle : firstTitle,
                     SpeakVolumeNumberAndVolumeTitle);
    m_renderedBytes = 0;
    if (s.HiddenMode)
        m_terminal.start();
    m_phase = Phase::Rendering;
    startSubtitles();
    journalVolume(firstTitle);
    if (!openVolume(announcement))
        return;
    s.ShowStateSaving();
    s.SpeechState = SpeechSession::StateSaving;
    s.SetTimerFast();
}

// Opens the temporary output of volume AudioVolumeNumber and speaks its opening.
bool SaveToAudio::openVolume(const QString &announcement)
{
    AudioTempPath = tempPathFor(AudioVolumeNumber);
    s.AudioCharsWritten = 0;
    // A file keeps the format it is opened with, and its encoder is told that one: a format
    // chosen during the save applies from the next volume on.
    m_format = EnginePcmFormat;
    PcmFormatFromCode(s.voice()->AudioFormatType(), m_format);
    if (!openJoinedOutput(AudioTempPath))
        return false;
    if (AudioFileType == FileTypeMp3 && !Aborted) {
        const QString target = splitting() ? VolumePath(AudioFileFolder, AudioVolumeNumber,
                                                        QFileInfo(AudioFilePath).fileName())
                                           : AudioFilePath;
        EncodeToMp3(AudioTempPath, target, true);
    }
    const bool titled =
        splitting() && (SpeakVolumeNumberAndVolumeTitle || SpeakVolumeTitleAndVolumeNumber);
    if (!external()) {
        QString opening;
        if (AddInitialAndFinalSilence && AudioVolumeNumber == 1)
            opening = SilenceTag(300);
        if (titled)
            opening += announcement;
        if (!opening.isEmpty())
            s.PlayTTSToFile(opening);
    } else {
        Sapi4FileOpen = false;
        if (splitting()) {
            if (!s.externalVoice()->SetFileName(lineFilePath())) {
                writeFailed(Translate(QStringLiteral("Cannot write %1.")).arg(lineFilePath()));
                return false;
            }
            note(lineFilePath());
            Sapi4FileOpen = true;
            if (titled)
                s.PlayTTSToFile(announcement);
        }
    }
    return true;
}

bool SaveToAudio::openJoinedOutput(const QString &path)
{
    QString error;
    note(path);
    if (!s.voice()->OpenOutputFile(path, &error)) {
        writeFailed(error);
        return false;
    }
    return true;
}

bool SaveToAudio::closeJoinedOutput()
{
    QString error;
    if (!s.voice()->CloseOutputFile(&error)) {
        writeFailed(error);
        return false;
    }
    return true;
}

void SaveToAudio::AppendSapi4Audio(const QString &In_Path)
{
    if (!QFileInfo::exists(In_Path))
        return;
    // The samples are read at once; the file may go while they are being written out.
    s.voice()->SpeakStream(In_Path, SVSFlagsAsync);
    QFile::remove(In_Path);
}

// Closes the volume being written: its closing silence, the file, then encoding or the move.
bool SaveToAudio::closeVolume(bool endOfText)
{
    if (!external()) {
        if (AddInitialAndFinalSilence)
            s.PlayTTSToFile(SilenceTag(endOfText && !splitting() ? 2000 : 300));
    } else if (Sapi4FileOpen) {
        Sapi4FileOpen = false;
        s.externalVoice()->SetFileName(QString());
        AppendSapi4Audio(lineFilePath());
        forget(lineFilePath());
    }
    if (s.voice())
        m_renderedBytes += std::max<qint64>(0, s.voice()->OutputFileBytes());
    if (!closeJoinedOutput())
        return false;
    const QString target = splitting() ? VolumePath(AudioFileFolder, AudioVolumeNumber,
                                                    QFileInfo(AudioFilePath).fileName())
                                       : AudioFilePath;
    ++AudioVolumeNumber;
    const qint64 bytes = QFileInfo(AudioTempPath).size() - 44;
    auto current = std::find_if(m_volumes.begin(), m_volumes.end(),
                                [&](const Volume &v) { return v.wavPath == AudioTempPath; });
    if (current != m_volumes.end() && !Aborted) {
        current->complete = true;
        current->bytes = bytes;
        if (current->encoder)
            current->encoder->setComplete(bytes);
    } else {
        if (current != m_volumes.end()) {
            if (current->encoder)
                current->encoder->kill();
            m_volumes.erase(current);
        }
        if (!keepForM4b(AudioTempPath, bytes))
            MoveAudioToTarget(AudioTempPath, target);
    }
    return true;
}

// The target appears in one step. Should that fail, the audio is not lost: it stays under its
// temporary name, and the user is told.
void SaveToAudio::MoveAudioToTarget(const QString &In_Temp, const QString &In_Target)
{
    inBackground(In_Temp, [In_Temp, In_Target] {
        QString error;
        if (!SoundFileEncoder::Handles(In_Target)) {
            ReplaceFile(In_Temp, In_Target, &error);
        } else if (SoundFileEncoder::EncodeWav(In_Temp, In_Target,
                                               QFileInfo(In_Target).completeBaseName(), &error)) {
            QFile::remove(In_Temp);
        } else {
            error += QStringLiteral("\r\n") +
                     Translate(QStringLiteral("The audio stays in %1.")).arg(In_Temp);
        }
        return error;
    });
}

void SaveToAudio::EncodeToMp3(const QString &wav, const QString &mp3, bool streaming)
{
    Mp3Encoder::Options options;
    options.lame = m_lame;
    options.qualityArgs = QualityArguments(external(), Mp3Quality);
    options.title = QFileInfo(mp3).completeBaseName();
    options.idlePriority = RunWithIdlePriority;
    Volume v;
    v.wavPath = wav;
    v.target = mp3;
    v.encoder = new Mp3Encoder(wav, m_format, mp3, options, this);
    note(v.encoder->partPath());
    if (!streaming) {
        v.complete = true;
        v.bytes = QFileInfo(wav).size() - 44;
    }
    m_volumes.append(v);
    pumpEncoders();
}

// Starts encoders while processors are free, feeds them, and settles those that ended.
void SaveToAudio::pumpEncoders()
{
    const int cores = std::max(1, QThread::idealThreadCount());
    int running = 0;
    for (const Volume &v : std::as_const(m_volumes))
        if (v.encoder && v.encoder->isStarted() && !v.encoder->isFinished())
            ++running;
    for (auto it = m_volumes.begin(); it != m_volumes.end();) {
        Mp3Encoder *e = it->encoder;
        if (!e) {
            it = m_volumes.erase(it);
            continue;
        }
        if (!e->isStarted() && running < cores) {
            e->start();
            ++running;
        }
        if (e->isStarted() && !e->isFinished()) {
            if (it->complete)
                e->setComplete(it->bytes);
            else if (it->wavPath == AudioTempPath && s.voice())
                e->setAvailable(std::max<qint64>(0, s.voice()->OutputFileBytes()));
        }
        if (e->isFinished()) {
            m_encodedBytes += it->bytes;
            forget(e->partPath());
            if (e->succeeded()) {
                removeInBackground(it->wavPath);
            } else {
                m_errors.append(e->errorString());
                keepAsWav(*it);
            }
            e->deleteLater();
            it = m_volumes.erase(it);
            continue;
        }
        ++it;
    }
}

bool SaveToAudio::encodersDone()
{
    return settleBackground() && m_volumes.isEmpty();
}

// A volume whose encoding did not come to an end keeps its audio as a WAV of its own name.
void SaveToAudio::keepAsWav(Volume &v)
{
    if (!v.complete) {
        if (v.encoder)
            v.encoder->kill();
        return; // still being written: the close moves it
    }
    MoveAudioToTarget(v.wavPath, asWavName(v.target));
}

void SaveToAudio::KillEncoders()
{
    stopEncoders(true);
}

void SaveToAudio::stopEncoders(bool alsoComplete)
{
    for (auto it = m_volumes.begin(); it != m_volumes.end();) {
        if (it->complete && !alsoComplete) {
            ++it;
            continue;
        }
        if (it->encoder) {
            it->encoder->disconnect(this);
            it->encoder->kill();
            forget(it->encoder->partPath());
            if (it->complete)
                keepAsWav(*it);
            delete it->encoder;
        }
        // A volume still being rendered is closed by the save step, as a WAV.
        it = m_volumes.erase(it);
    }
}

void SaveToAudio::restoreVolume()
{
    if (m_savedVolume >= 0 && s.voice())
        s.voice()->SetVolume(m_savedVolume);
    if (m_savedLeft >= 0 && s.externalVoice()) {
        s.externalVoice()->SetVolumeLeft(m_savedLeft);
        s.externalVoice()->SetVolumeRight(m_savedRight);
    }
    m_savedVolume = m_savedLeft = m_savedRight = -1;
}

// The disk refused the audio: nothing half-written is left as a target.
void SaveToAudio::writeFailed(const QString &error)
{
    m_failed = true;
    s.PurgeSpeech();
    QString ignored;
    s.voice()->CloseOutputFile(&ignored);
    if (external())
        s.externalVoice()->SetFileName(QString());
    for (Volume &v : m_volumes) {
        if (v.encoder) {
            v.encoder->disconnect(this);
            v.encoder->kill();
            forget(v.encoder->partPath());
            delete v.encoder;
        }
    }
    m_volumes.clear();
    QFile::remove(AudioTempPath);
    forget(AudioTempPath);
    QFile::remove(lineFilePath());
    forget(lineFilePath());
    m_errors.append(
        Translate(QStringLiteral("The audio file could not be written (is the disk full?): %1"))
            .arg(error));
    s.SpeechLineIndex = s.SpeechLineCount;
    endSave();
}

// ---------------------------------------------------------------------------------------------
// The save step

// True when the engines have finished what they were given; waits for them within the budget.
bool SaveToAudio::engineDone(const QElapsedTimer &budget)
{
    if (external() && s.externalVoice()->Speaking())
        return false;
    const int left = std::max<int>(0, StepBudgetMs - int(budget.elapsed()));
    // The built-in engine takes the next line while it renders this one; the external
    // programs' lines are joined one by one.
    if (!external() && s.SpeechLineIndex < s.SpeechLineCount)
        return s.voice()->WaitForQueueRoom(left);
    return s.voice()->WaitUntilDone(left);
}

void SaveToAudio::SaveStep()
{
    // The progress window lets events run, and with them the tick: a step never nests.
    if (m_inStep)
        return;
    const QScopedValueRollback<bool> inStep(m_inStep, true);
    if (m_phase == Phase::Encoding) {
        encodingStep();
        return;
    }
    if (m_phase != Phase::Rendering)
        return;
    QElapsedTimer budget;
    budget.start();
    SpeechEngine *voice = s.voice();
    for (;;) {
        // An abort stops the line being rendered, so that it takes effect at once.
        if (s.SpeechRequest == SpeechSession::RequestAbortSave &&
            voice->RunningState() != SRSEDone) {
            s.PurgeSpeech();
            if (external())
                s.externalVoice()->AudioReset();
        }
        if (!engineDone(budget))
            break;
        if (voice->OutputFileBytes() < 0) {
            QString error;
            voice->CloseOutputFile(&error);
            writeFailed(error);
            return;
        }

        updateProgress();
        progress(QStringLiteral("Converting to wav..."), false);

        if (s.SpeechRequest == SpeechSession::RequestAbortSave) {
            s.SpeechRequest = SpeechSession::RequestNone;
            m_stopped = true;
            s.SpeechLineIndex = s.SpeechLineCount;
            if (AudioFileType == FileTypeMp3) {
                Aborted = true;
                AudioFilePath = asWavName(AudioFilePath);
                // What was spoken of the volume being written stays a WAV; the volumes that
                // were complete are still encoded to the end.
                stopEncoders(false);
            }
            if (BatchMode == 2)
                BatchMode = 0;
        }

        if (splitting() && (s.SpeechLineIndex >= s.SpeechLineCount ||
                            s.AudioCharsWritten > AudioVolumeLimit || s.SplitNow)) {
            // The engine may hold many lines of this volume still: the close waits for none.
            if (!voice->WaitUntilDone(std::max<int>(0, StepBudgetMs - int(budget.elapsed()))))
                break;
            s.SplitNow = false;
            if (!closeVolume(s.SpeechLineIndex >= s.SpeechLineCount))
                return;
            if (s.SpeechLineIndex < s.SpeechLineCount) {
                const QString title = s.BreakTitle.isEmpty() ? VolumeTitle : s.BreakTitle;
                m_chapterTitle = s.BreakTitle.isEmpty() ? VolumeTitle + QLatin1Char(' ') +
                                                              QString::number(AudioVolumeNumber)
                                                        : s.BreakTitle;
                journalVolume(s.BreakTitle);
                s.BreakTitle.clear();
                if (!openVolume(
                        Announcement(AudioVolumeNumber, title, SpeakVolumeNumberAndVolumeTitle)))
                    return;
                continue;
            }
        }

        if (s.SpeechLineIndex >= s.SpeechLineCount) {
            if (!splitting() && !closeVolume(true))
                return;
            finishM4b();
            restoreVolume();
            pumpEncoders();
            if (!encodersDone()) {
                m_phase = Phase::Encoding;
                progress(finishingCaption(), true);
                s.TimerSpeech.setInterval(10);
                return;
            }
            endSave();
            return;
        }

        renderLine();
        if (budget.elapsed() >= StepBudgetMs)
            break;
    }
    pumpEncoders();
    s.SetTimerFast();
}

void SaveToAudio::renderLine()
{
    const QString line = s.SpeechLines.at(s.SpeechLineIndex);
    if (line.trimmed().startsWith(QLatin1Char('#'))) {
        s.InterpretKeywordLine(line);
    } else if (!external()) {
        s.PersistTags = s.TagsForCurrentLineOnly == 0 ? 1 : 0;
        noteCue(s.PlayTTSToFile(line), line);
    } else {
        if (Sapi4FileOpen) {
            Sapi4FileOpen = false;
            s.externalVoice()->SetFileName(QString());
            AppendSapi4Audio(lineFilePath());
        }
        if (!line.trimmed().isEmpty()) {
            if (!s.externalVoice()->SetFileName(lineFilePath())) {
                writeFailed(Translate(QStringLiteral("Cannot write %1.")).arg(lineFilePath()));
                return;
            }
            note(lineFilePath());
            Sapi4FileOpen = true;
            s.PlayTTSToFile(line);
        }
    }
    ++s.SpeechLineIndex;
}

void SaveToAudio::encodingStep()
{
    // The text has been rendered whole: an abort now cuts no encoder of a complete volume,
    // it only ends the save as one the user stopped.
    if (s.SpeechRequest == SpeechSession::RequestAbortSave) {
        s.SpeechRequest = SpeechSession::RequestNone;
        m_stopped = true;
        if (BatchMode == 2)
            BatchMode = 0;
    }
    pumpEncoders();
    if (!encodersDone()) {
        updateProgress();
        progress(finishingCaption(), true);
        s.TimerSpeech.setInterval(10);
        return;
    }
    endSave();
}

// Lines rendered, of all lines. An MP3 save lasts as long as its encoders, which run far behind
// the engine, so its progress is the audio handed to them, of all the audio there will be as the
// lines rendered so far suggest; it never goes back.
void SaveToAudio::updateProgress()
{
    const int lines =
        s.SpeechLineCount > 0 ? std::min(100, s.SpeechLineIndex * 100 / s.SpeechLineCount) : 100;
    if (AudioFileType != FileTypeMp3 || Aborted || s.SpeechLineIndex <= 0) {
        SaveProgress = lines;
        return;
    }
    // Volumes whose encoders have ended were rendered and encoded whole.
    qint64 rendered = m_encodedBytes;
    qint64 encoded = m_encodedBytes;
    for (const Volume &v : std::as_const(m_volumes)) {
        if (v.complete)
            rendered += v.bytes;
        else if (s.voice())
            rendered += std::max<qint64>(0, s.voice()->OutputFileBytes()); // being written
        if (v.encoder)
            encoded += v.encoder->fedBytes();
    }
    if (rendered <= 0)
        return;
    const double all =
        double(rendered) * s.SpeechLineCount / std::min(s.SpeechLineIndex, s.SpeechLineCount);
    SaveProgress = std::clamp(std::max(SaveProgress, int(100.0 * double(encoded) / all)), 0, 100);
}

// What the progress window says while the save waits for its encoders and file moves.
QString SaveToAudio::finishingCaption() const
{
    // After an abort the volumes that were complete are still being encoded.
    const bool encoding =
        std::any_of(m_volumes.begin(), m_volumes.end(), [](const Volume &v) { return v.encoder; });
    return AudioFileType == FileTypeMp3 && (!Aborted || encoding)
               ? QStringLiteral("Encoding To Mp3...")
               : QStringLiteral("Converting to wav...");
}

void SaveToAudio::endSave()
{
    m_phase = Phase::Idle;
    // A failed write ends the save at once; what was handed to worker threads before is
    // settled first, so that its errors are told too.
    while (!settleBackground())
        QThread::msleep(5);
    finishSubtitles();
    finishResume();
    restoreVolume();
    m_terminal.finish();
    const bool beeps = !m_batchSave && BatchMode != 2 && !s.HiddenMode && !m_failed;
    if (beeps) {
        Beep(3000, 200);
        QTimer::singleShot(300, [] { Beep(3000, 200); });
    }
    if (ShowProgressWindow)
        ShowProgressWindow(false);
    s.SpeechState = SpeechSession::StateIdle;
    s.SpeechRequest = SpeechSession::RequestNone;
    s.ShowStateReady();
    s.ClearSpeechLines();
    if (!m_errors.isEmpty()) {
        const QStringList errors = m_errors;
        m_errors.clear();
        fail(errors.join(QStringLiteral("\r\n")));
    }
    if (m_failed || m_stopped)
        ExitStatus = 1;
    emit saveFinished(m_stopped || m_failed);
    if (BatchMode == 1) {
        // The program ends once the tones are over: the sound server's connection must not go
        // while a tone still plays.
        if (beeps)
            QTimer::singleShot(700, &s, [this] { emit s.unloadRequested(); });
        else
            emit s.unloadRequested();
    }
}

} // namespace tonaris
