#include "audio/AudioRecorder.h"

#include "audio/AudioOutput.h"

#include "audio/WavWriter.h"
#include "config/Dialogs.h"

#include <QAudioSink>
#include <QAudioSource>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMediaDevices>
#include <QSaveFile>
#include <QTemporaryFile>
#include <QTimer>

#include <algorithm>

Q_LOGGING_CATEGORY(lcRecorder, "tonaris.audio.recorder", QtWarningMsg)

namespace tonaris {

namespace {

constexpr int FeedMs = 10;
constexpr int SinkBufferMs = 100;

QAudioDevice chosen(const QAudioDevice &wanted, const QAudioDevice &fallback,
                    const QList<QAudioDevice> &all)
{
    if (!wanted.isNull())
        return wanted;
    if (!fallback.isNull())
        return fallback;
    return all.value(0);
}

// The recorded PCM, in memory while it is short and in a temporary file beyond. Read back at any
// offset; recording and reading never overlap.
class Store
{
public:
    bool append(const char *data, qint64 bytes)
    {
        if (!m_file && m_memory.size() + bytes > AudioRecorder::MemoryLimit) {
            m_file = std::make_unique<QTemporaryFile>(QDir::tempPath() +
                                                      QStringLiteral("/tonaris-recording-XXXXXX"));
            if (!m_file->open() || m_file->write(m_memory) != m_memory.size()) {
                qCWarning(lcRecorder) << "cannot spill the recording:" << m_file->errorString();
                m_file.reset();
                return false;
            }
            m_memory.clear();
        }
        if (m_file) {
            if (!m_file->seek(m_size) || m_file->write(data, bytes) != bytes)
                return false;
        } else {
            m_memory.append(data, bytes);
        }
        m_size += bytes;
        return true;
    }
    qint64 read(qint64 offset, char *out, qint64 max)
    {
        const qint64 take = std::clamp<qint64>(m_size - offset, 0, max);
        if (take == 0)
            return 0;
        if (!m_file) {
            std::copy_n(m_memory.constData() + offset, take, out);
            return take;
        }
        if (!m_file->seek(offset))
            return -1;
        return m_file->read(out, take);
    }
    qint64 size() const { return m_size; }
    void clear()
    {
        m_memory.clear();
        m_file.reset();
        m_size = 0;
    }

private:
    QByteArray m_memory;
    std::unique_ptr<QTemporaryFile> m_file;
    qint64 m_size = 0;
};

quint32 nextId = 0;

} // namespace

qint64 AudioRecorder::MemoryLimit = 8 * 1024 * 1024;

struct AudioRecorder::Private
{
    QAudioDevice input;
    QAudioDevice output;
    Store store;
    std::unique_ptr<QAudioSource> source;
    QIODevice *sourceIo = nullptr;
    std::unique_ptr<QAudioSink> sink;
    QIODevice *sinkIo = nullptr;
    QTimer feedTimer;
    qint64 playRead = 0;   // next byte of the recording to hand to the sink
    qint64 written = 0;    // frames handed to the sink, silence included
    qint64 realEnd = 0;    // frames of the sink session that hold the recording's last sound
    qint64 startFrame = 0; // frame of the recording where the playback began
    bool playing = false;
    bool paused = false;
    int positionMs = 0;
};

AudioRecorder::AudioRecorder(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
    d->feedTimer.setInterval(FeedMs);
    connect(&d->feedTimer, &QTimer::timeout, this, &AudioRecorder::feed);
}

AudioRecorder::~AudioRecorder()
{
    if (recordingOpen())
        CloseRecorder();
}

bool AudioRecorder::anyInputDevice()
{
    return AudioOutput::devicesWanted() && !QMediaDevices::audioInputs().isEmpty();
}

PcmFormat AudioRecorder::FormatFromCaption(const QString &caption)
{
    const QStringList words = caption.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.size() != 5)
        return {0, 0, 0};
    bool ok = false;
    int khz = words.at(0).toInt(&ok);
    const int bits = words.at(2).toInt();
    if (!ok || khz <= 0)
        return {0, 0, 0};
    // The list's rates are names: 11, 22 and 44 kHz stand for the CD family of rates.
    const int rate = khz == 11 ? 11025 : khz == 22 ? 22050 : khz == 44 ? 44100 : khz * 1000;
    return {rate, words.at(4).toUpper() == QLatin1String("MONO") ? 1 : 2, bits};
}

int AudioRecorder::GetStatus() const
{
    if (!recordingOpen())
        return NotReady;
    if (d->paused)
        return Paused;
    if (d->source)
        return Recording;
    if (d->playing)
        return Playing;
    return Stopped;
}

qint64 AudioRecorder::recordedBytes() const
{
    return d->store.size();
}

int AudioRecorder::lengthMs() const
{
    const int bpf = m_format.bytesPerFrame();
    if (bpf <= 0 || m_format.sampleRate <= 0)
        return 0;
    return int(d->store.size() / bpf * 1000 / m_format.sampleRate);
}

