#include "AudioCapture.h"
#include "TestSupport.h"
#include "audio/AudioOutput.h"
#include "audio/Beep.h"

#include <QAudioDevice>
#include <QCoreApplication>
#include <QMediaDevices>
#include <QProcess>
#include <QTest>
#include <QTimer>

#include <cstring>

using namespace tonaris;
using tonaris::test::AudioCapture;

namespace {
const char *const NoServerMode = "--child-no-server";
const char *const QuitMode = "--child-quit-while-sounding";

// The scenarios that end the process run in a child of the test: exit code 0 means it went
// through without crashing or hanging.
[[noreturn]] void runChild(int argc, char **argv, const char *mode)
{
    if (std::strcmp(mode, NoServerMode) == 0)
        qputenv("PULSE_SERVER", "unix:/nonexistent/tonaris-no-server.sock");
    QCoreApplication app(argc, argv);
    if (std::strcmp(mode, NoServerMode) == 0) {
        if (!QMediaDevices::audioOutputs().isEmpty())
            ExitWithoutAudioTeardown(2); // the scenario would not be what it claims
        for (int i = 0; i < 5; ++i)
            Beep(200, 300);
        QTimer::singleShot(400, &app, &QCoreApplication::quit);
    } else {
        Beep(200, 2000);
        QTimer::singleShot(150, &app, &QCoreApplication::quit);
    }
    ExitWithoutAudioTeardown(app.exec()); // as the program ends
}
} // namespace

class TestBeep : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { test::isolateEnvironment(); }

    void toneIsHeardAtItsPitch()
    {
        if (!AudioCapture::serverReachable() || QMediaDevices::audioOutputs().isEmpty())
            QSKIP("no sound server reachable");
        AudioCapture capture;
        QString error;
        QVERIFY2(capture.start(&error), qPrintable(error));
        const qint64 from = capture.framesSoFar();
        Beep(200, 300);
        QTRY_VERIFY_WITH_TIMEOUT(capture.framesSoFar() > from + AudioCapture::framesFromMs(2000),
                                 10000);
        QVERIFY(capture.stop());

        const auto spans = capture.soundSpans();
        QString heard;
        for (const auto &s : spans)
            heard += QStringLiteral(" %1+%2 ms")
                         .arg(AudioCapture::msFromFrames(s.start - from))
                         .arg(AudioCapture::msFromFrames(s.length()));
        QVERIFY2(spans.size() == 1, qPrintable(heard));
        const auto tone = spans.first();
        const double ms = AudioCapture::msFromFrames(tone.length());
        // Not cut short: the sink's buffer must play out before the tone is cleaned up.
        QVERIFY2(qAbs(ms - 300) < 60, qPrintable(QString::number(ms)));
        QVERIFY(capture.rms(tone.start, tone.length()) > 3000);
        const double hz = capture.frequency(tone.start, tone.length());
        qInfo("beep heard for %.0f ms at %.1f Hz", ms, hz);
        QVERIFY2(qAbs(hz - 200) < 25, qPrintable(QString::number(hz)));
    }

    void childEndsCleanly_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("needsServer");
        QTest::newRow("no sound server: beeps are silent")
            << QString::fromLatin1(NoServerMode) << false;
        QTest::newRow("application quits mid-tone") << QString::fromLatin1(QuitMode) << true;
    }
    void childEndsCleanly()
    {
        QFETCH(QString, mode);
        QFETCH(bool, needsServer);
        if (needsServer && QMediaDevices::audioOutputs().isEmpty())
            QSKIP("no sound server reachable");
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedChannels);
        child.start(QCoreApplication::applicationFilePath(), {mode});
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(child.exitCode(), 0);
    }
};

int main(int argc, char **argv)
{
    if (argc == 2 &&
        (std::strcmp(argv[1], NoServerMode) == 0 || std::strcmp(argv[1], QuitMode) == 0))
        runChild(argc, argv, argv[1]);
    int status = 0;
    {
        QCoreApplication app(argc, argv);
        TestBeep test;
        status = QTest::qExec(&test, argc, argv);
    }
    test::leaveProcess(status);
}

#include "tst_beep.moc"
