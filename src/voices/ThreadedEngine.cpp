#include "voices/ThreadedEngine.h"

#include "audio/AudioOutput.h"
#include "audio/PcmConverter.h"
#include "audio/WavReader.h"
#include "audio/WavWriter.h"
#include "voices/RenderFarm.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTimer>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

Q_LOGGING_CATEGORY(lcEngine, "tonaris.voices.engine", QtWarningMsg)

namespace tonaris {

namespace {

struct RenderItem
{
    SpeechSegment segment;
    ThreadedEngine::RenderParams params;
};

struct Job
{
    int stream = 0;
    quint64 generation = 0;
    QList<RenderItem> items;
    QList<qint16> pcm;     // a sound file's samples, for SpeakStream
    bool dropFarm = false; // not a job: the render helpers of the file that closed go
};

// "Name=Alex;Gender=Female" as key/value pairs; keys lower-cased.
QList<QPair<QString, QString>> voiceAttributes(const QString &attributes)
{
    QList<QPair<QString, QString>> out;
    for (const QString &part : attributes.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const qsizetype eq = part.indexOf(QLatin1Char('='));
        if (eq <= 0)
            continue;
        out.append({part.left(eq).trimmed().toLower(), part.mid(eq + 1).trimmed()});
    }
    return out;
}

bool voiceMatches(const VoiceInfo &voice, const QString &key, const QString &value)
{
    if (key == QLatin1String("name"))
        return voice.name.compare(value, Qt::CaseInsensitive) == 0 ||
               voice.id.compare(value, Qt::CaseInsensitive) == 0;
    if (key == QLatin1String("gender"))
        return voice.gender.compare(value, Qt::CaseInsensitive) == 0;
    if (key == QLatin1String("language")) {
        const QStringList codes = value.split(QLatin1Char(';'));
        return std::any_of(codes.begin(), codes.end(), [&](const QString &c) {
            return c.trimmed().compare(voice.language, Qt::CaseInsensitive) == 0;
        });
    }
    if (key == QLatin1String("vendor"))
        return voice.vendor.compare(value, Qt::CaseInsensitive) == 0;
    return false;
}

} // namespace

struct ThreadedEngine::Private
{
    ThreadedEngine *q = nullptr;
    AudioOutput *output = nullptr;

    // User-interface thread only.
    int volume = 100;
    int rate = 0;
    int formatCode = 22; // 22 kHz 16 bit mono, the engine's own format
    QString voiceId;
    TagState persisted;
    int nextStream = 1;
    mutable QList<VoiceInfo> voices;
    mutable bool voicesListed = false;

    // Shared with the worker.
    std::mutex mutex;
    std::condition_variable wake;
    std::condition_variable idle;
    std::deque<Job> queue;
    bool busy = false;
    bool quitting = false;
    std::atomic<quint64> generation{0};
    std::thread worker;

    // The file being rendered into. Set and cleared only while the worker is idle, used by the
    // worker while it renders: the queue's lock orders the two.
    std::unique_ptr<WavWriter> file;
    std::unique_ptr<PcmConverter> fileConverter;
    QByteArray fileBuffer;
    std::atomic<qint64> fileBytes{0};
    // Render helpers for the file, started with its first piece; worker thread only, but for
    // farmWorkers, set with the file.
    int farmWorkers = 0;
    QString farmFolder;
    std::unique_ptr<RenderFarm> farm;
    bool farmFailed = false;
    quint64 farmGeneration = 0;

    void run();
    void feedFarm(const Job &current);
    void renderText(const Job &job, int index, ThreadedEngine::RenderSink &sink);
    void waitIdle();
    void render(Job &job);
    int enqueue(Job job, bool wait);
    QString resolveVoice(const TagState &state) const;
};

namespace {

// Collects a back end's output for one job and passes it on with its markers.
class JobSink final : public ThreadedEngine::RenderSink
{
public:
    JobSink(AudioOutput *output, const Job &job, const std::atomic<quint64> &generation)
        : m_output(output)
        , m_job(job)
        , m_generation(generation)
    {}

    // Rendering into a file: the samples go there, converted, and markers are dropped.
    void toFile(WavWriter *file, PcmConverter *converter, QByteArray *buffer,
                std::atomic<qint64> *bytes)
    {
        m_file = file;
        m_converter = converter;
        m_buffer = buffer;
        m_fileBytes = bytes;
    }

    void beginPiece(const SpeechSegment *segment)
    {
        m_segment = segment;
        m_pieceStart = m_written;
    }

