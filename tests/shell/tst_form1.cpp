// The main window driven as a user would, on a scripted engine.
#include "ScriptedEngine.h"
#include "TestSupport.h"
#include "config/Dialogs.h"
#include "shell/Form1.h"
#include "textprep/Text.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

using namespace tonaris;
using tonaris::test::ScriptedEngine;

namespace {
struct RecordingDialogs : Dialogs
{
    QStringList messages;
    void message(QWidget *, const QString &text, Icon, const QString &) override
    {
        messages.append(text);
    }
};
} // namespace

class TestForm1 : public QObject
{
    Q_OBJECT

private:
    RecordingDialogs dialogs;
    ScriptedEngine *voice = nullptr;
    ScriptedEngine *over = nullptr;
    Form1 *w = nullptr;

    template <typename T> T *child(const char *name)
    {
        T *found = w->findChild<T *>(QLatin1String(name));
        if (!found)
            qFatal("no child %s", name);
        return found;
    }
    QLabel *visibleLight()
    {
        for (const char *name : {"ImagePuntoSpento", "ImagePuntoVerde", "ImagePuntoRosso"})
            if (child<QLabel>(name)->isVisible())
                return child<QLabel>(name);
        return nullptr;
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        Dialogs::install(&dialogs);
    }
    void init()
    {
        voice = new ScriptedEngine;
        over = new ScriptedEngine;
        w = new Form1(voice, over);
        w->show();
        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w));
        dialogs.messages.clear();
    }
    void cleanup()
    {
        delete w;
        delete voice;
        delete over;
    }

    void captionsAndDisplayFollowTheSession()
    {
        auto *speak = child<QPushButton>("CommandSpeech");
        auto *pause = child<QPushButton>("CommandPauseResume");
        auto *status = child<QLabel>("StatusBar");
        QCOMPARE(w->windowTitle(), QStringLiteral("Tonaris (By Orvane)"));
        QCOMPARE(speak->text(), QStringLiteral("&Speak"));
        QCOMPARE(pause->text(), QStringLiteral("Pa&use"));
        QCOMPARE(status->text(), QStringLiteral("Ready"));
        QCOMPARE(visibleLight()->objectName(), QStringLiteral("ImagePuntoSpento"));
        QCOMPARE(child<QCheckBox>("CheckTracking")->text(), QStringLiteral("Show Trac&king"));
        QCOMPARE(child<QComboBox>("ComboVoci")->currentText(), QStringLiteral("Scripted"));

        w->Text1->setText(QStringLiteral("one\r\ntwo"));
        QTest::mouseClick(speak, Qt::LeftButton);
        QTRY_COMPARE(status->text(), QStringLiteral("Reproducing"));
        QCOMPARE(speak->text(), QStringLiteral("&Stop"));
        QCOMPARE(visibleLight()->objectName(), QStringLiteral("ImagePuntoVerde"));
        QVERIFY(w->Text1->Locked());

        QTest::mouseClick(pause, Qt::LeftButton);
        QTRY_COMPARE(status->text(), QStringLiteral("Paused"));
        QCOMPARE(pause->text(), QStringLiteral("Res&ume"));
        QCOMPARE(visibleLight()->objectName(), QStringLiteral("ImagePuntoSpento"));

        QTest::mouseClick(pause, Qt::LeftButton);
        QTRY_COMPARE(status->text(), QStringLiteral("Reproducing"));
        voice->finish();
        QTRY_COMPARE(voice->spoken().size(), 2);
        voice->finish();
        QTRY_COMPARE(status->text(), QStringLiteral("Ready"));
        QCOMPARE(speak->text(), QStringLiteral("&Speak"));
        QVERIFY(!w->Text1->Locked());
    }

    void mnemonicsReachTheButtons()
    {
        w->Text1->setText(QStringLiteral("alpha\r\nbeta"));
        QTest::keyClick(w, Qt::Key_S, Qt::AltModifier);
        QTRY_COMPARE(w->session().SpeechState, 1);
        QTest::keyClick(w, Qt::Key_U, Qt::AltModifier);
        QTRY_COMPARE(w->session().SpeechState, 2);
        QTest::keyClick(w, Qt::Key_S, Qt::AltModifier);
        QTRY_COMPARE(w->session().SpeechState, 0);
        w->Text1->SetSelStart(0);
        QTest::keyClick(w, Qt::Key_N, Qt::AltModifier);
        QTRY_COMPARE(voice->spoken().value(1), QStringLiteral("beta"));
    }

    void contextMenuOffersTheSpeechItems()
    {
        bool handled = false;
        emit w->Text1->ContextMenu(handled, w->mapToGlobal(QPoint(20, 20)));
        QVERIFY(handled);
        auto *menu = child<QMenu>("MenuQuickVoiceSelect");
        QTRY_VERIFY(menu->isVisible());
        QStringList captions;
        for (QAction *a : menu->actions())
            captions.append(a->text());
        QCOMPARE(captions, (QStringList{"Speak selected", "Speak from here"}));
        menu->hide();
    }

    void noAudioDeviceDisablesSpeaking()
    {
        ScriptedEngine mute;
        mute.hasOutput = false;
        Form1 silent(&mute, over);
        QCOMPARE(dialogs.messages, QStringList{QStringLiteral("No audio devices available")});
        QVERIFY(!silent.canSpeak());
        QVERIFY(!silent.findChild<QPushButton *>(QStringLiteral("CommandSpeech"))->isEnabled());
        QVERIFY(silent.Text1->isEnabled());
    }
};

QTEST_MAIN(TestForm1)
#include "tst_form1.moc"
