// The speech loop with the real espeak-ng engine, played into the null sink and recorded back:
// what the user hears (speech, pauses, sounds, the second voice) and sees highlighted.
#include "AudioCapture.h"
#include "TestSupport.h"
#include "audio/AudioOutput.h"
#include "session/SpeechSession.h"
#include "textprep/Text.h"
#include "voices/EspeakEngine.h"
#include "voices/ExternalVoiceEngine.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <QSignalSpy>
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

class TestSpeechAloud : public QObject
{
    Q_OBJECT

private:
    SpeechSession *s = nullptr;
    Text *editor = nullptr;
    EspeakEngine *voice = nullptr;
    EspeakEngine *over = nullptr;
    QStringList highlighted; // the editor's selection at each word event

    // The display, unlike the state, does not blink to idle between two lines.
    bool runEnded() const { return s->StatusDisplay == SpeechSession::DisplayReady; }

    // Strength of one frequency over a stretch of the recording (Goertzel), RMS-like scale.
    static double toneLevel(const AudioCapture &c, qint64 from, qint64 count, double hz)
    {
        const double w = 2 * M_PI * hz / AudioCapture::SampleRate;
        double s1 = 0, s2 = 0;
        const qint64 end = std::min<qint64>(from + count, c.samples().size());
        for (qint64 i = std::max<qint64>(from, 0); i < end; ++i) {
            const double s0 = c.samples()[i] + 2 * std::cos(w) * s1 - s2;
            s2 = s1;
            s1 = s0;
        }
        const double power = s1 * s1 + s2 * s2 - 2 * std::cos(w) * s1 * s2;
        return std::sqrt(std::max(0.0, power)) * 2 / std::max<qint64>(1, end - from);
    }

    static QStringList wordsOf(const QString &text)
    {
        return text.split(QRegularExpression(QStringLiteral("[^A-Za-z]+")), Qt::SkipEmptyParts);
    }

