#pragma once

#include "voices/SpeechEngine.h"
#include "voices/TagInterpreter.h"

#include <memory>

namespace tonaris {

class AudioOutput;

// Base of the in-process engines: it owns the worker thread, the queue of requests, the
// interpretation of inline tags and the hand-off of PCM and events to the audio output.
// A back end fills in synthesis of plain text and the voice list.
class ThreadedEngine : public SpeechEngine
{
    Q_OBJECT
public:
    explicit ThreadedEngine(QObject *parent = nullptr);
    ~ThreadedEngine() override;

    int Speak(const QString &text, int flags) override;
    int SpeakStream(const QString &wavPath, int flags) override;
    void Pause() override;
    void Resume() override;
    int RunningState() const override;

    int Volume() const override;
    void SetVolume(int volume) override;
    int Rate() const override;
    void SetRate(int rate) override;

    QList<VoiceInfo> GetVoices() const override;
    QString CurrentVoiceId() const override;
    bool SetVoiceById(const QString &id) override;

    int AudioFormatType() const override;
    void SetAudioFormatType(int code) override;
    bool HasAudioOutput() const override;
    bool OpenOutputFile(const QString &path, QString *error = nullptr) override;
    bool CloseOutputFile(QString *error = nullptr) override;
    bool HasOutputFile() const override;
    qint64 OutputFileBytes() const override;
    bool WaitUntilDone(int timeoutMs) override;
    bool WaitForQueueRoom(int timeoutMs) override;

    AudioOutput *output() const;

    // What a back end renders one piece of text with.
    struct RenderParams
    {
        QString voiceId;
        int volume = 100; // 0..100
        int rate = 0;     // -10..10
        int pitch = 0;    // -10..10
        bool spell = false;
        bool emphasis = false;
    };

    // Receives a back end's output for one piece of text. Sample offsets count from the start
    // of that piece; text indices are indices into the text handed to the back end.
    class RenderSink
    {
    public:
        virtual ~RenderSink() = default;
        // False when the request was purged: the back end stops at once.
        virtual bool pcm(const qint16 *samples, qsizetype count) = 0;
        virtual void word(int textIndex, int length, qint64 sampleOffset) = 0;
        virtual bool cancelled() const = 0;
    };

protected:
    // Whether pieces rendered into a file may be handed to helper processes running the same
    // back end (see RenderFarm).
    virtual bool rendersInHelpers() const { return false; }
    // Called on the worker thread only. Returns false on failure of the back end.
    virtual bool renderText(const QString &text, const RenderParams &params, RenderSink &sink) = 0;
    // Called once, on the creating thread, by the first GetVoices().
    virtual QList<VoiceInfo> listVoices() const = 0;
    // The back end's default voice id, used until SetVoiceById.
    virtual QString defaultVoiceId() const = 0;

    // Derived constructors call this last, when the back end is ready to render.
    void startWorker();
    // Derived destructors call this first, so no render runs on a half-destroyed object.
    void stopWorker();

private:
    struct Private;
    friend struct Private;
    std::unique_ptr<Private> d;
};

} // namespace tonaris
