#include "TestSupport.h"
#include "textprep/Text.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QDropEvent>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>
#include <QTimer>

#include <algorithm>

using tonaris::Text;

// Where a position of a CR LF text lands: the LF of a break counts as the position before it.
static int landing(const QString &text, int position)
{
    position = std::clamp(position, 0, int(text.size()));
    const bool atLf = position > 0 && position < text.size() && text.at(position) == u'\n';
    return atLf ? position - 1 : position;
}

class TstText : public QObject
{
    Q_OBJECT
    Text m_text;

private slots:
    void initTestCase()
    {
        tonaris::test::isolateEnvironment();
        m_text.resize(160, 200);
        m_text.show();
        m_text.setFocus();
        QTRY_VERIFY(m_text.editor()->hasFocus());
        auto *access = QAccessible::queryAccessibleInterface(m_text.editor());
        QCOMPARE(access->text(QAccessible::Name), QStringLiteral("Text"));
    }
    void init()
    {
        m_text.SetLocked(false);
        m_text.SetWordWrap(false);
        m_text.setText(QStringLiteral("abc\r\nde"));
        m_text.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&m_text));
    }

    void lineModel_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("wrap");
        auto row = [](const char *name, const QString &in, const QString &out, bool wrap = false) {
            QTest::newRow(name) << in << out << wrap;
        };
        row("crlf", "ab\r\ncde\r\n\r\nf", "ab\r\ncde\r\n\r\nf");
        row("lf", "ab\ncde\n\nf", "ab\r\ncde\r\n\r\nf");
        row("cr", "ab\rcde\r\rf", "ab\r\ncde\r\n\r\nf");
        row("empty", "", "");
        row("only breaks", "\n\r\n\r\r", "\r\n\r\n\r\n\r\n");
        row("trailing break", "one\r\ntwo\n", "one\r\ntwo\r\n");
        const QString words = QStringLiteral("word ").repeated(600);
        row("long line, wrapped", words + "\nend", words + "\r\nend", true);
        const QString other = QStringLiteral("àé\u00a0ß\nΑθήνα 東京\n😀x\u2028y");
        row("non-ascii", other, QString(other).replace(u'\n', QStringLiteral("\r\n")));
    }
    void lineModel()
    {
        QFETCH(QString, input);
        QFETCH(QString, expected);
        QFETCH(bool, wrap);
        m_text.SetWordWrap(wrap);
        m_text.SetSelStart(3);
        QSignalSpy changes(&m_text, &Text::Change);
        m_text.setText(input);
        QVERIFY(!changes.isEmpty());
        QCOMPARE(m_text.SelStart(), 0);
        if (wrap) { // the row only means something if the line really spans several rows
            QTRY_VERIFY(m_text.editor()->document()->firstBlock().layout()->lineCount() > 5);
        }
        QList<int> starts{0};
        for (int i = expected.indexOf(u"\r\n"); i >= 0; i = expected.indexOf(u"\r\n", i + 2)) {
            starts.append(i + 2);
        }
        for (int pass = 0; pass < 2; ++pass) {
            QCOMPARE(m_text.text(), expected);
            QCOMPARE(m_text.Length(), expected.size());
            QCOMPARE(m_text.LineCount(), starts.size());
            for (int line = 0; line < starts.size(); ++line) {
                const int end = line + 1 < starts.size() ? starts[line + 1] - 2 : expected.size();
                QCOMPARE(m_text.GetPosStartFromLineIndex(line), starts[line]);
                QCOMPARE(m_text.GetLineLength(line), end - starts[line]);
            }
            QCOMPARE(m_text.GetPosStartFromLineIndex(starts.size()), -1);
            for (int p = -1; p <= expected.size() + 1; ++p) {
                const int caret = landing(expected, p);
                const int line =
                    int(std::upper_bound(starts.begin(), starts.end(), caret) - starts.begin()) - 1;
                QCOMPARE(m_text.GetLineIndexFromPos(p), line);
                m_text.SetSelStart(p);
                QCOMPARE(m_text.SelStart(), caret);
                QCOMPARE(m_text.GetCurrentLineIndex(), line);
                QCOMPARE(m_text.GetPosStartFromLineIndex(-1), starts[line]);
                m_text.SetSelLength(3);
                QCOMPARE(m_text.SelLength(), landing(expected, caret + 3) - caret);
                QCOMPARE(m_text.SelStart(), caret);
            }
            // Switching the wrap mode keeps the caret and the selection.
            m_text.SetSelStart(expected.size() / 2);
            m_text.SetSelLength(4);
            const int start = m_text.SelStart(), length = m_text.SelLength();
            m_text.SetWordWrap(!m_text.WordWrap());
            QCOMPARE(m_text.SelStart(), start);
            QCOMPARE(m_text.SelLength(), length);
        }
    }

    void lockedKeys_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::newRow("right across break") << int(Qt::Key_Right) << 3 << 5;
        QTest::newRow("down") << int(Qt::Key_Down) << 1 << 6;
        QTest::newRow("end") << int(Qt::Key_End) << 5 << 7;
    }
    void lockedKeys()
    {
        QFETCH(int, key);
        QFETCH(int, from);
        QFETCH(int, to);
        m_text.SetLocked(true);
        m_text.SetSelStart(from);
        QTest::keyClicks(m_text.editor(), QStringLiteral("xy"));
        QTest::keyClick(m_text.editor(), Qt::Key_Return, Qt::ShiftModifier);
        QCOMPARE(m_text.text(), QStringLiteral("abc\r\nde"));
        QTest::keyClick(m_text.editor(), Qt::Key(key));
        QCOMPARE(m_text.SelStart(), to);
    }

    void insertAndUndo_data()
    {
        QTest::addColumn<int>("start");
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("inserted");
        QTest::addColumn<QString>("expected");
        QTest::newRow("at caret") << 1 << 0 << "X"
                                  << "aXbc\r\nde";
        QTest::newRow("over selection") << 1 << 1 << "XY"
                                        << "aXYc\r\nde";
        QTest::newRow("over a break") << 2 << 4 << "-"
                                      << "ab-e";
        QTest::newRow("with breaks") << 3 << 0 << "1\r\n2\n"
                                     << "abc1\r\n2\r\n\r\nde";
    }
    void insertAndUndo()
    {
        QFETCH(int, start);
        QFETCH(int, length);
        QFETCH(QString, inserted);
        QFETCH(QString, expected);
        m_text.SetSelStart(start);
        m_text.SetSelLength(length);
        m_text.Insert(inserted);
        QCOMPARE(m_text.text(), expected);
        QCOMPARE(m_text.SelStart(), start + expected.size() - 7 + length); // after the insertion
        QTest::keyClick(m_text.editor(), Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(m_text.text(), QStringLiteral("abc\r\nde"));
    }

    void contextMenu_data()
    {
        QTest::addColumn<bool>("keyboard"); // the handler takes the mouse requests only
        QTest::newRow("mouse, handled") << false;
        QTest::newRow("menu key, not handled") << true;
    }
    void contextMenu()
    {
        QFETCH(bool, keyboard);
        QList<QPoint> requests;
        QObject scope; // a toolkit menu would block in exec(): the single shot closes and notes it
        connect(&m_text, &Text::ContextMenu, &scope, [&](bool &h, const QPoint &at) {
            requests.append(at);
            h = !keyboard;
        });
        bool popupSeen = false;
        QTimer::singleShot(0, &scope, [&] {
            if (QWidget *popup = QApplication::activePopupWidget()) {
                popupSeen = popup->close();
            }
        });
        QWidget *target = keyboard ? m_text.editor() : m_text.editor()->viewport();
        const QPoint local(10, 10), global = target->mapToGlobal(local);
        QContextMenuEvent event(QContextMenuEvent::Reason(keyboard), local, global);
        QApplication::sendEvent(target, &event);
        QTest::qWait(50);
        QCOMPARE(requests.size(), 1);
        QVERIFY(keyboard || requests.first() == global);
        QVERIFY(!popupSeen);
    }

    void bufferSize_data()
    {
        QTest::addColumn<int>("limit");
        QTest::addColumn<bool>("paste"); // else typed, at the end of "abc\r\nde"
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("expected");
        const QString same = QStringLiteral("abc\r\nde");
        QTest::newRow("typing stops at the limit") << 9 << false << "xyz"
                                                   << "abc\r\ndexy";
        QTest::newRow("enter counts two") << 8 << false << "\r" << same;
        QTest::newRow("paste refused whole") << 10 << true << "1\n2" << same;
        QTest::newRow("paste that fits") << 10 << true << "1\n"
                                         << "abc\r\nde1\r\n";
    }
    void bufferSize()
    {
        QFETCH(int, limit);
        QFETCH(bool, paste);
        QFETCH(QString, input);
        m_text.SetBufferSize(limit);
        m_text.SetSelStart(7);
        QApplication::clipboard()->setText(input);
        if (paste) {
            QTest::keyClick(m_text.editor(), Qt::Key_V, Qt::ControlModifier);
        } else {
            QTest::keyClicks(m_text.editor(), input);
        }
        QTEST(m_text.text(), "expected");
        m_text.setText(QString(40000, u'x')); // never refused, and the user gets room again
        QCOMPARE(m_text.Length(), 40000);
        QCOMPARE(m_text.BufferSize(), 72000);
    }

    void keys_data()
    {
        QTest::addColumn<QString>("typed"); // "\x01" is Control+A
        QTest::addColumn<int>("ascii");     // as KeyPress sees it, 0 when not raised
        QTest::addColumn<QString>("expected");
        QTest::addColumn<int>("selLength");
        const QString same = QStringLiteral("abc\r\nde");
        QTest::newRow("ctrl+a cancelled") << "\x01" << 0 << same << 1;
        QTest::newRow("ctrl+a") << "\x01" << 1 << same << 7;
        QTest::newRow("enter") << "\r" << 13 << "a\r\nc\r\nde" << 0;
        QTest::newRow("é cancelled") << "é" << 0xe9 << same << 1;
    }
    void keys()
    {
        QFETCH(QString, typed);
        QFETCH(int, ascii);
        const bool ctrl = typed == u"\x01";
        const bool cancel = QByteArray(QTest::currentDataTag()).endsWith("cancelled");
        const int key = ctrl ? Qt::Key_A : typed == u"\r" ? Qt::Key_Return : Qt::Key_unknown;
        m_text.SetSelStart(1);
        m_text.SetSelLength(1);
        QObject scope;
        QList<int> downs, presses; // the Control key's own KeyDown is left out
        connect(&m_text, &Text::KeyDown, &scope, [&](int &code, int shift) {
            downs << QList<int>{code, shift}.mid(code == key ? 0 : 2);
            code = cancel && ctrl ? 0 : code;
        });
        connect(&m_text, &Text::KeyPress, &scope, [&](int &code) {
            presses << code;
            code = cancel ? 0 : code;
        });
        QTest::sendKeyEvent(QTest::Click, m_text.editor(), Qt::Key(key), typed,
                            ctrl ? Qt::ControlModifier : Qt::NoModifier);
        QCOMPARE(downs, QList<int>({key, ctrl ? 2 : 0}));
        QCOMPARE(presses, ascii ? QList<int>{ascii} : QList<int>());
        QTEST(m_text.text(), "expected");
        QTEST(m_text.SelLength(), "selLength");
    }

    void drops_data()
    {
        QTest::addColumn<QStringList>("urls");
        QTest::addColumn<QString>("plain");
        QTest::addColumn<QStringList>("files"); // as DropFile sees them
        QTest::addColumn<QString>("expected");
        const QString same = QStringLiteral("abc\r\nde");
        QTest::newRow("web address, two files, names as text")
            << QStringList{"https://a.org/b", "file:///a b", "file:///c"} << "/a b"
            << QStringList{"/a b"} << same;
        QTest::newRow("plain text") << QStringList() << "zz" << QStringList() << "zzabc\r\nde";
    }
    void drops()
    {
        QFETCH(QStringList, urls);
        QFETCH(QString, plain);
        QFETCH(QStringList, files);
        QMimeData data;
        data.setUrls(QUrl::fromStringList(urls));
        data.setText(plain);
        QObject scope;
        QStringList seen;
        connect(&m_text, &Text::DropFile, &scope, [&](QString &path) { seen << path; });
        QWidget *viewport = m_text.editor()->viewport();
        QDragEnterEvent enter(QPoint(1, 1), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(viewport, &enter);
        QDropEvent drop(QPointF(1, 1), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(viewport, &drop);
        QVERIFY(enter.isAccepted() && drop.isAccepted());
        QTRY_COMPARE(seen.size(), files.size()); // queued, so that a slow handler never holds
        QCOMPARE(seen, files);                   // up the dragging program
        QTEST(m_text.text(), "expected");
    }
};

TONARIS_TEST_MAIN(TstText)
#include "tst_text.moc"
