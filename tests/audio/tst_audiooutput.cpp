#include "AudioCapture.h"
#include "TestSupport.h"
#include "audio/AudioOutput.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <cmath>

using namespace tonaris;
using tonaris::test::AudioCapture;

namespace {
constexpr int Rate = 22050;

QList<qint16> sine(int ms, double hz = 440)
{
    QList<qint16> s(qsizetype(Rate) * ms / 1000);
    for (qsizetype i = 0; i < s.size(); ++i)
        s[i] = qint16(12000 * std::sin(2 * M_PI * hz * double(i) / Rate));
    return s;
}

AudioMarker marker(AudioMarker::Kind kind, qint64 sample, int position = 0)
{
    AudioMarker m;
    m.kind = kind;
    m.sample = sample;
    m.charPosition = position;
    return m;
}

bool waitForMarker(QSignalSpy &spy, AudioMarker::Kind kind, int timeoutMs = 8000)
{
    QElapsedTimer t;
    t.start();
    for (;;) {
        for (const auto &args : spy)
            if (args.at(0).value<AudioMarker>().kind == kind)
                return true;
        if (t.elapsed() > timeoutMs)
            return false;
        spy.wait(50);
    }
}
// What the sound server says of the streams playing now ("s16le 2ch 44100Hz" and the like).
QString playingStreamFormats()
{
    QProcess pactl;
    pactl.start(QStringLiteral("pactl"), {QStringLiteral("list"), QStringLiteral("sink-inputs")});
    pactl.waitForFinished(5000);
    return QString::fromUtf8(pactl.readAllStandardOutput());
}
} // namespace

class TestAudioOutput : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        if (!AudioCapture::serverReachable() || !AudioOutput::anyOutputDevice())
            QSKIP("no sound server reachable");
    }

    void toneIsHeardWithMarkersInPlace_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("serverFormat"); // the stream as the sound server receives it
        QTest::newRow("engine format") << -1 << "s16le 1ch 22050Hz";
        QTest::newRow("11 kHz mono 16 bit") << 10 << "s16le 1ch 11025Hz";
        QTest::newRow("8 kHz stereo 8 bit") << 5 << "u8 2ch 8000Hz";
        QTest::newRow("44 kHz stereo 16 bit") << 35 << "s16le 2ch 44100Hz";
    }
    void toneIsHeardWithMarkersInPlace()
    {
        QFETCH(int, code);
        QFETCH(QString, serverFormat);
        AudioOutput out;
        PcmFormat format = EnginePcmFormat;
        if (code >= 0)
            QVERIFY(PcmFormatFromCode(code, format));
        out.setFormat(format);
        AudioCapture capture;
        QString error;
        QVERIFY2(capture.start(&error), qPrintable(error));

        // Silence, then a tone with words at its start and 300 ms in: the markers must not
        // run ahead of what the recording has heard.
        QList<qint16> pcm(Rate / 5, 0);
        pcm += sine(600);
        QList<qint64> heardAt;
        QSignalSpy spy(&out, &AudioOutput::markerReached);
        QSignalSpy levels(&out, &AudioOutput::audioLevel);
        connect(&out, &AudioOutput::markerReached, this,
                [&](const AudioMarker &) { heardAt.append(capture.framesSoFar()); });
        const qint64 words[] = {Rate / 5, Rate / 5 + Rate * 3 / 10};
        out.write(out.generation(), pcm.constData(), pcm.size(),
                  {marker(AudioMarker::Word, words[0], 1), marker(AudioMarker::Word, words[1], 2),
                   marker(AudioMarker::EndStream, pcm.size())});
        // The format reaches the device as it is, not converted back to the engine's.
        QTRY_VERIFY2(playingStreamFormats().contains(serverFormat),
                     qPrintable(playingStreamFormats()));
        QVERIFY(waitForMarker(spy, AudioMarker::EndStream));
        QTRY_VERIFY(out.isIdle());
        QTest::qWait(150); // let parec write the tail
        QVERIFY(capture.stop());

        const auto spans = capture.soundSpans();
        QCOMPARE(spans.size(), 1);
        const auto tone = spans.first();
        QVERIFY2(qAbs(AudioCapture::msFromFrames(tone.length()) - 600) < 100,
                 qPrintable(QString::number(AudioCapture::msFromFrames(tone.length()))));
        QVERIFY(capture.rms(tone.start, tone.length()) > 4000);
        const double hz = capture.frequency(tone.start, tone.length());
        QVERIFY2(qAbs(hz - 440) < 15, qPrintable(QString::number(hz)));
        QVERIFY(levels.size() >= 10);

        QCOMPARE(heardAt.size(), 3);
        QCOMPARE(spy.at(0).at(0).value<AudioMarker>().charPosition, 1);
        QCOMPARE(spy.at(1).at(0).value<AudioMarker>().charPosition, 2);
        const qint64 due[] = {tone.start, tone.start + AudioCapture::framesFromMs(300), tone.end};
        for (int i = 0; i < 3; ++i) {
            const double lateMs = AudioCapture::msFromFrames(heardAt[i] - due[i]);
            qInfo("marker %d raised %.0f ms after its sound reached the recording", i, lateMs);
            QVERIFY2(lateMs > -40 && lateMs < 300, qPrintable(QString::number(lateMs)));
        }
    }

    void purgeStopsSoundAndDropsMarkers()
    {
        AudioOutput out;
        AudioCapture capture;
        QVERIFY(capture.start());
        const QList<qint16> pcm = sine(2000);
        QSignalSpy spy(&out, &AudioOutput::markerReached);
        const quint64 old = out.generation();
        out.write(old, pcm.constData(), pcm.size(),
                  {marker(AudioMarker::Word, Rate / 5), marker(AudioMarker::Word, Rate),
                   marker(AudioMarker::EndStream, pcm.size())});
        QVERIFY(waitForMarker(spy, AudioMarker::Word));
        const quint64 fresh = out.purge();
        QVERIFY(fresh > old);
        QVERIFY(out.isIdle());
        // A worker still busy with the old request cannot bring it back.
        out.write(old, pcm.constData(), pcm.size(), {marker(AudioMarker::EndStream, 0)});
        QTest::qWait(500);
        QCOMPARE(spy.size(), 1);
        QVERIFY(out.isIdle());
        const QList<qint16> beep = sine(300, 880);
        out.write(fresh, beep.constData(), beep.size(),
                  {marker(AudioMarker::EndStream, beep.size())});
        QVERIFY(waitForMarker(spy, AudioMarker::EndStream));
        QTest::qWait(150);
        QVERIFY(capture.stop());

        const auto spans = capture.soundSpans();
        QVERIFY(!spans.isEmpty());
        QVERIFY(AudioCapture::msFromFrames(spans.first().length()) < 800);
        const qint64 edge = AudioCapture::framesFromMs(20);
        const double hz =
            capture.frequency(spans.last().start + edge, spans.last().length() - 2 * edge);
        QVERIFY2(qAbs(hz - 880) < 40,
                 qPrintable(QStringLiteral("%1 Hz in %2 spans").arg(hz).arg(spans.size())));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestAudioOutput)
#include "tst_audiooutput.moc"
