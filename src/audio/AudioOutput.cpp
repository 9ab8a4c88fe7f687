#include "audio/AudioOutput.h"

#include "audio/AudioLevel.h"
#include "audio/PcmConverter.h"

#include <QAudioSink>
#include <QLoggingCategory>
#include <QMediaDevices>
#include <QMutex>
#include <QPointer>
#include <QTimer>

#include <atomic>
#include <cmath>
#include <deque>

Q_LOGGING_CATEGORY(lcAudioOutput, "tonaris.audio.output", QtWarningMsg)

#include <cstdio>
#include <cstdlib>

namespace tonaris {

namespace {
// The sink's buffer: small for a quick start and a quick stop, large enough to ride out a
// busy event loop on a loaded machine (the server grants less than asked: 60 ms for 80).
constexpr int BufferMs = 100;
constexpr int TickMs = 10;
constexpr int LevelSliceMs = 20;

struct Chunk
{
    QByteArray bytes; // device format
    PcmFormat format;
    qsizetype offset = 0;
};

// Positions count device frames: Queued ones over everything ever queued, Scheduled ones
// within the current sink session (what processedUSecs() measures).
struct PositionedMarker
{
    qint64 position;
    AudioMarker marker;
};

struct PositionedLevel
{
    qint64 position;
    int level;
};

} // namespace

QAudioFormat toQAudioFormat(const PcmFormat &f)
{
    QAudioFormat q;
    q.setSampleRate(f.sampleRate);
    q.setChannelCount(f.channels);
    q.setSampleFormat(f.bitsPerSample == 8 ? QAudioFormat::UInt8 : QAudioFormat::Int16);
    return q;
}

struct AudioOutput::Private
{
    // Shared with write(), guarded by mutex.
    QMutex mutex;
    std::deque<Chunk> queue;
    std::deque<PositionedMarker> queuedMarkers;
    qint64 queueEnd = 0;
    quint64 generation = 1;
    PcmFormat format = EnginePcmFormat;
    std::atomic<bool> noDevice{false};
    std::atomic<bool> feedPosted{false};
    std::atomic<int> markersInFlight{0};

    // Serialises writers around the converter.
    QMutex convertMutex;
    std::unique_ptr<PcmConverter> converter;