    bool pcm(const qint16 *samples, qsizetype count) override
    {
        if (cancelled())
            return false;
        if (m_file) {
            m_buffer->clear();
            m_converter->convert(reinterpret_cast<const char *>(samples), count * 2, *m_buffer);
            if (!m_file->write(m_buffer->constData(), m_buffer->size())) {
                m_fileBytes->store(-1);
                return false; // a full disk: rendering on is of no use
            }
            m_written += count;
            return !cancelled();
        }
        QList<AudioMarker> markers;
        const qint64 end = m_written + count;
        while (!m_pending.isEmpty() && m_pending.first().sample < end) {
            AudioMarker m = m_pending.takeFirst();
            m.sample = std::max<qint64>(0, m.sample - m_written);
            markers.append(m);
        }
        m_output->write(m_job.generation, samples, count, markers);
        m_written = end;
        return !cancelled();
    }

    void word(int textIndex, int length, qint64 sampleOffset) override
    {
        if (!m_segment || textIndex < 0 || textIndex >= m_segment->sourcePos.size())
            return;
        const QList<int> &pos = m_segment->sourcePos;
        const int last = std::clamp(textIndex + std::max(length, 1) - 1, textIndex,
                                    static_cast<int>(pos.size()) - 1);
        AudioMarker m;
        m.kind = AudioMarker::Word;
        m.sample = m_pieceStart + std::max<qint64>(0, sampleOffset);
        m.streamNumber = m_job.stream;
        m.charPosition = pos[textIndex];
        m.length = pos[last] + 1 - pos[textIndex];
        queueMarker(m);
    }

    bool cancelled() const override { return m_generation.load() != m_job.generation; }

    void marker(AudioMarker::Kind kind, const QString &bookmark = QString())
    {
        if (m_file)
            return;
        AudioMarker m;
        m.kind = kind;
        m.sample = m_written;
        m.streamNumber = m_job.stream;
        m.bookmark = bookmark;
        queueMarker(m);
    }

    void flush()
    {
        if (m_file) {
            // A reader of the growing file (the encoder) sees each piece once it is rendered.
            m_buffer->clear();
            m_converter->flush(*m_buffer);
            m_file->write(m_buffer->constData(), m_buffer->size());
            m_fileBytes->store(m_file->flush() ? m_file->dataBytes() : -1);
            return;
        }
        QList<AudioMarker> markers;
        for (AudioMarker m : std::as_const(m_pending)) {
            m.sample = 0;
            markers.append(m);
        }
        m_pending.clear();
        if (!markers.isEmpty() && !cancelled())
            m_output->write(m_job.generation, nullptr, 0, markers);
    }

private:
    void queueMarker(const AudioMarker &m)
    {
        // Word events may come before or after the samples they belong to; keep them sorted.
        auto at =
            std::upper_bound(m_pending.begin(), m_pending.end(), m.sample,
                             [](qint64 s, const AudioMarker &other) { return s < other.sample; });
        m_pending.insert(at, m);
    }

