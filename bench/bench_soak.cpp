// Soak: the window speaks 10,000 lines on the sound server while pause, resume, next line, stop
// and speak are pressed at random every 50 to 500 ms, for a number of minutes. Prints the resident
// memory after the first minute and at the end (their difference is the growth), its peak, how many
// commands were pressed, and every command that got no reaction within 5 s (a hang).
//   bench_soak [minutes] [seed] [book.txt]
// Needs a sound server (start a private one as test.sh does); about `minutes` of wall time.
#include "audio/AudioOutput.h"
#include "session/SpeechSession.h"
#include "shell/Form1.h"
#include "textprep/Text.h"
#include "voices/ThreadedEngine.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTextStream>

#include <random>
#include <unistd.h>

using namespace tonaris;

namespace {

QTextStream out(stdout);

// Runs the event loop until done() holds; false when it did not within timeoutMs.
template <typename F> bool waitFor(F done, int timeoutMs)
{
    QElapsedTimer t;
    t.start();
    while (!done()) {
        if (t.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

double residentMb()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.value(1).toDouble() * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

// 10,000 lines of the book, repeated as often as it takes; blank lines left out.
QString tenThousandLines(const QString &book)
{
    QFile f(book);
    QStringList lines;
    if (f.open(QIODevice::ReadOnly))
        for (const QString &line : QString::fromUtf8(f.readAll()).split(QStringLiteral("\r\n")))
            if (!line.trimmed().isEmpty())
                lines.append(line);
    if (lines.isEmpty())
        lines.append(QStringLiteral("The quick brown fox jumps over the lazy dog."));
    QStringList text;
    while (text.size() < 10000)
        text.append(lines.at(text.size() % lines.size()));
    return text.join(QStringLiteral("\r\n"));
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const double minutes = argc > 1 ? QString::fromLocal8Bit(argv[1]).toDouble() : 5.0;
    const unsigned seed = argc > 2 ? QString::fromLocal8Bit(argv[2]).toUInt() : 21u;
    const QString book = argc > 3
                             ? QString::fromLocal8Bit(argv[3])
                             : QStringLiteral(TONARIS_SHARED_DIR "/corpus/news-from-nowhere.txt");
    if (!AudioOutput::anyOutputDevice()) {
        out << "no audio output: start a sound server first\n";
        return 1;
    }
    // A listener keeps the null sink at desktop latency (without one it plays in 2 s blocks).
    QProcess keepAwake;
    keepAwake.start(QStringLiteral("parec"),
                    {QStringLiteral("--latency-msec=20"), QStringLiteral("-d"),
                     QStringLiteral("tonaris_null.monitor"), QStringLiteral("/dev/null")});
    keepAwake.waitForStarted(2000);

    Form1 w;
    SpeechSession &s = w.session();
    auto *voice = qobject_cast<ThreadedEngine *>(s.voice());
    if (!voice) {
        out << "no built-in voice\n";
        return 1;
    }
    w.Text1->setText(tenThousandLines(book));
    const auto speaking = [&] { return s.SpeechState != 0; };
    const auto idle = [&] { return voice->RunningState() == SRSEDone && s.SpeechState == 0; };

    std::mt19937 random(seed);
    std::uniform_int_distribution<int> interval(50, 500), action(0, 9);
    QElapsedTimer clock;
    clock.start();
    const qint64 endMs = qint64(minutes * 60000);
    double afterFirstMinute = -1, peak = residentMb();
    int commands = 0, hangs = 0, furthestLine = 0;
    s.CommandSpeech_Click();
    while (clock.elapsed() < endMs) {
        waitFor([] { return false; }, interval(random));
        furthestLine = std::max(furthestLine, s.SpeechLineIndex);
        peak = std::max(peak, residentMb());
        if (afterFirstMinute < 0 && clock.elapsed() > 60000)
            afterFirstMinute = residentMb();
        const int a = action(random);
        const char *what = nullptr;
        bool reacted = true;
        if (!speaking()) { // speak again, from the caret where the last stop left it
            what = "speak";
            s.CommandSpeakFromThisLine_Click();
            reacted = waitFor(speaking, 5000);
        } else if (a < 7) {
            what = "pause or resume";
            const bool paused = voice->output()->isPaused();
            s.CommandPauseResume_Click();
            reacted =
                waitFor([&] { return voice->output()->isPaused() != paused || idle(); }, 5000);
        } else if (a < 9 && !voice->output()->isPaused()) {
            // Moves on through the text, so that many lines are spoken (while paused the line
            // buttons do nothing).
            what = "next line";
            const int line = s.SpeechLineIndex;
            s.CommandSpeakNextLine_Click();
            reacted = waitFor([&] { return s.SpeechLineIndex != line || !speaking(); }, 5000);
        } else {
            what = "stop";
            s.CommandSpeech_Click();
            reacted = waitFor(idle, 5000);
        }
        ++commands;
        if (!reacted) {
            ++hangs;
            out << "no reaction to " << what << " after 5 s at " << clock.elapsed() / 1000
                << " s\n";
            out.flush();
        }
    }
    if (speaking())
        s.CommandSpeech_Click();
    const bool stopped = waitFor(idle, 5000);
    const double end = residentMb();
    out << "soak of " << minutes << " min (seed " << seed << "): " << commands
        << " commands, furthest line " << furthestLine << " of 10000, " << hangs << " hangs"
        << (stopped ? "" : ", no stop at the end") << "\n";
    out << "resident memory: " << afterFirstMinute << " MB after the first minute, " << end
        << " MB at the end (growth " << end - afterFirstMinute << " MB), peak " << peak << " MB\n";
    keepAwake.kill();
    keepAwake.waitForFinished(2000);
    out.flush();
    ExitWithoutAudioTeardown(hangs == 0 && stopped ? 0 : 1);
}
