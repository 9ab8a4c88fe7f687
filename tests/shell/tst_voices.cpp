// The main window's voices: catalogue into list and language menus, binding with its greeting,
// the #VOICE lines of the popup, values kept per voice and the switch of engine family; the
// talking character and the clipboard watch.
#include "RecordingDialogs.h"
#include "ScriptedWindow.h"
#include "config/AppPaths.h"
#include "config/KelIni.h"
#include "shell/LevelSlider.h"
#include "shell/TalkingCharacter.h"
#include "textprep/Text.h"
#include "voices/ExternalVoiceEngine.h"
#include "voices/VoiceCatalogue.h"

#include <QTest>
#include <QtWidgets>

using namespace tonaris;
using tonaris::test::RecordingDialogs;
using tonaris::test::ScriptedEngine;

namespace {

VoiceInfo info(const char *id, const char *name, const char *language,
               const char *vendor = "eSpeak NG")
{
    return {id, name, "FEMALE", vendor, language, QString(), QString()};
}

VoiceRecord voiceOf(const char *gender)
{
    VoiceRecord v;
    v.Gender = QLatin1String(gender);
    return v;
}

// Voices of a program that is never run here: the tests look at lists, values and formats.
QList<ExternalVoice> externalVoices()
{
    QList<ExternalVoice> list;
    for (const auto &[name, code] : {std::pair{"Anna", "1040"}, std::pair{"Nikos", "1032"}}) {
        ExternalVoice v;
        v.info = info(name, name, code, "Acme");
        v.program = QStringLiteral("true");
        v.speedMin = 80, v.speedDefault = 100, v.speedMax = 300;
        v.pitchMin = 0, v.pitchDefault = 40, v.pitchMax = 100;
        v.formatCode = 18;
        list.append(v);
    }
    return list;
}

} // namespace

class TestVoices : public QObject, tonaris::test::ScriptedWindow
{
    Q_OBJECT

private:
    RecordingDialogs dialogs;

    QComboBox *combo() { return child<QComboBox>("ComboVoci"); }
    QStringList visibleItems(const char *menuName)
    {
        QStringList items;
        for (QAction *a : child<QMenu>(menuName)->actions())
            items.append(a->text() + QLatin1Char('=') + a->data().toString());
        return child<QMenu>(menuName)->menuAction()->isVisible() ? items : QStringList();
    }
    // A window that is never shown, on engines with five voices.
    bool makeWindow()
    {
        return openWindow(
            [](ScriptedEngine &voice) {
                voice.voices = {info("it1", "Lucia", "410"), info("sv", "Astrid", "41d"),
                                info("it2", "Paolo", "410"), info("ja", "Yuki", "411"),
                                info("eo", "Esperanto_Voice", "1000")};
                voice.currentVoice = QStringLiteral("it1");
            },
            false);
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        Dialogs::install(&dialogs);
        Form1::discoverExternalVoices = externalVoices;
    }
    void init()
    {
        QFile::remove(SettingsFilePath());
        QVERIFY(makeWindow());
        dialogs.clear();
    }
    void cleanup() { closeWindow(); }

    // The catalogue's rules are tested on their own; here the window shows what they give.
    void catalogueFillsListAndLanguageMenus()
    {
        QCOMPARE(combo()->count(), 5);
        QCOMPARE(combo()->itemText(4), QStringLiteral("eSpeak NG Esperanto Voice"));
        QCOMPARE(visibleItems("menuItalian"), (QStringList{"Lucia=0", "Paolo=2"}));
        QCOMPARE(visibleItems("menuOtherCountries"), QStringList{"Esperanto Voice (1000)=4"});
        QVERIFY(visibleItems("menuEnglishUS").isEmpty());
    }

