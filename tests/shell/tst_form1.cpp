// The main window driven as a user would, on a scripted engine.
#include "RecordingDialogs.h"
#include "ScriptedWindow.h"
#include "config/AppPaths.h"
#include "config/KelIni.h"
#include "shell/LevelSlider.h"
#include "textprep/Text.h"

#include <QTest>
#include <QtWidgets>

using namespace tonaris;
using tonaris::test::RecordingDialogs;
using tonaris::test::ScriptedEngine;

class TestForm1 : public QObject, tonaris::test::ScriptedWindow
{
    Q_OBJECT

private:
    RecordingDialogs dialogs;

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
        QVERIFY(openWindow());
        dialogs.clear();
    }
    void cleanup() { closeWindow(); }

    // The offscreen screen is 800 by 600: the warning comes once, and never again after a restart.
    void smallScreenIsToldOnceEver()
    {
        const QSize screen = w->screen()->size();
        if (screen.width() >= 1024 && screen.height() >= 768)
            QSKIP("the screen is large enough");
        w->CheckScreenSize();
        w->CheckScreenSize();
        QCOMPARE(dialogs.messages,
                 QStringList{"Tonaris requires at least 1024x768 resolution screen."});
        QVERIFY(!w->ResolutionOk);
        QVERIFY(restartWindow());
        w->CheckScreenSize();
        QCOMPARE(dialogs.messages.size(), 1);
    }

    void captionsAndDisplayFollowTheSession()
    {
        auto *speak = child<QPushButton>("CommandSpeech");
        auto *pause = child<QPushButton>("CommandPauseResume");
        auto *status = child<QLabel>("StatusBar");
        QCOMPARE(visibleLight()->objectName(), QStringLiteral("ImagePuntoSpento"));
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
        voice->finish();
        QTRY_COMPARE(voice->spoken().size(), 2);
        QTest::keyClick(w, Qt::Key_U, Qt::AltModifier);
        QTRY_COMPARE(w->session().SpeechState, 2);
        QTest::keyClick(w, Qt::Key_S, Qt::AltModifier);
        QTRY_COMPARE(w->session().SpeechState, 0);
        QCOMPARE(w->Text1->SelStart(), 7); // Stop leaves the caret on the line being spoken
        w->Text1->SetSelStart(0);
        QTest::keyClick(w, Qt::Key_N, Qt::AltModifier);
        QTRY_COMPARE(voice->spoken().value(2), QStringLiteral("beta"));
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
            if (!a->isSeparator() && a->isVisible())
                captions.append(a->text());
        QCOMPARE(captions, (QStringList{"English (USA)", "Insert special TAG", "Insert KEYWORD",
                                        "Speak selected", "Speak from here", "Cut", "Copy", "Paste",
                                        "Delete", "Select all"}));
        menu->hide();
    }

    void selectAllCutPasteAtAnyPosition()
    {
        const QString big = QString(40000, QLatin1Char('x')) + QStringLiteral("\r\ntail");
        w->Text1->setText(big);
        QTest::keyClick(w->Text1->editor(), Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(w->Text1->SelLength(), w->Text1->Length());
        // Beyond 32767 characters cut and paste still work.
        w->Text1->SetSelStart(40002);
        w->Text1->SetSelLength(4);
        w->menuCut_Click();
        QCOMPARE(w->Text1->text(), QString(40000, QLatin1Char('x')) + QStringLiteral("\r\n"));
        w->Text1->SetSelStart(0);
        w->menuPaste_Click();
        QVERIFY(w->Text1->text().startsWith(QStringLiteral("tailx")));
        w->Text1->editor()->undo();
        QCOMPARE(w->Text1->Length(), 40002);
    }

    void enterReadsTheLineItEnds()
    {
        child<QCheckBox>("CheckSpeechLineOnPressEnter")->setChecked(true);
        w->Text1->setText(QStringLiteral("hello there\r\n#STOP"));
        w->Text1->SetSelStart(11);
        QTest::keyClick(w->Text1->editor(), Qt::Key_Return);
        QTRY_COMPARE(voice->spoken().value(0), QStringLiteral("hello there"));
        QVERIFY(w->Text1->text().startsWith(QStringLiteral("hello there\r\n\r\n")));
        voice->finish();
        QTRY_COMPARE(w->session().StatusDisplay, 0);
        // A keyword line is not read.
        w->Text1->SetSelStart(w->Text1->Length());
        QTest::keyClick(w->Text1->editor(), Qt::Key_Return);
        QTest::qWait(50);
        QCOMPARE(voice->spoken().size(), 1);
    }

    void keywordMenuInsertsAtTheLineStart()
    {
        w->Text1->setText(QStringLiteral("one\r\ntwo"));
        w->Text1->SetSelStart(6);
        child<QAction>("menuWait")->trigger();
        QCOMPARE(w->Text1->text(), QStringLiteral("one\r\n#WAIT 3\r\ntwo"));
        QCOMPARE(w->Text1->SelStart(), 12);
        dialogs.files = QStringList{QStringLiteral("/tmp/a b.mp3")};
        child<QAction>("menuPlaySoundFile")->trigger();
        QVERIFY(w->Text1->text().contains(QStringLiteral("#PLAY \"/tmp/a b.mp3\"\r\n#WAIT 3")));
        dialogs.files = QStringList{QStringLiteral("/tmp/notes.txt")}; // not a sound: nothing
        const QString before = w->Text1->text();
        child<QAction>("menuPlaySoundFile")->trigger();
        QCOMPARE(w->Text1->text(), before);
    }

    void findKeysOpenTheWindows()
    {
        w->Text1->setText(QStringLiteral("one two one"));
        QTest::keyClick(w->Text1->editor(), Qt::Key_F, Qt::ControlModifier);
        auto *find = child<QDialog>("FormFind");
        QVERIFY(find->isVisible());
        test::child<QLineEdit>(find, "TextFind")->setText(QStringLiteral("one"));
        find->hide();
        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w));
        w->Text1->SetSelStart(1);
        QTest::keyClick(w->Text1->editor(), Qt::Key_F3);
        QCOMPARE(w->Text1->SelStart(), 8);
        QTest::keyClick(w->Text1->editor(), Qt::Key_R, Qt::ControlModifier);
        QVERIFY(child<QDialog>("FormReplace")->isVisible());
    }

    void settingsSurviveARestart()
    {
        const QString file = SettingsFilePath();
        QFile::remove(file);
        {
            // A first run: tags hold for one line, settings are saved, nothing else is on.
            Form1 first(voice, over);
            QCOMPARE(first.session().TagsForCurrentLineOnly, 1);
            for (const char *item : {"menuTAGValidityOnlyForCurrentLine", "menuWordWrap"})
                test::child<QAction>(&first, item)->trigger();
            test::child<QCheckBox>(&first, "CheckSpeechLineOnPressEnter")->setChecked(true);
            test::child<QCheckBox>(&first, "CheckTracking")->setChecked(false);
            first.SetVolumeSlider(80);
            first.SetSpeedSlider(-3);
            first.SetPitchSlider(4);
            test::child<QAction>(&first, "menuAutoSelectAudioFormat")->setChecked(false);
            test::child<QComboBox>(&first, "ComboAudioFormat")->setCurrentIndex(6);
            first.close();
        }
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray saved = f.readAll();
        f.close();
        for (const char *line :
             {"SaveSettings=True", "WordWrap=True", "Tracking=0",
              "TAGValidityOnlyForCurrentLine=False", "SpeechLineOnEnterPressed=1"})
            QVERIFY2(saved.contains(line), line);
        voice->volume = 100;
        voice->format = 22;
        {
            Form1 second(voice, over);
            QVERIFY(second.Text1->WordWrap());
            QVERIFY(!test::child<QCheckBox>(&second, "CheckTracking")->isChecked());
            QVERIFY(test::child<QCheckBox>(&second, "CheckSpeechLineOnPressEnter")->isChecked());
            QCOMPARE(second.session().TagsForCurrentLineOnly, 0);
            QCOMPARE(voice->volume, 80);
            QCOMPARE(voice->rate, -3);
            QCOMPARE(second.session().CurrentPitch, 4);
            QCOMPARE(voice->format, 10);
        }
        // With the automatic choice on, the stored format is passed over for the voice's own.
        IniFile ini(file);
        ini.write(QStringLiteral("Settings"), QStringLiteral("AutoSelectAudioFormat"),
                  QStringLiteral("True"));
        QVERIFY(ini.save());
        voice->format = 22;
        {
            Form1 third(voice, over);
            QCOMPARE(voice->format, 22);
            QCOMPARE(test::child<QComboBox>(&third, "ComboAudioFormat")->currentData(), 22);
            // With saving off only the switch itself is written.
            for (const char *item : {"menuSaveSettings", "menuWordWrap"})
                test::child<QAction>(&third, item)->trigger();
            third.close();
        }
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray after = f.readAll();
        f.close();
        QVERIFY(after.contains("SaveSettings=False") && after.contains("WordWrap=True"));

        // A volume that is no number gives the default and one message.
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("[Settings]\nVolume=abc\n");
        f.close();
        ResetSettingReports();
        dialogs.messages.clear();
        Form1 fourth(voice, over);
        QCOMPARE(voice->volume, 50);
        QCOMPARE(dialogs.messages.size(), 1);
    }

    void sliderKeysReachTheEngine_data()
    {
        QTest::addColumn<QString>("knob");
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("volume");
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("pitch");
        QTest::newRow("volume up by 5") << "PictureVolumeButton" << int(Qt::Key_Up) << 55 << 0 << 0;
        QTest::newRow("speed down by 1")
            << "PictureSpeedButton" << int(Qt::Key_Down) << 50 << -1 << 0;
        QTest::newRow("pitch up into the tags")
            << "PicturePitchButton" << int(Qt::Key_Up) << 50 << 0 << 1;
    }
    void sliderKeysReachTheEngine()
    {
        QFETCH(QString, knob);
        QFETCH(int, key);
        QTest::keyClick(child<LevelSlider>(qPrintable(knob)), Qt::Key(key));
        QTEST(voice->volume, "volume");
        QTEST(voice->rate, "rate");
        QTEST(w->session().CurrentPitch, "pitch");
    }

    void verboseModeSpeaksTheValueOnlyWhenIdle()
    {
        auto *knob = child<LevelSlider>("PictureVolumeButton");
        QTest::keyClick(knob, Qt::Key_Up);
        QVERIFY(voice->spoken().isEmpty()); // verbose mode is off
        child<QAction>("menuVerbose")->setChecked(true);
        w->Text1->setText(QStringLiteral("one\r\ntwo"));
        child<QPushButton>("CommandSpeech")->click();
        QTRY_COMPARE(w->session().SpeechState, 1);
        QTest::keyClick(knob, Qt::Key_Up);
        QCOMPARE(voice->volume, 60);
        child<QPushButton>("CommandSpeech")->click();
        QTRY_COMPARE(w->session().SpeechState, 0);
        QTest::keyClick(knob, Qt::Key_Up);
        QCOMPARE(voice->spoken(), (QStringList{"one", "65"}));
    }

    void formatListOffersTheFormatsInCodeOrder()
    {
        auto *formats = child<QComboBox>("ComboAudioFormat");
        QCOMPARE(formats->itemText(6), QStringLiteral("11 kHz 16 Bit Mono"));
        QCOMPARE(formats->currentData().toInt(), 22); // the voice's own format is shown
        formats->setCurrentIndex(6);
        QCOMPARE(voice->format, 10);
    }

    void noAudioDeviceDisablesSpeaking()
    {
        ScriptedEngine mute;
        mute.hasOutput = false;
        Form1 silent(&mute, over);
        QCOMPARE(dialogs.messages, QStringList{QStringLiteral("No audio devices available")});
        QVERIFY(!silent.canSpeak());
        QVERIFY(!test::child<QPushButton>(&silent, "CommandSpeech")->isEnabled());
        QVERIFY(silent.Text1->isEnabled());
    }
};

TONARIS_TEST_MAIN(TestForm1)
#include "tst_form1.moc"
