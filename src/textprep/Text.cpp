#include "textprep/Text.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QVBoxLayout>

#include <algorithm>

namespace tonaris {

namespace {

// Every break the widget can be handed becomes the one separator QTextCursor turns into a new
// block; a stray CR left inside a block would later read back as half of a break.
QString normalizedBreaks(QString text)
{
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text;
}

// The edit box itself. It keeps one block per logical line whatever arrives by keyboard or
// clipboard, and hands every context menu request to the owner instead of showing its own.
class Editor : public QPlainTextEdit
{
public:
    explicit Editor(Text *owner)
        : QPlainTextEdit(owner)
        , m_owner(owner)
    {}

protected:
    void keyPressEvent(QKeyEvent *event) override
    {
        // Shift+Enter would insert a line separator inside the block: a visible break that is
        // not a line for the speech loop. Treat it as a plain Enter.
        const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
        if (enter && (event->modifiers() & Qt::ShiftModifier)) {
            QKeyEvent plain(event->type(), event->key(), event->modifiers() & ~Qt::ShiftModifier,
                            event->text(), event->isAutoRepeat(), ushort(event->count()));
            QPlainTextEdit::keyPressEvent(&plain);
            event->setAccepted(plain.isAccepted());
            return;
        }
        QPlainTextEdit::keyPressEvent(event);
    }

    void insertFromMimeData(const QMimeData *source) override
    {
        if (source == nullptr || !source->hasText()) {
            return;
        }
        QTextCursor cursor = textCursor();
        cursor.insertText(normalizedBreaks(source->text()));
        setTextCursor(cursor);
        ensureCursorVisible();
    }

    void contextMenuEvent(QContextMenuEvent *event) override
    {
        // The program always brings its own menu, so the toolkit's one never appears, whether
        // or not a handler took the request.
        bool handled = false;
        emit m_owner->ContextMenu(handled, event->globalPos());
        event->accept();
    }

private:
    Text *m_owner;
};

} // namespace

struct Text::Private
{
    Editor *edit = nullptr;
    // Line found by the last conversion. Only a hint: it is checked against the document before
    // use, so edits never make it wrong, and caret and speech positions mostly stay near it.
    mutable int lastLine = 0;

    QTextDocument *document() const { return edit->document(); }

    // Offset of a block's start in the CR LF text: every block before it adds one break
    // character more than the document holds.
    static int lineStart(const QTextBlock &block) { return block.position() + block.blockNumber(); }

    int length() const
    {
        const QTextDocument *doc = document();
        return doc->characterCount() - 1 + doc->blockCount() - 1;
    }

    int toOuter(int documentPosition) const
    {
        const QTextBlock block = document()->findBlock(documentPosition);
        return documentPosition + std::max(0, block.blockNumber());
    }

    // The block holding an outer position: the last one whose outer start is not beyond it.
    QTextBlock blockAt(int position) const
    {
        const QTextDocument *doc = document();
        auto holds = [position](const QTextBlock &block) {
            if (lineStart(block) > position) {
                return false;
            }
            const QTextBlock next = block.next();
            return !next.isValid() || lineStart(next) > position;
        };
        const QTextBlock hinted = doc->findBlockByNumber(lastLine);
        if (hinted.isValid()) {
            if (holds(hinted)) {
                return hinted;
            }
            if (hinted.next().isValid() && holds(hinted.next())) {
                lastLine = hinted.blockNumber() + 1;
                return hinted.next();
            }
        }
        // The wanted line L holds document position position - L, give or take the LF of its
        // break. So for bounds low <= L <= high, L lies between the blocks holding
        // position - high - 1 and position - low. Lines longer than a character or two make each
        // round shrink the range many times over; only runs of empty lines need the bisection.
        const int last = doc->characterCount() - 1;
        auto blockNumberAt = [doc, last](int documentPosition) {
            return doc->findBlock(std::clamp(documentPosition, 0, last)).blockNumber();
        };
        int low = 0;
        int high = std::min(position / 2, blockNumberAt(position));
        while (low < high) {
            const int gap = high - low;
            low = std::max(low, blockNumberAt(position - high - 1));
            high = std::min(high, blockNumberAt(position - low));
            if (high - low > gap / 2) {
                break;
            }
        }
        high = std::max(low, high);
        while (low < high) {
            const int middle = low + (high - low + 1) / 2;
            if (lineStart(doc->findBlockByNumber(middle)) <= position) {
                low = middle;
            } else {
                high = middle - 1;
            }
        }
        lastLine = low;
        return doc->findBlockByNumber(low);
    }