    // Choosing a voice binds it and lets it say its name, with or without its language.
    void selectingAVoiceAnnouncesIt_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<bool>("countryToo");
        QTest::addColumn<QString>("spoken");
        QTest::addColumn<int>("flag");
        QTest::newRow("Swedish with country") << 1 << true << "Astrid; Swedish." << 14;
        QTest::newRow("Italian, name only") << 2 << false << "Paolo." << 10;
        QTest::newRow("unknown language") << 4 << true << "Esperanto Voice; 1000." << 17;
    }
    void selectingAVoiceAnnouncesIt()
    {
        QFETCH(int, index);
        QFETCH(bool, countryToo);
        QFETCH(QString, spoken);
        child<QAction>("menuOnVoiceSelectSpeakCountryToo")->setChecked(countryToo);
        combo()->setCurrentIndex(index);
        QCOMPARE(voice->currentVoice, voice->voices.at(index).id);
        QCOMPARE(w->BoundVoice, index);
        QTEST(w->ImageBandieraFlag, "flag");
        QTRY_COMPARE(voice->spoken().value(0), spoken);
    }

    void flagSpeaksTheGreetingOnlyWhenIdle()
    {
        combo()->setCurrentIndex(3);
        QTRY_VERIFY(!voice->spoken().isEmpty());
        voice->finish();
        QTRY_COMPARE(w->session().SpeechState, 0);
        QTest::mouseDClick(child<QLabel>("ImageBandiera"), Qt::LeftButton);
        QTRY_COMPARE(voice->spoken().value(1), QStringLiteral("Sayonara."));
        // Speaking already: a second double-click is ignored.
        QTRY_COMPARE(w->session().SpeechState, 1);
        QTest::keyClick(child<QLabel>("ImageBandiera"), Qt::Key_Space);
        QTest::qWait(20);
        QCOMPARE(voice->spoken().size(), 2);
    }

    // Selections that announce nothing: a #VOICE line met while speaking (by the upper-case name),
    // and a voice chosen during a save, which keeps the file's format. A voice the engine no
    // longer has is told, and the voice in use stays.
    void silentSelectionsAndABrokenVoice()
    {
        emit w->session().voiceRequested(QStringLiteral("PAOLO"));
        QCOMPARE(combo()->currentIndex(), 2);
        QCOMPARE(voice->currentVoice, QStringLiteral("it2"));
        voice->format = 10;
        w->session().SpeechState = SpeechSession::StateSaving;
        combo()->setCurrentIndex(3);
        w->session().SpeechState = SpeechSession::StateIdle;
        QCOMPARE(voice->currentVoice, QStringLiteral("ja"));
        QCOMPARE(voice->format, 10);
        QVERIFY(voice->spoken().isEmpty());
        voice->voices.removeAt(1); // Astrid is gone from the engine, not from the list
        combo()->setCurrentIndex(1);
        QCOMPARE(dialogs.messages.size(), 1);
        QVERIFY(dialogs.messages.first().startsWith(QLatin1String("The voice you have selected")));
        QCOMPARE(voice->currentVoice, QStringLiteral("ja"));
    }

    // A bind reaches what follows the voice: the reply check box by the conversation's rule, and
    // the character, whose three faces a gender go round, each voice keeping its own.
    void bindReachesReplyAndCharacter()
    {
        QList<int> faces;
        w->ReplyFitsVoice = [](const VoiceRecord &v) { return v.Language == QLatin1String("410"); };
        auto *reply = child<QCheckBox>("CheckIA");
        auto *character = child<TalkingCharacter>("PictureCharacter");
        for (int i : {1, 2, 3, 0}) { // Astrid, Paolo, Yuki, then Lucia, bound first, again
            combo()->setCurrentIndex(i);
            QCOMPARE(reply->isEnabled(), i == 2 || i == 0);
            faces.append(character->female() ? character->face() : -1);
        }
        QCOMPARE(faces, (QList<int>{1, 2, 0, 0}));
        w->Text1->setText(QStringLiteral("Hello there.")); // the engine's levels move the mouth
        w->session().CommandSpeech_Click();
        QTRY_COMPARE(w->session().SpeechState, 1);
        emit voice->AudioLevel(voice->stream, 0, 100);
        QCOMPARE(character->pose(), 5);
        voice->finish();
        QTRY_COMPARE(character->pose(), int(TalkingCharacter::PoseFemaleIdle));
    }

    // A pick in the popup binds without a greeting and writes or replaces the #VOICE line.
    void popupWritesTheVoiceLine_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("caret");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<int>("caretAfter");
        QTest::newRow("before a plain line")
            << "one\r\ntwo" << 6 << "one\r\n#VOICE Paolo\r\ntwo" << 19;
        QTest::newRow("replaces a voice line")
            << "#VOICE Lucia\r\ntwo" << 3 << "#VOICE Paolo\r\ntwo" << 14;
        // The caret cannot stand between CR and LF: it goes to the end of the new line.
        QTest::newRow("a voice line that is the last keeps its #")
            << "one\r\n#VOICE Lucia" << 8 << "one\r\n##VOICE Paolo\r\n"
            << 18;
        QTest::newRow("empty text") << "" << 0 << "#VOICE Paolo\r\n" << 14;
    }
    void popupWritesTheVoiceLine()
    {
        QFETCH(QString, text);
        QFETCH(int, caret);
        w->Text1->setText(text);
        w->Text1->SetSelStart(caret);
        voice->calls.clear();
        w->subMenuVoice_Click(2);
        QTEST(w->Text1->text(), "expected");
        QTEST(w->Text1->SelStart(), "caretAfter");
        QCOMPARE(voice->currentVoice, QStringLiteral("it2"));
        QCOMPARE(combo()->currentIndex(), 2);
        QVERIFY(voice->spoken().isEmpty());
    }

    // Independent voices: each keeps what the user set for it; the option excludes saving at
    // full volume.
    void voicesKeepTheirOwnValues()
    {
        auto *maxVolume = child<QAction>("menuAlwaysSaveAudioWithMaxVolume");
        QVERIFY(maxVolume->isChecked()); // a first run saves at full volume
        w->SetVolumeSlider(70);
        child<QAction>("menuConfigureVoicesIndependently")->trigger();
        QVERIFY(!maxVolume->isChecked());
        QCOMPARE(w->Voices.at(3).Volume, quint8(70));

        QTest::keyClick(child<LevelSlider>("PictureVolumeButton"), Qt::Key_Down); // Lucia, bound
        const int lucia = w->CurrentVolume();
        QVERIFY(lucia < 70);
        combo()->setCurrentIndex(1);
        QVERIFY(w->CurrentVolume() == 70 && voice->volume == 70);
        combo()->setCurrentIndex(0);
        QCOMPARE(w->CurrentVolume(), lucia);

        // Kept over a restart under the vendor and name of each voice.
        w->Voices[2].Speed = -3;
        w->SaveSettings();
        IniFile ini(SettingsFilePath());
        QCOMPARE(
            ini.read(QStringLiteral("Settings"), QStringLiteral("Speed_eSpeak NGPaolo"), QString()),
            QStringLiteral("-3"));
        QVERIFY(makeWindow());
        combo()->setCurrentIndex(2);
        QCOMPARE(w->CurrentSpeed(), -3);
        child<QAction>("menuAlwaysSaveAudioWithMaxVolume")->trigger();
        QVERIFY(!child<QAction>("menuConfigureVoicesIndependently")->isChecked());
    }

    // The external family: its own list, menus by decimal codes (Greek tested as French), its
    // own format memory, the device list off; remembered over a restart, and back again. The
    // automatic format gives it the rate its program writes (16 kHz here) rather than 11 kHz,
    // which would down-sample the 22 kHz neural voices.
    void switchingTheEngineFamily()
    {
        child<QAction>("menuSAPI4")->trigger();
        QCOMPARE(w->EngineKind(), 1);
        QCOMPARE(combo()->count(), 2);
        QCOMPARE(visibleItems("menuFrench"), QStringList{"Nikos=1"}); // Greek's code
        QVERIFY(!child<QComboBox>("ComboAudioOutput")->isEnabled());
        QVERIFY(!child<QAction>("menuTAGValidityOnlyForCurrentLine")->isVisible());
        QCOMPARE(child<QComboBox>("ComboAudioFormat")->currentText(),
                 QStringLiteral("16 kHz 16 Bit Mono"));
        // The speed range is centred on the voice's default: 80..120 around 100.
        w->SetSpeedSlider(10);
        QCOMPARE(w->externalVoice()->Speed(), 120);
        w->SetSpeedSlider(-10);
        QCOMPARE(w->externalVoice()->Speed(), 80);
        combo()->setCurrentIndex(1);
        w->SaveSettings();
        QVERIFY(makeWindow());
        QCOMPARE(w->EngineKind(), 1);
        QCOMPARE(combo()->currentText(), QStringLiteral("Nikos Acme"));
        QCOMPARE(w->externalVoice()->SelectedIndex(), 2);

        child<QAction>("menuSAPI5")->trigger();
        QCOMPARE(combo()->count(), 5);
        QVERIFY(child<QComboBox>("ComboAudioOutput")->isEnabled());
        QVERIFY(child<QAction>("menuTAGValidityOnlyForCurrentLine")->isVisible());
        QVERIFY(visibleItems("menuFrench").isEmpty());
    }

    void mouthFollowsTheLevel()
    {
        struct Row
        {
            int level, volume, state;
            bool quoted, playing;
            int pose;
        };
        const Row rows[] = {{0, 60, 1, false, false, 6},   // silent
                            {20, 60, 1, false, false, 9},  // a third
                            {40, 60, 1, false, false, 10}, // two thirds
                            {1, 0, 1, false, false, 10},   // volume 0: any sound opens wide
                            {50, 60, 1, false, true, 6},   // a sound file plays
                            {50, 60, 2, false, false, 6}}; // paused
        for (const Row &r : rows) {
            TalkingCharacter c;
            VoiceRecord v = voiceOf(""); // anything but FEMALE is male
            c.assignFace(v);
            c.AudioLevel(r.level, r.state, r.volume, r.quoted, r.playing);
            QCOMPARE(c.pose(), r.pose);
        }
    }

    void blinksForOneTickAtRandomMomentsAndSwitchesOff()
    {
        TalkingCharacter c;
        c.random = [] { return 0.0; }; // the shortest wait: 5 ticks
        VoiceRecord v = voiceOf("FEMALE");
        c.assignFace(v);
        QList<int> blinkTicks;
        for (int tick = 0; tick < 20; ++tick) {
            c.tick(0);
            if (c.blinking())
                blinkTicks.append(tick);
        }
        // One tick closed, one back to rest, then counting from 0 until past 5.
        QCOMPARE(blinkTicks, (QList<int>{0, 8, 16}));
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseFemaleIdle));
        c.AudioLevel(90, 1, 50, false, false);
        c.tick(1); // while speaking, the mouth rules
        QCOMPARE(c.pose(), 5);
        c.tick(0); // after it, back to rest at once
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseFemaleIdle));
        c.setCharacterEnabled(false); // off wipes it; on, it comes back on the next tick
        c.AudioLevel(50, 1, 50, false, false);
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseNone));
        c.setCharacterEnabled(true);
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseNone));
        c.tick(0);
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseFemaleIdle));
    }

    // The clipboard is looked at once a second: a new text is spoken once, a copy during speech
    // cuts it (pictures and saves: tests/desktop, on a real X server).
    void copiedTextIsSpokenOnce()
    {
        QVERIFY(openWindow());
        QClipboard *clipboard = QGuiApplication::clipboard();
        clipboard->setText(QStringLiteral("before"));
        child<QCheckBox>("CheckGetClipboard")->setChecked(true);
        QTRY_COMPARE(voice->spoken(), QStringList{"before"});
        voice->finish();
        QTRY_COMPARE(w->session().SpeechState, 0);

        clipboard->setText(QStringLiteral("first copy"));
        QTRY_COMPARE(voice->spoken().size(), 2);
        QVERIFY(w->session().SpeechFromClipboard);         // such a text never starts a program
        clipboard->setText(QStringLiteral("second copy")); // while the first is spoken
        QTRY_COMPARE(voice->spoken().size(), 3);
        QCOMPARE(voice->spoken().last(), QStringLiteral("second copy"));
        voice->finish();
        QTRY_COMPARE(w->session().SpeechState, 0);
    }
};

TONARIS_TEST_MAIN_WITH(TestVoices, QApplication)
#include "tst_voices.moc"
