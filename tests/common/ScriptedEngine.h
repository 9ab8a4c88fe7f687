#pragma once

#include "voices/SpeechEngine.h"

#include <QStringList>

#include <functional>

namespace tonaris::test {

// An engine whose progress the test decides: Speak queues a line that "sounds" until finish(),
// so the speech loop can be driven one state at a time. It records every call.
class ScriptedEngine : public SpeechEngine
{
public:
    struct Call
    {
        QString text;
        int flags;
    };
    QList<Call> calls;
    bool speaking = false;
    bool paused = false;
    int stream = 0;
    bool hasOutput = true;
    // The voices offered, and the one selected.
    QList<VoiceInfo> voices{{QStringLiteral("scripted"), QStringLiteral("Scripted"),
                             QStringLiteral("MALE"), QStringLiteral("Test"), QStringLiteral("409"),
                             QStringLiteral("en-us"), QString()}};
    QString currentVoice = QStringLiteral("scripted");
    std::function<void(const QString &)> onSpeak; // runs inside Speak, as a re-entrant caller would

    int Speak(const QString &text, int flags) override
    {
        calls.append({text, flags});
        if (flags & SVSFPurgeBeforeSpeak)
            speaking = false;
        if (!text.trimmed().isEmpty() &&
            !(flags == (SVSFPurgeBeforeSpeak | SVSFIsXML | SVSFPersistXML)))
            speaking = true;
        ++stream;
        if (onSpeak)
            onSpeak(text);
        return stream;
    }
    QStringList streams; // files handed to SpeakStream
    int SpeakStream(const QString &path, int flags) override
    {
        streams.append(path);
        speaking = (flags & SVSFlagsAsync) != 0;
        return ++stream;
    }
    void Pause() override { paused = true; }
    void Resume() override { paused = false; }
    int RunningState() const override { return speaking ? SRSEIsSpeaking : SRSEDone; }
    int volume = 100; // what SetVolume, SetRate and SetAudioFormatType were given last
    int rate = 0;
    int format = 22;
    int Volume() const override { return volume; }
    void SetVolume(int v) override { volume = v; }
    int Rate() const override { return rate; }
    void SetRate(int r) override { rate = r; }
    QList<VoiceInfo> GetVoices() const override { return voices; }
    QString CurrentVoiceId() const override { return currentVoice; }
    bool SetVoiceById(const QString &id) override
    {
        for (const VoiceInfo &v : voices)
            if (v.id == id) {
                currentVoice = id;
                return true;
            }
        return false;
    }
    int AudioFormatType() const override { return format; }
    void SetAudioFormatType(int code) override { format = code; }
    bool HasAudioOutput() const override { return hasOutput; }

    // The line that is sounding comes to its end.
    void finish()
    {
        speaking = false;
        emit EndStream(stream, 0);
    }
    void word(int position, int length) { emit Word(stream, 0, position, length); }

    // The texts handed over for speaking, without purges and tag resets.
    QStringList spoken() const
    {
        QStringList out;
        for (const Call &c : calls)
            if (c.flags & SVSFlagsAsync)
                out.append(c.text);
        return out;
    }
};

} // namespace tonaris::test