    AudioOutput *m_output;
    const Job &m_job;
    const std::atomic<quint64> &m_generation;
    const SpeechSegment *m_segment = nullptr;
    WavWriter *m_file = nullptr;
    PcmConverter *m_converter = nullptr;
    QByteArray *m_buffer = nullptr;
    std::atomic<qint64> *m_fileBytes = nullptr;
    qint64 m_written = 0;
    qint64 m_pieceStart = 0;
    QList<AudioMarker> m_pending;
};

} // namespace

void ThreadedEngine::Private::run()
{
    for (;;) {
        Job job;
        {
            std::unique_lock lock(mutex);
            wake.wait(lock, [this] { return quitting || !queue.empty(); });
            if (quitting) {
                lock.unlock();
                farm.reset();
                return;
            }
            job = std::move(queue.front());
            queue.pop_front();
            busy = true;
        }
        idle.notify_all(); // room in the queue
        if (job.dropFarm) {
            farm.reset();
            farmFailed = false;
        } else {
            render(job);
        }
        {
            std::lock_guard lock(mutex);
            busy = false;
        }
        idle.notify_all();
    }
}

void ThreadedEngine::Private::waitIdle()
{
    std::unique_lock lock(mutex);
    idle.wait(lock, [this] { return quitting || (!busy && queue.empty()); });
}

void ThreadedEngine::Private::render(Job &job)
{
    JobSink sink(output, job, generation);
    const qint64 startBytes = file ? file->dataBytes() : 0;
    if (file)
        sink.toFile(file.get(), fileConverter.get(), &fileBuffer, &fileBytes);
    // What the helpers had of a purge is of no use.
    if (farm && farmGeneration != job.generation)
        farm.reset();
    if (file && farmWorkers > 0 && !farm && !farmFailed) {
        farm = std::make_unique<RenderFarm>(farmWorkers, farmFolder);
        farmGeneration = job.generation;
    }
    if (farm)
        feedFarm(job);
    sink.marker(AudioMarker::StartStream);
    if (!job.pcm.isEmpty()) {
        sink.beginPiece(nullptr);
        constexpr qsizetype Block = 2205; // 100 ms, so a purge takes effect promptly
        for (qsizetype at = 0; at < job.pcm.size(); at += Block) {
            if (!sink.pcm(job.pcm.constData() + at, std::min(Block, job.pcm.size() - at)))
                break;
        }
    }
    for (int i = 0; i < job.items.size(); ++i) {
        if (sink.cancelled())
            break;
        const SpeechSegment &seg = job.items.at(i).segment;
        sink.beginPiece(&seg);
        switch (seg.kind) {
        case SpeechSegment::Text:
            renderText(job, i, sink);
            break;
        case SpeechSegment::Silence: {
            const QList<qint16> silence(
                static_cast<qsizetype>(seg.silenceMs) * EnginePcmFormat.sampleRate / 1000, 0);
            if (!silence.isEmpty())
                sink.pcm(silence.constData(), silence.size());
            break;
        }
        case SpeechSegment::Bookmark:
            sink.marker(AudioMarker::Bookmark, seg.bookmark);
            break;
        }
    }
    sink.marker(AudioMarker::EndStream);
    sink.flush();
    if (file && !sink.cancelled())
        emit q->OutputWritten(job.stream, startBytes, file->dataBytes());
}

// A piece of text rendered here or, when a helper has it, taken from the helper.
void ThreadedEngine::Private::renderText(const Job &job, int index, RenderSink &sink)
{
    const RenderItem &item = job.items.at(index);
    const RenderFarm::Key key{job.stream, index};
    if (farm && !farm->isPending(key))
        feedFarm(job);
    if (farm) {
        QList<qint16> samples;
        if (farm->isPending(key) && farm->take(samples, [&sink] { return sink.cancelled(); })) {
            feedFarm(job);
            sink.pcm(samples.constData(), samples.size());
            return;
        }
        // Cancelled, or the helpers failed: the pieces handed over are lost either way.
        farm.reset();
        if (sink.cancelled())
            return;
        farmFailed = true;
        qCWarning(lcEngine) << "rendering on in this process only";
    }
    if (!q->renderText(item.segment.text, item.params, sink) && !sink.cancelled())
        qCWarning(lcEngine) << "the engine failed on" << item.segment.text.left(40);
}

// Hands the helpers the pieces of text that follow, of this job and of those queued, as far as
// they have room.
void ThreadedEngine::Private::feedFarm(const Job &current)
{
    struct Piece
    {
        RenderFarm::Key key;
        QString text;
        RenderParams params;
    };
    std::vector<Piece> wanted;
    qint64 room = farm->roomInChars();
    const auto collect = [&](const Job &j) {
        for (int i = 0; i < j.items.size() && room > 0; ++i) {
            const RenderItem &item = j.items.at(i);
            const RenderFarm::Key key{j.stream, i};
            if (item.segment.kind != SpeechSegment::Text || !farm->isAfterLastSubmitted(key))
                continue;
            wanted.push_back({key, item.segment.text, item.params});
            room -= std::max<qint64>(1, item.segment.text.size());
        }
    };
    if (current.generation == generation)
        collect(current);
    {
        std::lock_guard lock(mutex);
        for (const Job &j : queue) {
            if (room <= 0 || j.dropFarm)
                break;
            if (j.pcm.isEmpty() && j.generation == generation)
                collect(j);
        }
    }
    for (const Piece &p : wanted)
        if (farm->submit(p.key, p.text, p.params) != RenderFarm::Taken)
            break;
}

// Hands a job to the worker. A synchronous call waits with the event loop running, so that
// events and the window stay served meanwhile.
int ThreadedEngine::Private::enqueue(Job job, bool wait)
{
    const int stream = job.stream;
    {
        std::lock_guard lock(mutex);
        queue.push_back(std::move(job));
    }
    wake.notify_one();
    if (wait) {
        QEventLoop loop;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
            if (q->RunningState() == SRSEDone)
                loop.quit();
        });
        poll.start(5);
        loop.exec();
    }
    return stream;
}

