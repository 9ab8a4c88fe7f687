// The main window's text preparation, driven through its menus on a scripted engine: special and
// custom tags, the quoted-text voice and its window, conversions tables and return carriages.
#include "RecordingDialogs.h"
#include "ScriptedWindow.h"
#include "config/AppPaths.h"
#include "config/KelIni.h"
#include "shell/FormQuotedTextOptions.h"
#include "shell/LevelSlider.h"
#include "textprep/Text.h"

#include <QTest>
#include <QtWidgets>

using namespace tonaris;
using tonaris::test::RecordingDialogs;
using tonaris::test::ScriptedEngine;

namespace {
const char *const Opening =
    R"(<VOICE REQUIRED="Name=Anna"><RATE ABSSPEED="4"><PITCH ABSMIDDLE="-3">)";
const char *const Closing = "</PITCH></RATE></VOICE>";

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}

QStringList visibleCaptions(const QMenu *menu)
{
    QStringList captions;
    for (QAction *a : menu->actions())
        if (!a->isSeparator() && a->isVisible())
            captions.append(a->text());
    return captions;
}
} // namespace

class TestTextPrepMenus : public QObject, tonaris::test::ScriptedWindow
{
    Q_OBJECT

private:
    RecordingDialogs dialogs;

    QAction *item(const char *name) { return child<QAction>(name); }
    FormQuotedTextOptions *openQuotedOptions()
    {
        item("menuCustomizeVoiceInQuotedText")->trigger();
        auto *form = w->findChild<FormQuotedTextOptions *>();
        if (form && !QTest::qWaitForWindowExposed(form))
            return nullptr;
        return form;
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        Dialogs::install(&dialogs);
        // Side files where the program looks after its own folder.
        const QString side = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                             QStringLiteral("/tonaris");
        QVERIFY(QDir().mkpath(side));
        writeFile(side + QStringLiteral("/CustomTAG.TXT"),
                  "Hello & welcome\r\n[Pauses]\r\n'<SILENCE MSEC=\"500\"/>'\r\n[Voices]\r\n"
                  "<VOICE REQUIRED=\"Gender=Female\"/>\r\n");
        writeFile(side + QStringLiteral("/english.tab"), "Dr.=Doctor\r\nCitt\xe0=city\r\n");
        writeFile(side + QStringLiteral("/Medical.tab"), "BP=blood pressure\r\n");
    }
    void init()
    {
        QFile::remove(SettingsFilePath());
        QVERIFY(openWindow([](ScriptedEngine &voice) {
            voice.voices.append({"anna", "Anna", "FEMALE", "Test", "409", "en-us", QString()});
        }));
        dialogs.clear();
    }
    void cleanup() { closeWindow(); }

    // The custom menu is read from CustomTAG.TXT: sections become submenus, "&" is shown, and
    // an item replaces the selection.
    void popupOffersTheTagMenus()
    {
        QVERIFY(visibleCaptions(child<QMenu>("MenuQuickVoiceSelect"))
                    .contains(QStringLiteral("Insert custom TAG")));
        QCOMPARE(visibleCaptions(child<QMenu>("menuInsertCustomTAG")),
                 (QStringList{"Pauses", "Voices", "Hello && welcome"}));
        w->Text1->setText(QStringLiteral("one two"));
        w->Text1->SetSelStart(4);
        w->Text1->SetSelLength(3);
        auto *pauses = child<QMenu>("menuInsertCustomTAG")->actions().value(0)->menu();
        QVERIFY(pauses);
        pauses->actions().value(0)->trigger();
        QCOMPARE(w->Text1->text(), QStringLiteral("one '<SILENCE MSEC=\"500\"/>'"));
        child<QMenu>("menuInsertCustomTAG")->actions().value(2)->trigger();
        QVERIFY(w->Text1->text().endsWith(QStringLiteral("Hello & welcome")));
    }

    void specialTagSelectsItsValue_data()
    {
        QTest::addColumn<QString>("item");
        QTest::addColumn<int>("selLength"); // a selection before the write
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("selected");
        QTest::newRow("volume at the caret") << "menuVolumeTAG" << 0 << R"(a<VOLUME LEVEL="50"/>bc)"
                                             << "50";
        QTest::newRow("silence keeps the selected text")
            << "menuSilenceTAG" << 1 << R"(a '<SILENCE MSEC="500"/>' bc)"
            << "500";
        QTest::newRow("spell") << "menuSpellTAG" << 0 << "a<SPELL> SpelledText </SPELL>bc"
                               << "SpelledText";
        QTest::newRow("emphasis, caret behind") << "menuEmphasizeTAG" << 0 << "a<EMPH>bc"
                                                << "";
    }
    void specialTagSelectsItsValue()
    {
        QFETCH(QString, item);
        QFETCH(int, selLength);
        QFETCH(QString, text);
        QFETCH(QString, selected);
        w->Text1->setText(QStringLiteral("abc"));
        w->Text1->SetSelStart(1);
        w->Text1->SetSelLength(selLength);
        this->item(qPrintable(item))->trigger();
        QCOMPARE(w->Text1->text(), text);
        QCOMPARE(w->Text1->text().mid(w->Text1->SelStart(), w->Text1->SelLength()), selected);
        if (selected.isEmpty())
            QCOMPARE(w->Text1->SelStart(), 7);
        w->Text1->editor()->undo();
        QCOMPARE(w->Text1->text(), QStringLiteral("abc"));
    }

