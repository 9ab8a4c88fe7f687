#include "textprep/Text.h"

#include "textprep/SuperClass.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QDropEvent>
#include <QFontInfo>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QVBoxLayout>

#include <algorithm>
#include <limits>

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

// Length in the CR LF model of a text whose breaks are already single LFs.
qint64 outerLength(const QString &normalized)
{
    return normalized.size() + normalized.count(QLatin1Char('\n'));
}

int shiftState(Qt::KeyboardModifiers modifiers)
{
    return (modifiers & Qt::ShiftModifier ? 1 : 0) + (modifiers & Qt::ControlModifier ? 2 : 0) +
           (modifiers & Qt::AltModifier ? 4 : 0);
}

bool isEnter(const QKeyEvent &event)
{
    return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

int typedCharacter(const QKeyEvent &event)
{
    if (isEnter(event)) {
        return 13;
    }
    if (event.key() == Qt::Key_Backspace) {
        return 8;
    }
    return event.text().isEmpty() ? 0 : event.text().at(0).unicode();
}

// Characters a key press adds to the text, as the widget's own key handling will add them.
qint64 typedLength(const QKeyEvent &event)
{
    const Qt::KeyboardModifiers modifiers = event.modifiers();
    if ((modifiers & Qt::ControlModifier) && !(modifiers & Qt::AltModifier)) {
        return 0;
    }
    if (isEnter(event)) {
        return 2;
    }
    const QString typed = event.text();
    const bool prints = !typed.isEmpty() && (typed.at(0).isPrint() || typed.at(0).isSurrogate());
    return prints ? typed.size() : 0;
}

QString firstLocalFile(const QMimeData *data)
{
    if (data != nullptr) {
        for (const QUrl &url : data->urls()) {
            if (url.isLocalFile()) {
                return url.toLocalFile();
            }
        }
    }
    return {};
}

// The edit box itself. It keeps one block per logical line whatever arrives by keyboard or
// clipboard, raises the owner's key events and holds the user's typing to the buffer size.
class Editor : public QPlainTextEdit
{
public:
    explicit Editor(Text *owner)
        : QPlainTextEdit(owner)
        , m_owner(owner)
    {}

    int topLine() const { return firstVisibleBlock().blockNumber(); }

protected:
    void keyPressEvent(QKeyEvent *event) override
    {
        int keyCode = event->key();
        emit m_owner->KeyDown(keyCode, shiftState(event->modifiers()));
        if (keyCode == 0) {
            event->accept();
            return;
        }
        const int typed = typedCharacter(*event);
        int keyAscii = typed;
        if (typed != 0) {
            emit m_owner->KeyPress(keyAscii);
            if (keyAscii == 0) {
                event->accept();
                return;
            }
        }
        if (keyAscii != typed && keyAscii > 0 && keyAscii <= 0xffff) {
            const Qt::Key key = keyAscii == 13  ? Qt::Key_Return
                                : keyAscii == 8 ? Qt::Key_Backspace
                                                : Qt::Key_unknown;
            QKeyEvent other(event->type(), key, Qt::NoModifier, QString(QChar(char16_t(keyAscii))),
                            event->isAutoRepeat());
            edit(&other);
            event->setAccepted(other.isAccepted());
            return;
        }
        edit(event);
    }

    void keyReleaseEvent(QKeyEvent *event) override
    {
        int keyCode = event->key();
        emit m_owner->KeyUp(keyCode, shiftState(event->modifiers()));
        if (keyCode == 0) {
            event->accept();
            return;
        }
        QPlainTextEdit::keyReleaseEvent(event);
    }

    void inputMethodEvent(QInputMethodEvent *event) override
    {
        if (!fits(event->commitString().size())) {
            // The composition goes on; only the text that would not fit is dropped.
            QApplication::beep();
            QInputMethodEvent composing(event->preeditString(), event->attributes());
            QPlainTextEdit::inputMethodEvent(&composing);
            return;
        }
        QPlainTextEdit::inputMethodEvent(event);
    }

    void insertFromMimeData(const QMimeData *source) override
    {
        if (source == nullptr || !source->hasText()) {
            return;
        }
        const QString text = normalizedBreaks(source->text());
        if (!fits(outerLength(text))) {
            // Refused whole: a cut-off paste would lose its tail without anyone noticing.
            QApplication::beep();
            return;
        }
        QTextCursor cursor = textCursor();
        cursor.insertText(text);
        setTextCursor(cursor);
        ensureCursorVisible();
    }

private:
    // Whether the user may add that many characters in place of the selection.
    bool fits(qint64 added) const
    {
        return isReadOnly() || added <= 0 ||
               qint64(m_owner->Length()) - m_owner->SelLength() + added <= m_owner->BufferSize();
    }

    void edit(QKeyEvent *event)
    {
        if (!fits(typedLength(*event))) {
            QApplication::beep();
            event->accept();
            return;
        }
        // Shift+Enter would insert a line separator inside the block: a visible break that is
        // not a line for the speech loop. Treat it as a plain Enter.
        if (isEnter(*event) && (event->modifiers() & Qt::ShiftModifier)) {
            QKeyEvent plain(event->type(), event->key(), event->modifiers() & ~Qt::ShiftModifier,
                            event->text(), event->isAutoRepeat(), ushort(event->count()));
            QPlainTextEdit::keyPressEvent(&plain);
            event->setAccepted(plain.isAccepted());
            return;
        }
        QPlainTextEdit::keyPressEvent(event);
    }

    Text *m_owner;
};

} // namespace