QString AudioRecorder::GetStatistics()
{
    // Each figure is a query of the open recording; with none open, each tells its failure.
    const bool open = recordingOpen();
    auto failed = [open](const char *message) {
        if (!open)
            Dialogs::instance()->message(nullptr, QLatin1String(message), Dialogs::Information,
                                         QStringLiteral("Tonaris"));
        return !open;
    };
    QString seconds, bytes, channels, bits, rate;
    failed("Setting time format in milliseconds failed!");
    if (!failed("Finding length recording in milliseconds failed!"))
        seconds = QString::number(lengthMs() / 1000.0);
    failed("Setting time format in bytes failed!");
    if (!failed("Finding length recording in bytes failed!"))
        bytes = QString::number(recordedBytes());
    if (!failed("Finding number of channels failed!"))
        channels = m_format.channels == 1   ? QStringLiteral("Mono - ")
                   : m_format.channels == 2 ? QStringLiteral("Stereo - ")
                                            : QString();
    if (!failed("Finding resolution failed!"))
        bits = QString::number(m_format.bitsPerSample);
    if (!failed("Finding sample rate failed!"))
        rate = QString::number(m_format.sampleRate);
    return QStringLiteral("Length recording ") + seconds + QStringLiteral(" s (") + bytes +
           QStringLiteral(" bytes)\r\n") + channels + bits + QStringLiteral(" bits - ") + rate +
           QStringLiteral(" samples per second \r\n\r\n");
}

bool AudioRecorder::OpenRecorder()
{
    if (recordingOpen())
        CloseRecorder();
    m_deviceId = ++nextId == 0 ? ++nextId : nextId;
    m_formatSet = false;
    m_format = {0, 0, 0};
    d->positionMs = 0;
    return true;
}

bool AudioRecorder::CloseRecorder()
{
    if (!recordingOpen())
        return false;
    StopRecord();
    d->store.clear();
    m_deviceId = 0;
    return true;
}

bool AudioRecorder::SetOutputAudioDevice(const QAudioDevice &device)
{
    if (!recordingOpen())
        return false;
    d->output = device;
    return true;
}

bool AudioRecorder::SetInputAudioDevice(const QAudioDevice &device)
{
    if (!recordingOpen())
        return false;
    d->input = device;
    return true;
}

bool AudioRecorder::SetAudioFormat(int bitsPerSample, int samplesPerSecond, int channels)
{
    if (!recordingOpen() || (bitsPerSample != 8 && bitsPerSample != 16) ||
        samplesPerSecond < 1000 || samplesPerSecond > 192000 || channels < 1 || channels > 2)
        return false;
    m_format = {samplesPerSecond, channels, bitsPerSample};
    m_formatSet = true;
    return true;
}

bool AudioRecorder::StartRecord()
{
    if (GetStatus() != Stopped)
        return false;
    const QAudioDevice device =
        chosen(d->input, QMediaDevices::defaultAudioInput(), QMediaDevices::audioInputs());
    if (device.isNull())
        return false;
    if (!m_formatSet) {
        // The device's own rate and channels, in 16 bits.
        const QAudioFormat preferred = device.preferredFormat();
        m_format = {preferred.sampleRate() > 0 ? preferred.sampleRate() : 44100,
                    std::clamp(preferred.channelCount(), 1, 2), 16};
    }
    d->store.clear();
    d->positionMs = 0;
    d->source = std::make_unique<QAudioSource>(device, toQAudioFormat(m_format));
    d->sourceIo = d->source->start();
    if (!d->sourceIo) {
        qCWarning(lcRecorder) << "the microphone cannot be opened:" << d->source->error();
        d->source.reset();
        return false;
    }
    connect(d->sourceIo, &QIODevice::readyRead, this, &AudioRecorder::onReadyRead);
    connect(d->source.get(), &QAudioSource::stateChanged, this, [this](QAudio::State state) {
        if (state == QAudio::StoppedState && d->source && d->source->error() != QAudio::NoError) {
            qCWarning(lcRecorder) << "the microphone failed:" << d->source->error();
            StopRecord();
            emit statusChanged(GetStatus());
        }
    });
    return true;
}

void AudioRecorder::onReadyRead()
{
    if (!d->sourceIo)
        return;
    const QByteArray data = d->sourceIo->readAll();
    const qint64 whole = data.size() - data.size() % std::max(1, m_format.bytesPerFrame());
    if (whole > 0 && !d->store.append(data.constData(), whole))
        qCWarning(lcRecorder) << "the recording cannot be kept: the disk is full";
}

bool AudioRecorder::StopRecord()
{
    if (!recordingOpen())
        return false;
    d->paused = false;
    if (d->source) {
        onReadyRead();
        d->source->disconnect(this);
        d->source->stop();
        d->sourceIo = nullptr;
        d->source.release()->deleteLater(); // this may run inside one of its signals
    }
    if (d->sink) {
        d->positionMs = GetReproducingPosition();
        d->feedTimer.stop();
        d->sink->stop();
        d->sinkIo = nullptr;
        d->sink.reset();
        d->playing = false;
    }
    return true;
}

