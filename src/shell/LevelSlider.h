#pragma once

#include <QGroupBox>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QWidget>

#include <functional>

class QAccessibleEvent;

namespace tonaris {

// One of the window's three vertical level sliders (volume, speed, pitch): a knob drawn over a
// track, moved by mouse or keys. The top of the track is the high end. The value is the truth;
// the knob is placed from it, except while dragging, where the value is read from the knob.
//
// The slider applies nothing itself: the window connects valueChanged to the engine,
// valueEdited to the selected voice's record, and speakValueRequested to the session (spoken
// only in verbose mode while idle). The frame's caption reads the new value while the slider
// keeps the focus after a key, and returns to the rest caption when it loses the focus.
// All on the user-interface thread.
class LevelSlider : public QWidget
{
    Q_OBJECT
public:
    enum class Kind { Volume, Speed, Pitch };
    Q_ENUM(Kind)

    // The object name is that of the knob (PictureVolumeButton, ...), the drag timer's
    // TimerVolume and so on; the rest caption starts untranslated.
    explicit LevelSlider(Kind kind, QWidget *parent = nullptr);

    Kind kind() const { return m_kind; }
    int minimum() const;
    int maximum() const;
    int step() const;
    int defaultValue() const;

    int value() const { return m_value; }
    // Stores the value, clamped to the range, and places the knob. Emits valueChanged when the
    // value changed; never valueEdited, speech or a caption change.
    void setValue(int value);
    // The value the knob's present place stands for.
    int readValue() const;
    // Up and Down step the value, Space resets it; then the new value is asked to be spoken
    // and, while the slider has the focus, shown in the frame's caption. At a limit the key
    // does nothing. False for any other key.
    bool KeyDown(int key);
    // What a double-click does: back to the default, reported as an edit by the user.
    void resetToDefault();

    // The frame's caption: the rest caption, or the value after a key while focused.
    QString caption() const { return m_caption; }
    QString restCaption() const { return m_restCaption; }
    // The translated rest caption; shown at once unless the value is being shown.
    void setRestCaption(const QString &caption);
    // Optional: a group box whose title follows caption() and whose click focuses the slider.
    void setFrame(QGroupBox *frame);
    QGroupBox *frame() const { return m_frame; }

    // Geometry in widget coordinates, as real numbers.
    QRectF trackRect() const;
    QRectF knobRect() const;
    bool isDragging() const { return m_dragTimer.isActive(); }

    // Offset is the knob's top less the track's top, travel the track's height less the
    // knob's. Ratios outside the track are held at its ends; no travel reads as the top.
    static int valueFromGeometry(Kind kind, qreal offset, qreal travel);
    static qreal offsetFromValue(Kind kind, int value, qreal travel);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    // Every change of value, by the program or the user: apply it to the engine.
    void valueChanged(int value);
    // A change by the user (keys, double-click, drag, assistive technology): store it in the
    // voice's record. byDrag tells the drag apart, which stores pitch for built-in voices only.
    void valueEdited(int value, bool byDrag);
    // After Up, Down or Space acted: the plain number, to be spoken if verbose and idle.
    void speakValueRequested(const QString &text);
    void captionChanged(const QString &caption);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    friend class LevelSliderAccessible;

    qreal knobHeight() const;
    qreal travel() const;
    void placeKnob();
    void store(int value);
    void edit(int value, bool byDrag);
    void showValueInCaption();
    void setCaption(const QString &caption);
    void dragTick();

    const Kind m_kind;
    int m_value;
    qreal m_knobOffset = 0; // knob top less track top
    QString m_restCaption;
    QString m_caption;
    QPointer<QGroupBox> m_frame;
    const QObject *m_frameObject = nullptr; // the same frame, for identity tests only

    // Vertical mouse positions of a drag, in widget coordinates.
    QTimer m_dragTimer;
    qreal m_downY = 0;
    qreal m_downOffset = 0;
    qreal m_latestY = 0;
    qreal m_actedY = 0;
};

// Makes screen readers see level sliders as sliders with a value. Call once, before the first
// slider is created or queried (interfaces are cached per object); further calls do nothing.
void installLevelSliderAccessibility();

// Sees every accessibility event a level slider raises before Qt dispatches it, which a
// platform without an accessibility bridge (offscreen) drops. Empty: none.
void setLevelSliderEventHook(std::function<void(QAccessibleEvent *)> hook);

} // namespace tonaris