struct Text::Private : SuperClassI
{
    explicit Private(Text *owner)
        : q(owner)
    {}

    Text *q;
    Editor *edit = nullptr;
    // The mouse's menu requests reach the viewport, the menu key's the editor itself.
    SuperClassC viewportHook;
    SuperClassC editorHook;
    int bufferSize = 1000000;
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

    void Before(bool &lHandled, qintptr &lReturn, QObject *, QEvent *uMsg) override
    {
        switch (uMsg->type()) {
        case QEvent::ContextMenu: {
            // The program always brings its own menu, so the toolkit's one never appears,
            // whether or not a handler took the request.
            bool handled = false;
            emit q->ContextMenu(handled, static_cast<QContextMenuEvent *>(uMsg)->globalPos());
            lHandled = true;
            lReturn = 1;
            break;
        }
        case QEvent::DragEnter:
        case QEvent::DragMove: {
            // Files are taken whatever the lock; any other drag is the editor's business.
            auto *drag = static_cast<QDragMoveEvent *>(uMsg);
            if (!firstLocalFile(drag->mimeData()).isEmpty()) {
                drag->acceptProposedAction();
                lHandled = true;
                lReturn = 1;
            }
            break;
        }
        case QEvent::Drop: {
            auto *drop = static_cast<QDropEvent *>(uMsg);
            const QString path = firstLocalFile(drop->mimeData());
            if (path.isEmpty()) {
                break;
            }
            drop->acceptProposedAction();
            lHandled = true;
            lReturn = 1;
            // Opening a document may ask questions; the drag source must not wait for them.
            QMetaObject::invokeMethod(
                q,
                [owner = q, path] {
                    QString name = path;
                    emit owner->DropFile(name);
                },
                Qt::QueuedConnection);
            break;
        }
        default:
            break;
        }
    }

    void After(qintptr &, QObject *, QEvent *) override {}
};

Text::Text(QWidget *parent)
    : QWidget(parent)
    , d(new Private(this))
{
    d->edit = new Editor(this);
    d->edit->setObjectName(QStringLiteral("TextEditor"));
    d->edit->setAccessibleName(QStringLiteral("Text"));
    d->edit->setLineWrapMode(QPlainTextEdit::NoWrap);
    d->edit->setTabChangesFocus(true);
    d->edit->viewport()->setAcceptDrops(true);
    for (QEvent::Type type :
         {QEvent::ContextMenu, QEvent::DragEnter, QEvent::DragMove, QEvent::Drop}) {
        d->viewportHook.AddMsg(type, true);
    }
    d->viewportHook.Subclass(d->edit->viewport(), d);
    d->editorHook.AddMsg(QEvent::ContextMenu, true);
    d->editorHook.Subclass(d->edit, d);
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
    d->bufferSize = int(std::clamp<qint64>(qint64(d->length()) + 32000, d->bufferSize,
                                           std::numeric_limits<int>::max()));
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

QString Text::GetLine(int lineIndex) const
{
    if (lineIndex < 0 || lineIndex > d->length()) {
        return {};
    }
    const int count = d->blockAt(lineIndex).length() - 1;
    const QTextBlock line = d->document()->findBlockByNumber(lineIndex);
    return count > 0 && line.isValid() ? line.text().left(count) : QString();
}

int Text::GetTopLineIndex() const
{
    return d->edit->topLine();
}

int Text::BufferSize() const
{
    return d->bufferSize;
}

void Text::SetBufferSize(int maxChars)
{
    d->bufferSize = maxChars > 0 ? maxChars : std::numeric_limits<int>::max();
}

QString Text::FontName() const
{
    return d->edit->font().family();
}

void Text::SetFontName(const QString &family)
{
    if (family.trimmed().isEmpty()) {
        return;
    }
    QFont font = d->edit->font();
    font.setFamily(family);
    d->edit->setFont(font);
}

int Text::FontSize() const
{
    const QFont font = d->edit->font();
    return font.pointSize() > 0 ? font.pointSize() : QFontInfo(font).pointSize();
}

void Text::SetFontSize(int points)
{
    if (points < 1) {
        return;
    }
    QFont font = d->edit->font();
    // Far beyond any screen; larger sizes only make glyph caches huge.
    font.setPointSize(std::min(points, 1000));
    d->edit->setFont(font);
}

QPlainTextEdit *Text::editor() const
{
    return d->edit;
}

} // namespace tonaris
