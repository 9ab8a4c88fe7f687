// The built-in engine through its public face: voices, markup, flags, events and streams,
// sounding on the test server's null sink.
#include "TestSupport.h"
#include "audio/AudioOutput.h"
#include "voices/EspeakEngine.h"

#include <QElapsedTimer>
#include <QSet>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;

namespace {

// Speaks and waits for the end: the words named by the events, and the seconds from start to end.
struct Heard
{
    QStringList words;
    double seconds = 0;
};

Heard speakAndWait(EspeakEngine &engine, const QString &text, int flags)
{
    Heard heard;
    QElapsedTimer clock;
    auto w = QObject::connect(&engine, &SpeechEngine::Word, [&](int, qint64, int p, int l) {
        heard.words.append(text.mid(p, l));
    });
    auto st = QObject::connect(&engine, &SpeechEngine::StartStream, [&] { clock.start(); });
    engine.Speak(text, flags);
    if (!QTest::qWaitFor([&] { return engine.RunningState() == SRSEDone; }, 30000))
        qWarning("the engine never finished");
    heard.seconds = clock.isValid() ? clock.elapsed() / 1000.0 : 0;
    QObject::disconnect(w);
    QObject::disconnect(st);
    return heard;
}

} // namespace

class TestEspeakEngine : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        QVERIFY2(EspeakEngine::available(), "espeak-ng data is missing");
        if (!AudioOutput::anyOutputDevice())
            QSKIP("no sound server; ./test.sh starts one");
    }

    void voicesAreListedOnceEach()
    {
        EspeakEngine engine;
        const QList<VoiceInfo> voices = engine.GetVoices();
        QVERIFY(voices.size() > 20);
        QSet<QString> names, ids;
        for (const VoiceInfo &v : voices) {
            names.insert(v.name);
            ids.insert(v.id);
            QVERIFY(v.gender == QLatin1String("MALE") || v.gender == QLatin1String("FEMALE"));
        }
        QCOMPARE(names.size(), voices.size());
        QVERIFY(ids.contains(QStringLiteral("en-gb")));
        QVERIFY(ids.contains(QStringLiteral("en-us")));
        QCOMPARE(engine.CurrentVoiceId(), QStringLiteral("en-gb"));
        QVERIFY(engine.SetVoiceById(QStringLiteral("it")));
        QVERIFY(!engine.SetVoiceById(QStringLiteral("no such voice")));
        QCOMPARE(engine.CurrentVoiceId(), QStringLiteral("it"));
    }

    void wordPositionsCountTheMarkup_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("flags");
        QTest::addColumn<QStringList>("words");

        QTest::newRow("plain text, not markup") << "Small <b>cats</b> run" << int(SVSFlagsAsync)
                                                << QStringList{"Small", "b", "cats", "b", "run"};
        QTest::newRow("tags counted as characters")
            << R"(<VOLUME LEVEL="80"/>Small <RATE SPEED="2">cats</RATE> run)"
            << int(SVSFlagsAsync | SVSFIsXML) << QStringList{"Small", "cats", "run"};
        QTest::newRow("entity and emphasis")
            << "Tom &amp; <EMPH>Jerry" << int(SVSFlagsAsync | SVSFIsXML)
            << QStringList{"Tom", "&", "Jerry"};
        QTest::newRow("malformed markup spoken as text")
            << "one < two <VOLUME" << int(SVSFlagsAsync | SVSFIsXML)
            << QStringList{"one", "two", "VOLUME"};
    }
    void wordPositionsCountTheMarkup()
    {
        QFETCH(QString, text);
        QFETCH(int, flags);
        QFETCH(QStringList, words);
        EspeakEngine engine;
        const QStringList got = speakAndWait(engine, text, flags).words;
        // The engine may read punctuation as words of its own; every word it names must be
        // one of ours, and ours must all be there, in order.
        QStringList letters;
        for (const QString &g : std::as_const(got))
            if (words.contains(g))
                letters.append(g);
        QVERIFY2(letters == words, qPrintable(got.join(QLatin1Char('|'))));
    }

    void persistFlagKeepsTagStateForLaterCalls()
    {
        const QString text = QStringLiteral("one two three four five six seven eight");
        EspeakEngine engine;
        const double normal = speakAndWait(engine, text, SVSFlagsAsync | SVSFIsXML).seconds;
        // Without the persist flag the fast rate ends with its call.
        engine.Speak(QStringLiteral(R"(<RATE ABSSPEED="10"/>)"), SVSFIsXML);
        const double stillNormal = speakAndWait(engine, text, SVSFlagsAsync | SVSFIsXML).seconds;
        engine.Speak(QStringLiteral(R"(<RATE ABSSPEED="10"/>)"), SVSFIsXML | SVSFPersistXML);
        const double fast = speakAndWait(engine, text, SVSFlagsAsync | SVSFIsXML).seconds;
        // The reset of a run clears it again.
        engine.Speak(QStringLiteral(R"(<RATE ABSSPEED="0"/>)"),
                     SVSFPurgeBeforeSpeak | SVSFIsXML | SVSFPersistXML);
        const double again = speakAndWait(engine, text, SVSFlagsAsync | SVSFIsXML).seconds;
        qInfo() << "seconds: normal" << normal << "no persist" << stillNormal << "persisted fast"
                << fast << "after reset" << again;
        QVERIFY(normal > 1.0);
        // The top rate is the engine's fastest, 450 words a minute: about 0.40 of the time.
        QVERIFY(fast < 0.44 * normal);
        QVERIFY(stillNormal > 0.8 * normal);
        QVERIFY(again > 0.8 * normal);
    }

    void speakStreamPlaysAFile()
    {
        QTemporaryDir dir;
        const QString wav = test::writeFile(dir.filePath(QStringLiteral("tone.wav")),
                                            test::toneWav(44100, 2, 16, 500));
        EspeakEngine engine;
        QSignalSpy end(&engine, &SpeechEngine::EndStream);
        QVERIFY(engine.SpeakStream(wav, SVSFlagsAsync) > 0);
        QCOMPARE(engine.RunningState(), int(SRSEIsSpeaking));
        QTRY_COMPARE_WITH_TIMEOUT(engine.RunningState(), int(SRSEDone), 10000);
        QCOMPARE(end.count(), 1);
        // Synchronous play returns when the sound has ended.
        QVERIFY(engine.SpeakStream(wav, 0) > 0);
        QCOMPARE(engine.RunningState(), int(SRSEDone));

        const QString junk =
            test::writeFile(dir.filePath(QStringLiteral("junk.wav")), "RIFF garbage");
        QCOMPARE(engine.SpeakStream(junk, SVSFlagsAsync), 0);
        QCOMPARE(engine.RunningState(), int(SRSEDone));
    }
};

TONARIS_TEST_MAIN(TestEspeakEngine)
#include "tst_espeakengine.moc"
