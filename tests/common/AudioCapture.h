#pragma once

#include <QList>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace tonaris::test {

// Records what the test sound server's null sink plays, through parec, and measures it.
// Usage: start() before playing, framesSoFar() to see how far the recording has got while
// playing, stop() to read it back, then soundSpans(), rms() and frequency() on samples().
class AudioCapture
{
public:
    static constexpr int SampleRate = 22050; // mono, 16 bit, as the null sink runs

    AudioCapture() = default;
    ~AudioCapture();

    // True when a PulseAudio server answers (PULSE_SERVER respected).
    static bool serverReachable();

    // Starts parec and returns once audio data is arriving (the null sink may sleep for up
    // to two seconds before it notices a new listener).
    bool start(QString *error = nullptr);
    // Frames recorded until now; a sound whose start lies beyond this has not been heard yet.
    qint64 framesSoFar() const;
    // Stops recording and loads the samples.
    bool stop();

    // Takes the samples of a WAV file instead, converted to the capture's format.
    bool load(const QString &wavPath);

    const QList<qint16> &samples() const { return m_samples; }

    struct Span
    {
        qint64 start; // frames
        qint64 end;
        qint64 length() const { return end - start; }
    };
    // Stretches whose RMS over 10 ms windows exceeds threshold; gaps shorter than minGapMs join.
    QList<Span> soundSpans(double threshold = 1000, int minGapMs = 60) const;
    // RMS on the 16-bit scale over [from, from + count).
    double rms(qint64 from, qint64 count) const;
    // Dominant frequency in Hz over [from, from + count), by zero crossings.
    double frequency(qint64 from, qint64 count) const;

    static qint64 framesFromMs(double ms) { return qint64(ms * SampleRate / 1000.0); }
    static double msFromFrames(qint64 frames) { return frames * 1000.0 / SampleRate; }

private:
    QTemporaryDir m_dir;
    QProcess m_process;
    QList<qint16> m_samples;
};

} // namespace tonaris::test
