#include "audio/Mp3Encoder.h"

#include "audio/WavWriter.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QStorageInfo>

#include <sched.h>
#include <sys/resource.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tonaris {

namespace {
// What lame may have waiting on its input at a time: enough to keep it busy between two
// feeds, small enough that memory stays flat.
constexpr qint64 InFlight = 512 * 1024;
constexpr qint64 Piece = 128 * 1024;

// lame says only that its output could not be written: a full disk or a file-size limit on the
// process is named from what the failed output shows.
QString writeFailureCause(const QString &partPath)
{
    constexpr qint64 Margin = 64 * 1024;
    const QFileInfo part(partPath);
    const QStorageInfo disk(part.absolutePath());
    if (disk.isValid() && disk.bytesAvailable() < Margin)
        return QString::fromLocal8Bit(std::strerror(ENOSPC));
    rlimit limit;
    if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
        part.size() + Margin >= qint64(limit.rlim_cur))
        return QString::fromLocal8Bit(std::strerror(EFBIG));
    return {};
}
} // namespace

Mp3Encoder::Mp3Encoder(const QString &wavPath, const PcmFormat &format, const QString &mp3Path,
                       const Options &options, QObject *parent)
    : QObject(parent)
    , m_wavPath(wavPath)
    , m_format(format)
    , m_mp3Path(mp3Path)
    , m_options(options)
{
    const QFileInfo target(mp3Path);
    m_partPath =
        target.absolutePath() + QStringLiteral("/.") + target.fileName() + QStringLiteral(".part");
}

Mp3Encoder::~Mp3Encoder()
{
    if (m_process && m_process->state() != QProcess::NotRunning)
        kill();
}

QStringList Mp3Encoder::tagArguments(const QString &title)
{
    return {QStringLiteral("--tt"),
            title,
            QStringLiteral("--ta"),
            QStringLiteral("Tonaris-TTS"),
            QStringLiteral("--tc"),
            QStringLiteral("Produced with Tonaris-TTS By Arlen Vostrik (Orvane)"),
            QStringLiteral("--id3v2-only")};
}

QString Mp3Encoder::findLame(const QString &programFolder)
{
    const QFileInfo beside(programFolder + QStringLiteral("/lame"));
    if (!programFolder.isEmpty() && beside.isFile() && beside.isExecutable())
        return beside.absoluteFilePath();
    return QStandardPaths::findExecutable(QStringLiteral("lame"));
}

bool Mp3Encoder::start()
{
    if (m_started)
        return true;
    m_started = true;
    m_source.setFileName(m_wavPath);
    if (!m_source.open(QIODevice::ReadOnly) || !m_source.seek(WavWriter::HeaderBytes)) {
        m_error = tr("Cannot read %1: %2").arg(m_wavPath, m_source.errorString());
        m_finished = true;
        emit finished();
        return false;
    }
    m_process = new QProcess(this);
    QStringList args{QStringLiteral("--silent")};
    args += m_options.qualityArgs;
    args += tagArguments(m_options.title);
    args += {QStringLiteral("-"), m_partPath};
    m_process->setProgram(m_options.lame);
    m_process->setArguments(args);
    // Titles keep their accents only under a UTF-8 locale.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    m_process->setProcessEnvironment(env);
    m_process->setStandardOutputFile(QProcess::nullDevice());
    m_process->setProcessChannelMode(QProcess::SeparateChannels);
    if (m_options.idlePriority) {
        m_process->setChildProcessModifier([] {
            setpriority(PRIO_PROCESS, 0, 19);
            sched_param param{};
            sched_setscheduler(0, SCHED_IDLE, &param);
        });
    }
    connect(m_process, &QProcess::bytesWritten, this, &Mp3Encoder::feed);
    connect(m_process, &QProcess::finished, this,
            [this](int code, QProcess::ExitStatus status) { onFinished(code, int(status)); });
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError e) {
        if (e == QProcess::FailedToStart)
            onFinished(-1, int(QProcess::CrashExit));
    });
    m_process->start();
    if (!m_process->waitForStarted(5000)) {
        if (!m_finished)
            onFinished(-1, int(QProcess::CrashExit));
        return false;
    }
    // The stream's header: sizes unknown, lame reads to the end of its input.
    m_process->write(WavWriter::header(m_format, 0xFFFFFFFF));
    feed();
    return true;
}

void Mp3Encoder::setAvailable(qint64 bytes)
{
    if (bytes > m_available)
        m_available = bytes;
    feed();
}

void Mp3Encoder::setComplete(qint64 bytes)
{
    m_available = bytes;
    m_complete = true;
    feed();
}

void Mp3Encoder::feed()
{
    if (!m_process || m_finished || m_inputClosed || m_process->state() != QProcess::Running)
        return;
    while (m_fed < m_available && m_process->bytesToWrite() < InFlight) {
        const QByteArray piece = m_source.read(std::min(Piece, m_available - m_fed));
        if (piece.isEmpty())
            break; // written but not yet readable: the next feed takes it
        m_process->write(piece);
        m_fed += piece.size();
    }
    if (m_complete && m_fed >= m_available) {
        m_inputClosed = true;
        m_process->closeWriteChannel();
    }
}

void Mp3Encoder::onFinished(int exitCode, int exitStatus)
{
    if (m_finished)
        return;
    m_finished = true;
    m_source.close();
    if (exitStatus != int(QProcess::NormalExit) || exitCode != 0 || !m_inputClosed) {
        QString detail;
        if (m_process) {
            detail = QString::fromLocal8Bit(m_process->readAllStandardError()).trimmed();
            if (detail.isEmpty() && m_process->error() == QProcess::FailedToStart)
                detail = m_process->errorString();
        }
        if (const QString cause = writeFailureCause(m_partPath); !cause.isEmpty())
            detail = detail.isEmpty() ? cause : detail + QStringLiteral(" (") + cause + u')';
        m_error = tr("The MP3 encoder failed on %1%2")
                      .arg(QFileInfo(m_mp3Path).fileName(),
                           detail.isEmpty() ? QString() : QStringLiteral(": ") + detail);
        QFile::remove(m_partPath);
    } else {
        QString error;
        if (!ReplaceFile(m_partPath, m_mp3Path, &error)) {
            m_error = error;
            QFile::remove(m_partPath);
        }
    }
    emit finished();
}

void Mp3Encoder::kill()
{
    if (m_process && m_process->state() != QProcess::NotRunning) {
        m_process->disconnect(this);
        m_process->kill();
        m_process->waitForFinished(1000);
    }
    if (!m_finished) {
        m_finished = true;
        m_error = tr("Encoding was stopped.");
        m_source.close();
        QFile::remove(m_partPath);
        emit finished();
    }
}

bool ReplaceFile(const QString &source, const QString &target, QString *error)
{
    const QByteArray from = QFile::encodeName(source);
    const QByteArray to = QFile::encodeName(target);
    if (std::rename(from.constData(), to.constData()) == 0)
        return true;
    const int renameError = errno;
    if (renameError == EXDEV) {
        // Another file system: copy beside the target, then rename there.
        const QString part = target + QStringLiteral(".part");
        QFile::remove(part);
        if (QFile::copy(source, part) &&
            std::rename(QFile::encodeName(part).constData(), to.constData()) == 0) {
            QFile::remove(source);
            return true;
        }
        QFile::remove(part);
    }
    if (error)
        *error = QCoreApplication::translate("Mp3Encoder", "Cannot move %1 to %2: %3")
                     .arg(source, target, QString::fromLocal8Bit(std::strerror(renameError)));
    return false;
}

} // namespace tonaris