QString ThreadedEngine::Private::resolveVoice(const TagState &state) const
{
    const QString current = q->CurrentVoiceId();
    if (state.voiceRequired.isEmpty() && state.voiceOptional.isEmpty())
        return current;
    const auto required = voiceAttributes(state.voiceRequired);
    const auto optional = voiceAttributes(state.voiceOptional);
    const QList<VoiceInfo> all = q->GetVoices();
    int bestScore = -1;
    QString best = current;
    for (const VoiceInfo &v : all) {
        const bool ok = std::all_of(required.begin(), required.end(), [&](const auto &a) {
            return voiceMatches(v, a.first, a.second);
        });
        if (!ok)
            continue;
        const int score =
            static_cast<int>(std::count_if(optional.begin(), optional.end(), [&](const auto &a) {
                return voiceMatches(v, a.first, a.second);
            }));
        // The voice in use wins a tie, so an unrestrictive tag does not switch voices.
        if (score > bestScore || (score == bestScore && v.id == current)) {
            bestScore = score;
            best = v.id;
        }
    }
    return best;
}

ThreadedEngine::ThreadedEngine(QObject *parent)
    : SpeechEngine(parent)
    , d(std::make_unique<Private>())
{
    d->q = this;
    d->output = new AudioOutput(this);
    d->output->setDevice(QAudioDevice());
    d->generation = d->output->generation();
    connect(d->output, &AudioOutput::markerReached, this, [this](const AudioMarker &m) {
        switch (m.kind) {
        case AudioMarker::Word:
            emit Word(m.streamNumber, m.sample, m.charPosition, m.length);
            break;
        case AudioMarker::StartStream:
            emit StartStream(m.streamNumber, m.sample);
            break;
        case AudioMarker::EndStream:
            emit EndStream(m.streamNumber, m.sample);
            break;
        case AudioMarker::Bookmark:
            break;
        }
    });
    connect(d->output, &AudioOutput::audioLevel, this,
            [this](int level) { emit AudioLevel(d->nextStream - 1, 0, level); });
}

ThreadedEngine::~ThreadedEngine()
{
    stopWorker();
}

void ThreadedEngine::startWorker()
{
    if (!d->worker.joinable())
        d->worker = std::thread([this] { d->run(); });
}

void ThreadedEngine::stopWorker()
{
    if (!d->worker.joinable())
        return;
    {
        std::lock_guard lock(d->mutex);
        d->quitting = true;
        d->queue.clear();
    }
    d->generation = d->output->purge();
    d->wake.notify_all();
    d->idle.notify_all();
    d->worker.join();
    if (d->file)
        d->file->close();
}

AudioOutput *ThreadedEngine::output() const
{
    return d->output;
}

int ThreadedEngine::Speak(const QString &text, int flags)
{
    if (flags & SVSFPurgeBeforeSpeak) {
        std::lock_guard lock(d->mutex);
        d->queue.clear();
        d->generation = d->output->purge();
    }
    const TagParseResult parsed = (flags & SVSFIsXML) ? InterpretTags(text, d->persisted)
                                                      : PlainTextSegments(text, d->persisted);
    if (flags & SVSFPersistXML)
        d->persisted = parsed.finalState;

    Job job;
    job.stream = d->nextStream++;
    job.generation = d->generation;
    for (const SpeechSegment &seg : parsed.segments) {
        if (seg.kind == SpeechSegment::Text && seg.text.trimmed().isEmpty())
            continue;
        RenderParams p;
        p.voiceId = d->resolveVoice(seg.state);
        p.volume = d->volume * seg.state.volume / 100;
        p.rate = std::clamp(d->rate + seg.state.rate, -10, 10);
        p.pitch = seg.state.pitch;
        p.spell = seg.state.spell;
        p.emphasis = seg.state.emphasis > 0;
        job.items.append({seg, p});
    }
    // Text that only sets state (as the reset of tags does) needs no trip through the worker.
    if (job.items.isEmpty() && RunningState() == SRSEDone)
        return job.stream;
    return d->enqueue(std::move(job), !(flags & SVSFlagsAsync));
}

int ThreadedEngine::SpeakStream(const QString &wavPath, int flags)
{
    Job job;
    QString error;
    if (!ReadWavAsEnginePcm(wavPath, job.pcm, &error)) {
        qCWarning(lcEngine) << "cannot play" << wavPath << error;
        return 0;
    }
    job.stream = d->nextStream++;
    job.generation = d->generation;
    return d->enqueue(std::move(job), !(flags & SVSFlagsAsync));
}

void ThreadedEngine::Pause()
{
    d->output->pause();
}

void ThreadedEngine::Resume()
{
    d->output->resume();
}

