#include "audio/Beep.h"

#include "audio/AudioOutput.h"

#include <QAudioDevice>
#include <QAudioSink>
#include <QBuffer>
#include <QCoreApplication>
#include <QLoggingCategory>
#include <QMediaDevices>
#include <QMutex>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>

Q_LOGGING_CATEGORY(lcBeep, "tonaris.audio.beep", QtWarningMsg)

namespace tonaris {

namespace {

constexpr double Amplitude = 0.3;
constexpr int FadeMs = 5;
constexpr int MaxDurationMs = 10000;
constexpr int MinFrequencyHz = 20;
constexpr int MaxFrequencyHz = 20000;
// Silence after the tone: whatever the sink loses when it is closed is silence, not tone.
constexpr int TailMs = 40;

QMutex hookMutex;
BeepHook &hookSlot()
{
    static BeepHook hook;
    return hook;
}

QAudioFormat chooseFormat(const QAudioDevice &device)
{
    QAudioFormat format;
    format.setSampleRate(44100);
    format.setChannelCount(1);
    format.setSampleFormat(QAudioFormat::Int16);
    if (device.isFormatSupported(format))
        return format;
    return device.preferredFormat();
}

void writeSample(char *out, QAudioFormat::SampleFormat sampleFormat, double v)
{
    switch (sampleFormat) {
    case QAudioFormat::UInt8: {
        const auto s = quint8(std::lround(128 + v * 127));
        std::memcpy(out, &s, sizeof s);
        break;
    }
    case QAudioFormat::Int16: {
        const auto s = qint16(std::lround(v * 32767));
        std::memcpy(out, &s, sizeof s);
        break;
    }
    case QAudioFormat::Int32: {
        const auto s = qint32(std::lround(v * 2147483647.0));
        std::memcpy(out, &s, sizeof s);
        break;
    }
    case QAudioFormat::Float: {
        const auto s = float(v);
        std::memcpy(out, &s, sizeof s);
        break;
    }
    default:
        break;
    }
}

// The tone with raised-cosine fades at both ends, then the silent tail.
QByteArray renderTone(const QAudioFormat &format, int frequencyHz, int durationMs)
{
    const int rate = format.sampleRate();
    const int channels = format.channelCount();
    const int bytesPerSample = format.bytesPerSample();
    const qint64 toneFrames = qint64(rate) * durationMs / 1000;
    const qint64 tailFrames = qint64(rate) * TailMs / 1000;
    const qint64 fadeFrames =
        std::max<qint64>(1, std::min<qint64>(qint64(rate) * FadeMs / 1000, toneFrames / 3));
    QByteArray pcm(format.bytesForFrames(toneFrames + tailFrames), Qt::Uninitialized);
    char *out = pcm.data();
    const double step = 2 * M_PI * frequencyHz / rate;
    for (qint64 i = 0; i < toneFrames + tailFrames; ++i) {
        double v = 0;
        if (i < toneFrames) {
            const qint64 edge = std::min(i, toneFrames - 1 - i);
            const double gain =
                edge >= fadeFrames ? 1.0 : 0.5 - 0.5 * std::cos(M_PI * double(edge) / fadeFrames);
            v = Amplitude * gain * std::sin(step * double(i));
        }
        for (int c = 0; c < channels; ++c, out += bytesPerSample)
            writeSample(out, format.sampleFormat(), v);
    }
    return pcm;
}

// One sounding tone. It lives on the application's thread as a child of the application, so
// that an application quitting mid-tone deletes it (stopping the sink) while the audio
// back end is still there.
class BeepPlayer : public QObject
{
public:
    BeepPlayer(const QAudioDevice &device, const QAudioFormat &format, QByteArray pcm,
               QObject *parent)
        : QObject(parent)
        , m_pcm(std::move(pcm))
        , m_sink(std::make_unique<QAudioSink>(device, format))
    {
        m_buffer.setData(m_pcm);
        // Deleted at the latest well after the tone should have ended, whatever the sink says.
        const int totalMs = int(format.durationForBytes(qint32(m_pcm.size())) / 1000);
        QTimer::singleShot(totalMs + 3000, this, &QObject::deleteLater);
        connect(m_sink.get(), &QAudioSink::stateChanged, this, &BeepPlayer::onStateChanged);
    }

    ~BeepPlayer() override
    {
        m_sink->disconnect(this);
        m_sink->stop();
    }

    bool start()
    {
        if (!m_buffer.open(QIODevice::ReadOnly))
            return false;
        m_sink->start(&m_buffer);
        return m_sink->error() == QAudio::NoError && m_sink->state() != QAudio::StoppedState;
    }

private:
    void onStateChanged(QAudio::State state)
    {
        if (state == QAudio::StoppedState) {
            deleteLater();
        } else if (state == QAudio::IdleState && !m_draining) {
            // Idle means the sink has taken everything, not that it has played it: what is
            // still in its buffer must sound before the stream is closed.
            m_draining = true;
            const qint64 bufferedMs =
                m_sink->format().durationForBytes(qint32(m_sink->bufferSize())) / 1000;
            QTimer::singleShot(int(bufferedMs) + 150, this, &QObject::deleteLater);
        }
    }

    QByteArray m_pcm;
    QBuffer m_buffer;
    std::unique_ptr<QAudioSink> m_sink; // after m_buffer: stopped before the buffer goes
    bool m_draining = false;
};

void startTone(int frequencyHz, int durationMs)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app || !AudioOutput::devicesWanted())
        return;
    const QAudioDevice device = QMediaDevices::defaultAudioOutput();
    if (device.isNull())
        return;
    const QAudioFormat format = chooseFormat(device);
    if (!format.isValid())
        return;
    auto *player = new BeepPlayer(device, format, renderTone(format, frequencyHz, durationMs), app);
    if (!player->start()) {
        qCDebug(lcBeep) << "beep: the output device did not start";
        delete player;
    }
}

} // namespace

void setBeepHook(BeepHook hook)
{
    QMutexLocker lock(&hookMutex);
    hookSlot() = std::move(hook);
}

void Beep(int frequencyHz, int durationMs)
{
    {
        QMutexLocker lock(&hookMutex);
        if (hookSlot()) {
            const BeepHook hook = hookSlot();
            lock.unlock();
            hook(frequencyHz, durationMs);
            return;
        }
    }
    if (durationMs <= 0 || frequencyHz <= 0)
        return;
    frequencyHz = std::clamp(frequencyHz, MinFrequencyHz, MaxFrequencyHz);
    durationMs = std::min(durationMs, MaxDurationMs);

    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return;
    if (QThread::currentThread() == app->thread())
        startTone(frequencyHz, durationMs);
    else
        QMetaObject::invokeMethod(
            app, [frequencyHz, durationMs] { startTone(frequencyHz, durationMs); },
            Qt::QueuedConnection);
}

} // namespace tonaris
