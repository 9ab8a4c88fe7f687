// The File menu, drops, text saves and the reopening of the last file, on the real window.
#include "RecordingDialogs.h"
#include "ScriptedWindow.h"
#include "config/AppPaths.h"
#include "shell/FormFind.h"
#include "textprep/Text.h"

#include <QTest>
#include <QtWidgets>

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

    void fileMenuOrder()
    {
        auto *file = child<QMenu>("menuFile");
        QCOMPARE(w->menuBar()->actions().first(), file->menuAction());
        QStringList items;
        for (const QAction *a : file->actions())
            if (!a->isSeparator())
                items << a->objectName();
        QCOMPARE(items, (QStringList{"menuNew", "menuOpen", "menuAppend", "menuBatchConversion",
                                     "menuSaveTextFile", "menuSaveTextFileAs",
                                     "menuSaveAudioFileAs", "menuExit"}));
    }

    // One file becomes the current one; several are joined with breaks, and a missing one ends
    // the list without a message; a cancelled open forgets the file but keeps the text.
    void open_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("current");
        QTest::newRow("one") << QStringList{"one file.txt"} << "café\r\nline two" << true;
        QTest::newRow("several") << QStringList{"a.txt", "b.html", "c.rtf"}
                                 << "first" + Break + "second" + Break + "third" << false;
        QTest::newRow("missing") << QStringList{"a.txt", "gone.txt", "c.rtf"} << "first" + Break
                                 << false;
        QTest::newRow("cancelled") << QStringList{"a.txt", "-"} << "first" << false;
    }
    void open()
    {
        QFETCH(QStringList, files);
        QFETCH(bool, current);
        make(QStringLiteral("one file.txt"), "caf\xE9\r\nline two");
        make(QStringLiteral("a.txt"), "first");
        make(QStringLiteral("b.html"), "<p>second</p>");
        make(QStringLiteral("c.rtf"), "{\\rtf1 third}");
        for (QString &f : files)
            f = dir.filePath(f);
        dialogs.multipleFiles = files;
        if (files.last().endsWith(u'-')) { // a second open, cancelled
            dialogs.multipleFiles = files.mid(0, 1);
            trigger("menuOpen");
        }
        trigger("menuOpen");
        QTEST(w->Text1->text(), "text");
        QVERIFY(dialogs.messages.isEmpty());
        QCOMPARE(w->CurrentFilePath, current ? files.first() : QString());
        QCOMPARE(w->windowTitle(),
                 current ? Caption + QStringLiteral(" - ") + files.first() : Caption);
        w->menuFile_Click();
        QCOMPARE(child<QAction>("menuSaveTextFile")->isEnabled(), current);
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
        for (const QString &expected :
             {QString(QStringLiteral("present") + Break + "more"), QString("more")}) {
            dialogs.files = {make(QStringLiteral("more.txt"), "more")};
            w->menuAppend_Click();
            QCOMPARE(w->Text1->text(), expected);
            QVERIFY(w->CurrentFilePath.isEmpty());
            w->menuNew_Click(); // into an empty editor no break is written
        }
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
        QTest::newRow("folder ignored") << "" << QByteArray() << "old\r\nline" << false;
    }
    void drops()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, expected);
        QFETCH(bool, becomesCurrent);
        w->Text1->setText(QStringLiteral("old\r\nline"));
        w->Text1->SetSelStart(7); // on the second line
        QString path = name.isEmpty() ? dir.path() : make(name, bytes);
        emit w->Text1->DropFile(path);
        QCOMPARE(w->Text1->text(),
                 expected.contains(QLatin1String("%1")) ? expected.arg(path) : expected);
        QCOMPARE(w->CurrentFilePath, becomesCurrent ? path : QString());
    }

    // While speaking the File menu is off, and a drop stops the speech first.
    void speakingLocksTheFileMenuAndADropStopsIt()
    {
        w->menuFile_Click();
        QVERIFY(!child<QAction>("menuAppend")->isEnabled()); // nothing to append to
        QVERIFY(child<QAction>("menuOpen")->isEnabled());
        w->Text1->setText(QStringLiteral("a line to speak\r\nanother"));
        child<QPushButton>("CommandSpeech")->click();
        QTRY_COMPARE(w->session().SpeechState, int(SpeechSession::StateSpeaking));
        w->menuFile_Click();
        for (const char *name :
             {"menuNew", "menuOpen", "menuAppend", "menuSaveTextFile", "menuSaveTextFileAs"})
            QVERIFY2(!child<QAction>(name)->isEnabled(), name);
        QString path = make(QStringLiteral("next.txt"), "next");
        emit w->Text1->DropFile(path);
        QCOMPARE(w->session().SpeechState, int(SpeechSession::StateIdle));
        QCOMPARE(w->Text1->text(), QStringLiteral("next"));
    }

    // Save writes the file in its own format, read back the same; a format that cannot be
    // written is told and the old file stays.
    void saveInItsOwnFormat()
    {
        const QString path = make(QStringLiteral("page.html"), "<p>old</p>");
        const QString weird = make(QStringLiteral("weird.xyz"), "old bytes");
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

        dialogs.multipleFiles = {weird};
        trigger("menuOpen");
        w->Text1->setText(QStringLiteral("changed"));
        trigger("menuSaveTextFile");
        QCOMPARE(dialogs.messages,
                 QStringList{"It's impossible to save this file to its original format."});
        QCOMPARE(fileBytes(weird), QByteArray("old bytes"));
        QCOMPARE(w->CurrentFilePath, weird);
    }

    // A new name gets ".txt"; an existing file is replaced only on "Yes".
    void saveAs()
    {
        const QString target = dir.filePath(QStringLiteral("saved.doc.txt"));
        for (const auto &[answer, text, kept] :
             {std::tuple{0, "saved text", "saved text\r\n"},
              std::tuple{1, "other", "saved text\r\n"}, std::tuple{0, "other", "other\r\n"}}) {
            w->Text1->setText(QLatin1String(text));
            dialogs.answer = answer;
            dialogs.saveFiles = {QFile::exists(target) ? target : dir.filePath("saved.doc")};
            trigger("menuSaveTextFileAs");
            QCOMPARE(fileBytes(target), QByteArray(kept));
        }
        QCOMPARE(dialogs.questions.size(), 2);
        QCOMPARE(dialogs.titles.last(), QStringLiteral("Save Text File as... [saved.doc]"));
        QCOMPARE(w->CurrentFilePath, target);
        QCOMPARE(w->windowTitle(), Caption + QStringLiteral(" - ") + target);
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
        w->menuNew_Click(); // a hidden start loads it but leaves the caret at the start
        w->StartUpDocument(true);
        QCOMPARE(w->Text1->text(), QStringLiteral("0123456789\r\nabcdef"));
        QCOMPARE(w->Text1->SelStart(), 0);
        // Switched off, nothing is reopened.
        child<QAction>("menuAutoLoad")->trigger();
        QVERIFY(restartWindow());
        QCOMPARE(w->Text1->text(), QString());
        QCOMPARE(w->windowTitle(), Caption);
    }

    void closingTakesTheOtherWindowsAlong()
    {
        w->menuFind_Click();
        QVERIFY(w->formFind()->isVisible());
        w->close();
        QVERIFY(!w->formFind()->isVisible());
    }

    void fontListsChangeTheEditorAndAreKept()
    {
        auto *fonts = child<QComboBox>("ComboFonts");
        const QString family = fonts->itemText(fonts->count() - 1);
        fonts->setCurrentIndex(fonts->count() - 1);
        emit fonts->textActivated(family);
        auto *sizes = child<QComboBox>("ComboFontSize");
        sizes->setCurrentIndex(sizes->findText(QStringLiteral("20")));
        emit sizes->textActivated(QStringLiteral("20"));
        QVERIFY(w->Text1->FontSize() == 20 && w->Text1->FontName() == family);
        QVERIFY(restartWindow());
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
        QVERIFY(!test::child<QAction>(&dead, "menuOpen")->isEnabled());
    }
};

TONARIS_TEST_MAIN(TestDocumentsWindow)
#include "tst_documentswindow.moc"
