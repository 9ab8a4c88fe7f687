// The microphone recorder on the test sound server: its microphone hears the null sink, so a
// tone played there is what it records. The saved WAV is measured, and the playback is recorded
// back from the null sink.
#include "AudioCapture.h"
#include "TestSupport.h"
#include "audio/AudioRecorder.h"
#include "audio/Beep.h"
#include "audio/WavReader.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cmath>

using namespace tonaris;

namespace {

constexpr int Rate = 22050; // what ReadWavAsEnginePcm gives

struct Tone
{
    double seconds = 0;
    double hz = 0;
};

// The longest stretch of sound (10 ms windows of RMS above 1000) and its frequency.
Tone longestTone(const QList<qint16> &pcm)
{
    const qsizetype window = Rate / 100;
    qsizetype bestStart = 0, bestLength = 0, start = -1;
    for (qsizetype at = 0; at + window <= pcm.size(); at += window) {
        double sum = 0;
        for (qsizetype i = at; i < at + window; ++i)
            sum += double(pcm[i]) * pcm[i];
        const bool loud = std::sqrt(sum / double(window)) > 1000;
        if (loud && start < 0)
            start = at;
        if ((!loud || at + 2 * window > pcm.size()) && start >= 0) {
            if (at - start > bestLength) {
                bestStart = start;
                bestLength = at - start;
            }
            start = -1;
        }
    }
    int crossings = 0;
    for (qsizetype i = bestStart + 1; i < bestStart + bestLength; ++i)
        if ((pcm[i - 1] < 0) != (pcm[i] < 0))
            ++crossings;
    const double seconds = double(bestLength) / Rate;
    return {seconds, seconds > 0 ? crossings / 2.0 / seconds : 0};
}

// Records the microphone while a tone of that length sounds on the null sink.
bool recordTone(AudioRecorder &rec, int toneMs)
{
    if (!rec.StartRecord())
        return false;
    // The microphone delivers before the tone starts.
    if (!QTest::qWaitFor([&] { return rec.lengthMs() > 300; }, 5000))
        return false;
    const int before = rec.lengthMs();
    Beep(440, toneMs);
    if (!QTest::qWaitFor([&] { return rec.lengthMs() > before + toneMs + 800; }, 10000))
        return false;
    return rec.StopRecord();
}

} // namespace

