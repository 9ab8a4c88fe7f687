// The File menu, drops, text saves and the reopening of the last file, on the real window.
#include "RecordingDialogs.h"
#include "ScriptedWindow.h"
#include "TestSupport.h"
#include "config/AppPaths.h"
#include "config/Dialogs.h"
#include "config/KelIni.h"
#include "shell/Form1.h"
#include "shell/FormFind.h"
#include "textprep/Text.h"

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;
using tonaris::test::RecordingDialogs;
using tonaris::test::ScriptedEngine;

namespace {
const QString Caption = QStringLiteral("Tonaris (By Orvane)");
const QString Break = QStringLiteral("\r\n\r\n#BREAK\r\n\r\n");

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

class TestDocumentsWindow : public QObject, tonaris::test::ScriptedWindow
{
    Q_OBJECT

    RecordingDialogs dialogs;
    QTemporaryDir dir;

    QString make(const QString &name, const QByteArray &bytes)
    {
        const QString path = dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write %s", qPrintable(path));
        file.write(bytes);
        return path;
    }
    void trigger(const char *name)
    {
        child<QMenu>("menuFile")->aboutToShow(); // the menu's state as when it drops down
        child<QAction>(name)->trigger();
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
    void cleanup() { closeWindow(); }

    void menusAndCaption()
    {
        QCOMPARE(w->windowTitle(), Caption);
        auto *file = child<QMenu>("menuFile");
        QCOMPARE(file->title(), QStringLiteral("&File"));
        QCOMPARE(w->menuBar()->actions().first(), file->menuAction());
        QCOMPARE(child<QAction>("menuSaveTextFile")->text(), QStringLiteral("S&ave text file"));
        QCOMPARE(child<QAction>("menuSaveTextFileAs")->text(),
                 QStringLiteral("Sa&ve text file as...\tCtrl+S"));
        QStringList items;
        for (const QAction *a : file->actions())
            if (!a->isSeparator())
                items << a->objectName();
        QCOMPARE(items, (QStringList{"menuNew", "menuOpen", "menuAppend", "menuBatchConversion",
                                     "menuSaveTextFile", "menuSaveTextFileAs",
                                     "menuSaveAudioFileAs", "menuExit"}));
        const QList<QAction *> options = child<QMenu>("menuOptions")->actions();
        QCOMPARE(options.value(0)->objectName(), QStringLiteral("menuRunWithIdlePriority"));
        QCOMPARE(options.value(1)->objectName(), QStringLiteral("menuAutoLoad"));
    }

    void firstRunAndItsSettings()
    {
        QVERIFY(!child<QAction>("menuAutoLoad")->isChecked());
        QVERIFY(!child<QAction>("menuSaveTextFile")->isEnabled());
        w->close();
        IniFile ini(SettingsFilePath());
        const QString section = QStringLiteral("Settings");
        QCOMPARE(ini.read(section, QStringLiteral("AutoLoadLastSaved"), QString()),
                 QStringLiteral("False"));
        QCOMPARE(ini.read(section, QStringLiteral("LastSavedFilename"), QStringLiteral("x")),
                 QString());
        QCOMPARE(ini.read(section, QStringLiteral("FontName"), QString()), w->Text1->FontName());
        QCOMPARE(ini.read(section, QStringLiteral("FontSize"), QString()),
                 QString::number(w->Text1->FontSize()));
    }

    void openOneFile()
    {
        const QString path = make(QStringLiteral("one file.txt"), "caf\xE9\r\nline two");
        dialogs.multipleFiles = {path};
        trigger("menuOpen");
        QCOMPARE(w->Text1->text(), QStringLiteral("café\r\nline two"));
        QCOMPARE(w->CurrentFilePath, path);
        QCOMPARE(w->windowTitle(), Caption + QStringLiteral(" - ") + path);
        w->menuFile_Click();
        QVERIFY(child<QAction>("menuSaveTextFile")->isEnabled());
    }

    void openSeveralJoinsThemWithBreaks()
    {
        const QString a = make(QStringLiteral("a.txt"), "first");
        const QString b = make(QStringLiteral("b.html"), "<p>second</p>");
        const QString c = make(QStringLiteral("c.rtf"), "{\\rtf1 third}");
        dialogs.multipleFiles = {a, b, c};
        trigger("menuOpen");
        QCOMPARE(w->Text1->text(), QStringLiteral("first") + Break + QStringLiteral("second") +
                                       Break + QStringLiteral("third"));
        QVERIFY(w->CurrentFilePath.isEmpty());
        QCOMPARE(w->windowTitle(), Caption);
        w->menuFile_Click();
        QVERIFY(!child<QAction>("menuSaveTextFile")->isEnabled());
    }

    void openStopsAtAMissingFile()
    {
        const QString a = make(QStringLiteral("a.txt"), "first");
        const QString c = make(QStringLiteral("c.txt"), "third");
        dialogs.multipleFiles = {a, dir.filePath(QStringLiteral("gone.txt")), c};
        trigger("menuOpen");
        QCOMPARE(w->Text1->text(), QStringLiteral("first") + Break);
        QVERIFY(dialogs.messages.isEmpty());
    }

    void cancelledOpenForgetsTheFileButKeepsTheText()
    {
        dialogs.multipleFiles = {make(QStringLiteral("a.txt"), "kept")};
        trigger("menuOpen");
        trigger("menuOpen"); // cancelled: no files
        QCOMPARE(w->Text1->text(), QStringLiteral("kept"));
        QVERIFY(w->CurrentFilePath.isEmpty());
        QCOMPARE(w->windowTitle(), Caption);
    }

    // A file that cannot be read, by every road, gives one message naming it and keeps the
    // text; broken files of tests/data/malformed are refused that way or open as text.
    void failedReadKeepsTheText_data()
    {
        QTest::addColumn<QString>("road");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("refused");
        QTest::newRow("open") << "menuOpen"
                              << "pdf-not-one.pdf" << true;
        QTest::newRow("append") << "menuAppend"
                                << "pdf-not-one.pdf" << true;
        QTest::newRow("drop") << "drop"
                              << "pdf-not-one.pdf" << true;
        for (const char *name :
             {"zero-bytes.txt", "utf16le-lone-surrogates.txt", "binary-noise.txt",
              "rtf-unbalanced.rtf", "rtf-bin-beyond-end.rtf", "html-broken-entities.html"})
            QTest::newRow(name) << "menuOpen" << QString::fromLatin1(name) << false;
        for (const char *name :
             {"pdf-truncated.pdf", "doc-that-is-zip.doc", "doc-ole-truncated.doc"})
            QTest::newRow(name) << "menuOpen" << QString::fromLatin1(name) << true;
    }
    void failedReadKeepsTheText()
    {
        QFETCH(QString, road);
        QFETCH(QString, name);
        QFETCH(bool, refused);
        w->Text1->setText(QStringLiteral("precious"));
        const QString bad = QStringLiteral(TONARIS_TEST_DATA "/malformed/") + name;
        if (road == QLatin1String("drop")) {
            QString path = bad;
            emit w->Text1->DropFile(path);
        } else {
            dialogs.multipleFiles = {bad};
            dialogs.files = {bad};
            trigger(road.toLatin1().constData());
        }
        if (refused) {
            QCOMPARE(w->Text1->text(), QStringLiteral("precious"));
            QCOMPARE(dialogs.messages.size(), 1);
            QVERIFY(dialogs.messages.first().contains(name));
        } else {
            QVERIFY(dialogs.messages.isEmpty());
            QVERIFY(w->Text1->text() != QLatin1String("precious"));
        }
    }

    void appendAddsABreak()
    {
        w->Text1->setText(QStringLiteral("present"));
        dialogs.files = {make(QStringLiteral("more.txt"), "more")};
        trigger("menuAppend");
        QCOMPARE(w->Text1->text(), QStringLiteral("present") + Break + QStringLiteral("more"));
        QVERIFY(w->CurrentFilePath.isEmpty());
        // Into an empty editor no break is written.
        w->menuNew_Click();
        dialogs.files = {dir.filePath(QStringLiteral("more.txt"))};
        w->menuAppend_Click();
        QCOMPARE(w->Text1->text(), QStringLiteral("more"));
    }

    void drops_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("expected"); // the editor's text afterwards
        QTest::addColumn<bool>("becomesCurrent");
        QTest::newRow("text replaces") << "d.txt" << QByteArray("dropped") << "dropped" << true;
        QTest::newRow("html") << "d.htm" << QByteArray("<b>bold</b> text") << "bold text" << true;
        QTest::newRow("unknown ignored") << "d.xyz" << QByteArray("x") << "old\r\nline" << false;
        QTest::newRow("sound inserts a line")
            << "s p.mp3" << QByteArray("ID3") << "old\r\n#PLAY \"%1\"\r\nline" << false;
        QTest::newRow("wave inserts a line")
            << "s.WAV" << QByteArray("RIFF") << "old\r\n#PLAY \"%1\"\r\nline" << false;
    }
    void drops()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, expected);
        QFETCH(bool, becomesCurrent);
        w->Text1->setText(QStringLiteral("old\r\nline"));
        w->Text1->SetSelStart(7); // on the second line
        QString path = make(name, bytes);
        emit w->Text1->DropFile(path);
        QCOMPARE(w->Text1->text(),
                 expected.contains(QLatin1String("%1")) ? expected.arg(path) : expected);
        QCOMPARE(w->CurrentFilePath, becomesCurrent ? path : QString());
    }

    void droppingAFolderDoesNothing()
    {
        w->Text1->setText(QStringLiteral("old"));
        QString path = dir.path();
        emit w->Text1->DropFile(path);
        QCOMPARE(w->Text1->text(), QStringLiteral("old"));
    }

    void dropStopsSpeechFirst()
    {
        w->Text1->setText(QStringLiteral("a line to speak\r\nanother"));
        child<QPushButton>("CommandSpeech")->click();
        QTRY_COMPARE(w->session().SpeechState, int(SpeechSession::StateSpeaking));
        QString path = make(QStringLiteral("next.txt"), "next");
        emit w->Text1->DropFile(path);
        QCOMPARE(w->session().SpeechState, int(SpeechSession::StateIdle));
        QCOMPARE(w->Text1->text(), QStringLiteral("next"));
    }

    void fileMenuFollowsState()
    {
        w->menuFile_Click();
        QVERIFY(!child<QAction>("menuAppend")->isEnabled()); // nothing to append to
        QVERIFY(!child<QAction>("menuSaveTextFile")->isEnabled());
        QVERIFY(child<QAction>("menuOpen")->isEnabled());
        w->Text1->setText(QStringLiteral("a line to speak"));
        child<QPushButton>("CommandSpeech")->click();
        QTRY_COMPARE(w->session().SpeechState, int(SpeechSession::StateSpeaking));
        w->menuFile_Click();
        for (const char *name :
             {"menuNew", "menuOpen", "menuAppend", "menuSaveTextFile", "menuSaveTextFileAs"})
            QVERIFY2(!child<QAction>(name)->isEnabled(), name);
    }

    void saveInItsOwnFormat()
    {
        const QString path = make(QStringLiteral("page.html"), "<p>old</p>");
        dialogs.multipleFiles = {path};
        trigger("menuOpen");
        w->Text1->setText(QStringLiteral("new <text>\r\nsecond"));
        trigger("menuSaveTextFile");
        trigger("menuSaveTextFile");
        QVERIFY(fileBytes(path).startsWith("<html>"));
        dialogs.multipleFiles = {path};
        trigger("menuOpen");
        QCOMPARE(w->Text1->text(), QStringLiteral("new <text>\r\nsecond"));
        QVERIFY(dialogs.messages.isEmpty());
    }

    void saveToAnUnwritableFormatKeepsTheOldFile()
    {
        const QString path = make(QStringLiteral("weird.xyz"), "old bytes");
        dialogs.multipleFiles = {path};
        trigger("menuOpen");
        w->Text1->setText(QStringLiteral("changed"));
        trigger("menuSaveTextFile");
        QCOMPARE(dialogs.messages,
                 QStringList{
                     QStringLiteral("It's impossible to save this file to its original format.")});
        QCOMPARE(fileBytes(path), QByteArray("old bytes"));
        QCOMPARE(w->CurrentFilePath, path);
    }

    void saveAs()
    {
        w->Text1->setText(QStringLiteral("saved text"));
        const QString base = dir.filePath(QStringLiteral("saved.doc"));
        const QString target = base + QStringLiteral(".txt");
        QFile::remove(target);
        dialogs.saveFiles = {base};
        trigger("menuSaveTextFileAs");
        QCOMPARE(dialogs.titles.last(), QStringLiteral("Save Text File as... [Tonaris]"));
        QCOMPARE(fileBytes(target), QByteArray("saved text\r\n"));
        QCOMPARE(w->CurrentFilePath, target);
        QCOMPARE(w->windowTitle(), Caption + QStringLiteral(" - ") + target);

        // It exists now: "No" leaves it, "Yes" replaces it.
        w->Text1->setText(QStringLiteral("other"));
        dialogs.answer = 1;
        dialogs.saveFiles = {target};
        trigger("menuSaveTextFileAs");
        QCOMPARE(dialogs.questions.size(), 1);
        QVERIFY(dialogs.questions.first().endsWith(
            QStringLiteral(" already exists.\r\nDo you want to replace it?")));
        QCOMPARE(fileBytes(target), QByteArray("saved text\r\n"));
        dialogs.answer = 0;
        dialogs.saveFiles = {target};
        trigger("menuSaveTextFileAs");
        QCOMPARE(dialogs.titles.last(), QStringLiteral("Save Text File as... [saved.doc]"));
        QCOMPARE(fileBytes(target), QByteArray("other\r\n"));
    }

    void lastFileReopensAtItsCaret()
    {
        const QString path = make(QStringLiteral("last one.txt"), "0123456789\r\nabcdef");
        child<QAction>("menuAutoLoad")->trigger();
        dialogs.multipleFiles = {path};
        trigger("menuOpen");
        w->Text1->SetSelStart(13);
        QVERIFY(restartWindow());
        QCOMPARE(w->Text1->text(), QStringLiteral("0123456789\r\nabcdef"));
        QCOMPARE(w->CurrentFilePath, path);
        QCOMPARE(w->Text1->SelStart(), 13);
        QVERIFY(child<QAction>("menuAutoLoad")->isChecked());
        // Switched off, nothing is reopened.
        child<QAction>("menuAutoLoad")->trigger();
        QVERIFY(restartWindow());
        QCOMPARE(w->Text1->text(), QString());
        QCOMPARE(w->windowTitle(), Caption);
    }

    void hiddenStartLoadsButLeavesTheCaret()
    {
        const QString path = make(QStringLiteral("hidden.txt"), "0123456789");
        child<QAction>("menuAutoLoad")->trigger();
        dialogs.multipleFiles = {path};
        trigger("menuOpen");
        w->Text1->SetSelStart(5);
        QVERIFY(restartWindow());
        w->menuNew_Click();
        w->StartUpDocument(true);
        QCOMPARE(w->Text1->text(), QStringLiteral("0123456789"));
        QCOMPARE(w->Text1->SelStart(), 0);
    }

    void closingTakesTheOtherWindowsAlong()
    {
        w->menuFind_Click();
        QWidget *find = w->formFind();
        QVERIFY(find->isVisible());
        w->close();
        QVERIFY(!find->isVisible());
    }

    void centerForm()
    {
        QWidget form;
        form.resize(200, 100);
        form.show();
        Form1::CenterForm(&form);
        const QRect area = form.screen()->availableGeometry();
        QVERIFY(qAbs(form.frameGeometry().center().x() - area.center().x()) <= 1);
        QVERIFY(qAbs(form.frameGeometry().center().y() - area.center().y()) <= 1);
    }

    void fontListsChangeTheEditor()
    {
        auto *fonts = child<QComboBox>("ComboFonts");
        auto *sizes = child<QComboBox>("ComboFontSize");
        QVERIFY(fonts->count() > 0);
        QCOMPARE(fonts->currentText(), w->Text1->FontName());
        QCOMPARE(sizes->currentText().toInt(), w->Text1->FontSize());
        sizes->setCurrentIndex(sizes->findText(QStringLiteral("20")));
        emit sizes->textActivated(QStringLiteral("20"));
        QCOMPARE(w->Text1->FontSize(), 20);
        const QString family = fonts->itemText(fonts->count() - 1);
        fonts->setCurrentIndex(fonts->count() - 1);
        emit fonts->textActivated(family);
        QCOMPARE(w->Text1->FontName(), family);
        QVERIFY(restartWindow()); // kept in the settings
        QCOMPARE(w->Text1->FontSize(), 20);
        QCOMPARE(child<QComboBox>("ComboFonts")->currentText(), family);
    }

    void noVoicesLeavesADeadWindow()
    {
        ScriptedEngine mute;
        mute.voices.clear();
        Form1 dead(&mute, over);
        QVERIFY(dialogs.messages.contains(QStringLiteral("No voices actually installed")));
        QVERIFY(!dead.Text1->isEnabled());
        QVERIFY(!dead.findChild<QAction *>(QStringLiteral("menuOpen"))->isEnabled());
    }

    void keysOfTheFileMenu()
    {
        w->Text1->setText(QStringLiteral("text"));
        w->Text1->editor()->setFocus();
        QTest::keyClick(w->Text1->editor(), Qt::Key_W, Qt::ControlModifier);
        QCOMPARE(w->Text1->text(), QString());
        dialogs.saveFiles.clear();
        QTest::keyClick(w->Text1->editor(), Qt::Key_S, Qt::ControlModifier);
        QVERIFY(dialogs.titles.last().startsWith(QStringLiteral("Save Text File as...")));
    }
};

TONARIS_TEST_MAIN(TestDocumentsWindow)
#include "tst_documentswindow.moc"
