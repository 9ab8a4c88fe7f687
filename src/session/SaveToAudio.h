#pragma once

#include "audio/M4bWriter.h"
#include "audio/PcmFormat.h"
#include "session/Subtitles.h"
#include "session/TerminalProgress.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>

namespace tonaris {

class Mp3Encoder;
class SpeechSession;

// The save of a text to a WAV or MP3 file: the start of a save and the save step of the tick.
// The lines of the session are rendered into a temporary WAV beside the target, several per
// tick within a small time budget, and each finished file is renamed to its target or encoded
// by lame. For MP3, lame reads the temporary WAV while it is being written, and finished volumes
// are encoded in parallel, one encoder per processor at most. A target appears only when it is
// complete; an abort leaves what was rendered as a WAV. Everything runs on the UI thread.
class SaveToAudio : public QObject
{
    Q_OBJECT
public:
    enum Mp3QualityLevel { OptimizeSize = 0, Balanced = 1, OptimizeQuality = 2 };
    enum FileType { FileTypeWav = 1, FileTypeMp3 = 2 };
    static constexpr int SplitSizeCount = 6;
    static constexpr int StepBudgetMs = 20;

    explicit SaveToAudio(SpeechSession &session);
    ~SaveToAudio() override;

    // The audio-book options of the menus.
    int AudioFileType = FileTypeMp3;
    int SplitSizeIndex = 0;
    int AudioVolumeLimit = 0;
    void menuSplitSize_Click(int index);
    bool SpeakVolumeTitleAndVolumeNumber = false;
    bool SpeakVolumeNumberAndVolumeTitle = false;
    bool AddInitialAndFinalSilence = false;
    bool AlwaysSaveAudioWithMaxVolume = false;
    bool WriteSubtitles = false; // an .srt and an .lrc beside each file (built-in voices)
    bool RunWithIdlePriority = false;
    int Mp3Quality = Balanced;

    // Who asked: 0 the user, 1 the command line, 2 a batch; with the target of 1 and 2.
    int BatchMode = 0;
    QString BatchOutputFile;
    int BatchOutputFormat = 0; // 1 WAV, otherwise MP3
    // The document in the editor; its name is proposed for the target.
    QString CurrentFilePath;

    // State of the save under way.
    QString AudioFilePath;
    QString AudioFileFolder;
    QString AudioTempPath;
    QString VolumeTitle;
    int AudioVolumeNumber = 1;
    bool Sapi4FileOpen = false;
    int SaveProgress = 0;
    bool Aborted = false;
    // 0 after a save that wrote what it was asked to; 1 after a failure or an early end.
    int ExitStatus = 0;

    // The window's part. ChooseTarget asks for the target ("" when cancelled), starting from
    // the proposed name and file type and giving back the type chosen. The progress window is
    // shown, updated and hidden through the other two.
    std::function<QString(const QString &proposedName, int &In_Out_FileType)> ChooseTarget;
    std::function<void(const QString &In_Messaggio1, const QString &In_Messaggio2,
                       bool In_Messaggio2IsGrayed, int In_PercentualeDiAvanzamento)>
        AggiornaFormWaitToSaving;
    std::function<void(bool visible)> ShowProgressWindow;

    void StartSaving();
    void SaveStep();
    bool isEncoding() const { return m_phase == Phase::Encoding; }
    // Stops every encoder at once; what they had not finished stays as WAV. (An abort of the
    // user stops only the encoder of the volume being written.)
    void KillEncoders();

    // Texts and names of the save.
    static QString Announcement(int number, const QString &title, bool numberFirst);
    static QString VolumePath(const QString &folder, int number, const QString &fileName);
    static QStringList QualityArguments(bool externalVoices, int quality);
    static QString SilenceTag(int milliseconds);
    static QString LameMissingMessage();
    // Deletes the temporary files that saves cut short by a crash left behind; the files of
    // saves still running in other processes stay.
    static void CleanUpTemporaryFiles();
    // Whether a Tonaris still running writes its temporary files in `folder`.
    static bool FolderInUseByAnotherSave(const QString &folder);
    // Where this process notes the names of its temporary files while they exist, and the
    // folder of every process's journal.
    static QString JournalPath();
    static QString JournalFolder();

signals:
    // A save has ended; `aborted` by the user. The window may then offer the power-off.
    void saveFinished(bool aborted);

private:
    QString m_tempSuffix; // "-<process>" when the folder may be shared
    enum class Phase { Idle, Rendering, Encoding };
    struct Volume
    {
        QPointer<Mp3Encoder> encoder;
        QString wavPath;
        QString target; // the MP3 it becomes
        qint64 bytes = 0;
        bool complete = false;
    };

