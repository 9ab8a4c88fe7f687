#include "AudioCapture.h"

#include "audio/WavReader.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QtEndian>

#include <cmath>

namespace tonaris::test {

namespace {
constexpr qint64 WavHeaderBytes = 44; // what parec writes
QString fileIn(const QTemporaryDir &dir)
{
    return dir.filePath(QStringLiteral("capture.wav"));
}
} // namespace

AudioCapture::~AudioCapture()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(2000);
    }
}

bool AudioCapture::serverReachable()
{
    QProcess pactl;
    pactl.start(QStringLiteral("pactl"), {QStringLiteral("info")});
    return pactl.waitForFinished(5000) && pactl.exitStatus() == QProcess::NormalExit &&
           pactl.exitCode() == 0;
}

bool AudioCapture::start(QString *error)
{
    m_samples.clear();
    const QString file = fileIn(m_dir);
    QFile::remove(file);
    m_process.start(QStringLiteral("parec"),
                    {QStringLiteral("--latency-msec=20"), QStringLiteral("-d"),
                     QStringLiteral("tonaris_null.monitor"), QStringLiteral("--format=s16le"),
                     QStringLiteral("--rate=%1").arg(SampleRate), QStringLiteral("--channels=1"),
                     QStringLiteral("--file-format=wav"), file});
    if (!m_process.waitForStarted(5000)) {
        if (error)
            *error = QStringLiteral("parec does not start: ") + m_process.errorString();
        return false;
    }
    // Real data flowing, not just a header, means the sink has taken up the low latency.
    const QDeadlineTimer deadline(5000);
    while (framesSoFar() < framesFromMs(50)) {
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning) {
            if (error)
                *error = QStringLiteral("parec records nothing: ") +
                         QString::fromLocal8Bit(m_process.readAllStandardError());
            return false;
        }
        QThread::msleep(5);
    }
    return true;
}

qint64 AudioCapture::framesSoFar() const
{
    return qMax<qint64>(0, QFileInfo(fileIn(m_dir)).size() - WavHeaderBytes) / 2;
}

bool AudioCapture::stop()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(3000)) {
            m_process.kill();
            m_process.waitForFinished(2000);
        }
    }
    QFile f(fileIn(m_dir));
    if (!f.open(QIODevice::ReadOnly))
        return false;
    const QByteArray all = f.readAll();
    const qsizetype data = all.indexOf("data");
    if (data < 0)
        return false;
    const qsizetype start = data + 8;
    m_samples.resize((all.size() - start) / 2);
    for (qsizetype i = 0; i < m_samples.size(); ++i)
        m_samples[i] = qFromLittleEndian<qint16>(all.constData() + start + i * 2);
    return true;
}

bool AudioCapture::load(const QString &wavPath)
{
    return ReadWavAsEnginePcm(wavPath, m_samples);
}

double AudioCapture::rms(qint64 from, qint64 count) const
{
    from = qBound<qint64>(0, from, m_samples.size());
    count = qBound<qint64>(0, count, m_samples.size() - from);
    if (count == 0)
        return 0;
    double sum = 0;
    for (qint64 i = from; i < from + count; ++i)
        sum += double(m_samples[i]) * m_samples[i];
    return std::sqrt(sum / double(count));
}

QList<AudioCapture::Span> AudioCapture::soundSpans(double threshold, int minGapMs) const
{
    const qint64 window = framesFromMs(10);
    QList<Span> spans;
    for (qint64 at = 0; at + window <= m_samples.size(); at += window) {
        if (rms(at, window) < threshold)
            continue;
        if (!spans.isEmpty() && at - spans.last().end <= framesFromMs(minGapMs))
            spans.last().end = at + window;
        else
            spans.append({at, at + window});
    }
    return spans;
}

double AudioCapture::frequency(qint64 from, qint64 count) const
{
    from = qBound<qint64>(0, from, m_samples.size());
    count = qBound<qint64>(0, count, m_samples.size() - from);
    // Hysteresis keeps noise around zero from counting twice.
    constexpr int Hysteresis = 300;
    int crossings = 0;
    int side = 0;
    for (qint64 i = from; i < from + count; ++i) {
        const int now = m_samples[i] > Hysteresis ? 1 : m_samples[i] < -Hysteresis ? -1 : side;
        crossings += side != 0 && now != side;
        side = now;
    }
    return count > 0 ? crossings / 2.0 / (count / double(SampleRate)) : 0;
}

} // namespace tonaris::test