    // Owner thread only.
    QAudioDevice device;
    QAudioSink *sink = nullptr;
    QIODevice *io = nullptr;
    PcmFormat sinkFormat;
    qint64 queueRead = 0; // queued frames taken so far
    qint64 offset = 0;    // session position = queue position + offset
    qint64 written = 0;   // frames written to the sink in this session, silence included
    qint64 realEnd = 0;   // session position after the last queued frame written
    std::deque<PositionedMarker> scheduled;
    std::deque<PositionedLevel> levels;
    QTimer tick;
    bool paused = false;
    bool destroying = false;
    bool levelShown = false;
    // Watches the device list once devices are wanted: a sound server that went away and came
    // back makes the list change, and speech may sound again without a restart.
    QMediaDevices *devices = nullptr;
};

AudioOutput::AudioOutput(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
    qRegisterMetaType<AudioMarker>();
    d->converter = std::make_unique<PcmConverter>(EnginePcmFormat, EnginePcmFormat);
    d->noDevice = !anyOutputDevice();
    if (devicesWanted()) {
        d->devices = new QMediaDevices(this);
        connect(d->devices, &QMediaDevices::audioOutputsChanged, this, [this] {
            if (!d->sink)
                d->noDevice = !anyOutputDevice();
        });
    }
    d->tick.setInterval(TickMs);
    d->tick.setTimerType(Qt::PreciseTimer);
    connect(&d->tick, &QTimer::timeout, this, [this] { onTick(); });
}

AudioOutput::~AudioOutput()
{
    d->destroying = true;
    d->tick.stop();
    if (d->sink) {
        d->sink->stop();
        delete d->sink; // its destructor runs the event loop once, hence the flag above
    }
}

namespace {
std::atomic<bool> wantDevices{true};
} // namespace

void AudioOutput::setDevicesWanted(bool wanted)
{
    wantDevices = wanted;
}

bool AudioOutput::devicesWanted()
{
    return wantDevices;
}

bool AudioOutput::anyOutputDevice()
{
    return wantDevices && !QMediaDevices::audioOutputs().isEmpty();
}

bool AudioOutput::setDevice(const QAudioDevice &device)
{
    d->device = device;
    d->noDevice = !anyOutputDevice();
    return !d->noDevice;
}

QAudioDevice AudioOutput::device() const
{
    return d->device;
}

void AudioOutput::setFormat(const PcmFormat &format)
{
    if (!PcmConverter::isSupported(format))
        return;
    QMutexLocker converterLock(&d->convertMutex);
    QMutexLocker lock(&d->mutex);
    d->format = format;
    d->converter = std::make_unique<PcmConverter>(EnginePcmFormat, format);
}

PcmFormat AudioOutput::format() const
{
    QMutexLocker lock(&d->mutex);
    return d->format;
}

quint64 AudioOutput::generation() const
{
    QMutexLocker lock(&d->mutex);
    return d->generation;
}

void AudioOutput::write(quint64 generation, const qint16 *samples, qsizetype count,
                        const QList<AudioMarker> &markers)
{
    if (count < 0 || (count > 0 && !samples))
        return;
    if (d->noDevice) {
        // Nothing can sound: keep the caller's events flowing in order, one turn later.
        if (markers.isEmpty())
            return;
        d->markersInFlight += int(markers.size());
        QMetaObject::invokeMethod(
            this,
            [this, generation, markers] {
                d->markersInFlight -= int(markers.size());
                if (generation < this->generation())
                    return;
                for (const AudioMarker &m : markers)
                    emit markerReached(m);
            },
            Qt::QueuedConnection);
        return;
    }

    QMutexLocker converterLock(&d->convertMutex);
    PcmFormat target;
    {
        QMutexLocker lock(&d->mutex);
        if (generation < d->generation)
            return;
        target = d->format;
    }
    QByteArray bytes;
    d->converter->convert(reinterpret_cast<const char *>(samples),
                          count * qsizetype(sizeof(qint16)), bytes);
    const bool endOfStream = std::any_of(markers.begin(), markers.end(), [](const AudioMarker &m) {
        return m.kind == AudioMarker::EndStream;
    });
    if (endOfStream)
        d->converter->flush(bytes);
    const qint64 frames = bytes.size() / target.bytesPerFrame();
    const double ratio = double(target.sampleRate) / EnginePcmFormat.sampleRate;
    {
        QMutexLocker lock(&d->mutex);
        if (generation < d->generation)
            return;
        const qint64 start = d->queueEnd;
        for (const AudioMarker &m : markers) {
            const qint64 at = std::llround(double(qBound<qint64>(0, m.sample, count)) * ratio);
            d->queuedMarkers.push_back({start + qMin(at, frames), m});
        }
        if (frames > 0) {
            d->queue.push_back({std::move(bytes), target, 0});
            d->queueEnd += frames;
        }
    }
    if (!d->feedPosted.exchange(true))
        QMetaObject::invokeMethod(
            this, [this] { feed(); }, Qt::QueuedConnection);
}

void AudioOutput::pause()
{
    if (d->paused)
        return;
    d->paused = true;
    if (d->sink)
        d->sink->suspend();
    emit audioLevel(0);
}

void AudioOutput::resume()
{
    if (!d->paused)
        return;
    d->paused = false;
    if (d->sink && d->sink->state() == QAudio::SuspendedState)
        d->sink->resume();
    feed();
}

bool AudioOutput::isPaused() const
{
    return d->paused;
}

quint64 AudioOutput::purge()
{
    quint64 generation;
    {
        QMutexLocker converterLock(&d->convertMutex);
        QMutexLocker lock(&d->mutex);
        generation = ++d->generation;
        d->queue.clear();
        d->queuedMarkers.clear();
        d->queueRead = d->queueEnd;
        d->converter->reset();
    }
    d->scheduled.clear();
    d->levels.clear();
    endSession();
    // A device lost earlier may be back: the next speech looks again rather than stay silent.
    if (d->noDevice)
        d->noDevice = !anyOutputDevice();
    emit audioLevel(0);
    return generation;
}

bool AudioOutput::isIdle() const
{
    QMutexLocker lock(&d->mutex);
    return d->queue.empty() && d->queuedMarkers.empty() && !d->sink && d->scheduled.empty() &&
           d->markersInFlight == 0;
}

bool AudioOutput::startSession(const PcmFormat &format)
{
    const QAudioDevice device =
        d->device.isNull() ? QMediaDevices::defaultAudioOutput() : d->device;
    if (device.isNull()) {
        deviceFailed(tr("No audio output device is available."));
        return false;
    }
    auto *sink = new QAudioSink(device, toQAudioFormat(format));
    sink->setBufferSize(format.sampleRate * format.bytesPerFrame() * BufferMs / 1000);
    QIODevice *io = sink->start();
    if (!io) {
        qCWarning(lcAudioOutput) << "cannot start the audio output:" << sink->error();
        delete sink;
        deviceFailed(tr("The audio output device cannot be opened."));
        return false;
    }
    d->sink = sink;
    d->io = io;
    d->sinkFormat = format;
    d->offset = -d->queueRead;
    d->written = 0;
    d->realEnd = 0;
    d->tick.start();
    return true;
}

void AudioOutput::endSession()
{
    if (!d->sink)
        return;
    QAudioSink *sink = std::exchange(d->sink, nullptr);
    d->io = nullptr;
    sink->stop();
    sink->deleteLater();
    d->tick.stop();
}

void AudioOutput::deviceFailed(const QString &message)
{
    // Without a device every marker is raised now, in order, so that nobody waits for sound.
    endSession();
    d->noDevice = true;
    std::deque<PositionedMarker> pending;
    {
        QMutexLocker lock(&d->mutex);
        d->queue.clear();
        d->queueRead = d->queueEnd;
        pending.swap(d->queuedMarkers);
    }
    std::deque<PositionedMarker> due;
    due.swap(d->scheduled);
    d->levels.clear();
    emit failed(message);
    for (const auto &m : due)
        emit markerReached(m.marker);
    for (const auto &m : pending)
        emit markerReached(m.marker);
}

qint64 AudioOutput::playedFrames() const
{
    if (!d->sink)
        return 0;
    const qint64 rate = d->sinkFormat.sampleRate;
    qint64 played = d->sink->processedUSecs() * rate / 1000000;
    if (!d->paused) {
        // processedUSecs() extrapolates from the server's last timing report, which is stale
        // right after a resume; what the server has not yet asked for cannot have been heard.
        const int bpf = d->sinkFormat.bytesPerFrame();
        const qint64 unread = (d->sink->bufferSize() - d->sink->bytesFree()) / bpf;
        played = qMin(played, d->written - qMax<qint64>(0, unread));
    }
    return played;
}

void AudioOutput::feed()
{
    d->feedPosted = false;
    if (d->paused || d->destroying || d->noDevice)
        return;
    if (!d->sink) {
        PcmFormat next;
        {
            QMutexLocker lock(&d->mutex);
            // Markers with no audio ahead of them and nothing sounding are due now.
            while (d->queue.empty() && !d->queuedMarkers.empty() &&
                   d->queuedMarkers.front().position <= d->queueRead) {
                const AudioMarker m = d->queuedMarkers.front().marker;
                d->queuedMarkers.pop_front();
                lock.unlock();
                emit markerReached(m);
                lock.relock();
            }
            if (d->queue.empty())
                return;
            next = d->queue.front().format;
        }
        if (!startSession(next))
            return;
    }

    const int bpf = d->sinkFormat.bytesPerFrame();
    const qint64 sliceFrames = qMax(1, d->sinkFormat.sampleRate * LevelSliceMs / 1000);
    qint64 room = d->sink->bytesFree() / bpf;
    {
        QMutexLocker lock(&d->mutex);
        while (room > 0 && !d->queue.empty() && d->queue.front().format == d->sinkFormat) {
            Chunk &chunk = d->queue.front();
            const qint64 left = (chunk.bytes.size() - chunk.offset) / bpf;
            const qint64 take = qMin(qMin(left, room), sliceFrames);
            const char *data = chunk.bytes.constData() + chunk.offset;
            const qint64 done = d->io->write(data, take * bpf) / bpf;
            if (done <= 0)
                break;
            d->levels.push_back({d->written + done, AudioLevelOf(data, done, d->sinkFormat)});
            chunk.offset += done * bpf;
            d->written += done;
            d->queueRead += done;
            d->realEnd = d->written;
            room -= done;
            if (chunk.offset >= chunk.bytes.size())
                d->queue.pop_front();
        }
        while (!d->queuedMarkers.empty() && d->queuedMarkers.front().position <= d->queueRead) {
            const qint64 at = qMin(d->queuedMarkers.front().position + d->offset, d->realEnd);
            d->scheduled.push_back({at, d->queuedMarkers.front().marker});
            d->queuedMarkers.pop_front();
        }
    }
    // The server starts playing only once its buffer is full, and stops on an empty one: pad
    // with silence until the last real frame has been heard.
    if (room > 0 && playedFrames() <= d->realEnd) {
        QByteArray silence(room * bpf, d->sinkFormat.bitsPerSample == 8 ? char(0x80) : char(0));
        const qint64 done = d->io->write(silence) / bpf;
        d->written += qMax<qint64>(0, done);
        d->offset += qMax<qint64>(0, done);
    }
}

void AudioOutput::onTick()
{
    if (!d->sink || d->destroying)
        return;
    if (d->sink->error() == QAudio::FatalError || d->sink->error() == QAudio::IOError) {
        deviceFailed(tr("The audio output device failed."));
        return;
    }
    if (d->paused)
        return;
    const qint64 played = playedFrames();
    // A marker is due once its sample has begun to sound, hence the strict comparison.
    while (!d->scheduled.empty() && d->scheduled.front().position < played) {
        const AudioMarker m = d->scheduled.front().marker;
        d->scheduled.pop_front();
        emit markerReached(m);
        if (!d->sink)
            return; // a handler purged
    }
    int level = -1;
    while (!d->levels.empty() && d->levels.front().position <= played) {
        level = d->levels.front().level;
        d->levels.pop_front();
    }
    if (level >= 0) {
        d->levelShown = true;
        emit audioLevel(level);
    }
    feed();
    if (!d->sink)
        return;
    bool drained;
    {
        QMutexLocker lock(&d->mutex);
        drained = d->queuedMarkers.empty() &&
                  (d->queue.empty() || d->queue.front().format != d->sinkFormat);
    }
    if (drained && d->scheduled.empty() && played > d->realEnd) {
        if (d->levelShown)
            emit audioLevel(0);
        d->levelShown = false;
        d->levels.clear();
        endSession();
        feed(); // a queue in another format starts its own session
    }
}

void ExitWithoutAudioTeardown(int status)
{
    std::fflush(nullptr);
    std::_Exit(status);
}

} // namespace tonaris