    bool external() const;
    bool splitting() const { return SplitSizeIndex != 0; }
    QString tempPathFor(int number) const;
    QString lineFilePath() const;
    bool openVolume(const QString &announcement);
    bool closeVolume(bool endOfText);
    bool openJoinedOutput(const QString &path);
    bool closeJoinedOutput();
    void AppendSapi4Audio(const QString &In_Path);
    void MoveAudioToTarget(const QString &In_Temp, const QString &In_Target);
    void EncodeToMp3(const QString &wav, const QString &mp3, bool streaming);
    void renderLine();
    bool engineDone(const QElapsedTimer &budget);
    void pumpEncoders();
    bool encodersDone();
    // Kills the encoder of the volume being written, and with `alsoComplete` those of the complete
    // volumes too, which then stay as WAV.
    void stopEncoders(bool alsoComplete);
    void inBackground(const QString &temporary, std::function<QString()> work);
    void removeInBackground(const QString &path);
    bool settleBackground();
    void keepAsWav(Volume &v);
    void writeFailed(const QString &error);
    void encodingStep();
    QString finishingCaption() const;
    void updateProgress();
    void endSave();
    void fail(const QString &message);
    void note(const QString &path);
    void forget(const QString &path);
    void progress(const QString &what, bool grayed);
    void restoreVolume();

    // An audiobook (.m4b) of one chapter a volume (SaveToAudioM4b.cpp): the volumes stay
    // temporary WAVs until ffmpeg joins them at the end.
    bool startM4b(QString &wanted);
    bool keepForM4b(const QString &wav, qint64 bytes);
    void finishM4b();
    bool m_m4b = false;
    QString m_ffmpeg;
    QString m_chapterTitle; // of the volume being written
    QList<M4bWriter::Part> m_m4bParts;

    // Resuming a save cut short (SaveToAudioResume.cpp).
    struct Resume
    {
        int volume = 0; // the volume to go on with; 0: from the start
        int line = 0;
        QString title;
        bool startOver = false;
    };
    QString resumeFingerprint() const;
    bool offerResume(const QString &folder);
    void applyResume();
    void journalVolume(const QString &title);
    void finishResume();
    Resume m_resume;
    QString m_resumeJournal;

    // Subtitles (SaveToAudioSubtitles.cpp).
    struct CueLine
    {
        QString target;
        int bytesPerSecond = 0;
        QString text;
    };
    void startSubtitles();
    void noteCue(int stream, const QString &line);
    void finishSubtitles();
    QMetaObject::Connection m_cueConnection;
    QHash<int, CueLine> m_cueLines; // by stream, until the engine reports where it went
    QHash<QString, QList<SubtitleCue>> m_cues;
    QStringList m_cueTargets;

    // File work of worker threads, shared with them.
    struct BackgroundFiles
    {
        QMutex mutex;
        QStringList settled; // temporary files dealt with, to be forgotten by the journal
        QStringList errors;
        std::atomic<int> pending = 0;
    };

    SpeechSession &s;
    std::shared_ptr<BackgroundFiles> m_files;
    Phase m_phase = Phase::Idle;
    PcmFormat m_format;
    QString m_lame;
    QList<Volume> m_volumes;
    QStringList m_errors;
    qint64 m_encodedBytes = 0; // audio of the volumes whose encoders have ended
    int m_savedVolume = -1;
    int m_savedLeft = -1;
    int m_savedRight = -1;
    bool m_failed = false;
    bool m_stopped = false;   // the user aborted
    bool m_batchSave = false; // one of a batch: silent, even when the abort ends the batch
    bool m_inStep = false;
    TerminalProgress m_terminal; // a save without window, seen from a terminal
    qint64 m_renderedBytes = 0;  // audio of the volumes closed so far
};

} // namespace tonaris