int ThreadedEngine::RunningState() const
{
    {
        std::lock_guard lock(d->mutex);
        if (d->busy || !d->queue.empty())
            return SRSEIsSpeaking;
    }
    return d->output->isIdle() ? SRSEDone : SRSEIsSpeaking;
}

int ThreadedEngine::Volume() const
{
    return d->volume;
}

void ThreadedEngine::SetVolume(int volume)
{
    d->volume = std::clamp(volume, 0, 100);
}

int ThreadedEngine::Rate() const
{
    return d->rate;
}

void ThreadedEngine::SetRate(int rate)
{
    d->rate = std::clamp(rate, -10, 10);
}

QList<VoiceInfo> ThreadedEngine::GetVoices() const
{
    if (!d->voicesListed) {
        d->voices = listVoices();
        d->voicesListed = true;
    }
    return d->voices;
}

QString ThreadedEngine::CurrentVoiceId() const
{
    return d->voiceId.isEmpty() ? defaultVoiceId() : d->voiceId;
}

bool ThreadedEngine::SetVoiceById(const QString &id)
{
    const QList<VoiceInfo> all = GetVoices();
    if (std::none_of(all.begin(), all.end(), [&](const VoiceInfo &v) { return v.id == id; }))
        return false;
    d->voiceId = id;
    return true;
}

int ThreadedEngine::AudioFormatType() const
{
    return d->formatCode;
}

void ThreadedEngine::SetAudioFormatType(int code)
{
    PcmFormat format;
    if (!PcmFormatFromCode(code, format))
        return;
    d->formatCode = code;
    d->output->setFormat(format);
}

bool ThreadedEngine::HasAudioOutput() const
{
    return AudioOutput::anyOutputDevice();
}

bool ThreadedEngine::OpenOutputFile(const QString &path, QString *error)
{
    QString closeError;
    CloseOutputFile(&closeError);
    PcmFormat format = EnginePcmFormat;
    PcmFormatFromCode(d->formatCode, format);
    auto converter = std::make_unique<PcmConverter>(EnginePcmFormat, format);
    auto file = std::make_unique<WavWriter>();
    if (!converter->isValid() || !file->open(path, format)) {
        if (error)
            *error = converter->isValid() ? file->errorString() : converter->errorString();
        file->close();
        QFile::remove(path);
        return false;
    }
    d->waitIdle();
    std::lock_guard lock(d->mutex);
    d->file = std::move(file);
    d->fileConverter = std::move(converter);
    d->fileBytes = 0;
    d->farmWorkers = rendersInHelpers() ? RenderFarm::workersWanted() : 0;
    d->farmFolder = QFileInfo(path).absolutePath();
    return true;
}

bool ThreadedEngine::CloseOutputFile(QString *error)
{
    if (!d->file)
        return true;
    if (d->farmWorkers > 0) {
        Job drop;
        drop.dropFarm = true;
        d->enqueue(std::move(drop), false);
    }
    d->waitIdle();
    std::unique_ptr<WavWriter> file;
    {
        std::lock_guard lock(d->mutex);
        file = std::move(d->file);
        d->fileConverter.reset();
    }
    const bool ok = file->close();
    if (!ok && error)
        *error = file->errorString();
    return ok;
}

bool ThreadedEngine::WaitForQueueRoom(int timeoutMs)
{
    // A few lines wait behind the one being rendered: a line takes the worker a few
    // milliseconds, about what the window's event loop may keep the save's tick away, so with a
    // single line waiting the worker would sit idle between ticks. The queue stays short, so a
    // purge has little to throw away. Render helpers need the lines of a run for each of them
    // ahead; a purge then throws away text only, no sound.
    const std::size_t linesAhead = d->file && d->farmWorkers > 0 ? 1024 : 8;
    std::unique_lock lock(d->mutex);
    return d->idle.wait_for(lock, std::chrono::milliseconds(std::max(0, timeoutMs)),
                            [&] { return d->quitting || d->queue.size() < linesAhead; });
}

bool ThreadedEngine::HasOutputFile() const
{
    return d->file != nullptr;
}

qint64 ThreadedEngine::OutputFileBytes() const
{
    return d->fileBytes.load();
}

bool ThreadedEngine::WaitUntilDone(int timeoutMs)
{
    {
        std::unique_lock lock(d->mutex);
        if (!d->idle.wait_for(lock, std::chrono::milliseconds(std::max(0, timeoutMs)),
                              [this] { return d->quitting || (!d->busy && d->queue.empty()); }))
            return false;
    }
    return RunningState() == SRSEDone;
}

} // namespace tonaris
