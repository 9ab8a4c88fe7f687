// The Italian language file against the real main window, and the rules of TranslateForm.
#include "RecordingDialogs.h"
#include "ScriptedEngine.h"
#include "TestSupport.h"
#include "config/MultiLang.h"
#include "shell/Form1.h"
#include "shell/FormFind.h"
#include "shell/TranslateForm.h"
#include "textprep/Text.h"

#include <QTest>
#include <QtWidgets>

using namespace tonaris;
using tonaris::test::ScriptedEngine;

namespace {
const QString Italian = QStringLiteral(TONARIS_SOURCE_DIR "/data/Italiano.lng");
}

class TestTranslation : public QObject
{
    Q_OBJECT
    test::RecordingDialogs dialogs;
    ScriptedEngine voice, over;

    template <typename T> static T *child(QObject *w, const char *name)
    {
        return test::child<T>(w, name);
    }
private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        Dialogs::install(&dialogs);
    }
    void cleanup() { MultiLang::UnloadLanguage(); }

    // Drives a window through idle, speaking and paused, calling `look` in each state.
    void driveStates(Form1 &w, const std::function<void()> &look)
    {
        look();
        w.Text1->setText(QStringLiteral("one\r\ntwo"));
        child<QPushButton>(&w, "CommandSpeech")->click();
        QTRY_COMPARE(w.session().SpeechState, 1);
        look();
        child<QPushButton>(&w, "CommandPauseResume")->click();
        QTRY_COMPARE(w.session().SpeechState, 2);
        look();
        child<QPushButton>(&w, "CommandSpeech")->click();
        QTRY_COMPARE(w.session().SpeechState, 0);
    }

    // Every caption, title, tool tip and action text of the English window, in each state,
    // has an entry: a text added to the window without one fails here.
    void fileCoversTheEnglishWindow()
    {
        QStringList texts;
        Form1 w(&voice, &over);
        w.formFind();
        w.menuReplace_Click();
        driveStates(w, [&] {
            for (QWidget *form : {static_cast<QWidget *>(&w), static_cast<QWidget *>(w.formFind())})
                for (const FormText &t : FormTexts(form))
                    texts.append(t.text);
        });
        // Names of voices and languages come from the engines, not from the program.
        auto *voices = w.findChild<QComboBox *>(QStringLiteral("ComboVoci"));
        for (int i = 0; i < voices->count(); ++i)
            texts.removeAll(voices->itemText(i));
        for (const VoiceInfo &v : voice.GetVoices())
            texts.removeAll(v.name);
        texts.removeAll(w.findChild<QLabel *>(QStringLiteral("ImageBandiera"))->toolTip());
        texts.removeDuplicates();
        QVERIFY(texts.size() > 40);
        QVERIFY(MultiLang::LoadLanguageFile(Italian));
        QStringList missing;
        for (const QString &t : texts)
            if (!MultiLang::HasEntry(t))
                missing.append(t);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QLatin1String(" | "))));
    }

    // Built with the language loaded: every text the window translates itself had an entry.
    void italianWindow()
    {
        QVERIFY(MultiLang::LoadLanguageFile(Italian));
        Form1 w(&voice, &over);
        w.formFind();
        w.menuReplace_Click();
        QStringList captions;
        driveStates(w, [&] {
            captions << child<QPushButton>(&w, "CommandSpeech")->text()
                     << child<QPushButton>(&w, "CommandPauseResume")->text();
        });
        QCOMPARE(captions,
                 QStringList({"&Parla", "Pa&usa", "&Ferma", "Pa&usa", "&Ferma", "Ripre&ndi"}));
        QCOMPARE(child<QGroupBox>(&w, "FrameVoice")->title(), "Selezione voce");
        // The caption has an entry, so the tool tip stays English: one of the two, never both.
        QCOMPARE(child<QCheckBox>(&w, "CheckTracking")->text(), "Mostra &tracciamento");
        QCOMPARE(child<QCheckBox>(&w, "CheckTracking")->toolTip(),
                 "Select the actually speaking word");
        QCOMPARE(child<QAction>(&w, "menuCut2")->text(), "&Taglia\tCTRL+X");
        QCOMPARE(w.formFind()->windowTitle(), "Trova");
        QVERIFY2(MultiLang::UntranslatedKeys().isEmpty(),
                 qPrintable(MultiLang::UntranslatedKeys().join(QLatin1String(" | "))));
    }

    void typeTable_data()
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
    void typeTable()
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

TONARIS_TEST_MAIN(TestTranslation)
#include "tst_translation.moc"
