// The main window driven as a user would, on a scripted engine; its Italian translation and
// the rules of TranslateForm.
#include "RecordingDialogs.h"
#include "ScriptedWindow.h"
#include "config/AppPaths.h"
#include "config/KelIni.h"
#include "config/MultiLang.h"
#include "shell/FormFind.h"
#include "shell/LevelSlider.h"
#include "shell/TranslateForm.h"
#include "textprep/Text.h"

#include <QTest>
#include <QtWidgets>

using namespace tonaris;
using tonaris::test::RecordingDialogs;
using tonaris::test::ScriptedEngine;

namespace {
const QString Italian = QStringLiteral(TONARIS_SOURCE_DIR "/data/Italiano.lng");
}

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
        QFile::remove(SettingsFilePath());
        QVERIFY(openWindow());
        dialogs.clear();
    }
    void cleanup()
    {
        closeWindow();
        MultiLang::UnloadLanguage();
    }

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

    // The buttons by their mnemonics; the status, light, captions and lock follow the session.
    void mnemonicsDriveTheSessionAndTheDisplayFollows()
    {
        auto *speak = child<QPushButton>("CommandSpeech");
        const auto looks = [&](const char *status, const char *light) {
            QTRY_COMPARE(child<QLabel>("StatusBar")->text(), QLatin1String(status));
            QCOMPARE(visibleLight()->objectName(), QLatin1String(light));
        };
        w->Text1->setText(QStringLiteral("alpha\r\nbeta"));
        QTest::keyClick(w, Qt::Key_S, Qt::AltModifier);
        looks("Reproducing", "ImagePuntoVerde");
        QVERIFY(w->Text1->Locked() && speak->text() == QLatin1String("&Stop"));
        voice->finish();
        QTRY_COMPARE(voice->spoken().size(), 2);
        QTest::keyClick(w, Qt::Key_U, Qt::AltModifier);
        looks("Paused", "ImagePuntoSpento");
        QCOMPARE(child<QPushButton>("CommandPauseResume")->text(), QStringLiteral("Res&ume"));
        QTest::keyClick(w, Qt::Key_S, Qt::AltModifier);
        looks("Ready", "ImagePuntoSpento");
        QVERIFY(!w->Text1->Locked() && speak->text() == QLatin1String("&Speak"));
        QCOMPARE(w->Text1->SelStart(), 7); // Stop leaves the caret on the line being spoken
        w->Text1->SetSelStart(0);
        QTest::keyClick(w, Qt::Key_N, Qt::AltModifier);
        QTRY_COMPARE(voice->spoken().value(2), QStringLiteral("beta"));
    }

    // The editor's popup, keyword menu and find keys, then Enter reading the line it ends.
    void editorMenusAndKeys()
    {
        bool handled = false;
        emit w->Text1->ContextMenu(handled, w->mapToGlobal(QPoint(20, 20)));
        auto *menu = child<QMenu>("MenuQuickVoiceSelect");
        QTRY_VERIFY(handled && menu->isVisible());
        QStringList captions;
        for (QAction *a : menu->actions())
            if (a->isVisible() && !a->isSeparator())
                captions.append(a->text());
        QCOMPARE(captions.mid(3, 2), (QStringList{"Speak selected", "Speak from here"}));
        menu->hide();
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
        child<QDialog>("FormReplace")->hide();
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

    void settingsSurviveARestart()
    {
        QFile f(SettingsFilePath());
        const auto saved = [&f] {
            const QByteArray bytes = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
            f.close();
            return bytes;
        };
        {
            Form1 first(voice, over); // a first run: tags hold for one line
            QCOMPARE(first.session().TagsForCurrentLineOnly, 1);
            for (const char *item :
                 {"menuTAGValidityOnlyForCurrentLine", "menuWordWrap", "menuAutoSelectAudioFormat"})
                test::child<QAction>(&first, item)->trigger();
            test::child<QCheckBox>(&first, "CheckSpeechLineOnPressEnter")->setChecked(true);
            test::child<QCheckBox>(&first, "CheckTracking")->setChecked(false);
            first.SetVolumeSlider(80);
            first.SetSpeedSlider(-3);
            first.SetPitchSlider(4);
            test::child<QComboBox>(&first, "ComboAudioFormat")->setCurrentIndex(6);
            first.close();
        }
        for (const char *line :
             {"SaveSettings=True", "WordWrap=True", "Tracking=0",
              "TAGValidityOnlyForCurrentLine=False", "SpeechLineOnEnterPressed=1"})
            QVERIFY2(saved().contains(line), line);
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
            QCOMPARE(voice->format, 10); // the sixth entry of the list
            // With saving off only the switch itself is written.
            for (const char *item : {"menuSaveSettings", "menuWordWrap"})
                test::child<QAction>(&second, item)->trigger();
            second.close();
        }
        QVERIFY(saved().contains("SaveSettings=False") && saved().contains("WordWrap=True"));
        IniFile ini(SettingsFilePath());
        ini.write(QStringLiteral("Settings"), QStringLiteral("Volume"), QStringLiteral("abc"));
        ini.write(QStringLiteral("Settings"), QStringLiteral("AutoSelectAudioFormat"),
                  QStringLiteral("True"));
        QVERIFY(ini.save());
        voice->format = 22;
        ResetSettingReports();
        dialogs.messages.clear();
        Form1 third(voice, over);
        QCOMPARE(voice->format, 22); // automatic choice: the voice's own format, not the stored
        QCOMPARE(voice->volume, 50); // a volume that is no number: the default and one message
        QCOMPARE(dialogs.messages.size(), 1);
    }

    // Knob keys reach the engine (the pitch through the tags); verbose mode speaks the value,
    // but only when idle.
    void knobKeysReachTheEngineAndVerboseSpeaksWhenIdle()
    {
        const auto press = [this](const char *knob, Qt::Key key) {
            QTest::keyClick(child<LevelSlider>(knob), key);
        };
        press("PictureSpeedButton", Qt::Key_Down);
        press("PicturePitchButton", Qt::Key_Up);
        press("PictureVolumeButton", Qt::Key_Up);
        QVERIFY(voice->volume == 55 && voice->rate == -1 && w->session().CurrentPitch == 1);
        QVERIFY(voice->spoken().isEmpty()); // verbose mode is off
        child<QAction>("menuVerbose")->setChecked(true);
        w->Text1->setText(QStringLiteral("one\r\ntwo"));
        child<QPushButton>("CommandSpeech")->click();
        QTRY_COMPARE(w->session().SpeechState, 1);
        press("PictureVolumeButton", Qt::Key_Up);
        QCOMPARE(voice->volume, 60);
        child<QPushButton>("CommandSpeech")->click();
        QTRY_COMPARE(w->session().SpeechState, 0);
        press("PictureVolumeButton", Qt::Key_Up);
        QCOMPARE(voice->spoken(), (QStringList{"one", "65"}));
    }

    void noAudioDeviceDisablesSpeaking()
    {
        ScriptedEngine mute;
        mute.hasOutput = false;
        Form1 silent(&mute, over);
        QCOMPARE(dialogs.messages, QStringList{QStringLiteral("No audio devices available")});
        QVERIFY(!test::child<QPushButton>(&silent, "CommandSpeech")->isEnabled());
        QVERIFY(silent.Text1->isEnabled());
    }

    // Drives a window through idle, speaking and paused, calling `look` in each state.
    void driveStates(Form1 &f, const std::function<void()> &look)
    {
        look();
        f.Text1->setText(QStringLiteral("one\r\ntwo"));
        test::child<QPushButton>(&f, "CommandSpeech")->click();
        QTRY_COMPARE(f.session().SpeechState, 1);
        look();
        test::child<QPushButton>(&f, "CommandPauseResume")->click();
        QTRY_COMPARE(f.session().SpeechState, 2);
        look();
        test::child<QPushButton>(&f, "CommandSpeech")->click();
        QTRY_COMPARE(f.session().SpeechState, 0);
    }

    // Every caption, title, tool tip and action text of the English window, in each state, has
    // an entry (a text added without one fails here); a window built with the language loaded
    // translates them all.
    void fileCoversTheWindow()
    {
        closeWindow(); // the windows here on engines of their own
        ScriptedEngine v, o;
        QStringList texts;
        {
            Form1 english(&v, &o);
            english.menuReplace_Click();
            driveStates(english, [&] {
                for (QWidget *form :
                     {static_cast<QWidget *>(&english), static_cast<QWidget *>(english.formFind())})
                    for (const FormText &t : FormTexts(form))
                        texts.append(t.text);
            });
            // Names of voices and languages come from the engines, not from the program.
            for (const VoiceInfo &info : v.GetVoices())
                texts.removeAll(info.name);
            texts.removeAll(test::child<QComboBox>(&english, "ComboVoci")->itemText(0));
            texts.removeAll(test::child<QLabel>(&english, "ImageBandiera")->toolTip());
        }
        texts.removeDuplicates();
        QVERIFY(texts.size() > 40);
        QVERIFY(MultiLang::LoadLanguageFile(Italian));
        QStringList missing;
        for (const QString &t : texts)
            if (!MultiLang::HasEntry(t))
                missing.append(t);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QLatin1String(" | "))));

        Form1 it(&v, &o);
        it.menuReplace_Click();
        QStringList captions;
        driveStates(it, [&] {
            captions << test::child<QPushButton>(&it, "CommandSpeech")->text()
                     << test::child<QPushButton>(&it, "CommandPauseResume")->text();
        });
        QCOMPARE(captions,
                 QStringList({"&Parla", "Pa&usa", "&Ferma", "Pa&usa", "&Ferma", "Ripre&ndi"}));
        // The caption has an entry, so the tool tip stays English: one of the two, never both.
        QCOMPARE(test::child<QCheckBox>(&it, "CheckTracking")->text(), "Mostra &tracciamento");
        QCOMPARE(test::child<QCheckBox>(&it, "CheckTracking")->toolTip(),
                 "Select the actually speaking word");
        QCOMPARE(test::child<QAction>(&it, "menuCut2")->text(), "&Taglia\tCTRL+X");
        QCOMPARE(it.formFind()->windowTitle(), "Trova");
        QVERIFY2(MultiLang::UntranslatedKeys().isEmpty(),
                 qPrintable(MultiLang::UntranslatedKeys().join(QLatin1String(" | "))));
    }

    void translateFormRulesByControlKind_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("toolTip");
        QTest::addColumn<QString>("caption"); // expected, from "Caption"
        QTest::addColumn<QString>("tip");     // expected
        const auto row = [](const char *name, const char *kind, const char *tip,
                            const char *caption, const char *tipAfter) {
            QTest::newRow(name) << kind << tip << caption << tipAfter;
        };
        row("label: caption before a later tip", "label", "Tip", "&Didascalia", "Tip");
        row("label: an earlier tip wins", "label", "Early tip", "Caption", "Presto");
        row("frame", "frame", "Tip", "&Didascalia", "Tip");
        row("button", "button", "Tip", "&Didascalia", "Tip");
        row("check box: tip only when the caption has none", "check", "Early tip", "Caption",
            "Presto");
        row("radio button", "radio", "", "&Didascalia", "");
        row("text box: tip only", "line", "Tip", "Caption", "Suggerimento");
        row("plain text box: tip only", "plain", "Tip", "Caption", "Suggerimento");
        row("combo box: tip only", "combo", "Tip", "Caption", "Suggerimento");
        row("any other: nothing", "slider", "Tip", "Caption", "Tip");
        row("menu: title, no tip", "menu", "Tip", "&Didascalia", "Tip");
    }
    void translateFormRulesByControlKind()
    {
        QFETCH(QString, kind);
        QFETCH(QString, toolTip);
        QTemporaryDir dir;
        QFile lng(dir.filePath(QStringLiteral("t.lng")));
        QVERIFY(lng.open(QIODevice::WriteOnly));
        lng.write("1Early tip\n2Presto\n1C&aption\n2&Didascalia\n1Tip\n2Suggerimento\n");
        lng.close();
        QVERIFY(MultiLang::LoadLanguageFile(lng.fileName()));

        // One control of each kind, with the property that holds its caption.
        QWidget form;
        const std::pair<QWidget *, const char *> controls[] = {
            {new QLabel(&form), "text"},
            {new QGroupBox(&form), "title"},
            {new QPushButton(&form), "text"},
            {new QCheckBox(&form), "text"},
            {new QRadioButton(&form), "text"},
            {new QLineEdit(&form), "text"},
            {new QPlainTextEdit(&form), "plainText"},
            {new QComboBox(&form), "currentText"},
            {new QSlider(&form), nullptr},
            {new QMenu(&form), "title"}};
        QAction *action = static_cast<QMenu *>(controls[9].first)->addAction("Tip");
        const auto [w, property] =
            controls[QStringList{"label", "frame", "button", "check", "radio", "line", "plain",
                                 "combo", "slider", "menu"}
                         .indexOf(kind)];
        if (auto *combo = qobject_cast<QComboBox *>(w))
            combo->addItem(QStringLiteral("Caption"));
        else if (property)
            w->setProperty(property, QStringLiteral("Caption"));
        w->setToolTip(toolTip);
        TranslateForm(&form);
        QTEST(property ? w->property(property).toString() : QStringLiteral("Caption"), "caption");
        QTEST(w->toolTip(), "tip");
        QCOMPARE(action->text(), "Suggerimento"); // a menu's action, whatever the row
    }
};

TONARIS_TEST_MAIN(TestForm1)
#include "tst_form1.moc"
