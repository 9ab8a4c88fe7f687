// Saving from the window with the real espeak-ng engine: the menu command with its target and
// overwrite question, the progress window and its abort, and the power-off count-down observed
// through a stand-in for the system's power-off.
#include "RecordingDialogs.h"
#include "TestSupport.h"
#include "config/PowerOff.h"
#include "session/SaveToAudio.h"
#include "shell/Form1.h"
#include "shell/FormWaitToSaving.h"
#include "textprep/Text.h"

#include <QTest>
#include <QtWidgets>

using namespace tonaris;
using tonaris::test::RecordingDialogs;

namespace {
struct RecordingPowerOff : PowerOff
{
    int calls = 0;
    bool powerOff(QString *) override
    {
        ++calls;
        return true;
    }
};
} // namespace

class TestSaving : public QObject
{
    Q_OBJECT
    RecordingDialogs dialogs;
    RecordingPowerOff power;
    QTemporaryDir m_dir;
    Form1 *w = nullptr;
    QString m_target; // what the file dialog answers
    int m_type = SaveToAudio::FileTypeWav;

    SpeechSession &session() { return w->session(); }
    bool idle() { return session().SpeechState == SpeechSession::StateIdle; }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        Dialogs::install(&dialogs);
        PowerOff::install(&power);
    }

    void cleanupTestCase() { PowerOff::install(nullptr); }

    void init()
    {
        w = new Form1;
        w->show();
        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w));
        session().saver().ChooseTarget = [this](const QString &, int &type) {
            type = m_type;
            return m_target;
        };
        dialogs.clear();
        power.calls = 0;
    }

    void cleanup() { delete w; }

    // The title is what a screen reader says of the window: the percent and the step.
    void progressWindowTitle()
    {
        FormWaitToSaving *form = w->formWaitToSaving();
        form->AggiornaFormWaitToSaving(QStringLiteral("Encoding To Mp3..."),
                                       QStringLiteral("Total progress"), true, 100);
        QCOMPARE(form->windowTitle(), QStringLiteral("Tonaris 100% - Encoding To Mp3... "));
        QCOMPARE(test::child<QLabel>(form, "Label2")->text(),
                 QStringLiteral("Total progress 100%"));
        QVERIFY(!test::child<QLabel>(form, "Label2")->isEnabled());
    }

    // Batch conversion from the menu: the output is named by all but the last extension.
    void batchFromTheMenu()
    {
        QFile doc(m_dir.filePath(QStringLiteral("a.1.txt")));
        QVERIFY(doc.open(QIODevice::WriteOnly) && doc.write("A short document.") > 0);
        doc.close();
        w->Text1->setText(QStringLiteral("Kept as it is."));
        dialogs.multipleFiles = {doc.fileName()};
        test::child<QAction>(w, "menuBatchConversion")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(!dialogs.messages.isEmpty(), 60000);
        QVERIFY(
            dialogs.messages.first().endsWith(QLatin1String("Batch conversions accomplished.")));
        QVERIFY(QFileInfo(m_dir.filePath(QStringLiteral("a.1.mp3"))).size() > 1000);
        QCOMPARE(w->Text1->text(), QStringLiteral("Kept as it is."));
    }

    void overwriteQuestion_data()
    {
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("replaced");
        QTest::newRow("yes") << 0 << true;
        QTest::newRow("no") << 1 << false;
    }

    void overwriteQuestion()
    {
        QFETCH(int, answer);
        m_target = m_dir.filePath(QStringLiteral("existing %1.wav").arg(answer));
        QFile old(m_target);
        QVERIFY(old.open(QIODevice::WriteOnly) && old.write("old") == 3);
        old.close();
        dialogs.answer = answer;
        w->Text1->setText(QStringLiteral("New words."));
        test::child<QAction>(w, "menuSaveAudioFileAs")->trigger();
        QTRY_VERIFY(!dialogs.questions.isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(idle() && session().SpeechRequest == 0, 30000);
        QTEST(QFileInfo(m_target).size() > 100, "replaced");
        QVERIFY(w->isVisible()); // the window comes back after the save
        QVERIFY(!w->formWaitToSaving()->isVisible());
    }

    // Every way out of the progress window aborts the save and keeps what was rendered.
    void abortKeepsAWav()
    {
        for (const QString how : {"button", "close box", "Escape"}) {
            w->Text1->setText(QString(QStringLiteral("A sentence to be cut short. "))
                                  .repeated(30)
                                  .append(QStringLiteral("\r\nMore."))
                                  .repeated(20));
            m_target = m_dir.filePath(QStringLiteral("cut short ") + how);
            m_type = SaveToAudio::FileTypeMp3;
            w->menuSaveAudioFileAs_Click();
            FormWaitToSaving *form = w->formWaitToSaving();
            QTRY_VERIFY(form->isVisible());
            if (how == QLatin1String("button"))
                test::child<QPushButton>(form, "CommandAbort")->click();
            else if (how == QLatin1String("close box"))
                form->windowHandle()->close(); // comes back as the window system's close
            else
                QTest::keyClick(form, Qt::Key_Escape);
            QTRY_VERIFY_WITH_TIMEOUT(idle(), 10000);
            QVERIFY(QFile::exists(m_target + QStringLiteral(".wav")));
            QVERIFY(!QFile::exists(m_target + QStringLiteral(".mp3")));
        }
        QCOMPARE(power.calls, 0);
    }

    void powerOffAfterTheSave_data()
    {
        QTest::addColumn<bool>("abortCountdown");
        QTest::newRow("count-down to the end") << false;
        QTest::newRow("count-down aborted") << true;
    }

    void powerOffAfterTheSave()
    {
        QFETCH(bool, abortCountdown);
        w->Text1->setText(QStringLiteral("Then the computer goes off."));
        m_target = m_dir.filePath(QStringLiteral("power %1").arg(abortCountdown));
        m_type = SaveToAudio::FileTypeWav;
        // The box is ticked while the save runs; a short save is over before a test could.
        test::child<QCheckBox>(w->formWaitToSaving(), "CheckShutdownAtEnd")->setChecked(true);
        w->menuSaveAudioFileAs_Click();
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_target + QStringLiteral(".wav")), 30000);
        QTRY_VERIFY(idle());
        FormWaitToShutdown *countdown = nullptr;
        QTRY_VERIFY((countdown = w->findChild<FormWaitToShutdown *>()) != nullptr);
        QVERIFY(!w->formWaitToSaving()->shutdownAtEnd()); // asked once
        auto *label = test::child<QLabel>(countdown, "LabelShutdown");
        QCOMPARE(label->text(), QStringLiteral("System Shutdown in 60 sec"));
        countdown->TimerShutdown_Timer();
        QCOMPARE(label->text(), QStringLiteral("System Shutdown in 59 sec"));
        if (abortCountdown) {
            test::child<QPushButton>(countdown, "CommandAbort")->click();
        } else {
            countdown->ShutdownCountdown = 1;
            countdown->TimerShutdown_Timer();
        }
        QCOMPARE(power.calls, abortCountdown ? 0 : 1);
        QTRY_VERIFY(w->findChild<FormWaitToShutdown *>() == nullptr);
    }
};

TONARIS_TEST_MAIN(TestSaving)
#include "tst_saving.moc"
