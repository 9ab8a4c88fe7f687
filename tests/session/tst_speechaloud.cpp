// The speech loop with the real espeak-ng engine, played into the test server's null sink and
// recorded back: what the user hears and sees highlighted.
#include "AudioCapture.h"
#include "TestSupport.h"
#include "audio/AudioOutput.h"
#include "session/SpeechSession.h"
#include "textprep/Text.h"
#include "voices/EspeakEngine.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

using namespace tonaris;
using tonaris::test::AudioCapture;

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

    static QStringList wordsOf(const QString &text)
    {
        return text.split(QRegularExpression(QStringLiteral("[^A-Za-z]+")), Qt::SkipEmptyParts);
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

    void wordsAfterALongLineLandOnTheirPlace()
    {
        // The long line is cut into entries of 1024 characters; entry numbers then run ahead
        // of editor lines, and the offsets must still find the words.
        QString longLine;
        while (longLine.size() < 1030)
            longLine += QStringLiteral("and ");
        longLine.truncate(1030);
        editor->setText(QStringLiteral("Start.\r\n") + longLine +
                        QStringLiteral("\r\nThe final words."));
        editor->SetSelStart(editor->GetPosStartFromLineIndex(2));
        s->CommandSpeakFromThisLine_Click(); // entry 2 is the long line's tail
        QTRY_COMPARE_WITH_TIMEOUT(s->SpeechState, 1, 2000);
        QTRY_VERIFY_WITH_TIMEOUT(runEnded(), 30000);
        QVERIFY(highlighted.size() >= 3);
        QCOMPARE(
            highlighted.mid(highlighted.size() - 3),
            (QStringList{QStringLiteral("The"), QStringLiteral("final"), QStringLiteral("words")}));
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
};

QTEST_MAIN(TestSpeechAloud)
#include "tst_speechaloud.moc"
