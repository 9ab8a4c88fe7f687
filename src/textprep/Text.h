#pragma once

#include <QString>
#include <QWidget>

class QPlainTextEdit;

namespace tonaris {

// The editor control. Its text model counts a line break as CR LF, two characters, in every
// position and length it takes or gives (SelStart, SelLength, Length, Text, line starts), while
// the widget underneath stores one character per break; the control translates. Positions are
// 0-based. Line numbers are logical lines, never wrapped rows. Converting a position costs
// O(log n) in the size of the text, never a copy of the whole text.
class Text : public QWidget
{
    Q_OBJECT
public:
    explicit Text(QWidget *parent = nullptr);
    ~Text() override;

    // The whole text, line breaks as CR LF. Setting it accepts CR LF, LF or CR as breaks.
    QString text() const;
    void setText(const QString &text);
    int Length() const;

    // The caret; setting it collapses the selection there.
    int SelStart() const;
    void SetSelStart(int position);
    // Setting it selects from the present SelStart for that many characters.
    int SelLength() const;
    void SetSelLength(int length);

    // Read-only for typing; the caret and the selection still move, by keys too.
    bool Locked() const;
    void SetLocked(bool locked);

    // Replaces the selection with the string (undoable); with no selection inserts at the caret.
    void Insert(const QString &text);

    int LineCount() const;
    int GetLineIndexFromPos(int position) const;
    int GetLineLength(int lineIndex) const;
    // Mixes a character and a line number on purpose, as callers expect: the count is the length
    // of the line holding CHARACTER number lineIndex, the text is at most that many characters of
    // LINE lineIndex. A count of 0, a negative index or a missing line give "".
    QString GetLine(int lineIndex) const;
    int GetPosStartFromLineIndex(int lineIndex) const;
    int GetCurrentLineIndex() const;
    void ScrollToActualPos();
    // First logical line with something shown.
    int GetTopLineIndex() const;

    // What typing and pasting by the user may grow the text to, in characters (CR LF counts 2);
    // a key or a paste beyond it is refused whole with a beep. setText never fails and raises the
    // limit to at least its length + 32000; Insert is not limited. 1,000,000 until the first
    // setText. Setting 0 or less lifts the limit.
    int BufferSize() const;
    void SetBufferSize(int maxChars);

    QString FontName() const;
    void SetFontName(const QString &family);
    // In points; sizes below 1 are ignored.
    int FontSize() const;
    void SetFontSize(int points);

    bool WordWrap() const;
    void SetWordWrap(bool on);

    // The widget that holds the text, for focus, accessibility and tests.
    QPlainTextEdit *editor() const;

signals:
    // Right click or the menu key over the editor; a handler that shows its own menu sets
    // handled, and the toolkit's menu then stays away.
    void ContextMenu(bool &handled, const QPoint &globalPos);
    void Change();
    // Before the editor handles a key. keyCode is the Qt::Key value; shift sums 1 Shift,
    // 2 Control, 4 Alt. Setting keyCode to 0 cancels the key: the editor never sees it, and no
    // KeyPress follows.
    void KeyDown(int &keyCode, int shift);
    // The character a key types: 13 Enter, 8 Backspace, else the first UTF-16 unit of the key's
    // text. Setting 0 cancels the key; another value types that character instead.
    void KeyPress(int &keyAscii);
    void KeyUp(int &keyCode, int shift);
    // Files dropped on the editor: once a drop, with the first local file.
    void DropFile(QString &path);

private:
    struct Private;
    Private *d;
};

} // namespace tonaris
