// The keys of the whole window: every command from any control, the Tab walk over the
// window's own order, and the resizing of the controls with the window.
#include "shell/Form1.h"

#include "shell/LevelSlider.h"
#include "shell/Resizer.h"
#include "textprep/Text.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>

namespace tonaris {

namespace {

constexpr int ShiftMask = 1, CtrlMask = 2, AltMask = 4;

int shiftOf(Qt::KeyboardModifiers modifiers)
{
    return (modifiers & Qt::ShiftModifier ? ShiftMask : 0) +
           (modifiers & Qt::ControlModifier ? CtrlMask : 0) +
           (modifiers & Qt::AltModifier ? AltMask : 0);
}

// Which controls the Tab key walks over: the editor, lists, buttons, check boxes, text boxes
// and, of the pictures, the three knobs.
bool takesPartInTabWalk(const QWidget *w)
{
    const QString name = w->objectName();
    if (name == QLatin1String("PictureVolumeButton") ||
        name == QLatin1String("PictureSpeedButton") || name == QLatin1String("PicturePitchButton"))
        return true;
    return qobject_cast<const QPushButton *>(w) || qobject_cast<const QCheckBox *>(w) ||
           qobject_cast<const QComboBox *>(w) || qobject_cast<const QLineEdit *>(w) ||
           qobject_cast<const Text *>(w);
}

// The control of the window that has the focus, the editor counting as one control.
QWidget *activeControl(QWidget *window)
{
    for (QWidget *w = QApplication::focusWidget(); w && w != window; w = w->parentWidget())
        if (w->property("TabIndex").isValid())
            return w;
    return nullptr;
}

} // namespace

void Form1::Form_KeyDown(int &keyCode, int shift)
{
    const bool none = shift == 0;
    const bool altAlone = shift == AltMask;
    const bool ctrlAlone = shift == CtrlMask;
    const bool shiftAlone = shift == ShiftMask;
    // A command key works like a press of its button, and like the button not while it is off.
    auto press = [](QPushButton *button, auto &&command) {
        if (button->isEnabled())
            command();
    };
    auto level = [this](LevelSlider *slider, int arrow) {
        slider->KeyDown(arrow);
        Text1->setFocus(Qt::ShortcutFocusReason);
    };
    const int voices = ComboVoci->count();

    if (keyCode == Qt::Key_Tab || keyCode == Qt::Key_Backtab) {
        // Qt reports Shift+Tab as a key of its own.
        const bool backward = shift != 0 || keyCode == Qt::Key_Backtab;
        keyCode = 0;
        SuppressKeyPress = true;
        if (menuKeyboardEditMode->isChecked() && activeControl(this) == Text1) {
            if (!Text1->Locked()) {
                Text1->Insert(QStringLiteral("    "));
                Text1->ScrollToActualPos();
            }
            return;
        }
        MoveTabFocus(backward);
        return;
    }

    // True when the key was one of the window's.
    auto act = [&]() -> bool {
        switch (keyCode) {
        case Qt::Key_1:
        case Qt::Key_2:
        case Qt::Key_3:
        case Qt::Key_4:
        case Qt::Key_5:
        case Qt::Key_6: {
            if (!altAlone)
                return false;
            const int n = keyCode - Qt::Key_1;
            LevelSlider *sliders[] = {PictureVolumeButton, PictureSpeedButton, PicturePitchButton};
            level(sliders[n / 2], n % 2 ? Qt::Key_Up : Qt::Key_Down);
            return true;
        }
        case Qt::Key_F1:
            if (!none)
                return false;
            Text1->setFocus(Qt::ShortcutFocusReason);
            return true;
        case Qt::Key_F4:
            if (!none)
                return false;
            press(CommandPauseResume, [this] { m_session.CommandPauseResume_Click(); });
            return true;
        case Qt::Key_F5:
            press(CommandSpeech, [this] { m_session.CommandSpeech_Click(); });
            return true;
        case Qt::Key_F6:
            press(CommandSpeakPrevLine, [this] { m_session.CommandSpeakPrevLine_Click(); });
            return true;
        case Qt::Key_F7:
            press(CommandSpeakCurrentLine, [this] { m_session.CommandSpeakCurrentLine_Click(); });
            return true;
        case Qt::Key_F8:
            press(CommandSpeakNextLine, [this] { m_session.CommandSpeakNextLine_Click(); });
            return true;
        case Qt::Key_F9:
            press(CommandSpeakFromThisLine, [this] { m_session.CommandSpeakFromThisLine_Click(); });
            return true;
        case Qt::Key_F11:
        case Qt::Key_F12: {
            if (!ComboVoci->isEnabled() || voices == 0)
                return true;
            const bool first = keyCode == Qt::Key_F11;
            const int at = ComboVoci->currentIndex();
            if (shiftAlone) {
                if (voices >= 2)
                    ComboVoci->setCurrentIndex(first ? 0 : voices - 1);
            } else if (first) {
                ComboVoci->setCurrentIndex(at <= 0 ? voices - 1 : at - 1);
            } else {
                ComboVoci->setCurrentIndex(at >= voices - 1 ? 0 : at + 1);
            }
            return true;
        }
        case Qt::Key_S:
            if (ctrlAlone)
                menuSaveTextFileAs_Click();
            else if (shift == (CtrlMask | ShiftMask) && menuSaveAudioFileAs->isEnabled())
                menuSaveAudioFileAs_Click();
            else
                return shift == (CtrlMask | ShiftMask);
            return true;
        case Qt::Key_W:
            if (!ctrlAlone)
                return false;
            menuNew_Click();
            return true;
        case Qt::Key_O:
            if (!ctrlAlone)
                return false;
            menuOpen_Click();
            return true;
        case Qt::Key_Escape:
            return stopReading();
        default:
            return false;
        }
    };
    SuppressKeyPress = act();
    if (SuppressKeyPress)
        keyCode = 0;
}

void Form1::MoveTabFocus(bool Backward)
{
    QWidget *active = activeControl(this);
    const int t = active ? active->property("TabIndex").toInt() : -1;
    QWidget *lowest = nullptr, *highest = nullptr, *next = nullptr, *previous = nullptr;
    auto indexOf = [](const QWidget *w) { return w->property("TabIndex").toInt(); };
    for (QWidget *w : findChildren<QWidget *>()) {
        // A control that cannot be seen cannot take the focus either.
        if (w->window() != this || !w->property("TabIndex").isValid() || !w->isEnabled() ||
            !w->isVisible() || !takesPartInTabWalk(w))
            continue;
        const int i = indexOf(w);
        if (!lowest || i < indexOf(lowest))
            lowest = w;
        if (!highest || i > indexOf(highest))
            highest = w;
        if (i > t && (!next || i < indexOf(next)))
            next = w;
        if (i < t && (!previous || i > indexOf(previous)))
            previous = w;
    }
    QWidget *target = Backward ? (previous ? previous : highest) : (next ? next : lowest);
    if (target)
        target->setFocus(Backward ? Qt::BacktabFocusReason : Qt::TabFocusReason);
}

bool Form1::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == centralWidget() && event->type() == QEvent::Resize) {
        if (ResizeAllowed)
            Resizer1->ResizeControls();
        return false;
    }
    // Every key of the window passes here first, once, on its way to the focused control.
    if (event->type() == QEvent::KeyPress && isActiveWindow() &&
        watched == QApplication::focusWidget() &&
        static_cast<QWidget *>(watched)->window() == this) {
        auto *key = static_cast<QKeyEvent *>(event);
        int keyCode = key->key();
        Form_KeyDown(keyCode, shiftOf(key->modifiers()));
        if (keyCode == 0) {
            key->accept();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

// Stops a reading, paused or listening run, leaving the caret at the start of the line that
// was being read. False when nothing was running.
bool Form1::stopReading()
{
    const int state = m_session.SpeechState;
    if (state != SpeechSession::StateSpeaking && state != SpeechSession::StatePaused &&
        state != SpeechSession::StatePausedRecognizing && state != SpeechSession::StateRecognizing)
        return false;
    const int line = m_session.SpeechLineIndex - 1;
    if (line >= 0 && line < Text1->LineCount()) {
        Text1->SetSelStart(Text1->GetPosStartFromLineIndex(line));
        Text1->SetSelLength(0);
    }
    m_session.SpeechRequest = SpeechSession::RequestStop;
    m_session.SetTimerFast();
    return true;
}

} // namespace tonaris