    void conversionsTablesAreListedSelectedAndApplied()
    {
        const QList<QAction *> tables =
            child<QMenu>("menuSelectConversionsTable")
                ->findChildren<QAction *>(QStringLiteral("menuConversionsTableItem"));
        QCOMPARE(tables.size(), 2);
        QCOMPARE(tables.at(1)->text(), QStringLiteral("Medical"));
        QVERIFY(tables.at(0)->isChecked()); // nothing stored: the first one
        // Written on Windows: the accented key still matches, without regard to case.
        w->Text1->setText(QStringLiteral("DR. Rossi of CITTÀ, BP high"));
        item("menuApplyConversionsTable")->trigger();
        QCOMPARE(w->Text1->text(), QStringLiteral("Doctor Rossi of city, BP high"));
        tables.at(1)->trigger();
        tables.at(1)->trigger(); // the checked one stays checked
        QVERIFY(tables.at(1)->isChecked() && !tables.at(0)->isChecked());
        item("menuApplyConversionsTable")->trigger();
        QCOMPARE(w->Text1->text(), QStringLiteral("Doctor Rossi of city, blood pressure high"));

        // The choice survives a restart, by the file's exact name: in other capitals it names
        // no table, and the first one is taken.
        w->close();
        Form1 second(voice, over);
        QCOMPARE(second.SelectedConversionsTable, QStringLiteral("Medical"));
        second.close();
        IniFile ini(SettingsFilePath());
        ini.write(QStringLiteral("Settings"), QStringLiteral("FileCorrectionTable"),
                  QStringLiteral("MEDICAL.TAB"));
        QVERIFY(ini.save());
        Form1 third(voice, over);
        QCOMPARE(third.SelectedConversionsTable, QStringLiteral("English"));
    }

    void returnCarriageCommands()
    {
        for (const auto &[name, joined] :
             {std::pair{"menuRemoveNewLine", "a line broken here.\r\n\r\nNext para graph"},
              std::pair{"menuRemoveNewLineHard", "a line broken here.\r\nNext para graph"}}) {
            w->Text1->setText(QStringLiteral("a line\r\nbroken here.\r\n\r\nNext para\r\ngraph"));
            item(name)->trigger();
            QCOMPARE(w->Text1->text(), QLatin1String(joined));
        }
    }

    void textForSavingFollowsTheAudioBookOptions()
    {
        const QString original = QStringLiteral("Dr. Who\r\nis here\r\n\r\nagain");
        w->Text1->setText(original);
        QString text = original;
        w->PrepareTextForSaving(text);
        QCOMPARE(text, original); // all off by default

        item("menuAutoFormat")->trigger();
        item("menuAutoFormatHard")->trigger(); // one of the two at most
        QVERIFY(!item("menuAutoFormat")->isChecked());
        item("menuAutoApplyConversionsTable")->trigger();
        w->PrepareTextForSaving(text);
        QCOMPARE(text, QStringLiteral("Doctor Who is here again"));
        QCOMPARE(w->Text1->text(), original);
    }

    void quotedVoiceWrapsTheSpokenLine()
    {
        auto *tracking = child<QCheckBox>("CheckTracking");
        QVERIFY(tracking->isEnabled());
        w->SetVoiceParametersForQuotedText(1, 1, 4, -3);
        QVERIFY(item("menuCustomizeVoiceInQuotedText")->isChecked());
        QVERIFY(!tracking->isChecked() && !tracking->isEnabled());

        item("menuTAGValidityOnlyForCurrentLine")->trigger(); // tags would outlive the line
        QCOMPARE(w->session().TagsForCurrentLineOnly, 0);
        w->Text1->setText(QStringLiteral("He said \"yes\"\r\nplain"));
        child<QPushButton>("CommandSpeech")->click();
        QTRY_COMPARE(voice->spoken().size(), 1);
        QCOMPARE(voice->spoken().at(0), QStringLiteral("He said ") + QLatin1String(Opening) +
                                            QStringLiteral("\"yes\"") + QLatin1String(Closing));
        QCOMPARE(voice->calls.last().flags, int(SVSFlagsAsync | SVSFIsXML)); // not persisted
        voice->finish();
        QTRY_COMPARE(voice->spoken().size(), 2);
        QCOMPARE(voice->calls.last().flags, int(SVSFlagsAsync | SVSFIsXML | SVSFPersistXML));
        voice->finish();
        QTRY_COMPARE(w->session().StatusDisplay, 0);

        w->SetVoiceParametersForQuotedText(0, 1, 4, -3);
        QVERIFY(tracking->isEnabled());
        w->session().PlayTTS(QStringLiteral("He said \"no\""));
        QCOMPARE(voice->spoken().last(), QStringLiteral("He said \"no\""));
    }

