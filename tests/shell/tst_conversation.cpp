// The window's conversation: replies of a personality on Enter, the recognition sample and
// dictation through the test sound server's virtual microphone, into which the test plays
// speech rendered by espeak-ng. The window's own voice is scripted, so what it says is read
// from the engine's calls.
#include "AudioCapture.h"
#include "RecordingDialogs.h"
#include "ScriptedWindow.h"
#include "config/AppPaths.h"
#include "conversation/SpeechRecognizer.h"
#include "textprep/Text.h"

#include <QTest>
#include <QtWidgets>

using namespace tonaris;
using tonaris::test::RecordingDialogs;

class TestConversation : public QObject, tonaris::test::ScriptedWindow
{
    Q_OBJECT

private:
    RecordingDialogs dialogs;
    bool m_canListen = false;

    QAction *personality(const QString &caption)
    {
        for (QAction *a : child<QMenu>("menuSelectAI")->actions())
            if (a->text() == caption)
                return a;
        return nullptr;
    }
    void waitUntilListening() { QTRY_VERIFY_WITH_TIMEOUT(w->ASR->isCapturing(), 5000); }
    // What the window said, without the indentation of the script.
    QStringList said() const
    {
        QStringList out;
        for (const QString &line : voice->spoken())
            out.append(line.trimmed());
        return out;
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        Dialogs::install(&dialogs);
        const QString side =
            QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/tonaris";
        QVERIFY(QDir().mkpath(side));
        for (const char *name : {"Giulia Italiano.ia", "Oliver English.ia"})
            QVERIFY(
                QFile::copy(QStringLiteral(TONARIS_SOURCE_DIR "/data/") + name, side + "/" + name));
        m_canListen = test::AudioCapture::serverReachable();
    }
    void init()
    {
        QFile::remove(SettingsFilePath()); // each test starts as a first run
        QVERIFY(openWindow());
        dialogs.clear();
    }
    void cleanup() { closeWindow(); }

    void voiceRuleAndReplyOnEnter_data()
    {
        QTest::addColumn<QString>("personality");
        QTest::addColumn<bool>("enabled");
        // The scripted voice is a male American English one.
        QTest::newRow("same gender and language") << "Oliver English" << true;
        QTest::newRow("another gender and language") << "Giulia Italiano" << false;
    }
    void voiceRuleAndReplyOnEnter()
    {
        QFETCH(QString, personality);
        QFETCH(bool, enabled);
        QAction *item = this->personality(personality);
        item->trigger();
        QVERIFY(item->isChecked());
        auto *checkIA = child<QCheckBox>("CheckIA");
        QCOMPARE(checkIA->isEnabled(), enabled);
        if (!enabled)
            return;
        child<QCheckBox>("CheckSpeechLineOnPressEnter")->setChecked(true);
        checkIA->setChecked(true);
        QVERIFY(!child<QCheckBox>("CheckSpeechLineOnPressEnter")->isChecked());
        w->Text1->setFocus();
        QTest::keyClicks(w->Text1->editor(), "what about pizza");
        QTest::keyClick(w->Text1->editor(), Qt::Key_Return);
        QTRY_COMPARE(said().value(0), QStringLiteral("Do you like pizza?"));
        QVERIFY(!w->Text1->text().contains(QStringLiteral("pizza?")));
        // The personality and the reply are remembered.
        QVERIFY(restartWindow());
        QVERIFY(this->personality(QStringLiteral("Oliver English"))->isChecked());
        QVERIFY(child<QCheckBox>("CheckIA")->isChecked() &&
                child<QCheckBox>("CheckIA")->isEnabled());
    }

    void recognitionSample_data()
    {
        QTest::addColumn<QString>("speech");
        QTest::addColumn<QString>("answer");
        QTest::newRow("a listed word") << QString("yes") << QString("You have said Yes");
        QTest::newRow("other words") << QString("what a lovely day") << QString("Repeat Please");
    }
    void recognitionSample()
    {
        QFETCH(QString, speech);
        QFETCH(QString, answer);
        if (!m_canListen || !w->ASR->RecognizerAvailable)
            QSKIP("no sound server or no recognition model");
        w->Text1->SetSelStart(0);
        child<QAction>("menuRecognitionSample")->trigger();
        child<QPushButton>("CommandSpeech")->click();
        QTRY_COMPARE(w->session().SpeechState, int(SpeechSession::StateRecognizing));
        QVERIFY(child<QLabel>("ImagePuntoRosso")->isVisible());
        waitUntilListening();
        QVERIFY(test::SayIntoMicrophone(speech));
        QTRY_VERIFY_WITH_TIMEOUT(said().contains(answer), 5000);
        QCOMPARE(said().size(), 1);
    }

    // Dictation on synthetic speech may mishear "hello" now and then; "world" it hears, and the
    // separators in front of the words are what is checked.
    void dictation_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<bool>("reply");
        QTest::addColumn<QString>("start");
        QTest::newRow("into an empty editor") << "" << false << "";
        QTest::newRow("behind a word") << "Notes:" << false << "Notes: ";
        QTest::newRow("with a reply, on a new line") << "Notes: " << true << "Notes: \r\n";
    }
    void dictation()
    {
        QFETCH(QString, before);
        QFETCH(bool, reply);
        QFETCH(QString, start);
        if (!m_canListen || !w->ASR->RecognizerAvailable)
            QSKIP("no sound server or no recognition model");
        if (reply) {
            personality(QStringLiteral("Oliver English"))->trigger();
            child<QCheckBox>("CheckIA")->setChecked(true);
        }
        w->Text1->setText(before);
        child<QCheckBox>("CheckASR")->setChecked(true);
        waitUntilListening();
        QVERIFY(test::SayIntoMicrophone(QStringLiteral("hello world")));
        QTRY_VERIFY_WITH_TIMEOUT(w->Text1->text().endsWith(QStringLiteral("world")), 5000);
        const QString text = w->Text1->text();
        QVERIFY2(text.startsWith(start) && text.at(start.size()).isLetter(), qPrintable(text));
        QCOMPARE(w->Text1->SelStart(), w->Text1->Length());
        if (!reply) {
            QVERIFY(said().isEmpty());
            return;
        }
        // The reply is spoken; meanwhile dictation does not listen, and it listens again after.
        QTRY_VERIFY(!said().isEmpty());
        QTRY_COMPARE(w->ASR->RecognizerState, 2);
        voice->finish();
        QTRY_COMPARE(w->ASR->RecognizerState, 1);
    }

    // Opening the options stops dictation; the lists offer what the recogniser has.
    void optionsWindow()
    {
        if (!w->ASR->RecognizerAvailable)
            QSKIP("no recognition model or input");
        child<QCheckBox>("CheckASR")->setChecked(true);
        child<QAction>("menuASROptions")->trigger();
        QVERIFY(!child<QCheckBox>("CheckASR")->isChecked() && w->ASR->RecognizerState == 0);
        auto *form = child<QDialog>("FormASROptions");
        QCOMPARE(test::child<QComboBox>(form, "ComboRecognitionEngine")->count(),
                 w->ASR->ASREngineNames.size());
        QCOMPARE(test::child<QComboBox>(form, "ComboRecognitionInputDevice")->count(),
                 w->ASR->ASRAudioInputNames.size());
        test::child<QPushButton>(form, "CommandOK")->click();
        QTRY_VERIFY(!w->findChild<QDialog *>(QStringLiteral("FormASROptions")));
    }
};

TONARIS_TEST_MAIN(TestConversation)
#include "tst_conversation.moc"
