// Speech figures: reaction of the commands and synthesis speed of the built-in engine.
//   bench_speech [book.txt]
// Needs a sound server for the reaction figures (they are skipped without one).
#include "audio/AudioOutput.h"
#include "session/SpeechSession.h"
#include "shell/Form1.h"
#include "textprep/Text.h"
#include "voices/EspeakEngine.h"
#include "voices/TagInterpreter.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>

using namespace tonaris;

namespace {

QTextStream out(stdout);

// Runs the event loop until done() holds; returns the milliseconds it took, or -1.
template <typename F> double waitFor(F done, int timeoutMs = 10000)
{
    QElapsedTimer t;
    t.start();
    while (!done()) {
        if (t.elapsed() > timeoutMs)
            return -1;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    return t.nsecsElapsed() / 1e6;
}

class CountingSink : public ThreadedEngine::RenderSink
{
public:
    qint64 samples = 0;
    bool pcm(const qint16 *, qsizetype count) override
    {
        samples += count;
        return true;
    }
    void word(int, int, qint64) override {}
    bool cancelled() const override { return false; }
};

class BenchEngine : public EspeakEngine
{
public:
    using EspeakEngine::renderText;
};

void reactions()
{
    if (!AudioOutput::anyOutputDevice()) {
        out << "no audio output: reaction figures skipped\n";
        return;
    }
    // A null sink with no low-latency listener renders in blocks of up to two seconds and would
    // measure itself; a recorder on its monitor keeps it at desktop latency, as a real card is.
    QProcess keepAwake;
    keepAwake.start(QStringLiteral("parec"),
                    {QStringLiteral("--latency-msec=20"), QStringLiteral("-d"),
                     QStringLiteral("tonaris_null.monitor"), QStringLiteral("/dev/null")});
    keepAwake.waitForStarted(2000);
    waitFor([] { return false; }, 2500);

    Form1 w;
    SpeechSession &s = w.session();
    auto *voice = qobject_cast<ThreadedEngine *>(s.voice());
    QString line;
    while (line.size() < 1000)
        line += QStringLiteral("The quick brown fox jumps over the lazy dog. ");
    w.Text1->setText(line.left(1000) + QStringLiteral("\r\nSecond line."));

    QList<double> start, pause, resume, stop;
    for (int i = 0; i < 5; ++i) {
        bool started = false;
        auto c = QObject::connect(voice, &SpeechEngine::StartStream, [&] { started = true; });
        s.CommandSpeech_Click();
        start.append(waitFor([&] { return started; }));
        QObject::disconnect(c);
        waitFor([] { return false; }, 500); // let it sound a little
        s.CommandPauseResume_Click();
        pause.append(waitFor([&] { return voice->output()->isPaused(); }));
        s.CommandPauseResume_Click();
        resume.append(waitFor([&] { return !voice->output()->isPaused(); }));
        waitFor([] { return false; }, 300);
        s.CommandSpeech_Click();
        stop.append(
            waitFor([&] { return voice->RunningState() == SRSEDone && s.SpeechState == 0; }));
    }
    auto report = [](const char *what, QList<double> v) {
        std::sort(v.begin(), v.end());
        out << what << ": median " << v[v.size() / 2] << " ms, worst " << v.last() << " ms\n";
    };
    report("click to first sample played (1000-character line)", start);
    report("pause reaction", pause);
    report("resume reaction", resume);
    report("stop reaction", stop);
    keepAwake.kill();
    keepAwake.waitForFinished(2000);
}

void synthesisSpeed(const QString &book)
{
    QFile f(book);
    if (!f.open(QIODevice::ReadOnly)) {
        out << "no book at " << book << ": speed skipped\n";
        return;
    }
    const QString text = QString::fromUtf8(f.readAll());
    SpeechSession splitter;
    splitter.TimerSpeech.stop();
    splitter.SplitSpeechLines(text);

    BenchEngine engine;
    CountingSink sink;
    QElapsedTimer t;
    t.start();
    for (const QString &line : std::as_const(splitter.SpeechLines)) {
        if (line.trimmed().isEmpty())
            continue;
        const TagParseResult parsed = InterpretTags(line, TagState());
        for (const SpeechSegment &seg : parsed.segments) {
            ThreadedEngine::RenderParams p;
            p.voiceId = QStringLiteral("en");
            engine.renderText(seg.text, p, sink);
        }
    }
    const double ours = t.nsecsElapsed() / 1e9;

    QTemporaryDir dir;
    QProcess espeak;
    t.restart();
    espeak.start(QStringLiteral("espeak-ng"),
                 {QStringLiteral("-v"), QStringLiteral("en"), QStringLiteral("-w"),
                  dir.filePath(QStringLiteral("ref.wav")), QStringLiteral("-f"), book});
    espeak.waitForFinished(-1);
    const double theirs = t.nsecsElapsed() / 1e9;
    out << "synthesis of " << book << ": engine wrapper " << ours << " s for "
        << sink.samples / 22050.0 / 3600.0 << " h of audio; espeak-ng -w " << theirs << " s; ratio "
        << ours / theirs << "\n";
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    reactions();
    synthesisSpeed(argc > 1 ? QString::fromLocal8Bit(argv[1])
                            : QStringLiteral(TONARIS_SHARED_DIR "/corpus/news-from-nowhere.txt"));
    return 0;
}
