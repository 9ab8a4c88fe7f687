// The recognition service with the real PocketSphinx, listening to the test sound server's
// virtual microphone, into which the test plays speech rendered by espeak-ng.
#include "AudioCapture.h"
#include "TestSupport.h"
#include "conversation/PocketDecoder.h"
#include "conversation/SpeechRecognizer.h"

#include <QSignalSpy>
#include <QTest>

using namespace tonaris;

class TestRecognizer : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void listedPhrase_data();
    void listedPhrase();
    void wordList_data();
    void wordList();
    void secondListReusesSession();
    void noModel();

private:
    bool m_canListen = false;
};

void TestRecognizer::initTestCase()
{
    test::isolateEnvironment();
    SpeechRecognizer probe;
    probe.EnumerateRecognizers();
    m_canListen = test::AudioCapture::serverReachable() && probe.RecognizerAvailable;
}

void TestRecognizer::listedPhrase_data()
{
    QTest::addColumn<QString>("hypothesis");
    QTest::addColumn<QString>("phrase");
    const auto row = [](const char *name, const char *hypothesis, const char *phrase) {
        QTest::newRow(name) << hypothesis << phrase;
    };
    row("the word alone", "yes", "yes");
    row("one noise in front passes", "bee yes", "yes");
    row("a sentence ending in the word does not", "wa ta uh uh yes", "");
    row("more words behind do not", "yes uh nee", "");
    row("garbage only", "wa ta uh", "");
    row("a listed garbage word is itself", "uh the", "the");
    row("a phrase of two words", "ah thank you", "thank you");
    row("two listed words", "yes no", "");
}

void TestRecognizer::listedPhrase()
{
    QFETCH(QString, hypothesis);
    QFETCH(QString, phrase);
    QCOMPARE(PocketDecoder::listedPhrase(hypothesis, {"yes", "no", "the", "thank you"}), phrase);
}

void TestRecognizer::wordList_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("spoken");
    QTest::addColumn<QString>("heard"); // "" for a false recognition
    QTest::newRow("a listed word") << QStringList{" Yes", " No", " OTHER_WORDS"} << "yes"
                                   << "yes";
    QTest::newRow("an unrelated phrase")
        << QStringList{"Yes", "No", "other_words"} << "what a lovely day"
        << "";
}

void TestRecognizer::wordList()
{
    if (!m_canListen)
        QSKIP("no sound server, recognition model or audio input");
    QFETCH(QStringList, words);
    QFETCH(QString, spoken);
    QFETCH(QString, heard);
    SpeechRecognizer asr;
    asr.EnumerateRecognizers();
    QSignalSpy recognised(&asr, &SpeechRecognizer::ASR_Recognition);
    QSignalSpy other(&asr, &SpeechRecognizer::ASR_FalseRecognition);
    QCOMPARE(asr.StartRecognition(words), 1);
    QTRY_VERIFY_WITH_TIMEOUT(asr.isCapturing(), 5000);
    QVERIFY(test::SayIntoMicrophone(spoken));
    QTRY_VERIFY_WITH_TIMEOUT(recognised.count() + other.count() > 0, 5000);
    if (heard.isEmpty()) {
        QCOMPARE(recognised.count(), 0);
    } else {
        QCOMPARE(other.count(), 0);
        QCOMPARE(recognised.first().first().toString(), heard);
    }
}

void TestRecognizer::secondListReusesSession()
{
    if (!m_canListen)
        QSKIP("no sound server, recognition model or audio input");
    SpeechRecognizer asr;
    asr.EnumerateRecognizers();
    QSignalSpy recognised(&asr, &SpeechRecognizer::ASR_Recognition);
    QCOMPARE(asr.StartRecognition({"no"}), 1);
    QTRY_VERIFY_WITH_TIMEOUT(asr.isCapturing(), 5000);
    asr.PauseRecognition();
    QCOMPARE(asr.StartRecognition({"hello", "yes"}), 1);
    QCOMPARE(asr.sessionsBuilt(), 1);
    QVERIFY(test::SayIntoMicrophone(QStringLiteral("yes")));
    QTRY_COMPARE_WITH_TIMEOUT(recognised.count(), 1, 5000);
    QCOMPARE(recognised.first().first().toString(), QStringLiteral("yes"));
}

void TestRecognizer::noModel()
{
    SpeechRecognizer asr;
    asr.setModelRoots({QStringLiteral("/nonexistent")});
    asr.EnumerateRecognizers();
    QVERIFY(!asr.RecognizerAvailable);
    QSignalSpy told(&asr, &SpeechRecognizer::problem);
    QCOMPARE(asr.StartRecognition({"yes"}), 0);
    QCOMPARE(asr.StartRecognition({"yes"}), 0);
    QVERIFY(!asr.StartDictation());
    QCOMPARE(told.count(), 1);
    QVERIFY(told.first().first().toString().contains(QStringLiteral("pocketsphinx-en-us")));
}

TONARIS_TEST_MAIN_WITH(TestRecognizer, QCoreApplication)
#include "tst_recognizer.moc"
