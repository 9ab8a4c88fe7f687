// The built-in engine through its public face: voices, markup, flags, events and streams,
// sounding on the test server's null sink.
#include "TestSupport.h"
#include "audio/AudioOutput.h"
#include "voices/EspeakEngine.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSet>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cmath>

using namespace tonaris;

namespace {

struct Word
{
    int position;
    int length;
};

// Speaks and waits for the end; returns the words and the time from first to last event.
struct Heard
{
    QList<Word> words;
    double seconds = 0;
};

Heard speakAndWait(EspeakEngine &engine, const QString &text, int flags)
{
    Heard heard;
    QElapsedTimer clock;
    auto w = QObject::connect(&engine, &SpeechEngine::Word, [&](int, qint64, int p, int l) {
        heard.words.append({p, l});
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

void writeSineWav(const QString &path, int rate, int channels, double seconds)
{
    const qint32 frames = qint32(rate * seconds);
    QByteArray data;
    for (qint32 i = 0; i < frames; ++i) {
        const qint16 v = qint16(8000 * std::sin(2 * M_PI * 440 * i / rate));
        for (int c = 0; c < channels; ++c)
            data.append(reinterpret_cast<const char *>(&v), 2);
    }
    QByteArray h("RIFF....WAVEfmt ");
    auto u32 = [&](quint32 x) { h.append(reinterpret_cast<const char *>(&x), 4); };
    auto u16 = [&](quint16 x) { h.append(reinterpret_cast<const char *>(&x), 2); };
    u32(16), u16(1), u16(quint16(channels)), u32(quint32(rate)), u32(quint32(rate * channels * 2));
    u16(quint16(channels * 2)), u16(16);
    h.append("data");
    u32(quint32(data.size()));
    qToLittleEndian<quint32>(quint32(h.size() + data.size() - 8), h.data() + 4);
    QFile f(path);
    if (f.open(QIODevice::WriteOnly))
        f.write(h + data);
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
        const Heard heard = speakAndWait(engine, text, flags);
        QStringList got;
        for (const Word &w : heard.words)
            got.append(text.mid(w.position, w.length));
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
        QVERIFY(fast < 0.6 * normal);
        QVERIFY(stillNormal > 0.8 * normal);
        QVERIFY(again > 0.8 * normal);
    }

    void purgeAndPause()
    {
        EspeakEngine engine;
        QSignalSpy words(&engine, &SpeechEngine::Word);
        engine.Speak(QStringLiteral("This is a rather long sentence that keeps going on and on "
                                    "so that there is plenty of time to pause it."),
                     SVSFlagsAsync);
        QTRY_VERIFY_WITH_TIMEOUT(words.count() >= 2, 10000);
        engine.Pause();
        const int atPause = int(words.count());
        QTest::qWait(600);
        QCOMPARE(int(words.count()), atPause);
        QCOMPARE(engine.RunningState(), int(SRSEIsSpeaking));
        engine.Resume();
        QTRY_VERIFY(words.count() > atPause);
        engine.Speak(QStringLiteral(" "), SVSFPurgeBeforeSpeak);
        QTRY_COMPARE(engine.RunningState(), int(SRSEDone));
    }

    void twoVoicesSoundTogether()
    {
        EspeakEngine voice, over;
        voice.Speak(QStringLiteral("The first voice speaks."), SVSFlagsAsync);
        over.Speak(QStringLiteral("And the second one at the same time."), SVSFlagsAsync);
        QCOMPARE(voice.RunningState(), int(SRSEIsSpeaking));
        QCOMPARE(over.RunningState(), int(SRSEIsSpeaking));
        QTRY_COMPARE_WITH_TIMEOUT(voice.RunningState(), int(SRSEDone), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(over.RunningState(), int(SRSEDone), 20000);
    }

    void speakStreamPlaysAFile()
    {
        QTemporaryDir dir;
        const QString wav = dir.filePath(QStringLiteral("tone.wav"));
        writeSineWav(wav, 44100, 2, 0.5);
        EspeakEngine engine;
        QSignalSpy end(&engine, &SpeechEngine::EndStream);
        QVERIFY(engine.SpeakStream(wav, SVSFlagsAsync) > 0);
        QCOMPARE(engine.RunningState(), int(SRSEIsSpeaking));
        QTRY_COMPARE_WITH_TIMEOUT(engine.RunningState(), int(SRSEDone), 10000);
        QCOMPARE(end.count(), 1);
        // Synchronous play returns when the sound has ended.
        QVERIFY(engine.SpeakStream(wav, 0) > 0);
        QCOMPARE(engine.RunningState(), int(SRSEDone));

        QFile junk(dir.filePath(QStringLiteral("junk.wav")));
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write("RIFF garbage");
        junk.close();
        QCOMPARE(engine.SpeakStream(junk.fileName(), SVSFlagsAsync), 0);
        QCOMPARE(engine.RunningState(), int(SRSEDone));
    }
};

TONARIS_TEST_MAIN(TestEspeakEngine)
#include "tst_espeakengine.moc"