    void quotedVoiceNamingNoVoiceIsReportedOnce()
    {
        w->SetVoiceParametersForQuotedText(1, 9, 0, 0);
        w->Text1->setText(QStringLiteral("\"a\"\r\n\"b\""));
        child<QPushButton>("CommandSpeech")->click();
        QTRY_COMPARE(voice->spoken().size(), 1);
        voice->finish();
        QTRY_COMPARE(voice->spoken().size(), 2);
        QCOMPARE(voice->spoken(), (QStringList{"\"a\"", "\"b\""}));
        QCOMPARE(dialogs.messages.size(), 1);
        voice->finish();
    }

    void optionsWindowSpeaksSamplesAndStoresOnOk()
    {
        FormQuotedTextOptions *form = openQuotedOptions();
        QVERIFY(form && form->isModal());
        QVERIFY(!item("menuCustomizeVoiceInQuotedText")->isChecked()); // the item only opens
        auto *enable = test::child<QCheckBox>(form, "CheckEnableVoiceForQuotedText");
        auto *combo = test::child<QComboBox>(form, "ComboVoci");
        auto *speed = test::child<LevelSlider>(form, "PictureSpeedButton");
        auto *pitch = test::child<LevelSlider>(form, "PicturePitchButton");
        QVERIFY(combo->count() == 2 && !combo->isEnabled()); // the feature is off
        enable->click();
        QVERIFY(combo->isEnabled() && speed->isEnabled());

        QTest::keyClick(speed, Qt::Key_Up);
        QTest::keyClick(speed, Qt::Key_Up);
        QTest::keyClick(pitch, Qt::Key_Down);
        QVERIFY(voice->spoken().isEmpty()); // verbose mode is off
        combo->setCurrentIndex(1);
        QCOMPARE(voice->spoken().value(0),
                 QStringLiteral(R"(<RATE ABSSPEED="2"/><PITCH ABSMIDDLE="-1"/>)"
                                R"(<VOICE REQUIRED="Name=Anna"/>Anna)"));
        test::child<QPushButton>(form, "CommandOK")->click();
        QTRY_VERIFY(!w->findChild<FormQuotedTextOptions *>());
        QCOMPARE(w->GetVoiceSelectedForQuoted(), 1);
        QCOMPARE(w->GetSpeedForQuoted(), 2);
        QCOMPARE(w->GetPitchForQuoted(), -1);

        // Cancel after moving the sliders keeps what was stored.
        voice->finish();
        form = openQuotedOptions();
        QVERIFY(form);
        QCOMPARE(test::child<LevelSlider>(form, "PictureSpeedButton")->value(), 2);
        QTest::keyClick(test::child<LevelSlider>(form, "PictureSpeedButton"), Qt::Key_Up);
        test::child<QCheckBox>(form, "CheckEnableVoiceForQuotedText")->click();
        test::child<QPushButton>(form, "CommandCancel")->click();
        QCOMPARE(w->GetSpeedForQuoted(), 2);
        QVERIFY(item("menuCustomizeVoiceInQuotedText")->isChecked());

        // In verbose mode a key step speaks the number in the chosen voice.
        QTRY_VERIFY(!w->findChild<FormQuotedTextOptions *>());
        item("menuVerbose")->setChecked(true);
        form = openQuotedOptions();
        QVERIFY(form);
        QTest::keyClick(test::child<LevelSlider>(form, "PicturePitchButton"), Qt::Key_Up);
        QCOMPARE(voice->spoken().last(),
                 QStringLiteral(R"(<RATE ABSSPEED="2"/><PITCH ABSMIDDLE="0"/>)"
                                R"(<VOICE REQUIRED="Name=Anna"/>0)"));
        test::child<QPushButton>(form, "CommandCancel")->click();
    }

    void settingsSurviveARestart()
    {
        w->SetVoiceParametersForQuotedText(1, 1, 3, -2);
        item("menuAutoFormatHard")->trigger();
        item("menuAutoApplyConversionsTable")->trigger();
        w->close(); // the file's keys and their order: tst_window
        Form1 second(voice, over);
        QCOMPARE(second.IsVoiceDifferentForQuotedTextEnabled(), 1);
        QCOMPARE(second.GetVoiceSelectedForQuoted(), 1);
        QCOMPARE(second.GetSpeedForQuoted(), 3);
        QCOMPARE(second.GetPitchForQuoted(), -2);
        QCOMPARE(second.SelectedConversionsTable, QStringLiteral("English"));
        QVERIFY(!test::child<QCheckBox>(&second, "CheckTracking")->isEnabled());
        for (const char *item : {"menuAutoFormatHard", "menuAutoApplyConversionsTable"})
            QVERIFY2(test::child<QAction>(&second, item)->isChecked(), item);
    }
};

TONARIS_TEST_MAIN(TestTextPrepMenus)
#include "tst_textprepmenus.moc"