    int clamp(int position) const { return std::clamp(position, 0, length()); }

    // A position at the LF of a break counts as the one before the break.
    int toDocument(int position) const
    {
        position = clamp(position);
        const QTextBlock block = blockAt(position);
        const int lineLength = block.length() - 1;
        return block.position() + std::min(position - lineStart(block), lineLength);
    }

    QTextBlock currentBlock() const
    {
        return document()->findBlock(edit->textCursor().selectionStart());
    }
};

Text::Text(QWidget *parent)
    : QWidget(parent)
    , d(new Private)
{
    d->edit = new Editor(this);
    d->edit->setObjectName(QStringLiteral("TextEditor"));
    d->edit->setAccessibleName(QStringLiteral("Text"));
    d->edit->setLineWrapMode(QPlainTextEdit::NoWrap);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(d->edit);
    setFocusProxy(d->edit);
    connect(d->edit, &QPlainTextEdit::textChanged, this, &Text::Change);
}

Text::~Text()
{
    delete d;
}

QString Text::text() const
{
    // Raw text keeps what toPlainText would alter (no-break spaces); its only paragraph
    // separators are the block breaks.
    QString raw = d->document()->toRawText();
    raw.replace(QChar::ParagraphSeparator, QStringLiteral("\r\n"));
    return raw;
}

void Text::setText(const QString &text)
{
    d->edit->setPlainText(normalizedBreaks(text));
    d->edit->moveCursor(QTextCursor::Start);
    d->lastLine = 0;
}

int Text::Length() const
{
    return d->length();
}

int Text::SelStart() const
{
    return d->toOuter(d->edit->textCursor().selectionStart());
}

void Text::SetSelStart(int position)
{
    QTextCursor cursor = d->edit->textCursor();
    cursor.setPosition(d->toDocument(position));
    d->edit->setTextCursor(cursor);
}

int Text::SelLength() const
{
    const QTextCursor cursor = d->edit->textCursor();
    return d->toOuter(cursor.selectionEnd()) - d->toOuter(cursor.selectionStart());
}

void Text::SetSelLength(int length)
{
    QTextCursor cursor = d->edit->textCursor();
    const int start = cursor.selectionStart();
    const qint64 end = qint64(d->toOuter(start)) + std::max(0, length);
    cursor.setPosition(start);
    cursor.setPosition(d->toDocument(int(std::min<qint64>(end, d->length()))),
                       QTextCursor::KeepAnchor);
    d->edit->setTextCursor(cursor);
}

bool Text::Locked() const
{
    return d->edit->isReadOnly();
}

void Text::SetLocked(bool locked)
{
    d->edit->setReadOnly(locked);
    if (locked) {
        // Read-only alone leaves only mouse selection; keyboard moves must still work.
        d->edit->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    }
}

void Text::Insert(const QString &text)
{
    QTextCursor cursor = d->edit->textCursor();
    cursor.beginEditBlock();
    cursor.insertText(normalizedBreaks(text));
    cursor.endEditBlock();
    d->edit->setTextCursor(cursor);
}

int Text::LineCount() const
{
    return d->document()->blockCount();
}

int Text::GetLineIndexFromPos(int position) const
{
    return d->blockAt(d->clamp(position)).blockNumber();
}

int Text::GetLineLength(int lineIndex) const
{
    const QTextBlock block =
        lineIndex < 0 ? d->currentBlock() : d->document()->findBlockByNumber(lineIndex);
    return block.isValid() ? block.length() - 1 : 0;
}

int Text::GetPosStartFromLineIndex(int lineIndex) const
{
    const QTextBlock block =
        lineIndex < 0 ? d->currentBlock() : d->document()->findBlockByNumber(lineIndex);
    return block.isValid() ? Private::lineStart(block) : -1;
}

int Text::GetCurrentLineIndex() const
{
    return d->currentBlock().blockNumber();
}

void Text::ScrollToActualPos()
{
    d->edit->ensureCursorVisible();
}

bool Text::WordWrap() const
{
    return d->edit->lineWrapMode() != QPlainTextEdit::NoWrap;
}

void Text::SetWordWrap(bool on)
{
    d->edit->setLineWrapMode(on ? QPlainTextEdit::WidgetWidth : QPlainTextEdit::NoWrap);
    d->edit->ensureCursorVisible();
}

QPlainTextEdit *Text::editor() const
{
    return d->edit;
}

} // namespace tonaris
