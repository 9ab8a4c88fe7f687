#pragma once

#include "audio/PcmFormat.h"

#include <QAudioDevice>
#include <QObject>
#include <QString>

#include <memory>

namespace tonaris {

// A voice note from the microphone: one recording at a time, recorded through the sound server
// into memory (into a temporary file once it grows long, so that an hour does not fill the
// memory), played back, and saved as a PCM WAV file.
//
// The operations answer true when done and false otherwise, and show nothing; only
// GetStatistics tells its failures. The status follows the multimedia mode numbers the window
// knows: NotReady with no recording open, Stopped, Playing, Recording, Paused.
// UI thread only; statusChanged reports what happens by itself (a playback that reaches its
// end, a device that fails).
class AudioRecorder : public QObject
{
    Q_OBJECT
public:
    enum Status {
        StatusUnknown = 0,
        NotReady = 524,
        Stopped = 525,
        Playing = 526,
        Recording = 527,
        Paused = 529,
    };

    explicit AudioRecorder(QObject *parent = nullptr);
    ~AudioRecorder() override;

    // The open recording's number, 0 when none is open.
    quint32 DeviceID() const { return m_deviceId; }

    int GetStatus() const;
    // Two lines: the length in seconds and bytes, then channels, bits and rate. A query that
    // fails shows its own message and the text goes on with what it has.
    QString GetStatistics();

    // Drops any recording and its playback and opens a new, empty one.
    bool OpenRecorder();
    bool CloseRecorder();
    // A null device means the system's default.
    bool SetOutputAudioDevice(const QAudioDevice &device);
    bool SetInputAudioDevice(const QAudioDevice &device);
    // 8 or 16 bits, a rate from 1000 to 192000, 1 or 2 channels; anything else is refused and
    // the input device's own format applies.
    bool SetAudioFormat(int bitsPerSample, int samplesPerSecond, int channels);
    bool StartRecord();
    // Ends a recording or a playback.
    bool StopRecord();
    // The recording as a PCM WAV file, written whole or not at all. `error` tells why not.
    bool SaveRecordedAs(const QString &In_FileName, QString *error = nullptr);
    bool PlayRecorded();
    bool StopPlayRecorded();
    int GetReproducingPosition() const; // milliseconds
    bool PlayRecordedFrom(int In_Position);
    bool PauseRecord();
    bool ResumeRecord();

    PcmFormat format() const { return m_format; }
    qint64 recordedBytes() const;
    int lengthMs() const;

    // What a recording keeps in memory before it moves to a temporary file (8 MB, about 47 s of
    // 44.1 kHz 16-bit stereo).
    static qint64 MemoryLimit;

    // Whether the machine offers any microphone at all.
    static bool anyInputDevice();
    // The format a line of the audio format list names, when it has exactly five words
    // ("44 kHz 16 Bit Stereo"): the rate in kHz (11, 22 and 44 being 11025, 22050 and 44100 Hz,
    // as the list means them), the bits, and one channel for "Mono", else two. Any other line
    // gives an all-zero format.
    static PcmFormat FormatFromCaption(const QString &caption);

signals:
    void statusChanged(int status);

private:
    void onReadyRead();
    void feed();
    void endPlayback();
    qint64 playedFrames() const;
    bool recordingOpen() const { return m_deviceId != 0; }

    struct Private;
    std::unique_ptr<Private> d;
    quint32 m_deviceId = 0;
    PcmFormat m_format;
    bool m_formatSet = false;
};

} // namespace tonaris
