// The Find and Replace windows over a real editor; beeps are recorded, not sounded.
#include "TestSupport.h"
#include "audio/Beep.h"
#include "shell/FormFind.h"
#include "shell/FormReplace.h"
#include "textprep/Text.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTest>

using namespace tonaris;

namespace {
// The editor before, the search, and the selection after (positions count CR LF as two).
struct Case
{
    QString content, what;
    int selStart, selLength;
    bool matchCase;
    int start, length;
    QString with = {}, expected = {}; // replacing only
    bool all = false;
};
} // namespace
Q_DECLARE_METATYPE(Case)

class TestFindReplace : public QObject
{
    Q_OBJECT
    QWidget w; // stands for the main window
    Text *text = new Text(&w);
    FormFind *find = new FormFind(text, &w);
    FormReplace *repl = new FormReplace(text, &w);
    QLineEdit *elsewhere = new QLineEdit(&w); // focus must not fall back here on its own
    QList<int> beeps;                         // durations of 200 Hz beeps; another pitch records -1

    void prepare(QDialog *form, const Case &c)
    {
        text->setText(c.content);
        text->SetSelStart(c.selStart);
        text->SetSelLength(c.selLength);
        form->findChild<QLineEdit *>(QStringLiteral("TextFind"))->setText(c.what);
        form->findChild<QCheckBox *>(QStringLiteral("CheckMatchCase"))->setChecked(c.matchCase);
        if (auto *r = form->findChild<QLineEdit *>(QStringLiteral("TextReplace")))
            r->setText(c.with);
        beeps.clear();
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        setBeepHook([this](int hz, int ms) { beeps.append(hz == 200 ? ms : -1); });
        w.show();
    }

    void findNext_data()
    {
        QTest::addColumn<Case>("c");
        const QString lines = QStringLiteral("first\r\nsecond\r\nthird second");
        const auto row = QTest::newRow;
        row("word after the caret") << Case{"one two two", "two", 1, 0, false, 4, 3};
        row("selected word moves on") << Case{"one two two", "two", 4, 3, false, 8, 3};
        row("only one wraps, reselected") << Case{"a beta c", "beta", 2, 4, false, 2, 4};
        row("match case skips Two") << Case{"Two two", "two", 0, 0, true, 4, 3};
        row("match case off finds TWO") << Case{"xx TWO", "two", 0, 0, false, 3, 3};
        row("non-ASCII, any case") << Case{"Straße ÄRGER", "ärger", 0, 0, false, 7, 5};
        row("behind two CR LF breaks") << Case{lines, "third", 0, 0, false, 15, 5};
        row("next line from a selection") << Case{lines, "second", 7, 6, false, 21, 6};
        row("wraps across lines") << Case{lines, "FIRST", 21, 6, false, 0, 5};
        row("not found collapses") << Case{"one two", "zzz", 4, 3, false, 4, 0};
        row("empty editor") << Case{"", "x", 0, 0, false, 0, 0};
        row("empty search, as F3 unshown") << Case{"abc", "", 1, 1, false, 1, 1};
    }
    void findNext()
    {
        QFETCH(Case, c);
        const bool found = c.length > 0 && !c.what.isEmpty(); // length 0: not found, a beep
        for (QDialog *form : {static_cast<QDialog *>(find), static_cast<QDialog *>(repl)}) {
            prepare(form, c); // the same search in both windows; only their beeps differ
            const bool said = form == find ? (find->CommandFind_Click(), found) : repl->Find();
            QCOMPARE(said, found);
            QCOMPARE(text->SelStart(), c.start);
            QCOMPARE(text->SelLength(), c.length);
            if (found) // the selection holds what was looked for
                QCOMPARE(text->editor()->textCursor().selectedText().toLower(), c.what.toLower());
            QCOMPARE(beeps, c.length == 0 ? QList<int>{form == find ? 30 : 20} : QList<int>());
        }
    }

    void replace_data()
    {
        QTest::addColumn<Case>("c");
        const auto row = QTest::newRow;
        row("skips the selected one") << Case{"a a a", "a", 0, 1, false, 2, 3, "bcd", "a bcd a"};
        row("empty replacement") << Case{"a-b-c", "-", 0, 0, false, 1, 0, "", "ab-c"};
        row("on the next line") << Case{"ab\r\nab", "AB", 1, 0, false, 4, 3, "xyz", "ab\r\nxyz"};
        row("not found") << Case{"abc", "x", 1, 1, false, 1, 0, "y", "abc"};
        row("all, any case") << Case{"Ä ä\r\nb ä", "ä", 5, 0, false, 0, 0, "x", "x x\r\nb x", true};
        row("all, matching case") << Case{"Cat cat", "cat", 5, 0, true, 0, 0, "d", "Cat d", true};
        row("all, not found") << Case{"abc", "x", 1, 1, false, 1, 1, "y", "abc", true};
    }
    void replace()
    {
        QFETCH(Case, c);
        prepare(repl, c);
        c.all ? repl->CommandReplaceAll_Click() : repl->CommandReplace_Click();
        QCOMPARE(text->text(), c.expected);
        QCOMPARE(text->SelStart(), c.start);
        QCOMPARE(text->SelLength(), c.length);
        QCOMPARE(beeps, c.expected == c.content ? QList<int>{20} : QList<int>());
        if (c.expected != c.content) { // one undo takes the whole change back
            text->editor()->undo();
            QCOMPARE(text->text(), c.content);
        }
    }

    void cancelHidesAndRefocusesTheEditor()
    {
        w.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&w));
        for (QDialog *form : {static_cast<QDialog *>(find), static_cast<QDialog *>(repl)}) {
            const auto show = [&] { form == find ? find->showAndFocus() : repl->showAndFocus(); };
            auto *field = form->findChild<QLineEdit *>(QStringLiteral("TextFind"));
            field->setText(QStringLiteral("kept"));
            elsewhere->setFocus();
            show();
            QTRY_VERIFY(field->hasFocus());
            QTest::keyClick(field, Qt::Key_Escape);
            QVERIFY(form->isHidden());
            QTRY_VERIFY(text->editor()->hasFocus());
            show(); // the text stays for the next showing, selected to be typed over
            QTRY_VERIFY(field->hasFocus());
            QCOMPARE(field->selectedText(), QStringLiteral("kept"));
            form == find ? find->CommandCancel_Click() : repl->CommandCancel_Click();
            QVERIFY(form->isHidden());
        }
    }
};

TONARIS_TEST_MAIN(TestFindReplace)
#include "tst_findreplace.moc"