    // Speaks one line through the session as the loop does and records it.
    double heardPitch(const QString &line)
    {
        AudioCapture capture;
        QString error;
        if (!capture.start(&error))
            qFatal("recording failed: %s", qPrintable(error));
        s->PersistTags = 0;
        s->PlayTTS(line);
        if (!QTest::qWaitFor([&] { return voice->RunningState() == SRSEDone; }, 30000))
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
    void init()
    {
        s = new SpeechSession;
        editor = new Text;
        voice = new EspeakEngine;
        over = new EspeakEngine;
        s->setEditor(editor);
        s->setVoices(voice, over);
        highlighted.clear();
        // Connected after the session, so the selection has already moved.
        connect(voice, &SpeechEngine::Word, this, [this] {
            highlighted.append(editor->text().mid(editor->SelStart(), editor->SelLength()));
        });
    }
    void cleanup()
    {
        delete s;
        delete voice;
        delete over;
        delete editor;
    }

    void twoLinesAreHeardWithTheirWordsHighlighted()
    {
        const QString text = QStringLiteral("Hello world, this is the first line.\r\n"
                                            "And here comes the second one.");
        editor->setText(text);
        AudioCapture capture;
        QString error;
        QVERIFY2(capture.start(&error), qPrintable(error));
        s->CommandSpeech_Click();
        QTRY_COMPARE_WITH_TIMEOUT(s->SpeechState, 1, 2000);
        QVERIFY(editor->Locked());
        QTRY_VERIFY_WITH_TIMEOUT(runEnded(), 30000);
        QVERIFY(capture.stop());

        const auto spans = capture.soundSpans();
        QVERIFY(!spans.isEmpty());
        const qint64 heard = spans.last().end - spans.first().start;
        const double seconds = AudioCapture::msFromFrames(heard) / 1000.0;
        QVERIFY2(seconds > 2.0 && seconds < 12.0, qPrintable(QString::number(seconds)));
        QVERIFY(capture.rms(spans.first().start, heard) > 1000);

        QStringList seen;
        for (const QString &h : std::as_const(highlighted))
            seen += wordsOf(h);
        QCOMPARE(seen, wordsOf(text));
        QCOMPARE(s->StatusDisplay, int(SpeechSession::DisplayReady));
        QVERIFY(!editor->Locked());
    }

    void pauseSilencesAndResumeContinues()
    {
        editor->setText(QStringLiteral("One two three four five six seven eight nine ten "
                                       "eleven twelve thirteen fourteen fifteen sixteen."));
        AudioCapture capture;
        QVERIFY(capture.start());
        s->CommandSpeech_Click();
        QTRY_VERIFY_WITH_TIMEOUT(highlighted.size() >= 3, 10000);
        s->CommandPauseResume_Click();
        QTRY_COMPARE(s->SpeechState, 2);
        const int wordsAtPause = int(highlighted.size());
        QTest::qWait(1200); // the length of the pause the recording must show
        QCOMPARE(int(highlighted.size()), wordsAtPause);
        s->CommandPauseResume_Click();
        QTRY_COMPARE(s->SpeechState, 1);
        QTRY_VERIFY_WITH_TIMEOUT(runEnded(), 30000);
        QVERIFY(capture.stop());

        // A gap far longer than any pause of speech, with speech on both sides.
        const auto spans = capture.soundSpans();
        qint64 longestGap = 0;
        int gapAt = -1;
        for (int i = 1; i < spans.size(); ++i) {
            if (spans[i].start - spans[i - 1].end > longestGap) {
                longestGap = spans[i].start - spans[i - 1].end;
                gapAt = i;
            }
        }
        QVERIFY2(AudioCapture::msFromFrames(longestGap) > 900,
                 qPrintable(QString::number(AudioCapture::msFromFrames(longestGap))));
        QVERIFY(gapAt > 0 && gapAt < spans.size());
        QCOMPARE(wordsOf(highlighted.join(QLatin1Char(' '))).size(), 16);
    }

    void scriptSoundsAreHeard()
    {
        QTemporaryDir dir;
        test::writeFile(dir.filePath("Tone.wav"), test::toneWav(22050, 1, 16, 1000, 880));
        const QString mp3src =
            test::writeFile(dir.filePath("src.wav"), test::toneWav(44100, 2, 16, 1000, 440));
        if (QProcess::execute("lame", {"--silent", mp3src, dir.filePath("Low Tone.mp3")}) != 0)
            QSKIP("lame is missing; ./test.sh installs it");
        s->TextFolder = dir.path();
        editor->setText("Hello.\r\n#PLAY tone.wav\r\n#PLAY \"low tone.mp3\"\r\n#WAIT 2\r\nBye.");
        AudioCapture capture;
        QVERIFY(capture.start());
        s->CommandSpeech_Click();
        QTRY_COMPARE_WITH_TIMEOUT(s->SpeechState, 1, 2000);
        QTRY_VERIFY_WITH_TIMEOUT(runEnded(), 30000);
        QVERIFY(capture.stop());

        // Speech, the high tone, the low tone, about two seconds of nothing, speech.
        const auto spans = capture.soundSpans(1000, 300);
        QVERIFY(spans.size() >= 2);
        const qint64 step = AudioCapture::framesFromMs(100);
        qint64 high = -1, low = -1;
        for (qint64 at = spans.first().start; at < spans.first().end; at += step) {
            if (high < 0 && toneLevel(capture, at, step, 880) > 2000)
                high = at;
            if (low < 0 && toneLevel(capture, at, step, 440) > 2000)
                low = at;
        }
        QVERIFY2(high > spans.first().start && low > high + AudioCapture::framesFromMs(800),
                 qPrintable(QStringLiteral("%1 %2").arg(high).arg(low)));
        const double gapMs =
            AudioCapture::msFromFrames(spans.last().start - spans[spans.size() - 2].end);
        QVERIFY2(gapMs > 1500 && gapMs < 3500, qPrintable(QString::number(gapMs)));
        QCOMPARE(QDir(dir.path()).entryList({"temp_*"}).size(), 0);
    }

    void playOverSoundsUnderSpeech()
    {
        QTemporaryDir dir;
        test::writeFile(dir.filePath("bed.wav"), test::toneWav(22050, 1, 16, 1500, 880));
        s->TextFolder = dir.path();
        editor->setText("#PLAYOVER BED.WAV\r\nThis sentence is spoken while the tone goes on "
                        "under it, and it lasts longer than the tone.");
        AudioCapture capture;
        QVERIFY(capture.start());
        s->CommandSpeech_Click();
        QTRY_COMPARE_WITH_TIMEOUT(s->SpeechState, 1, 2000);
        QTRY_VERIFY_WITH_TIMEOUT(runEnded(), 30000);
        QVERIFY(capture.stop());
        const auto spans = capture.soundSpans();
        QVERIFY(!spans.isEmpty());
        const qint64 start = spans.first().start, second = AudioCapture::framesFromMs(1000);
        // The tone is there under the first second of speech and gone two seconds later.
        QVERIFY(toneLevel(capture, start, second, 880) > 1500);
        QVERIFY(toneLevel(capture, start + 2 * second, second, 880) < 500);
        QVERIFY(!highlighted.isEmpty());
    }

    // With a voice program the loop waits on the program's speaking flag and on its own pause
    // mark, as that engine has no paused state to read.
    void externalVoiceSpeaksTheLinesInTurn()
    {
        const QList<ExternalVoice> voices = ExternalVoices::fliteVoices();
        if (voices.isEmpty())
            QSKIP("flite is not installed");
        ExternalVoiceEngine dss(voices);
        s->setExternalVoice(&dss);
        s->EngineKind = 1;
        QSignalSpy ended(&dss, &ExternalVoiceEngine::AudioStop);
        editor->setText(
            QStringLiteral("One little line.\r\nAnd <volume level=\"20\">another</volume>."));
        s->CommandSpeech_Click();
        QTRY_COMPARE_WITH_TIMEOUT(s->SpeechState, 1, 5000);
        s->CommandPauseResume_Click();
        QTRY_COMPARE(s->SpeechState, 2);
        QVERIFY(s->Sapi4Paused);
        QVERIFY(dss.AudioPaused());
        s->CommandPauseResume_Click();
        QTRY_COMPARE(s->SpeechState, 1);
        QVERIFY(!s->Sapi4Paused);
        QTRY_VERIFY_WITH_TIMEOUT(runEnded(), 30000);
        QCOMPARE(ended.size(), 2); // (that it is heard, the voice's own test shows)
        s->setExternalVoice(nullptr);
    }

    void stopPurgesAtOnce()
    {
        editor->setText(QStringLiteral("This sentence is long enough to be cut short by the "
                                       "stop button long before it comes to its very end."));
        AudioCapture capture;
        QVERIFY(capture.start());
        s->CommandSpeech_Click();
        QTRY_VERIFY_WITH_TIMEOUT(highlighted.size() >= 2, 10000);
        s->CommandSpeech_Click();
        QTRY_VERIFY(runEnded());
        QTRY_COMPARE(voice->RunningState(), int(SRSEDone));
        const qint64 stoppedAt = capture.framesSoFar();
        QTest::qWait(800);
        QVERIFY(capture.stop());
        // Allow for the recording's own lag behind the sink.
        const qint64 from = stoppedAt + AudioCapture::framesFromMs(200);
        QVERIFY(capture.samples().size() > from);
        QVERIFY2(capture.rms(from, capture.samples().size() - from) < 300,
                 "sound goes on after stop");
        QVERIFY(highlighted.size() < 10);
    }

    void quotedPassageSoundsInTheSecondVoice()
    {
        QString male, female;
        for (const VoiceInfo &v : voice->GetVoices()) {
            if (v.languageTag != QLatin1String("en-us"))
                continue;
            (v.gender == QLatin1String("FEMALE") ? female : male) = v.name;
            if (v.gender == QLatin1String("MALE"))
                QVERIFY(voice->SetVoiceById(v.id));
        }
        QVERIFY2(!male.isEmpty() && !female.isEmpty(), "no male and female en-us voices");
        s->VoiceNameAt = [&](int index) { return index == 0 ? female : QString(); };
        s->VoiceForQuotedIndex = 0;
        s->VoiceForQuotedPitch = 8;

        const QString line =
            QStringLiteral("\"Many more mornings will come, my dear friend,\" she said.");
        s->CustomizeVoiceInQuotedText = false;
        const double plain = heardPitch(line);
        s->CustomizeVoiceInQuotedText = true;
        const double quoted = heardPitch(line);
        // Only the narrator's words remain in the main voice.
        const double narrator = heardPitch(QStringLiteral("\"\" she said, and said it again."));
        qInfo() << "median pitch, Hz: main voice" << plain << "quoted voice" << quoted
                << "narrator beside an empty quote" << narrator;
        QVERIFY(plain > 60);
        QVERIFY2(quoted > 1.3 * plain, "the quoted passage was not heard in the second voice");
        QVERIFY(narrator < 1.15 * plain);
    }
};

TONARIS_TEST_MAIN(TestSpeechAloud)
#include "tst_speechaloud.moc"
