// Save figures: a whole book rendered to WAV, to MP3 and to MP3 in 30-minute volumes, each
// beside the reference tools doing the same work (espeak-ng -w, then lame), in one run.
//   bench_save [book.txt] [work folder] [parts]
// parts: a comma list of wav, mp3, volumes, abort (all when left out). The WAV comparison runs
// espeak-ng -w and our save in turn three times and compares the best of each, as a short run
// is easily disturbed by the rest of the machine.
// Needs espeak-ng and lame on PATH; no sound server. Takes about 17 minutes for the default book.
#include "session/SaveToAudio.h"
#include "session/SpeechSession.h"
#include "voices/EspeakEngine.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <sys/resource.h>

#include <algorithm>

using namespace tonaris;

namespace {

QTextStream out(stdout);

double runTool(const QString &program, const QStringList &args)
{
    QElapsedTimer t;
    t.start();
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start(program, args);
    if (!p.waitForFinished(-1) || p.exitCode() != 0) {
        out << program << " failed\n";
        return -1;
    }
    return t.nsecsElapsed() / 1e9;
}

// The longest the event loop went without running a 5 ms timer during the last save: what a
// user would feel as a frozen window.
qint64 longestStallMs = 0;
double longestStallAt = 0; // seconds into the save

QString stall()
{
    return QStringLiteral("%1 ms at %2 s").arg(longestStallMs).arg(longestStallAt, 0, 'f', 1);
}

// Runs the event loop, sleeping between events as the program's own loop does, until the
// session is idle with nothing asked of it.
void waitUntilIdle(const SpeechSession &s)
{
    QEventLoop loop;
    QTimer check;
    QObject::connect(&check, &QTimer::timeout, &loop, [&] {
        if (s.SpeechState == SpeechSession::StateIdle && s.SpeechRequest == 0)
            loop.quit();
    });
    check.start(2);
    loop.exec();
}

double save(SpeechSession &s, const QString &text, const QString &target, int format, int split)
{
    SaveToAudio &saver = s.saver();
    saver.BatchMode = 2; // no beeps, no questions
    saver.BatchOutputFile = target;
    saver.BatchOutputFormat = format;
    saver.menuSplitSize_Click(split);
    s.SpeechText = text;
    QElapsedTimer t;
    t.start();
    QElapsedTimer sinceBeat;
    sinceBeat.start();
    longestStallMs = 0;
    QTimer heartbeat;
    heartbeat.setTimerType(Qt::PreciseTimer);
    QObject::connect(&heartbeat, &QTimer::timeout, [&] {
        const qint64 gap = sinceBeat.restart();
        if (gap > longestStallMs) {
            longestStallMs = gap;
            longestStallAt = t.nsecsElapsed() / 1e9;
        }
    });
    heartbeat.start(5);
    s.SpeechRequest = SpeechSession::RequestSave;
    s.SetTimerFast();
    waitUntilIdle(s);
    return t.nsecsElapsed() / 1e9;
}

// Starts an MP3 save of the whole text, aborts it after `afterSeconds` the way the progress
// window's Abort does, and gives the time from the abort to the end of the save in ms.
double abortAfter(SpeechSession &s, const QString &text, const QString &target, double afterSeconds)
{
    SaveToAudio &saver = s.saver();
    saver.BatchMode = 2;
    saver.BatchOutputFile = target;
    saver.BatchOutputFormat = 0;
    saver.menuSplitSize_Click(0);
    s.SpeechText = text;
    s.SpeechRequest = SpeechSession::RequestSave;
    s.SetTimerFast();
    QEventLoop loop;
    QTimer::singleShot(int(afterSeconds * 1000), &loop, &QEventLoop::quit);
    loop.exec();
    QElapsedTimer sinceAbort;
    sinceAbort.start();
    s.AbortSaveToFile();
    saver.KillEncoders();
    s.SetTimerFast();
    waitUntilIdle(s);
    return sinceAbort.nsecsElapsed() / 1e6;
}

long peakRssMb(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    return usage.ru_maxrss / 1024;
}

double durationOf(const QString &wav)
{
    QProcess p;
    p.start(QStringLiteral("soxi"), {QStringLiteral("-D"), wav});
    p.waitForFinished();
    return p.readAllStandardOutput().trimmed().toDouble();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QString book = argc > 1
                             ? QString::fromLocal8Bit(argv[1])
                             : QStringLiteral(TONARIS_SHARED_DIR "/corpus/news-from-nowhere.txt");
    QTemporaryDir temp;
    const QString dir = argc > 2 ? QString::fromLocal8Bit(argv[2]) : temp.path();
    QDir().mkpath(dir);
    QFile f(book);
    if (!f.open(QIODevice::ReadOnly)) {
        out << "cannot read " << book << "\n";
        return 1;
    }
    QString text = QString::fromUtf8(f.readAll());
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
    out << "book: " << book << ", " << text.size() << " characters\n";

    const QStringList parts =
        (argc > 3 ? QString::fromLocal8Bit(argv[3]) : QStringLiteral("wav,mp3,volumes,abort"))
            .split(QLatin1Char(','));
    auto wants = [&](const char *part) { return parts.contains(QLatin1String(part)); };
    auto path = [&](const char *name) { return QDir(dir).filePath(QLatin1String(name)); };
    EspeakEngine voice;
    SpeechSession s;
    s.setVoices(&voice, nullptr);

    // The reference, the command-line synthesiser, in turn with our save, whose WAV is also what
    // lame encodes below.
    double espeak = 1e9;
    double wav = 1e9;
    for (int round = 0; round < (wants("wav") ? 3 : 1); ++round) {
        const double once =
            runTool(QStringLiteral("espeak-ng"),
                    {QStringLiteral("-v"), voice.CurrentVoiceId(), QStringLiteral("-w"),
                     path("ref.wav"), QStringLiteral("-f"), book});
        espeak = std::min(espeak, once);
        out << QStringLiteral("espeak-ng -w          %1 s (%2 h of audio)\n")
                   .arg(once, 0, 'f', 1)
                   .arg(durationOf(path("ref.wav")) / 3600, 0, 'f', 2);
        out.flush();
        const double ours = save(s, text, path("ours"), 1, 0);
        wav = std::min(wav, ours);
        out << QStringLiteral("Tonaris WAV           %1 s, %2 h, longest stall %3\n")
                   .arg(ours, 0, 'f', 1)
                   .arg(durationOf(path("ours.wav")) / 3600, 0, 'f', 2)
                   .arg(stall());
        out.flush();
    }
    if (wants("wav"))
        out << QStringLiteral("best WAV              %1 s  = %2 x espeak-ng -w (target <= 1.15)\n")
                   .arg(wav, 0, 'f', 1)
                   .arg(wav / espeak, 0, 'f', 2);
    out.flush();

    double lame = 0;
    if (wants("mp3") || wants("volumes")) {
        lame = runTool(QStringLiteral("lame"),
                       {QStringLiteral("--silent"), QStringLiteral("-q0"), QStringLiteral("--abr"),
                        QStringLiteral("40"), path("ours.wav"), path("ref.mp3")});
        out << QStringLiteral("lame alone            %1 s\n").arg(lame, 0, 'f', 1);
        out.flush();
    }

    if (wants("mp3")) {
        const double mp3 = save(s, text, path("ours"), 0, 0);
        out << QStringLiteral("Tonaris MP3           %1 s  = %2 x lame alone (target <= 1.1), "
                              "longest stall %3\n")
                   .arg(mp3, 0, 'f', 1)
                   .arg(mp3 / lame, 0, 'f', 2)
                   .arg(stall());
        out.flush();
    }

    if (wants("volumes")) {
        QDir(path("volumes")).removeRecursively();
        const double volumes = save(s, text, path("volumes"), 0, 4);
        const int count = int(QDir(path("volumes")).entryList({QStringLiteral("*.mp3")}).size());
        out << QStringLiteral(
                   "Tonaris MP3, 30 min   %1 s  = %2 x (espeak-ng -w + lame) (target <= 0.55), "
                   "%3 volumes, longest stall %4\n")
                   .arg(volumes, 0, 'f', 1)
                   .arg(volumes / (espeak + lame), 0, 'f', 2)
                   .arg(count)
                   .arg(stall());
        out.flush();
    }
    if (wants("abort"))
        out << QStringLiteral("abort while rendering %1 ms, while encoding %2 ms (target <= 100)\n")
                   .arg(abortAfter(s, text, path("aborted1"), 1), 0, 'f', 1)
                   .arg(abortAfter(s, text, path("aborted2"), 40), 0, 'f', 1);
    out << QStringLiteral("peak RSS: Tonaris %1 MB, largest child %2 MB (target < 150 MB)\n")
               .arg(peakRssMb(RUSAGE_SELF))
               .arg(peakRssMb(RUSAGE_CHILDREN));
    return 0;
}
