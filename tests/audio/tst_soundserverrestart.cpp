#include "TestSupport.h"

#include "audio/AudioOutput.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/types.h>

using namespace tonaris;

// The sound server killed while speaking and started again: the output neither hangs nor crashes,
// and the next speech sounds without a new AudioOutput. The test runs its own server, so killing
// it touches nobody else's.
class TestSoundServerRestart : public QObject
{
    Q_OBJECT

    QTemporaryDir runtime;
    qint64 serverPid = 0;

    bool startServer()
    {
        QProcess pulse;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
        pulse.setProcessEnvironment(env);
        pulse.start(QStringLiteral("pulseaudio"),
                    {QStringLiteral("-D"), QStringLiteral("--exit-idle-time=-1"),
                     QStringLiteral("-n"), QStringLiteral("--disable-shm=yes"),
                     QStringLiteral("--use-pid-file=yes"), QStringLiteral("-L"),
                     QStringLiteral("module-null-sink sink_name=restart_null"),
                     QStringLiteral("-L"),
                     QStringLiteral("module-native-protocol-unix socket=%1/pulse.sock "
                                    "auth-anonymous=1")
                         .arg(runtime.path())});
        if (!pulse.waitForFinished(20000) || pulse.exitCode() != 0)
            return false;
        QFile pid(runtime.path() + QStringLiteral("/pulse/pid"));
        if (!pid.open(QIODevice::ReadOnly))
            return false;
        serverPid = pid.readAll().trimmed().toLongLong();
        return serverPid > 0;
    }

    void killServer()
    {
        if (serverPid > 0)
            ::kill(pid_t(serverPid), SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(::kill(pid_t(serverPid), 0) != 0, 10000);
        serverPid = 0;
    }

    // Plays `ms` of tone; true when the end marker came no earlier than half its length, that is
    // when it sounded rather than was skipped for want of a device.
    static bool plays(AudioOutput &out, int ms)
    {
        QList<qint16> pcm(qsizetype(22050) * ms / 1000);
        for (qsizetype i = 0; i < pcm.size(); ++i)
            pcm[i] = qint16((i % 50 < 25) ? 8000 : -8000);
        AudioMarker end;
        end.kind = AudioMarker::EndStream;
        end.sample = pcm.size();
        QSignalSpy spy(&out, &AudioOutput::markerReached);
        QElapsedTimer timer;
        timer.start();
        out.write(out.purge(), pcm.constData(), pcm.size(), {end});
        if (!spy.wait(ms * 4 + 5000))
            return false;
        return timer.elapsed() >= ms / 2;
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        if (QStandardPaths::findExecutable(QStringLiteral("pulseaudio")).isEmpty())
            QSKIP("pulseaudio is not installed");
        QVERIFY(runtime.isValid());
        QVERIFY(startServer());
        qputenv("PULSE_SERVER", ("unix:" + runtime.path() + "/pulse.sock").toUtf8());
    }
    void cleanupTestCase()
    {
        if (serverPid > 0)
            ::kill(pid_t(serverPid), SIGKILL);
    }

    void speaksAgainOnceTheServerIsBack()
    {
        AudioOutput out;
        QVERIFY(AudioOutput::anyOutputDevice());
        QVERIFY(plays(out, 600));

        // Killed in the middle of a long tone: the stream ends, nothing waits forever.
        QList<qint16> pcm(22050 * 10, 1000);
        AudioMarker end;
        end.kind = AudioMarker::EndStream;
        end.sample = pcm.size();
        QSignalSpy ended(&out, &AudioOutput::markerReached);
        out.write(out.purge(), pcm.constData(), pcm.size(), {end});
        QTest::qWait(300);
        killServer();
        QTRY_VERIFY_WITH_TIMEOUT(ended.count() > 0 || out.isIdle(), 20000);
        out.purge();

        QVERIFY(startServer());
        QTRY_VERIFY_WITH_TIMEOUT(AudioOutput::anyOutputDevice(), 20000);
        QTRY_VERIFY_WITH_TIMEOUT(plays(out, 600), 20000);
    }
};

QTEST_GUILESS_MAIN(TestSoundServerRestart)
#include "tst_soundserverrestart.moc"
