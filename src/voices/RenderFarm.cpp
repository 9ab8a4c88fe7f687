#include "voices/RenderFarm.h"

#include "audio/AudioOutput.h"

#include "voices/EspeakEngine.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QProcess>
#include <QThread>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcFarm, "tonaris.voices.farm", QtWarningMsg)

namespace tonaris {

namespace {

QString &workerProgram()
{
    static QString program;
    return program;
}

// On a helper's standard input, each message starts with its size; two sizes are commands.
constexpr quint32 BeginRun = std::numeric_limits<quint32>::max() - 1; // then the file's path
constexpr quint32 EndRun = std::numeric_limits<quint32>::max();

QByteArray sized(quint32 size, const QByteArray &body = {})
{
    QByteArray bytes(sizeof size, Qt::Uninitialized);
    std::memcpy(bytes.data(), &size, sizeof size);
    return bytes + body;
}

// A piece: its parameters and text. Its answer: 1 or 0 (the engine failed), the count of
// samples, which are in the run's file by then.
QByteArray pieceRequest(const QString &text, const ThreadedEngine::RenderParams &p)
{
    QByteArray body;
    QDataStream out(&body, QIODevice::WriteOnly);
    out << p.voiceId << qint32(p.volume) << qint32(p.rate) << qint32(p.pitch) << p.spell
        << p.emphasis << text;
    return sized(quint32(body.size()), body);
}

// Moves `size` bytes through `call` (a read or a write), however few each call takes.
template <typename Byte, typename Call> bool transferFully(Byte *at, size_t size, Call call)
{
    while (size > 0) {
        const ssize_t n = call(at, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        at += n;
        size -= size_t(n);
    }
    return true;
}

bool readFully(int fd, void *data, size_t size)
{
    return transferFully(static_cast<char *>(data), size,
                         [fd](char *at, size_t n) { return ::read(fd, at, n); });
}

bool writeFully(int fd, const void *data, size_t size)
{
    return transferFully(static_cast<const char *>(data), size,
                         [fd](const char *at, size_t n) { return ::write(fd, at, n); });
}

class CollectSink final : public ThreadedEngine::RenderSink
{
public:
    QList<qint16> samples;
    bool pcm(const qint16 *data, qsizetype count) override
    {
        samples.append(QList<qint16>(data, data + count));
        return true;
    }
    void word(int, int, qint64) override {}
    bool cancelled() const override { return false; }
};

// A child of the helper: the pieces of one run, until its end. Never returns.
[[noreturn]] void renderRun(const QByteArray &audioPath)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int audio = ::open(audioPath.constData(), O_WRONLY | O_CLOEXEC);
    if (audio < 0)
        ::_exit(1);
    CollectSink sink;
    for (;;) {
        quint32 size = 0;
        if (!readFully(STDIN_FILENO, &size, sizeof size))
            ::_exit(1);
        if (size == EndRun)
            ::_exit(0);
        QByteArray body(qsizetype(size), Qt::Uninitialized);
        if (size >= BeginRun || !readFully(STDIN_FILENO, body.data(), size))
            ::_exit(1);
        QDataStream in(body);
        ThreadedEngine::RenderParams p;
        qint32 volume = 0, rate = 0, pitch = 0;
        QString text;
        in >> p.voiceId >> volume >> rate >> pitch >> p.spell >> p.emphasis >> text;
        p.volume = volume;
        p.rate = rate;
        p.pitch = pitch;
        sink.samples.clear();
        const qint32 ok =
            in.status() == QDataStream::Ok && EspeakEngine::RenderPiece(text, p, sink);
        const quint32 count = quint32(sink.samples.size());
        if (!writeFully(audio, sink.samples.constData(), count * sizeof(qint16)) ||
            !writeFully(STDOUT_FILENO, &ok, sizeof ok) ||
            !writeFully(STDOUT_FILENO, &count, sizeof count))
            ::_exit(1);
    }
}

// The child rendering a run, while there is one. Asked to end, a helper ends it first, so
// that no process of a save outlives the save.
volatile sig_atomic_t runningChild = 0;

void endHelper(int)
{
    if (runningChild > 0) {
        ::kill(pid_t(runningChild), SIGKILL);
        ::waitpid(pid_t(runningChild), nullptr, 0);
    }
    ::_exit(0);
}

} // namespace

struct RenderFarm::Helper
{
    QProcess process;
    int runs = 0; // of m_runs

    ~Helper()
    {
        process.terminate();
        if (!process.waitForFinished(1000)) {
            process.kill();
            process.waitForFinished(1000);
        }
    }
};

struct RenderFarm::Run
{
    Helper *helper = nullptr;
    int audio = -1;    // the file it renders into
    qint64 readAt = 0; // bytes of it taken
    int submitted = 0; // pieces
    int taken = 0;
    qint64 chars = 0;
    bool full = false; // it takes no more pieces

