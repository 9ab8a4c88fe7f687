#pragma once

#include "audio/AudioMarker.h"
#include "audio/PcmFormat.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QList>
#include <QObject>

#include <memory>

namespace tonaris {

// The device format of PCM: 8-bit samples unsigned, 16-bit signed.
QAudioFormat toQAudioFormat(const PcmFormat &f);

// Plays engine PCM (EnginePcmFormat) on an audio device, converted to the device format chosen
// by an audio format code, and raises the markers written with it when playback reaches them.
//
// Thread rule: write() may be called from any thread (an engine's worker); everything else,
// and every signal, belongs to the thread that owns the object (the user-interface thread).
//
// Generations: purge() drops everything queued and starts a new generation; a write() that
// carries an older generation is dropped whole. An engine takes generation() when a Speak is
// requested and passes it with every block of that request, so a purge can never be undone by
// a worker that was still synthesising.
class AudioOutput : public QObject
{
    Q_OBJECT
public:
    explicit AudioOutput(QObject *parent = nullptr);
    ~AudioOutput() override;

    // The device to play on; a null device means the system's default output.
    // False when no output device exists at all (the output then drops what it is given,
    // raising its markers at once, so that nothing waits forever).
    bool setDevice(const QAudioDevice &device);
    QAudioDevice device() const;
    static bool anyOutputDevice();
    // Off in a process that only renders to files: no output device is looked for, and every
    // output behaves as one without a device. Set before the first output is made.
    static void setDevicesWanted(bool wanted);
    static bool devicesWanted();

    // Format of the device stream; the engine format is converted to it.
    void setFormat(const PcmFormat &format);
    PcmFormat format() const;

    quint64 generation() const;

    // Appends count samples of engine PCM. Marker sample indices are relative to the first
    // sample of this block (0 = before it, count = after it); markers may come with count 0.
    void write(quint64 generation, const qint16 *samples, qsizetype count,
               const QList<AudioMarker> &markers);

    // Stops the sound at once (within a few tens of milliseconds) and keeps what is queued.
    void pause();
    void resume();
    bool isPaused() const;

    // Drops everything not yet played and raises no pending marker; returns the new generation.
    quint64 purge();

    // True when nothing is queued and nothing is still sounding.
    bool isIdle() const;

signals:
    void markerReached(const tonaris::AudioMarker &marker);
    // 0 to 100 from the samples being played, at least 20 times a second while sounding.
    void audioLevel(int level);
    // A device failure, worded for the user.
    void failed(const QString &message);

private:
    bool startSession(const PcmFormat &format);
    void endSession();
    void deviceFailed(const QString &message);
    qint64 playedFrames() const;
    void feed();
    void onTick();

    struct Private;
    std::unique_ptr<Private> d;
};

// Ends the process with `status` once everything of ours is written and closed, without the
// static destructors: Qt Multimedia closes its sound server connection in one of them and can
// abort there when a stream has only just ended. Standard output and error are flushed first.
[[noreturn]] void ExitWithoutAudioTeardown(int status);

} // namespace tonaris
