// The recognition service with the real PocketSphinx, listening to the test sound server's
// virtual microphone, into which the test plays speech rendered by espeak-ng.
#include "AudioCapture.h"
#include "TestSupport.h"
#include "conversation/SpeechRecognizer.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;

namespace {

// Says a text into the virtual microphone and returns when it has been played.
void say(const QString &text)
{
    static QTemporaryDir dir;
    const QString wav = dir.filePath(QStringLiteral("say.wav"));
    QVERIFY(QProcess::execute(QStringLiteral("espeak-ng"),
                              {QStringLiteral("-v"), QStringLiteral("en-us"), QStringLiteral("-w"),
                               wav, text}) == 0);
    QVERIFY(QProcess::execute(QStringLiteral("paplay"), {wav}) == 0);
}

} // namespace

class TestRecognizer : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void wordList_data();
    void wordList();
    void secondListReusesSession();
    void noModel();

private:
    bool m_haveModel = false;
};

void TestRecognizer::initTestCase()
{
    test::isolateEnvironment();
    if (!test::AudioCapture::serverReachable())
        QSKIP("no sound server");
    SpeechRecognizer probe;
    probe.EnumerateRecognizers();
    if (!probe.RecognizerAvailable)
        QSKIP("no recognition model or audio input");
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
    QTest::newRow("a phrase that holds a listed word") << QStringList{"yes", "no"} << "yes please"
                                                       << "";
}

void TestRecognizer::wordList()
{
    QFETCH(QStringList, words);
    QFETCH(QString, spoken);
    QFETCH(QString, heard);
    SpeechRecognizer asr;
    asr.EnumerateRecognizers();
    QSignalSpy recognised(&asr, &SpeechRecognizer::ASR_Recognition);
    QSignalSpy other(&asr, &SpeechRecognizer::ASR_FalseRecognition);
    QCOMPARE(asr.StartRecognition(words), 1);
    QTRY_VERIFY_WITH_TIMEOUT(asr.isCapturing(), 5000);
    say(spoken);
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
    SpeechRecognizer asr;
    asr.EnumerateRecognizers();
    QSignalSpy recognised(&asr, &SpeechRecognizer::ASR_Recognition);
    QCOMPARE(asr.StartRecognition({"no"}), 1);
    QTRY_VERIFY_WITH_TIMEOUT(asr.isCapturing(), 5000);
    asr.PauseRecognition();
    QCOMPARE(asr.StartRecognition({"hello", "yes"}), 1);
    QCOMPARE(asr.sessionsBuilt(), 1);
    say(QStringLiteral("yes"));
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
