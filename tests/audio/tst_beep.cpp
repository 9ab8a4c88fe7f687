#include "AudioCapture.h"
#include "TestSupport.h"
#include "audio/AudioOutput.h"
#include "audio/Beep.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>
#include <QTimer>

#include <cstring>

using namespace tonaris;
using tonaris::test::AudioCapture;

namespace {
const char *const QuitMode = "--child-quit-while-sounding";
} // namespace

class TestBeep : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        if (!AudioCapture::serverReachable() || !AudioOutput::anyOutputDevice())
            QSKIP("no sound server reachable");
    }

    void toneIsHeardAtItsPitch()
    {
        AudioCapture capture;
        QString error;
        QVERIFY2(capture.start(&error), qPrintable(error));
        const qint64 from = capture.framesSoFar();
        Beep(200, 300);
        QTRY_VERIFY_WITH_TIMEOUT(capture.framesSoFar() > from + AudioCapture::framesFromMs(2000),
                                 10000);
        QVERIFY(capture.stop());
        const auto spans = capture.soundSpans();
        QCOMPARE(spans.size(), 1);
        const auto tone = spans.first();
        const double ms = AudioCapture::msFromFrames(tone.length());
        // Not cut short: the sink's buffer must play out before the tone is cleaned up.
        QVERIFY2(qAbs(ms - 300) < 60, qPrintable(QString::number(ms)));
        QVERIFY(capture.rms(tone.start, tone.length()) > 3000);
        const double hz = capture.frequency(tone.start, tone.length());
        QVERIFY2(qAbs(hz - 200) < 25, qPrintable(QString::number(hz)));
    }

    // The program may end while a tone sounds: the child must end cleanly, not crash or hang.
    void quitWhileSounding()
    {
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedChannels);
        child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(QuitMode)});
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(child.exitCode(), 0);
    }
};

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], QuitMode) == 0) {
        QCoreApplication app(argc, argv);
        Beep(200, 2000);
        QTimer::singleShot(150, &app, &QCoreApplication::quit);
        ExitWithoutAudioTeardown(app.exec()); // as the program ends
    }
    int status = 0;
    {
        QCoreApplication app(argc, argv);
        TestBeep test;
        status = QTest::qExec(&test, argc, argv);
    }
    test::leaveProcess(status);
}

#include "tst_beep.moc"