class TestAudioRecorder : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        if (!test::AudioCapture::serverReachable() || !AudioRecorder::anyInputDevice())
            QSKIP("needs the test sound server with its microphone (see test.sh)");
    }

    void formatFromCaption_data()
    {
        QTest::addColumn<QString>("caption");
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("bits");
        QTest::addColumn<int>("channels");
        QTest::newRow("44 is 44100") << "44 kHz 16 Bit Stereo" << 44100 << 16 << 2;
        QTest::newRow("11 is 11025") << "11 kHz 8 Bit Mono" << 11025 << 8 << 1;
        QTest::newRow("48 is 48000") << "48 kHz 16 Bit mono" << 48000 << 16 << 1;
        QTest::newRow("four words") << "ALaw 8 kHz Mono" << 0 << 0 << 0;
        QTest::newRow("no number") << "GSM kHz 16 Bit Mono" << 0 << 0 << 0;
    }

    void formatFromCaption()
    {
        QFETCH(QString, caption);
        QFETCH(int, rate);
        QFETCH(int, bits);
        QFETCH(int, channels);
        QCOMPARE(AudioRecorder::FormatFromCaption(caption), (PcmFormat{rate, channels, bits}));
    }

    void recordsTheMicrophone_data()
    {
        QTest::addColumn<QString>("caption");
        QTest::addColumn<qint64>("memoryLimit");
        QTest::newRow("44 kHz 16 Bit Stereo") << "44 kHz 16 Bit Stereo" << qint64(8 << 20);
        QTest::newRow("11 kHz 8 Bit Mono") << "11 kHz 8 Bit Mono" << qint64(8 << 20);
        QTest::newRow("long: kept in a file") << "22 kHz 16 Bit Mono" << qint64(64 << 10);
    }

    void recordsTheMicrophone()
    {
        QFETCH(QString, caption);
        QFETCH(qint64, memoryLimit);
        AudioRecorder::MemoryLimit = memoryLimit;
        AudioRecorder rec;
        QCOMPARE(rec.GetStatus(), int(AudioRecorder::NotReady));
        QVERIFY(rec.OpenRecorder());
        const PcmFormat format = AudioRecorder::FormatFromCaption(caption);
        QVERIFY(rec.SetAudioFormat(format.bitsPerSample, format.sampleRate, format.channels));
        QVERIFY(recordTone(rec, 2000));
        QCOMPARE(rec.GetStatus(), int(AudioRecorder::Stopped));

        // A save that fails keeps the recording for another try.
        QString error;
        QVERIFY(!rec.SaveRecordedAs(m_dir.filePath(QStringLiteral("missing/x.wav")), &error));
        QVERIFY(!error.isEmpty());
        const QString path = m_dir.filePath(QTest::currentDataTag() + QStringLiteral(".wav"));
        QVERIFY(rec.SaveRecordedAs(path, &error));

        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray header = file.read(44);
        QCOMPARE(qFromLittleEndian<quint16>(header.constData() + 22), quint16(format.channels));
        QCOMPARE(qFromLittleEndian<quint32>(header.constData() + 24), quint32(format.sampleRate));
        QCOMPARE(qFromLittleEndian<quint16>(header.constData() + 34),
                 quint16(format.bitsPerSample));
        QCOMPARE(file.size() - 44, rec.recordedBytes());
        QList<qint16> pcm;
        QVERIFY(ReadWavAsEnginePcm(path, pcm));
        const Tone tone = longestTone(pcm);
        QVERIFY2(tone.seconds > 1.8 && tone.seconds < 2.3,
                 qPrintable(QString::number(tone.seconds)));
        QVERIFY2(std::abs(tone.hz - 440) < 15, qPrintable(QString::number(tone.hz)));
        QVERIFY(
            rec.GetStatistics().endsWith((format.channels == 1 ? QStringLiteral("\r\nMono - ")
                                                               : QStringLiteral("\r\nStereo - ")) +
                                         QStringLiteral("%1 bits - %2 samples per second \r\n\r\n")
                                             .arg(format.bitsPerSample)
                                             .arg(format.sampleRate)));
        QVERIFY(rec.CloseRecorder());
        QCOMPARE(rec.GetStatus(), int(AudioRecorder::NotReady));
    }

    // Played back, the whole tone is heard on the null sink, and the playback ends by itself.
    void playbackEndsByItself()
    {
        AudioRecorder rec;
        QVERIFY(rec.OpenRecorder());
        QVERIFY(rec.SetAudioFormat(16, 44100, 1));
        QVERIFY(recordTone(rec, 1000));
        const QString path = m_dir.filePath(QStringLiteral("played.wav"));
        QVERIFY(rec.SaveRecordedAs(path));
        QList<qint16> pcm;
        QVERIFY(ReadWavAsEnginePcm(path, pcm));
        const Tone recorded = longestTone(pcm);

        test::AudioCapture capture;
        QString error;
        QVERIFY2(capture.start(&error), qPrintable(error));
        QSignalSpy ended(&rec, &AudioRecorder::statusChanged);
        QElapsedTimer playing;
        playing.start();
        QVERIFY(rec.PlayRecorded());
        QCOMPARE(rec.GetStatus(), int(AudioRecorder::Playing));
        QVERIFY(!rec.PlayRecorded()); // not while playing
        QTRY_COMPARE_WITH_TIMEOUT(rec.GetStatus(), int(AudioRecorder::Stopped), 10000);
        QCOMPARE(ended.size(), 1);
        // It cannot have sounded whole in less time than it lasts: the end was not cut.
        QVERIFY2(
            playing.elapsed() >= rec.lengthMs() - 15,
            qPrintable(QStringLiteral("%1 ms for %2").arg(playing.elapsed()).arg(rec.lengthMs())));
        QCOMPARE(rec.GetReproducingPosition(), rec.lengthMs());
        QVERIFY(capture.stop());
        const Tone heard = longestTone(capture.samples());
        QVERIFY2(std::abs(heard.seconds - recorded.seconds) < 0.1,
                 qPrintable(QStringLiteral("%1 %2").arg(heard.seconds).arg(recorded.seconds)));
        QVERIFY2(std::abs(heard.hz - 440) < 15, qPrintable(QString::number(heard.hz)));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestAudioRecorder)
#include "tst_audiorecorder.moc"
