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
        pulse.start("pulseaudio",
                    {"-D", "--exit-idle-time=-1", "-n", "--disable-shm=yes", "--use-pid-file=yes",
                     "-L", "module-null-sink sink_name=restart_null", "-L",
                     "module-native-protocol-unix socket=" + runtime.path() +
                         "/pulse.sock auth-anonymous=1"});
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

    // Plays `ms` of sound; true when the end marker came no earlier than half its length, that
    // is when it sounded rather than was skipped for want of a device.
    static bool plays(AudioOutput &out, int ms)
    {
        const QList<qint16> pcm(qsizetype(22050) * ms / 1000, 8000);
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
