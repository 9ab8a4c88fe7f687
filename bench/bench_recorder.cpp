// The microphone recorder over a long note: memory while recording (it must stay flat once the
// recording moves from memory to its temporary file), the longest stall of the event loop, the
// time a save takes, and how long after its length a playback ends.
// Usage: bench_recorder [seconds] [format line]; by default 90 s of "48 kHz 16 Bit Stereo".
#include "audio/AudioRecorder.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

using namespace tonaris;

namespace {
long residentKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    return -1;
}

// Serves events until `done`, noting the longest gap between two 10 ms ticks.
template <typename Done> qint64 serveUntil(Done done)
{
    QElapsedTimer gap;
    gap.start();
    qint64 longest = 0;
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, [&] { longest = std::max(longest, gap.restart()); });
    tick.start(10);
    while (!done())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    return longest;
}
} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 90;
    const QString caption =
        argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral("48 kHz 16 Bit Stereo");
    if (!AudioRecorder::anyInputDevice()) {
        std::fprintf(stderr, "no microphone: start a sound server (see test.sh)\n");
        return 1;
    }
    AudioRecorder rec;
    const PcmFormat f = AudioRecorder::FormatFromCaption(caption);
    rec.OpenRecorder();
    rec.SetAudioFormat(f.bitsPerSample, f.sampleRate, f.channels);
    const long before = residentKb();
    long peak = before;
    if (!rec.StartRecord())
        return 1;
    QTimer sample;
    QObject::connect(&sample, &QTimer::timeout, [&] { peak = std::max(peak, residentKb()); });
    sample.start(250);
    const qint64 recordStall = serveUntil([&] { return rec.lengthMs() >= seconds * 1000; });
    rec.StopRecord();
    std::printf("recorded %.1f s (%lld bytes, %s); resident memory %ld KB before, peak %+ld KB "
                "(memory limit %lld KB); longest event-loop stall %lld ms\n",
                rec.lengthMs() / 1000.0, rec.recordedBytes(), qPrintable(caption), before,
                peak - before, AudioRecorder::MemoryLimit / 1024, recordStall);

    QTemporaryDir dir;
    QElapsedTimer timer;
    timer.start();
    rec.SaveRecordedAs(dir.filePath(QStringLiteral("note.wav")));
    std::printf("saved in %lld ms\n", timer.elapsed());

    // The last ten seconds played: the end comes after the sound, never before.
    const int from = std::max(0, rec.lengthMs() - 10000);
    timer.restart();
    if (!rec.PlayRecordedFrom(from))
        return 1;
    const qint64 playStall = serveUntil([&] { return rec.GetStatus() == AudioRecorder::Stopped; });
    std::printf("playback of %d ms ended after %lld ms; longest stall %lld ms\n",
                rec.lengthMs() - from, timer.elapsed(), playStall);
    return 0;
}
