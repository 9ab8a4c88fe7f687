#pragma once

#include "voices/ExternalVoices.h"
#include "voices/SpeechEngine.h"

#include <memory>

namespace tonaris {

class AudioOutput;

// The engine of the voices of external programs: each text is rendered by running the voice's
// program into a WAV file of a private temporary folder, then played through an output of its
// own (or written to the file named by SetFileName). The program runs asynchronously, never
// through a shell; texts wait in a queue and the next one is rendered while the last plays.
// These programs know no markup: inline tags are removed from the text, which is otherwise
// passed as it stands. No word positions are reported.
//
// Speed and pitch are in the selected voice's own units and return to its defaults at each
// Select; volume is in 0..65535 on two channels, which the one mono output plays at their mean.
// Values are taken when a text is spoken and hold for that text.
//
// The SpeechEngine face maps onto the same: Speak with the purge flag resets first, Volume and
// Rate convert to engine units as the sliders do, RunningState follows Speaking(), EndStream
// comes with AudioStop and AudioLevel with MouthLevel. Word is never raised.
//
// All members and signals belong to the thread that created the object (the UI thread).
class ExternalVoiceEngine : public SpeechEngine
{
    Q_OBJECT
public:
    explicit ExternalVoiceEngine(const QList<ExternalVoice> &voices, QObject *parent = nullptr);
    ~ExternalVoiceEngine() override;

    const QList<ExternalVoice> &voices() const;
    int CountEngines() const;

    // Chooses the voice by its 1-based index and gives speed and pitch its defaults; false, and
    // nothing changed, when there is no such voice. The first voice is selected at creation.
    bool Select(int index);
    int SelectedIndex() const; // 1-based; 0 without voices

    // Queues one text; returns at once. Returns its stream number.
    int SpeakText(const QString &text);
    // True while a text is queued, being rendered or sounding.
    bool Speaking() const;

    void AudioPause();
    void AudioResume();
    bool AudioPaused() const;
    // Drops everything queued, stops the program rendering and the sound. No AudioStop follows.
    void AudioReset();

    int VolumeLeft() const;
    void SetVolumeLeft(int volume);
    int VolumeRight() const;
    void SetVolumeRight(int volume);
    static constexpr int MinVolume() { return 0; }
    static constexpr int MaxVolume() { return 65535; }

    int Speed() const;
    void SetSpeed(int speed); // clamped to the voice's range
    int MinSpeed() const;
    int MaxSpeed() const;
    int Pitch() const;
    void SetPitch(int pitch);
    int MinPitch() const;
    int MaxPitch() const;

    // A path sends the texts spoken from now on to that WAV file (22050 Hz, mono, 16 bit),
    // replacing it and appending each rendered text; "" sends them back to the device.
    // False when the file cannot be written; the output is then unchanged.
    QString FileName() const;
    bool SetFileName(const QString &path);

    AudioOutput *output() const;

    // SpeechEngine
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

signals:
    // The sound of a text has ended (or its file has been written), in the order spoken.
    void AudioStop();
    // Mouth height 0..255 from the samples being played; 0 when the sound stops.
    void MouthLevel(int height);
    // A program failed on a text (that text then gives no sound), worded for a log.
    void RenderFailed(const QString &message);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace tonaris