bool AudioRecorder::SaveRecordedAs(const QString &In_FileName, QString *error)
{
    auto fail = [error](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    if (GetStatus() != Stopped)
        return fail(tr("There is no finished recording to save."));
    const qint64 size = d->store.size();
    if (size > qint64(0xFFFFFFFFu) - WavWriter::HeaderBytes)
        return fail(tr("The recording is too long for a WAV file."));
    QSaveFile file(In_FileName);
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    file.write(WavWriter::header(m_format, quint32(size)));
    QByteArray chunk(1024 * 1024, Qt::Uninitialized);
    for (qint64 at = 0; at < size;) {
        const qint64 got = d->store.read(at, chunk.data(), chunk.size());
        if (got <= 0 || file.write(chunk.constData(), got) != got) {
            file.cancelWriting();
            return fail(file.errorString());
        }
        at += got;
    }
    if (!file.commit())
        return fail(file.errorString());
    return true;
}

bool AudioRecorder::PlayRecorded()
{
    if (GetStatus() != Stopped)
        return false;
    return PlayRecordedFrom(0);
}

bool AudioRecorder::StopPlayRecorded()
{
    if (!d->playing)
        return false;
    return StopRecord();
}

bool AudioRecorder::PlayRecordedFrom(int In_Position)
{
    if (GetStatus() != Stopped || m_format.bytesPerFrame() <= 0)
        return false;
    const QAudioDevice device =
        chosen(d->output, QMediaDevices::defaultAudioOutput(), QMediaDevices::audioOutputs());
    if (device.isNull())
        return false;
    const qint64 frames = d->store.size() / m_format.bytesPerFrame();
    d->startFrame = std::clamp<qint64>(qint64(In_Position) * m_format.sampleRate / 1000, 0, frames);
    d->playRead = d->startFrame * m_format.bytesPerFrame();
    d->written = 0;
    d->realEnd = 0;
    d->sink = std::make_unique<QAudioSink>(device, toQAudioFormat(m_format));
    d->sink->setBufferSize(m_format.sampleRate * SinkBufferMs / 1000 * m_format.bytesPerFrame());
    d->sinkIo = d->sink->start();
    if (!d->sinkIo) {
        d->sink.reset();
        return false;
    }
    d->playing = true;
    d->feedTimer.start();
    feed();
    return true;
}

qint64 AudioRecorder::playedFrames() const
{
    if (!d->sink)
        return 0;
    const qint64 played = d->sink->processedUSecs() * m_format.sampleRate / 1000000;
    // What the server has not asked for yet cannot have been heard.
    const qint64 unread =
        (d->sink->bufferSize() - d->sink->bytesFree()) / std::max(1, m_format.bytesPerFrame());
    return std::min(played, d->written - std::max<qint64>(0, unread));
}

void AudioRecorder::feed()
{
    if (!d->sink || d->paused)
        return;
    if (d->sink->error() == QAudio::FatalError || d->sink->error() == QAudio::IOError) {
        endPlayback();
        return;
    }
    const int bpf = m_format.bytesPerFrame();
    qint64 room = d->sink->bytesFree() / bpf * bpf;
    QByteArray chunk;
    while (room > 0 && d->playRead < d->store.size()) {
        chunk.resize(std::min<qint64>(room, 64 * 1024));
        const qint64 got = d->store.read(d->playRead, chunk.data(), chunk.size());
        if (got <= 0)
            break;
        const qint64 done = d->sinkIo->write(chunk.constData(), got);
        if (done <= 0)
            break;
        d->playRead += done;
        d->written += done / bpf;
        d->realEnd = d->written;
        room -= done;
    }
    if (d->playRead < d->store.size())
        return;
    // The server plays only a full buffer and stops on an empty one: pad with silence until the
    // last frame of the recording has been heard.
    if (playedFrames() >= d->realEnd) {
        endPlayback();
        return;
    }
    if (room > 0) {
        const QByteArray silence(room, m_format.bitsPerSample == 8 ? char(0x80) : char(0));
        d->written += std::max<qint64>(0, d->sinkIo->write(silence)) / bpf;
    }
}

// The playback reached the end of the recording, or the device failed.
void AudioRecorder::endPlayback()
{
    StopRecord();
    d->positionMs = lengthMs();
    emit statusChanged(GetStatus());
}

int AudioRecorder::GetReproducingPosition() const
{
    if (!recordingOpen() || m_format.sampleRate <= 0)
        return 0;
    if (!d->playing)
        return d->positionMs;
    const qint64 frame = d->startFrame + std::min(playedFrames(), d->realEnd);
    return int(frame * 1000 / m_format.sampleRate);
}

bool AudioRecorder::PauseRecord()
{
    if (GetStatus() == Recording)
        d->source->suspend();
    else if (GetStatus() == Playing)
        d->sink->suspend();
    else
        return false;
    d->paused = true;
    return true;
}

bool AudioRecorder::ResumeRecord()
{
    if (GetStatus() != Paused)
        return false;
    d->paused = false;
    if (d->source)
        d->source->resume();
    else if (d->sink)
        d->sink->resume();
    return true;
}

} // namespace tonaris
