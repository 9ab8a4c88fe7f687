#include "voices/RenderFarm.h"

#include "audio/AudioOutput.h"
#include "voices/EspeakEngine.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QProcess>
#include <QThread>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcFarm, "tonaris.voices.farm", QtWarningMsg)

namespace tonaris {

namespace {

QString &workerProgram()
{
    static QString program;
    return program;
}

// A request: its size, then the parameters and the text. A reply: 1 or 0 (the engine failed),
// the count of samples, the samples.
QByteArray request(const QString &text, const ThreadedEngine::RenderParams &p)
{
    QByteArray body;
    QDataStream out(&body, QIODevice::WriteOnly);
    out << p.voiceId << qint32(p.volume) << qint32(p.rate) << qint32(p.pitch) << p.spell
        << p.emphasis << text;
    QByteArray framed(sizeof(quint32), Qt::Uninitialized);
    const quint32 size = quint32(body.size());
    std::memcpy(framed.data(), &size, sizeof size);
    return framed + body;
}

bool readFully(int fd, void *data, size_t size)
{
    auto *at = static_cast<char *>(data);
    while (size > 0) {
        const ssize_t n = ::read(fd, at, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        at += n;
        size -= size_t(n);
    }
    return true;
}

bool writeFully(int fd, const void *data, size_t size)
{
    const auto *at = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t n = ::write(fd, at, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        at += n;
        size -= size_t(n);
    }
    return true;
}

} // namespace

struct RenderFarm::Helper
{
    QProcess process;
    int audio = -1;     // the file it renders into
    qint64 readAt = 0;  // bytes of it taken
    int submitted = 0;  // pieces
    int taken = 0;
    qint64 chars = 0;
    bool full = false;  // its run is complete: it takes no more pieces

