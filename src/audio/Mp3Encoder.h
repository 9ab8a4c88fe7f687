#pragma once

#include "audio/PcmFormat.h"

#include <QFile>
#include <QObject>
#include <QPointer>
#include <QStringList>

class QProcess;

namespace tonaris {

// Turns one WAV file into one MP3 file with lame, possibly while the WAV is still being written:
// lame reads a stream of the file's samples on its standard input, fed from the file as it
// grows (never more than a little at a time, so memory stays flat however long the file).
// lame writes a temporary file beside the target; the target appears, replacing any old one,
// only when lame has succeeded. The WAV is left alone: the owner deletes it on success and
// keeps it otherwise. Use from the UI thread.
class Mp3Encoder : public QObject
{
    Q_OBJECT
public:
    struct Options
    {
        QString lame;            // the program to run
        QStringList qualityArgs; // "-q0", "--abr", "40"
        QString title;           // the title tag
        bool idlePriority = false;
    };

    Mp3Encoder(const QString &wavPath, const PcmFormat &format, const QString &mp3Path,
               const Options &options, QObject *parent = nullptr);
    ~Mp3Encoder() override;

    QString wavPath() const { return m_wavPath; }
    QString mp3Path() const { return m_mp3Path; }
    QString partPath() const { return m_partPath; }

    // Starts lame; false (see errorString) when it cannot start.
    bool start();
    bool isStarted() const { return m_started; }
    // The WAV holds `bytes` bytes of samples after its header that may be read now.
    void setAvailable(qint64 bytes);
    // The WAV is finished and holds `bytes` bytes of samples.
    void setComplete(qint64 bytes);
    bool isSourceComplete() const { return m_complete; }
    // Bytes of samples handed to lame so far.
    qint64 fedBytes() const { return m_fed; }

    bool isFinished() const { return m_finished; }
    bool succeeded() const { return m_finished && m_error.isEmpty(); }
    QString errorString() const { return m_error; }
    // Stops lame at once and deletes its unfinished output.
    void kill();

    // lame's arguments, after the quality arguments: the tags, then input and output.
    static QStringList tagArguments(const QString &title);
    // The lame beside the program first, then the one on PATH; "" when there is none.
    static QString findLame(const QString &programFolder);

signals:
    void finished();

private:
    void feed();
    void onFinished(int exitCode, int exitStatus);

    QString m_wavPath;
    PcmFormat m_format;
    QString m_mp3Path;
    QString m_partPath;
    Options m_options;
    QPointer<QProcess> m_process;
    QFile m_source;
    qint64 m_fed = 0;
    qint64 m_available = 0;
    bool m_complete = false;
    bool m_started = false;
    bool m_finished = false;
    bool m_inputClosed = false;
    QString m_error;
};

// Replaces `target` by `source` in one step (a rename on the same file system, a copy to a
// temporary name and a rename across file systems). False with a message when it fails; the
// source is then left as it was.
bool ReplaceFile(const QString &source, const QString &target, QString *error = nullptr);

} // namespace tonaris
