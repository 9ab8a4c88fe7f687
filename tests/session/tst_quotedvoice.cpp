// Quoted passages heard in the second voice: the real espeak-ng engine plays into the test
// server's null sink, and the recording's voice pitch tells the two voices apart.
#include "AudioCapture.h"
#include "TestSupport.h"
#include "audio/AudioOutput.h"
#include "session/SpeechSession.h"
#include "voices/EspeakEngine.h"

#include <QTest>

#include <algorithm>
#include <cmath>

using namespace tonaris;
using tonaris::test::AudioCapture;

namespace {

// The median fundamental frequency of the voiced stretches, by autocorrelation over 40 ms frames;
// 0 when nothing voiced was heard.
double medianPitch(const QList<qint16> &samples)
{
    const int frame = 882;
    const int minLag = AudioCapture::SampleRate / 450;
    const int maxLag = AudioCapture::SampleRate / 60;
    QList<double> pitches;
    for (qsizetype at = 0; at + frame + maxLag < samples.size(); at += frame / 2) {
        double energy = 0;
        for (int i = 0; i < frame; ++i)
            energy += double(samples[at + i]) * samples[at + i];
        if (std::sqrt(energy / frame) < 1500)
            continue; // silence or a soft consonant
        double best = 0;
        int bestLag = 0;
        for (int lag = minLag; lag <= maxLag; ++lag) {
            double sum = 0, shifted = 0;
            for (int i = 0; i < frame; ++i) {
                sum += double(samples[at + i]) * samples[at + i + lag];
                shifted += double(samples[at + i + lag]) * samples[at + i + lag];
            }
            const double r = sum / std::sqrt(energy * shifted + 1);
            if (r > best) {
                best = r;
                bestLag = lag;
            }
        }
        if (best > 0.6)
            pitches.append(double(AudioCapture::SampleRate) / bestLag);
    }
    if (pitches.isEmpty())
        return 0;
    std::sort(pitches.begin(), pitches.end());
    return pitches.at(pitches.size() / 2);
}

} // namespace

class TestQuotedVoice : public QObject
{
    Q_OBJECT

private:
    // Speaks one line through the session as the loop does and records it.
    double heardPitch(SpeechSession &s, EspeakEngine &voice, const QString &line)
    {
        AudioCapture capture;
        QString error;
        if (!capture.start(&error))
            qFatal("recording failed: %s", qPrintable(error));
        s.PersistTags = 0;
        s.PlayTTS(line);
        if (!QTest::qWaitFor([&] { return voice.RunningState() == SRSEDone; }, 30000))
            qWarning("the engine never finished");
        QTest::qWait(300); // the tail of the sound reaches the recorder
        capture.stop();
        return medianPitch(capture.samples());
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        if (!AudioCapture::serverReachable() || !AudioOutput::anyOutputDevice())
            QSKIP("no sound server; ./test.sh starts one");
    }

    void quotedPassageSoundsInTheSecondVoice()
    {
        EspeakEngine voice;
        SpeechSession s;
        s.setVoices(&voice, nullptr);
        QString male, female;
        for (const VoiceInfo &v : voice.GetVoices()) {
            if (v.languageTag != QLatin1String("en-us"))
                continue;
            (v.gender == QLatin1String("FEMALE") ? female : male) = v.name;
            if (v.gender == QLatin1String("MALE"))
                QVERIFY(voice.SetVoiceById(v.id));
        }
        QVERIFY2(!male.isEmpty() && !female.isEmpty(), "no male and female en-us voices");
        s.VoiceNameAt = [&](int index) { return index == 0 ? female : QString(); };
        s.VoiceForQuotedIndex = 0;
        s.VoiceForQuotedPitch = 8;

        const QString line =
            QStringLiteral("\"Many more mornings will come, my dear friend,\" she said.");
        s.CustomizeVoiceInQuotedText = false;
        const double plain = heardPitch(s, voice, line);
        s.CustomizeVoiceInQuotedText = true;
        const double quoted = heardPitch(s, voice, line);
        // Only the narrator's words remain in the main voice.
        const double narrator =
            heardPitch(s, voice, QStringLiteral("\"\" she said, and said it again."));
        qInfo() << "median pitch, Hz: main voice" << plain << "quoted voice" << quoted
                << "narrator beside an empty quote" << narrator;
        QVERIFY(plain > 60);
        QVERIFY2(quoted > 1.3 * plain, "the quoted passage was not heard in the second voice");
        QVERIFY(narrator < 1.15 * plain);
    }
};

TONARIS_TEST_MAIN(TestQuotedVoice)
#include "tst_quotedvoice.moc"
