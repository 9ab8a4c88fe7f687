// The window as a whole: the resizer, every key of the window from any control, the Tab walk,
// the layout on a small screen and the order of the settings file.
#include "RecordingDialogs.h"
#include "ScriptedWindow.h"
#include "config/AppPaths.h"
#include "session/SaveToAudio.h"
#include "shell/LevelSlider.h"
#include "shell/Resizer.h"
#include "textprep/Text.h"

#include <QTest>
#include <QtWidgets>

using namespace tonaris;
using tonaris::test::RecordingDialogs;
using tonaris::test::ScriptedEngine;

namespace {

// What a key must have done, read from the window after the key.
enum Look { Nothing, State, Spoken, Voice, Volume, Speed, Pitch, Dialog, Edited };
struct KeyRow
{
    const char *name;
    Qt::Key key;
    Qt::KeyboardModifiers modifiers;
    Look look;
    const char *expected;
    bool endsInEditor; // the focus ends on the editor, wherever it was
};
constexpr auto Shift = Qt::ShiftModifier, Alt = Qt::AltModifier, Ctrl = Qt::ControlModifier;
const KeyRow KeyRows[] = {
    {"F1", Qt::Key_F1, {}, Nothing, "", true},
    {"F5 speaks", Qt::Key_F5, {}, State, "1", false},
    {"Shift+F5 speaks too", Qt::Key_F5, Shift, State, "1", false},
    {"F7 the current line", Qt::Key_F7, {}, Spoken, "beta", false},
    {"F8 the next line", Qt::Key_F8, {}, Spoken, "gamma", false},
    {"F6 the previous line", Qt::Key_F6, {}, Spoken, "alpha", false},
    {"F9 from the caret", Qt::Key_F9, {}, Spoken, "beta", false},
    {"F11 wraps to the last voice", Qt::Key_F11, {}, Voice, "2", false},
    {"F12 the next voice", Qt::Key_F12, {}, Voice, "1", false},
    {"Shift+F12 the last voice", Qt::Key_F12, Shift, Voice, "2", false},
    {"Alt+2 volume up", Qt::Key_2, Alt, Volume, "55", true},
    {"Alt+1 volume down", Qt::Key_1, Alt, Volume, "45", true},
    {"Alt+4 speed up", Qt::Key_4, Alt, Speed, "1", true},
    {"Alt+5 pitch down", Qt::Key_5, Alt, Pitch, "-1", true},
    // A cancelled file dialog leaves the user in the editor.
    {"Ctrl+O opens", Qt::Key_O, Ctrl, Dialog, "Open File...", true},
    {"Ctrl+S saves the text", Qt::Key_S, Ctrl, Dialog, "Save Text File as... [Tonaris]", true},
    {"Ctrl+Shift+S saves audio", Qt::Key_S, Ctrl | Shift, Dialog, "audio target", false},
    {"Ctrl+W clears", Qt::Key_W, Ctrl, Edited, "", true},
    // From here on keys of the editor only.
    {"Alt+Left the current line", Qt::Key_Left, Alt, Spoken, "beta", false},
    {"Alt+Up the previous line", Qt::Key_Up, Alt, Spoken, "alpha", false},
    {"Alt+Down the next line", Qt::Key_Down, Alt, Spoken, "gamma", false},
    {"Alt+Right from the caret", Qt::Key_Right, Alt, Spoken, "beta", false},
};
constexpr int EditorKeys = int(std::size(KeyRows)) - 4;

// Records the keys that reach a control.
struct KeySeen : QObject
{
    QList<int> keys;
    bool eventFilter(QObject *, QEvent *e) override
    {
        if (e->type() == QEvent::KeyPress)
            keys.append(static_cast<QKeyEvent *>(e)->key());
        return false;
    }
};

} // namespace

class TestWindow : public QObject, tonaris::test::ScriptedWindow
{
    Q_OBJECT

private:
    RecordingDialogs dialogs;