    ~Helper()
    {
        process.kill();
        process.waitForFinished(1000);
        if (audio >= 0)
            ::close(audio);
    }
};

void RenderFarm::setWorkerProgram(const QString &program)
{
    workerProgram() = program;
}

int RenderFarm::workersWanted()
{
    if (workerProgram().isEmpty())
        return 0;
    bool given = false;
    const int asked = qEnvironmentVariableIntValue("TONARIS_RENDER_JOBS", &given);
    return std::clamp(given ? asked : QThread::idealThreadCount(), given ? 0 : 1, 16);
}

int RenderFarm::runWorker(const QString &audioPath)
{
    // A helper never outlives the thread that started it, even when that one is killed.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() == 1)
        return 1;
    const int audio = ::open(QFile::encodeName(audioPath).constData(), O_WRONLY | O_CLOEXEC);
    if (audio < 0)
        return 1;
    AudioOutput::setDevicesWanted(false);
    EspeakEngine engine;
    QList<qint16> samples;
    for (;;) {
        quint32 size = 0;
        if (!readFully(STDIN_FILENO, &size, sizeof size))
            return 0; // the end of the run
        QByteArray body(qsizetype(size), Qt::Uninitialized);
        if (!readFully(STDIN_FILENO, body.data(), size))
            return 1;
        QDataStream in(body);
        ThreadedEngine::RenderParams p;
        qint32 volume = 0, rate = 0, pitch = 0;
        QString text;
        in >> p.voiceId >> volume >> rate >> pitch >> p.spell >> p.emphasis >> text;
        p.volume = volume;
        p.rate = rate;
        p.pitch = pitch;
        samples.clear();
        const qint32 ok = in.status() == QDataStream::Ok && engine.RenderNow(text, p, samples);
        const quint32 count = quint32(samples.size());
        if (!writeFully(audio, samples.constData(), count * sizeof(qint16)) ||
            !writeFully(STDOUT_FILENO, &ok, sizeof ok) ||
            !writeFully(STDOUT_FILENO, &count, sizeof count))
            return 1;
    }
}

RenderFarm::RenderFarm(int workers, const QString &folder)
    : m_workers(std::max(1, workers))
    , m_folder(folder)
{}

RenderFarm::~RenderFarm() = default;

RenderFarm::Helper *RenderFarm::startHelper()
{
    auto h = std::make_unique<Helper>();
    for (const QString &folder : {m_folder, QDir::tempPath()}) {
        if (folder.isEmpty())
            continue;
        h->audio = ::open(QFile::encodeName(folder).constData(), O_TMPFILE | O_RDWR | O_CLOEXEC,
                          0600);
        if (h->audio >= 0)
            break;
    }
    if (h->audio < 0) {
        qCWarning(lcFarm) << "no file for a render helper:" << std::strerror(errno);
        return nullptr;
    }
    h->process.setStandardErrorFile(QProcess::nullDevice());
    h->process.start(workerProgram(),
                     {QLatin1String(RenderWorkerArgument),
                      QStringLiteral("/proc/%1/fd/%2").arg(::getpid()).arg(h->audio)});
    m_helpers.push_back(std::move(h));
    return m_helpers.back().get();
}

RenderFarm::Submitted RenderFarm::submit(const Key &key, const QString &text,
                                         const ThreadedEngine::RenderParams &params)
{
    if (m_broken)
        return Failed;
    Helper *h = !m_helpers.empty() && !m_helpers.back()->full ? m_helpers.back().get() : nullptr;
    if (!h) {
        if (int(m_helpers.size()) >= m_workers)
            return Later;
        h = startHelper();
        if (!h) {
            m_broken = true;
            return Failed;
        }
    }
    const QByteArray bytes = request(text, params);
    if (h->process.write(bytes) != bytes.size()) {
        m_broken = true;
        return Failed;
    }
    // Requests are small and a helper reads them as they come; waiting for the write also
    // reads what it has answered meanwhile, so the two never block each other.
    while (h->process.bytesToWrite() > 0)
        if (!h->process.waitForBytesWritten(1000)) {
            qCWarning(lcFarm) << "a render helper takes nothing:" << h->process.errorString();
            m_broken = true;
            return Failed;
        }
    ++h->submitted;
    h->chars += text.size();
    h->full = h->chars >= RunChars || h->submitted >= 4096;
    m_pending.push_back({key, h});
    m_last = key;
    return Taken;
}

bool RenderFarm::take(QList<qint16> &samples, const std::function<bool()> &cancelled)
{
    if (m_pending.empty() || m_broken)
        return false;
    Helper &h = *m_pending.front().helper;
    m_pending.pop_front();
    // Waits in short slices, so that an abort takes effect at once.
    qint32 ok = 0;
    quint32 count = 0;
    while (h.process.bytesAvailable() < qint64(sizeof ok + sizeof count)) {
        if (cancelled())
            return false;
        if (h.process.state() == QProcess::NotRunning) {
            qCWarning(lcFarm) << "a render helper ended:" << h.process.errorString();
            m_broken = true;
            return false;
        }
        h.process.waitForReadyRead(20);
    }
    h.process.read(reinterpret_cast<char *>(&ok), sizeof ok);
    h.process.read(reinterpret_cast<char *>(&count), sizeof count);
    samples.resize(qsizetype(count));
    const size_t bytes = size_t(count) * sizeof(qint16);
    auto *at = reinterpret_cast<char *>(samples.data());
    for (size_t done = 0; done < bytes;) {
        const ssize_t n = ::pread(h.audio, at + done, bytes - done, h.readAt);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            qCWarning(lcFarm) << "the audio of a render helper cannot be read";
            m_broken = true;
            return false;
        }
        done += size_t(n);
        h.readAt += n;
    }
    if (!ok)
        qCWarning(lcFarm) << "the engine failed on a piece in a render helper";
    // A run taken whole: its helper ends, and the next run may start.
    if (++h.taken == h.submitted && h.full) {
        const auto done = std::find_if(m_helpers.begin(), m_helpers.end(),
                                     [&h](const auto &p) { return p.get() == &h; });
        h.process.closeWriteChannel();
        m_helpers.erase(done);
    }
    return true;
}

} // namespace tonaris
