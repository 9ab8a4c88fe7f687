// The talking character and the clipboard watch, each driven on its own and through the window
// on the scripted engine.
#include "RecordingDialogs.h"
#include "ScriptedWindow.h"
#include "shell/TalkingCharacter.h"
#include "textprep/Text.h"
#include "voices/VoiceCatalogue.h"

#include <QSvgRenderer>
#include <QTest>
#include <QtWidgets>

using namespace tonaris;
using tonaris::test::RecordingDialogs;
using tonaris::test::ScriptedEngine;

namespace {
VoiceRecord voiceOf(const char *gender)
{
    VoiceRecord v;
    v.Gender = QLatin1String(gender);
    return v;
}
} // namespace

class TestCharacter : public QObject, tonaris::test::ScriptedWindow
{
    Q_OBJECT

private:
    RecordingDialogs dialogs;

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        Dialogs::install(&dialogs);
    }
    void cleanup() { closeWindow(); }

    void everyFrameLoads()
    {
        for (bool female : {false, true})
            for (int face = 0; face < 3; ++face)
                for (const char *frame : {"idle", "mouth1", "mouth2", "mouth3", "blink"}) {
                    const QString path = TalkingCharacter::framePath(female, face, frame);
                    QVERIFY2(QSvgRenderer(path).isValid(), qPrintable(path));
                }
    }

    // Faces go round per gender from the first; a voice keeps its face.
    void facesByGender()
    {
        TalkingCharacter c;
        VoiceRecord males[4] = {voiceOf("MALE"), voiceOf("MALE"), voiceOf(""), voiceOf("MALE")};
        VoiceRecord female = voiceOf("FEMALE");
        QList<int> faces;
        for (VoiceRecord &v : males) {
            c.assignFace(v);
            faces.append(c.face());
        }
        QCOMPARE(faces, (QList<int>{0, 1, 2, 0})); // anything but FEMALE is male
        c.assignFace(female);
        QCOMPARE(c.face(), 0);
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseFemaleIdle));
        c.assignFace(males[1]);
        QCOMPARE(c.face(), 1); // the same voice again keeps its face
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseMaleIdle));
    }

    void mouthFollowsTheLevel_data()
    {
        QTest::addColumn<int>("level");
        QTest::addColumn<int>("volume");
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("quoted");
        QTest::addColumn<bool>("playing");
        QTest::addColumn<int>("pose");
        QTest::newRow("silent") << 0 << 60 << 1 << false << false << 6;
        QTest::newRow("below a third") << 19 << 60 << 1 << false << false << 8;
        QTest::newRow("a third") << 20 << 60 << 1 << false << false << 9;
        QTest::newRow("two thirds") << 40 << 60 << 1 << false << false << 10;
        QTest::newRow("volume 0: any sound opens wide") << 1 << 0 << 1 << false << false << 10;
        QTest::newRow("a sound file plays") << 50 << 60 << 1 << false << true << 6;
        QTest::newRow("quoted voice in use") << 50 << 60 << 1 << true << false << 6;
        QTest::newRow("paused") << 50 << 60 << 2 << false << false << 6;
    }
    void mouthFollowsTheLevel()
    {
        QFETCH(int, level);
        QFETCH(int, volume);
        QFETCH(int, state);
        QFETCH(bool, quoted);
        QFETCH(bool, playing);
        TalkingCharacter c;
        VoiceRecord v = voiceOf("MALE");
        c.assignFace(v);
        c.AudioLevel(level, state, volume, quoted, playing);
        QTEST(c.pose(), "pose");
    }

    void blinksForOneTickAtRandomMoments()
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
    }

    void offWipesAndOnComesBackOnTheNextTick()
    {
        TalkingCharacter c;
        VoiceRecord v = voiceOf("MALE");
        c.assignFace(v);
        c.setCharacterEnabled(false);
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseNone));
        c.AudioLevel(50, 1, 50, false, false);
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseNone));
        c.setCharacterEnabled(true);
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseNone));
        c.tick(0);
        QCOMPARE(c.pose(), int(TalkingCharacter::PoseMaleIdle));
    }

    // Through the window: a bound voice gets its face, the engine's levels move the mouth.
    void windowDrivesTheCharacter()
    {
        QVERIFY(openWindow([](ScriptedEngine &e) {
            e.voices.append({"f", "Fiona", "FEMALE", "Test", "409", "en-us", QString()});
        }));
        auto *c = child<TalkingCharacter>("PictureCharacter");
        child<QComboBox>("ComboVoci")->setCurrentIndex(1);
        QVERIFY(c->female());
        w->Text1->setText(QStringLiteral("Hello there."));
        w->session().CommandSpeech_Click();
        QTRY_COMPARE(w->session().SpeechState, 1);
        emit voice->AudioLevel(voice->stream, 0, 100);
        QCOMPARE(c->pose(), 5);
        voice->finish();
        QTRY_COMPARE(w->session().SpeechState, 0);
        QTRY_COMPARE(c->pose(), int(TalkingCharacter::PoseFemaleIdle));
    }

    // The clipboard is looked at once a second: a new text is spoken once, a copy during speech
    // cuts it, and nothing is taken while saving.
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

        // A picture reads as no text; the old text copied again is spoken again.
        auto *picture = new QMimeData;
        picture->setImageData(QImage(4, 4, QImage::Format_RGB32));
        clipboard->setMimeData(picture);
        QTRY_COMPARE(w->LastClipboardText, QString());
        clipboard->setText(QStringLiteral("second copy"));
        QTRY_COMPARE(voice->spoken().size(), 4);
        voice->finish();
        QTRY_COMPARE(w->session().SpeechState, 0);

        w->session().SpeechState = SpeechSession::StateSaving;
        clipboard->setText(QStringLiteral("while saving"));
        QTest::qWait(1500);
        QCOMPARE(voice->spoken().size(), 4);
        w->session().SpeechState = SpeechSession::StateIdle;
        QTRY_COMPARE(voice->spoken().size(), 5);
        voice->finish();
    }
};

TONARIS_TEST_MAIN_WITH(TestCharacter, QApplication)
#include "tst_character.moc"
