#pragma once

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QSize>
#include <QVector>
#include <QWidget>

#include <functional>

namespace tonaris {

// Scales the child controls of one widget with it. Each control's "Tag" property says which of
// its four measures follow: the tag is read upper-cased and counts only when it starts with "@";
// then each of the letters L, T, W, H found anywhere in it scales Left, Top, Width or Height.
// Any other tag (none, or a note without "@") means "@L,T,W,H". "@" alone pins a control. A
// measure that is not named keeps its present value. Measures are always computed from the
// design values taken at the first pass, so no rounding error builds up.
//
// The first ResizeControls only measures: the size the widget has then is its design size.
// With MinSizeLimit the window cannot become smaller than it was when the limit was set,
// unless the screen itself is smaller. UI thread only.
class Resizer : public QObject
{
    Q_OBJECT
public:
    explicit Resizer(QObject *parent = nullptr);

    // The widget whose direct children are scaled.
    void setSourceForm(QWidget *form);
    QWidget *SourceForm() const { return m_form; }

    // Stores the flag and takes the window's present size as its minimum.
    void setMinSizeLimit(bool on);
    QSize minimumSize() const { return {m_minWidth, m_minHeight}; }

    // Measures the controls again at the present size.
    void ReInitialise();
    // Sizes the window to a share of the screen and centres it there.
    void SizeFormToScreen(quint8 &percent);
    // The layout pass; call it on every resize of the source widget.
    void ResizeControls();

    // The available screen size; by default the screen the window stands on. Tests set it.
    void setScreenSize(std::function<QSize()> screen) { m_screen = std::move(screen); }

    // Which measures a tag scales, as the letters L, T, W and H.
    struct Scaling
    {
        bool left = true, top = true, width = true, height = true;
    };
    static Scaling scalingOf(const QString &tag);

private:
    struct Control
    {
        QPointer<QWidget> widget;
        QRect design;
    };
    void MeasureControls();
    QSize screenSize() const;
    QWidget *window() const;

    QPointer<QWidget> m_form;
    bool m_minLimit = false;
    int m_minWidth = 0;
    int m_minHeight = 0;
    bool m_needsInit = true;
    bool m_busy = false; // a size change of our own must not enter the pass again
    QSize m_design;
    QVector<Control> m_controls;
    std::function<QSize()> m_screen;
};

} // namespace tonaris
