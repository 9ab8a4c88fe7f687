#include "TestSupport.h"
#include "audio/AudioOutput.h"
#include "audio/AudioRecorder.h"
#include "audio/Beep.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

using namespace tonaris;

// Runs against a sound server that is not there: nothing may hang, and every marker must
// still arrive so that callers waiting for the end of a stream go on.
class TestAudioNoDevice : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { test::isolateEnvironment(); }

    void markersArriveInOrderWithoutDevice()
    {
        QVERIFY(!AudioOutput::anyOutputDevice());
        AudioOutput out;
        QVERIFY(!out.setDevice(QAudioDevice()));
        QSignalSpy spy(&out, &AudioOutput::markerReached);
        const QList<qint16> pcm(22050, 1000);
        std::unique_ptr<QThread> worker(QThread::create([&] {
            for (int i = 0; i < 3; ++i) {
                AudioMarker m;
                m.charPosition = i;
                m.kind = i == 2 ? AudioMarker::EndStream : AudioMarker::Word;
                out.write(out.generation(), pcm.constData(), pcm.size(), {m});
            }
        }));
        worker->start();
        QVERIFY(worker->wait(5000));
        QTRY_COMPARE(spy.size(), 3);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(spy.at(i).at(0).value<AudioMarker>().charPosition, i);
        QVERIFY(out.isIdle());
    }

    void beepsAreSilent()
    {
        for (int i = 0; i < 5; ++i)
            Beep(200, 300);
        QTest::qWait(400);
    }

    void recorderWithoutMicrophone()
    {
        QVERIFY(!AudioRecorder::anyInputDevice());
        AudioRecorder rec;
        QVERIFY(rec.OpenRecorder());
        QVERIFY(!rec.StartRecord());
        QVERIFY(!rec.PlayRecorded());
        QCOMPARE(rec.GetStatus(), int(AudioRecorder::Stopped));
    }
};

int main(int argc, char **argv)
{
    qputenv("PULSE_SERVER", "unix:/nonexistent/tonaris-no-server.sock");
    QCoreApplication app(argc, argv);
    TestAudioNoDevice test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_audionodevice.moc"
