// The conversation's speed: replies of a personality of 500 triples (target: under 1 ms a
// reply), and, with a sound server, how soon a spoken word is recognised after the speaker
// stops (target: within 1 s) and the processor time of listening to silence (target: under a
// third of one core).
#include "config/ProgramRandom.h"
#include "conversation/Prattle.h"
#include "conversation/SpeechRecognizer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <sys/resource.h>

#include <cstdio>

using namespace tonaris;

namespace {

// Runs the event loop for a while without spinning, so that the figures are the recogniser's.
void waitMs(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void replies(const QString &folder)
{
    // Key lines of three made-up words each out of a vocabulary of 1,500.
    QString text = QStringLiteral("//HEAD\r\nGENDER=MALE\r\n//PHRASES\r\n");
    auto word = [](int n) { return QStringLiteral("PAROLA%1").arg(n); };
    for (int i = 0; i < 500; ++i)
        text += QStringLiteral(" %1+ %2 %3\r\nQuestion %4\r\nStatement %4\r\n")
                    .arg(word(i * 3), word(i * 3 + 1), word(i * 3 + 2))
                    .arg(i);
    text += QStringLiteral("//EVASIVE\r\n");
    for (int i = 0; i < 20; ++i)
        text += QStringLiteral("Evasive %1\r\n").arg(i);
    text += QStringLiteral("//DIRTY WORDS\r\nSCEM*\r\nSTUPID?\r\n//REPLY TO DIRTY WORDS\r\nx\r\n"
                           "Polite\r\nPlease\r\n");
    const QString path = folder + QStringLiteral("/big.ia");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)
        return;
    file.close();

    Prattle prattle;
    prattle.LoadIAFile(path);
    if (!prattle.IsReady()) {
        std::printf("the personality did not load\n");
        return;
    }
    SeedProgramRandom(1);
    const QStringList inputs = {
        QStringLiteral("parola12 e parola13 sono qui"), QStringLiteral("parola1499"),
        QStringLiteral("nothing at all matches this sentence of nine words here"),
        QStringLiteral("sei proprio scemo"), QStringLiteral("si")};
    constexpr int rounds = 2000;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < rounds; ++i) {
        QString input = inputs.at(i % inputs.size());
        prattle.Rispondi(input);
    }
    std::printf("Rispondi, 500 triples: %.3f ms a reply (%d replies)\n",
                double(timer.nsecsElapsed()) / 1e6 / rounds, rounds);
}

bool play(const QString &folder, const QString &text)
{
    const QString wav = folder + QStringLiteral("/say.wav");
    return QProcess::execute(QStringLiteral("espeak-ng"),
                             {QStringLiteral("-v"), QStringLiteral("en-us"), QStringLiteral("-w"),
                              wav, text}) == 0 &&
           QProcess::execute(QStringLiteral("paplay"), {wav}) == 0;
}

void recognition(const QString &folder)
{
    SpeechRecognizer asr;
    asr.EnumerateRecognizers();
    if (!asr.RecognizerAvailable) {
        std::printf("recognition: no model or no audio input (start a sound server)\n");
        return;
    }
    int results = 0;
    QString last;
    QObject::connect(&asr, &SpeechRecognizer::ASR_Recognition, [&](const QString &text) {
        ++results;
        last = text;
    });
    QObject::connect(&asr, &SpeechRecognizer::ASR_FalseRecognition, [&] {
        ++results;
        last = QStringLiteral("(other words)");
    });
    asr.StartRecognition(
        {QStringLiteral("yes"), QStringLiteral("no"), QStringLiteral("OTHER_WORDS")});
    QElapsedTimer timer;
    timer.start();
    while (!asr.isCapturing() && timer.elapsed() < 5000)
        waitMs(10);

    // Silence: the processor time of the whole process while it listens.
    const double cpu0 = cpuSeconds();
    timer.restart();
    waitMs(5000);
    std::printf("listening to silence: %.1f%% of one core\n",
                100.0 * (cpuSeconds() - cpu0) / (double(timer.nsecsElapsed()) / 1e9));
    // The same with the decoder paused: what the capture alone costs.
    asr.PauseRecognition();
    const double cpu1 = cpuSeconds();
    timer.restart();
    waitMs(5000);
    std::printf("capture alone, paused: %.1f%% of one core\n",
                100.0 * (cpuSeconds() - cpu1) / (double(timer.nsecsElapsed()) / 1e9));
    asr.StartRecognition(
        {QStringLiteral("yes"), QStringLiteral("no"), QStringLiteral("OTHER_WORDS")});

    for (const char *text : {"yes", "what a lovely day", "no"}) {
        const int before = results;
        if (!play(folder, QLatin1String(text))) {
            std::printf("espeak-ng or paplay failed\n");
            return;
        }
        timer.restart(); // paplay returns when the server has played the last sample
        while (results == before && timer.elapsed() < 5000)
            waitMs(5);
        if (results == before)
            std::printf("\"%s\": nothing heard within 5 s\n", text);
        else
            std::printf("\"%s\": heard %s, %lld ms after the speaker stopped\n", text,
                        qPrintable(last), qint64(timer.elapsed()));
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    replies(dir.path());
    recognition(dir.path());
    return 0;
}
