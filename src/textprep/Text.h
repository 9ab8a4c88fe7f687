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
    int GetPosStartFromLineIndex(int lineIndex) const;
    int GetCurrentLineIndex() const;
    void ScrollToActualPos();

    bool WordWrap() const;
    void SetWordWrap(bool on);

    // The widget that holds the text, for focus, accessibility and tests.
    QPlainTextEdit *editor() const;

signals:
    // Right click or the menu key over the editor; a handler that shows its own menu sets
    // handled, and the toolkit's menu then stays away.
    void ContextMenu(bool &handled, const QPoint &globalPos);
    void Change();

private:
    struct Private;
    Private *d;
};

} // namespace tonaris
