#pragma once

#include "audio/PcmFormat.h"

#include <QList>
#include <QObject>
#include <QString>

namespace tonaris {

// Flags of Speak, summed: the speaking functions use 2, 8, 9, 40, 41 and 42.
enum SpeakFlag {
    SVSFlagsAsync = 1,        // return at once; otherwise return when the text has sounded
    SVSFPurgeBeforeSpeak = 2, // drop what is queued or sounding first
    SVSFIsXML = 8,            // the text carries inline tags
    SVSFPersistXML = 32,      // what the tags set outlives this call
};

// Values of RunningState.
enum SpeechRunState { SRSEDone = 1, SRSEIsSpeaking = 2 };

struct VoiceInfo
{
    QString id;     // stable key the engine selects the voice by
    QString name;   // readable and unique
    QString gender; // "MALE" or "FEMALE"
    QString vendor;
    QString language;    // language code as lower-case hexadecimal text, "409" for en-us
    QString languageTag; // the engine's own tag, "en-us"
    QString description;
    QString age{}; // decimal text, "" when the engine does not say
};

// A voice object as the speech session sees it. All members and signals belong to the thread
// that created the object (the user-interface thread); events arrive there as the sound plays.
class SpeechEngine : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // Returns the stream number given to the call; its events carry it.
    virtual int Speak(const QString &text, int flags) = 0;
    // Plays a WAV file through the voice's output; flags 0 synchronous, 1 asynchronous.
    // Returns 0 when the file cannot be read.
    virtual int SpeakStream(const QString &wavPath, int flags) = 0;
    virtual void Pause() = 0;
    virtual void Resume() = 0;
    virtual int RunningState() const = 0; // SRSEDone when nothing is queued or sounding

    virtual int Volume() const = 0; // 0..100
    virtual void SetVolume(int volume) = 0;
    virtual int Rate() const = 0; // -10..10
    virtual void SetRate(int rate) = 0;

    virtual QList<VoiceInfo> GetVoices() const = 0;
    virtual QString CurrentVoiceId() const = 0;
    virtual bool SetVoiceById(const QString &id) = 0;

    // Format code of the audio output stream (offered codes 4..39).
    virtual int AudioFormatType() const = 0;
    virtual void SetAudioFormatType(int code) = 0;

    // False when speaking aloud is impossible (no output device).
    virtual bool HasAudioOutput() const = 0;

    // Rendering into a file instead of the device. OpenOutputFile waits for what is queued,
    // then sends everything spoken from now on (texts and SpeakStream) into a new WAV file in
    // the format of AudioFormatType(), as fast as the engine renders. CloseOutputFile waits for
    // what is queued, finishes the file and sends the sound back to the device. Both give false,
    // with a message for the user in `error`, when the file cannot be written (a full disk).
    // An engine that cannot render into a file says so by the default.
    virtual bool OpenOutputFile(const QString &path, QString *error = nullptr);
    virtual bool CloseOutputFile(QString *error = nullptr);
    virtual bool HasOutputFile() const { return false; }
    // Bytes of audio written into the open file so far and readable by another reader; -1 once
    // a write has failed.
    virtual qint64 OutputFileBytes() const { return 0; }
    // Waits up to timeoutMs, without serving events, until RunningState() is SRSEDone; true
    // when it is. The save step renders with it, so it must never stall the window for long.
    virtual bool WaitUntilDone(int timeoutMs);
    // The same, but true as soon as there is room for more text behind what is being rendered:
    // a save hands over its next line then, so that the engine never idles between two lines.
    virtual bool WaitForQueueRoom(int timeoutMs) { return WaitUntilDone(timeoutMs); }

signals:
    void Word(int streamNumber, qint64 streamPosition, int characterPosition, int length);
    void StartStream(int streamNumber, qint64 streamPosition);
    void EndStream(int streamNumber, qint64 streamPosition);
    void AudioLevel(int streamNumber, qint64 streamPosition, int level);
    // Rendering into a file: the audio of a stream lies between these byte offsets of the
    // file's samples. Sent by the engine's worker once the stream is in the file; it arrives
    // queued on the receiver's thread.
    void OutputWritten(int streamNumber, qint64 startBytes, qint64 endBytes);
};

} // namespace tonaris