    bool openWithThreeVoices()
    {
        return openWindow([](ScriptedEngine &e) {
            for (const char *name : {"Bravo", "Charlie"})
                e.voices.append({QLatin1String(name), QLatin1String(name), "FEMALE", "Test", "409",
                                 "en-us", QString()});
        });
    }
    static void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
    }
    QString focusName() const
    {
        QWidget *f = QApplication::focusWidget();
        if (f && f->parentWidget() == w->Text1)
            return QStringLiteral("Text1");
        return f ? f->objectName() : QString();
    }
    QString look(Look l) const
    {
        const QString seen[] = {QString(),
                                QString::number(w->session().SpeechState),
                                voice->spoken().value(0),
                                QString::number(child<QComboBox>("ComboVoci")->currentIndex()),
                                QString::number(w->CurrentVolume()),
                                QString::number(w->CurrentSpeed()),
                                QString::number(w->CurrentPitch()),
                                dialogs.titles.join(u'|'),
                                w->Text1->text()};
        return seen[l];
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
        QVERIFY(openWithThreeVoices());
        dialogs.clear();
        // The audio save asks for its target here instead of in a file dialog.
        w->session().saver().ChooseTarget = [this](const QString &, int &) {
            dialogs.titles.append(QStringLiteral("audio target"));
            return QString();
        };
    }
    void cleanup() { closeWindow(); }

    void resizerScalesByTag_data()
    {
        QTest::addColumn<QString>("tag");
        QTest::addColumn<QRect>("doubled");
        QTest::newRow("no tag scales all") << QString() << QRect(20, 40, 200, 100);
        QTest::newRow("a note without @ scales all") << "left here" << QRect(20, 40, 200, 100);
        QTest::newRow("@ pins") << "@" << QRect(10, 20, 100, 50);
        QTest::newRow("@W grows to the right") << "@W" << QRect(10, 20, 200, 50);
        QTest::newRow("lower case @l,t moves") << "@l,t" << QRect(20, 40, 100, 50);
        QTest::newRow("@T,H and other text") << "@ top T H" << QRect(10, 40, 100, 100);
    }
    void resizerScalesByTag()
    {
        QFETCH(QString, tag);
        QWidget form;
        form.resize(400, 300);
        auto *control = new QWidget(&form);
        control->setGeometry(10, 20, 100, 50);
        control->setProperty("Tag", tag);
        Resizer resizer;
        resizer.setSourceForm(&form);
        resizer.ResizeControls(); // measures only
        QCOMPARE(control->geometry(), QRect(10, 20, 100, 50));
        form.resize(800, 600);
        resizer.ResizeControls();
        QTEST(control->geometry(), "doubled");
        // Always from the design: an odd size in between leaves no rounding behind.
        for (QSize size : {QSize(533, 377), QSize(400, 300)}) {
            form.resize(size);
            resizer.ResizeControls();
        }
        QCOMPARE(control->geometry(), QRect(10, 20, 100, 50));
    }

    // Title bar and a desktop panel take about 70 pixels of a 1024x768 screen.
    void windowFitsA1024x768Screen()
    {
        QVERIFY(w->Text1->editor()->hasFocus()); // at start
        const QSize minimum = w->Resizer1->minimumSize();
        QVERIFY2(minimum.width() <= 1024 && minimum.height() <= 768 - 70,
                 qPrintable(QStringLiteral("%1x%2").arg(minimum.width()).arg(minimum.height())));
        for (const QSize size : {minimum, QSize(1600, 1000)}) {
            w->resize(size);
            QTRY_COMPARE(w->size(), size);
            const QRect area = w->centralWidget()->rect();
            for (QWidget *c :
                 w->centralWidget()->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly))
                QVERIFY2(area.contains(c->geometry()), qPrintable(c->objectName()));
        }
    }

    // With the desktop's text half again as large, every caption still has its room.
    void largeTextCutsNoCaption()
    {
        closeWindow();
        const QFont normal = QApplication::font();
        QFont large = normal;
        large.setPointSizeF(normal.pointSizeF() * 1.5);
        QApplication::setFont(large);
        const bool opened = openWithThreeVoices();
        QApplication::setFont(normal);
        QVERIFY(opened);
        for (QWidget *c : w->centralWidget()->findChildren<QWidget *>()) {
            if (!c->isVisible() ||
                !(qobject_cast<QAbstractButton *>(c) || qobject_cast<QGroupBox *>(c)))
                continue;
            const QSize need = c->minimumSizeHint();
            QVERIFY2(c->width() >= need.width() && c->height() >= need.height(),
                     qPrintable(c->objectName()));
        }
    }

    void windowKeysFromAnyControl_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("focus");
        for (const char *focus : {"Text1", "ComboAudioFormat", "CommandSpeakNextLine"}) {
            const bool editor = focus == QLatin1String("Text1");
            for (int i = 0; i < (editor ? int(std::size(KeyRows)) : EditorKeys); ++i)
                QTest::addRow("%s on %s", KeyRows[i].name, focus)
                    << i << QString::fromLatin1(focus);
        }
    }
    void windowKeysFromAnyControl()
    {
        QFETCH(int, row);
        QFETCH(QString, focus);
        const KeyRow &r = KeyRows[row];
        const QString text = QStringLiteral("alpha\r\nbeta\r\ngamma");
        w->Text1->setText(text);
        w->Text1->SetSelStart(w->Text1->GetPosStartFromLineIndex(1));
        (focus == QLatin1String("Text1") ? w->Text1->editor() : child<QWidget>(qPrintable(focus)))
            ->setFocus();
        QTRY_COMPARE(focusName(), focus);
        dialogs.clear();
        press(r.key, r.modifiers);
        QTRY_COMPARE(look(r.look), QString::fromUtf8(r.expected));
        QCOMPARE(focusName(), r.endsInEditor ? QStringLiteral("Text1") : focus);
        if (r.look != Edited)
            QCOMPARE(w->Text1->text(), text); // no character reached the editor
    }

    void voiceKeysAtTheEnds()
    {
        child<QComboBox>("ComboVoci")->setCurrentIndex(2);
        press(Qt::Key_F12); // from the last to the first, where Shift+F11 stays
        press(Qt::Key_F11, Qt::ShiftModifier);
        QCOMPARE(child<QComboBox>("ComboVoci")->currentIndex(), 0);
    }

    void escapeStopsSpeechOrPassesThrough()
    {
        KeySeen seen;
        auto *combo = child<QWidget>("ComboAudioFormat");
        combo->installEventFilter(&seen);
        combo->setFocus();
        press(Qt::Key_Escape);
        QCOMPARE(seen.keys, QList<int>{Qt::Key_Escape}); // idle: the control has it

        w->Text1->setText(QStringLiteral("alpha\r\nbeta"));
        w->Text1->SetSelStart(0);
        press(Qt::Key_F5);
        QTRY_COMPARE(voice->spoken().size(), 1);
        voice->finish();
        QTRY_COMPARE(voice->spoken().size(), 2);
        w->Text1->SetSelStart(2);
        combo->setFocus();
        press(Qt::Key_Escape);
        QCOMPARE(seen.keys.size(), 1);
        QTRY_COMPARE(w->session().SpeechState, 0);
        QCOMPARE(w->Text1->SelStart(), 7); // the start of the line being spoken
    }

    void tabWalksEveryControlOnceEachWay()
    {
        QStringList forward;
        w->Text1->setFocus();
        for (int i = 0; i < 60 && !forward.contains(focusName()); ++i) {
            forward.append(focusName());
            press(Qt::Key_Tab);
        }
        QCOMPARE(focusName(), QStringLiteral("Text1")); // the walk came round
        for (const char *name :
             {"ComboVoci", "CommandSpeech", "CheckTracking", "ComboFontSize", "PictureVolumeButton",
              "PictureSpeedButton", "PicturePitchButton", "CheckShowCharacter"})
            QVERIFY2(forward.contains(QLatin1String(name)), name);
        QVERIFY(!forward.contains(QStringLiteral("CheckIA"))); // disabled controls are passed
        QStringList backward;
        for (int i = 0; i < forward.size(); ++i) {
            backward.prepend(focusName());
            press(Qt::Key_Tab, Qt::ShiftModifier);
        }
        backward.prepend(backward.takeLast());
        QCOMPARE(backward, forward);
    }

    // Edit mode off, Tab leaves the editor; on, Tab and Shift+Tab write four blanks.
    void tabInTheEditorWithEditModeOnAndOff()
    {
        for (const auto &[editMode, modifiers, text, focus] :
             {std::tuple{false, Qt::KeyboardModifiers(), "ab", "ComboVoci"},
              std::tuple{true, Qt::KeyboardModifiers(), "a    b", "Text1"},
              std::tuple{true, Qt::KeyboardModifiers(Shift), "a    b", "Text1"}}) {
            child<QAction>("menuKeyboardEditMode")->setChecked(editMode);
            w->Text1->setText(QStringLiteral("ab"));
            w->Text1->SetSelStart(1);
            w->Text1->setFocus();
            press(Qt::Key_Tab, modifiers);
            QCOMPARE(w->Text1->text(), QLatin1String(text));
            QCOMPARE(focusName(), QLatin1String(focus));
        }
    }

    void everyMenuHasUniqueMnemonics()
    {
        static const QRegularExpression mnemonic(QStringLiteral("&([^&])"));
        for (QMenu *menu : w->findChildren<QMenu *>()) {
            if (menu->objectName() == QLatin1String("MenuQuickVoiceSelect"))
                continue;
            QStringList letters;
            for (const QAction *a : menu->actions()) {
                const auto m = mnemonic.match(QString(a->text()).remove(QStringLiteral("&&")));
                if (!m.hasMatch())
                    continue;
                QVERIFY2(!letters.contains(m.captured(1).toLower()),
                         qPrintable(menu->objectName() + QStringLiteral(": ") + a->text()));
                letters.append(m.captured(1).toLower());
            }
        }
    }

    void shortcutListIsOneText()
    {
        child<QAction>("menuShortcutKeys")->trigger();
        QCOMPARE(dialogs.messages.size(), 1);
        QCOMPARE(dialogs.messages.first().split(QStringLiteral("\r\n")).size(), 18); // one a key
    }

    // Other programs read the file too: the keys come in this order, unknown ones behind.
    void settingsAreWrittenInTheirOrderWithOldKeysBehind()
    {
        QDir().mkpath(QFileInfo(SettingsFilePath()).path());
        QFile seed(SettingsFilePath());
        QVERIFY(seed.open(QIODevice::WriteOnly));
        seed.write("[Settings]\nOldKey=kept\nVolume=60\nAllowedProgram1=/usr/bin/true\n");
        seed.close();
        QVERIFY(restartWindow());
        w->close();
        QFile file(SettingsFilePath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QStringList keys;
        for (const QByteArray &line : file.readAll().split('\n'))
            if (line.contains('='))
                keys.append(QString::fromUtf8(line.left(line.indexOf('='))));
        const QStringList documented =
            QStringLiteral(
                "SaveSettings ErrorResolutionShowed FileLNGForTranslate SpeechInterface "
                "VoiceForQuoted "
                "VoiceForQuotedIndex VoiceForQuotedSpeed VoiceForQuotedPitch Mp3Quality "
                "FileAIPersonality FileCorrectionTable AudioFormat AudioFormatSAPI4 "
                "DeviceAudioOutput "
                "ASREngine ASRAudioInput RunWithIdlePriority FontName FontSize IAReply WordWrap "
                "AutoSelectAudioFormat VerboseMode SpeakVolumeNumberAndVolumeTitle "
                "SpeakVolumeTitleAndVolumeNumber AutoFormatHard AutoFormat "
                "AutoApplyConversionsTable "
                "AddInitialAndFinalSilence OnVoiceSelectSpeakCountryToo "
                "AlwaysSaveAudioWithMaxVolume "
                "TAGValidityOnlyForCurrentLine KeyboardEditMode ConfigureVoicesIndependently "
                "AutoLoadLastSaved LastSavedFilename LastCursorPosition Tracking Volume Speed "
                "Pitch "
                "CharacterEnabled VoceSAPI5Selezionata VoceSAPI4Selezionata "
                "SpeechLineOnEnterPressed "
                "ExtensionFilterIndex SplitMp3Size")
                .split(u' ');
        QCOMPARE(keys.mid(0, documented.size()), documented);
        QVERIFY(keys.indexOf(QStringLiteral("OldKey")) >= documented.size());
        QVERIFY(keys.indexOf(QStringLiteral("AllowedProgram1")) >= documented.size());
    }
};

TONARIS_TEST_MAIN_WITH(TestWindow, QApplication)
#include "tst_window.moc"