    ~Run()
    {
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

int RenderFarm::runWorker()
{
    // A helper never outlives the thread that started it, even when that one is killed.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() == 1)
        return 1;
    // A helper only renders to files: its engine must not go looking for a sound server.
    AudioOutput::setDevicesWanted(false);
    // The engine starts here, once: each run's child begins from this state.
    if (!EspeakEngine::available())
        return 1;
    struct sigaction ending = {};
    ending.sa_handler = endHelper;
    ::sigaction(SIGTERM, &ending, nullptr);
    for (;;) {
        quint32 size = 0, length = 0;
        if (!readFully(STDIN_FILENO, &size, sizeof size))
            return 0; // the end of the file being saved
        if (size != BeginRun || !readFully(STDIN_FILENO, &length, sizeof length) || length > 4096)
            return 1;
        QByteArray path(qsizetype(length), '\0');
        if (!readFully(STDIN_FILENO, path.data(), length))
            return 1;
        const pid_t child = ::fork();
        if (child < 0)
            return 1;
        if (child == 0) {
            ::signal(SIGTERM, SIG_DFL);
            renderRun(path);
        }
        runningChild = child;
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        runningChild = 0;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            return 1;
    }
}

RenderFarm::RenderFarm(int workers, const QString &folder)
    : m_workers(std::max(1, workers))
    , m_folder(folder)
{}

RenderFarm::~RenderFarm()
{
    m_runs.clear();
    m_helpers.clear();
}

bool RenderFarm::send(Helper &helper, const QByteArray &bytes)
{
    if (helper.process.write(bytes) != bytes.size())
        return false;
    // Requests are small and a helper reads them as they come; waiting for the write also
    // reads what it has answered meanwhile, so the two never block each other.
    while (helper.process.bytesToWrite() > 0)
        if (!helper.process.waitForBytesWritten(1000)) {
            qCWarning(lcFarm) << "a render helper takes nothing:" << helper.process.errorString();
            return false;
        }
    return true;
}

RenderFarm::Run *RenderFarm::startRun()
{
    auto run = std::make_unique<Run>();
    for (const QString &folder : {m_folder, QDir::tempPath()}) {
        if (folder.isEmpty())
            continue;
        run->audio =
            ::open(QFile::encodeName(folder).constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
        if (run->audio >= 0)
            break;
    }
    if (run->audio < 0) {
        qCWarning(lcFarm) << "no file for a render helper:" << std::strerror(errno);
        return nullptr;
    }
    if (int(m_helpers.size()) < m_workers) {
        auto h = std::make_unique<Helper>();
        h->process.setStandardErrorFile(QProcess::nullDevice());
        h->process.start(workerProgram(), {QLatin1String(RenderWorkerArgument)});
        m_helpers.push_back(std::move(h));
    }
    // The helper with the fewest runs still to be taken.
    Helper *helper = std::min_element(m_helpers.begin(), m_helpers.end(), [](auto &a, auto &b) {
                         return a->runs < b->runs;
                     })->get();
    const QByteArray path =
        QFile::encodeName(QStringLiteral("/proc/%1/fd/%2").arg(::getpid()).arg(run->audio));
    if (!send(*helper, sized(BeginRun, sized(quint32(path.size()), path))))
        return nullptr;
    run->helper = helper;
    ++helper->runs;
    m_runs.push_back(std::move(run));
    return m_runs.back().get();
}

qint64 RenderFarm::roomInChars() const
{
    const bool open = !m_runs.empty() && !m_runs.back()->full;
    return qint64(m_workers - int(m_runs.size())) * RunChars +
           (open ? std::max<qint64>(1, RunChars - m_runs.back()->chars) : 0);
}

RenderFarm::Submitted RenderFarm::submit(const Key &key, const QString &text,
                                         const ThreadedEngine::RenderParams &params)
{
    if (m_broken)
        return Failed;
    Run *run = !m_runs.empty() && !m_runs.back()->full ? m_runs.back().get() : nullptr;
    if (!run) {
        if (int(m_runs.size()) >= m_workers)
            return Later;
        run = startRun();
        if (!run) {
            m_broken = true;
            return Failed;
        }
    }
    if (!send(*run->helper, pieceRequest(text, params))) {
        m_broken = true;
        return Failed;
    }
    ++run->submitted;
    run->chars += text.size();
    run->full = run->chars >= RunChars || run->submitted >= 4096;
    if (run->full && !send(*run->helper, sized(EndRun))) {
        m_broken = true;
        return Failed;
    }
    m_pending.push_back({key, run});
    m_last = key;
    return Taken;
}

bool RenderFarm::take(QList<qint16> &samples, const std::function<bool()> &cancelled)
{
    if (m_pending.empty() || m_broken)
        return false;
    Run &run = *m_pending.front().run;
    m_pending.pop_front();
    QProcess &process = run.helper->process;
    // Waits in short slices, so that an abort takes effect at once.
    qint32 ok = 0;
    quint32 count = 0;
    while (process.bytesAvailable() < qint64(sizeof ok + sizeof count)) {
        if (cancelled())
            return false;
        if (process.state() == QProcess::NotRunning) {
            qCWarning(lcFarm) << "a render helper ended:" << process.errorString();
            m_broken = true;
            return false;
        }
        process.waitForReadyRead(20);
    }
    process.read(reinterpret_cast<char *>(&ok), sizeof ok);
    process.read(reinterpret_cast<char *>(&count), sizeof count);
    samples.resize(qsizetype(count));
    const size_t bytes = size_t(count) * sizeof(qint16);
    auto *to = reinterpret_cast<char *>(samples.data());
    for (size_t done = 0; done < bytes;) {
        const ssize_t n = ::pread(run.audio, to + done, bytes - done, run.readAt);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            qCWarning(lcFarm) << "the audio of a render helper cannot be read";
            m_broken = true;
            return false;
        }
        done += size_t(n);
        run.readAt += n;
    }
    if (!ok)
        qCWarning(lcFarm) << "the engine failed on a piece in a render helper";
    // A run taken whole makes room for the next one.
    if (++run.taken == run.submitted && run.full) {
        --run.helper->runs;
        m_runs.erase(std::find_if(m_runs.begin(), m_runs.end(),
                                  [&run](const auto &r) { return r.get() == &run; }));
    }
    return true;
}

} // namespace tonaris
