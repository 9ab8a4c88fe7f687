#include "shell/LevelSlider.h"

#include "voices/VoiceParameters.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QGroupBox>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace tonaris {

namespace {

struct Traits
{
    int minimum, maximum, step, defaultValue;
    const char *name; // also the untranslated rest caption
    bool percent;     // the caption shows "%"; never spoken
};

const Traits &traitsOf(LevelSlider::Kind kind)
{
    static const Traits volume{VolumeMinimum, VolumeMaximum, 5, VolumeDefault, "Volume", true};
    static const Traits speed{SpeedMinimum, SpeedMaximum, 1, SpeedDefault, "Speed", false};
    static const Traits pitch{PitchMinimum, PitchMaximum, 1, PitchDefault, "Pitch", false};
    switch (kind) {
    case LevelSlider::Kind::Volume:
        return volume;
    case LevelSlider::Kind::Speed:
        return speed;
    case LevelSlider::Kind::Pitch:
        break;
    }
    return pitch;
}

constexpr qreal FocusMargin = 3; // room round the track for the focus mark
constexpr qreal KnobHeight = 16;

std::function<void(QAccessibleEvent *)> &eventHook()
{
    static std::function<void(QAccessibleEvent *)> hook;
    return hook;
}

void notifyAccessibility(QAccessibleEvent *event)
{
    if (eventHook())
        eventHook()(event);
    QAccessible::updateAccessibility(event);
}

// The current rounding mode is to nearest, ties to even.
int roundEven(qreal v)
{
    return int(std::nearbyint(v));
}

} // namespace

class LevelSliderAccessible : public QAccessibleWidget, public QAccessibleValueInterface
{
public:
    explicit LevelSliderAccessible(LevelSlider *slider)
        : QAccessibleWidget(slider, QAccessible::Slider)
    {}

    LevelSlider *slider() const { return static_cast<LevelSlider *>(widget()); }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::ValueInterface)
            return static_cast<QAccessibleValueInterface *>(this);
        return QAccessibleWidget::interface_cast(type);
    }

    QString text(QAccessible::Text t) const override
    {
        switch (t) {
        case QAccessible::Name:
            // The caption the frame shows; a mnemonic's "&" is not heard.
            return QString(slider()->caption()).remove(u'&');
        case QAccessible::Value:
            return QString::number(slider()->value()) +
                   (traitsOf(slider()->kind()).percent ? QStringLiteral("%") : QString());
        default:
            return QAccessibleWidget::text(t);
        }
    }

    QVariant currentValue() const override { return slider()->value(); }
    QVariant maximumValue() const override { return slider()->maximum(); }
    QVariant minimumValue() const override { return slider()->minimum(); }
    QVariant minimumStepSize() const override { return slider()->step(); }

    void setCurrentValue(const QVariant &value) override
    {
        bool ok = false;
        const double v = value.toDouble(&ok);
        if (!ok || !std::isfinite(v))
            return;
        const int clamped = int(
            std::clamp(std::round(v), double(slider()->minimum()), double(slider()->maximum())));
        slider()->edit(clamped, false);
    }
};

LevelSlider::LevelSlider(Kind kind, QWidget *parent)
    : QWidget(parent)
    , m_kind(kind)
    , m_value(traitsOf(kind).defaultValue)
    , m_restCaption(QString::fromLatin1(traitsOf(kind).name))
    , m_caption(m_restCaption)
{
    const QString name = QString::fromLatin1(traitsOf(kind).name);
    setObjectName(QStringLiteral("Picture") + name + QStringLiteral("Button"));
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding);
    m_dragTimer.setObjectName(QStringLiteral("Timer") + name);
    m_dragTimer.setParent(this);
    m_dragTimer.setInterval(10);
    connect(&m_dragTimer, &QTimer::timeout, this, &LevelSlider::dragTick);
}

int LevelSlider::minimum() const
{
    return traitsOf(m_kind).minimum;
}
int LevelSlider::maximum() const
{
    return traitsOf(m_kind).maximum;
}
int LevelSlider::step() const
{
    return traitsOf(m_kind).step;
}
int LevelSlider::defaultValue() const
{
    return traitsOf(m_kind).defaultValue;
}

void LevelSlider::setValue(int value)
{
    store(std::clamp(value, minimum(), maximum()));
    placeKnob();
}

int LevelSlider::readValue() const
{
    return valueFromGeometry(m_kind, m_knobOffset, travel());
}

void LevelSlider::resetToDefault()
{
    edit(defaultValue(), false);
}

void LevelSlider::setRestCaption(const QString &caption)
{
    const bool showingRest = m_caption == m_restCaption;
    m_restCaption = caption;
    if (showingRest || !hasFocus())
        setCaption(caption);
}

void LevelSlider::setFrame(QGroupBox *frame)
{
    if (m_frame)
        m_frame->removeEventFilter(this);
    m_frame = frame;
    m_frameObject = frame;
    if (frame) {
        frame->installEventFilter(this);
        frame->setTitle(m_caption);
    }
}

QRectF LevelSlider::trackRect() const
{
    return QRectF(rect()).adjusted(FocusMargin, FocusMargin, -FocusMargin, -FocusMargin);
}

QRectF LevelSlider::knobRect() const
{
    const QRectF track = trackRect();
    return QRectF(track.left(), track.top() + m_knobOffset, track.width(), knobHeight());
}

int LevelSlider::valueFromGeometry(Kind kind, qreal offset, qreal travel)
{
    qreal ratio = travel > 0 ? offset / travel : 0;
    if (!(ratio >= 0)) // also NaN
        ratio = 0;
    ratio = std::min<qreal>(ratio, 1);
    if (kind == Kind::Volume)
        return VolumeMaximum - roundEven(ratio * 100);
    return -roundEven(ratio * 20 - 10);
}

qreal LevelSlider::offsetFromValue(Kind kind, int value, qreal travel)
{
    const Traits &t = traitsOf(kind);
    value = std::clamp(value, t.minimum, t.maximum);
    travel = std::max<qreal>(travel, 0);
    if (kind == Kind::Volume)
        return travel / 100 * (100 - value);
    return travel / 20 * (10 - value);
}

QSize LevelSlider::sizeHint() const
{
    return {36, 150};
}
QSize LevelSlider::minimumSizeHint() const
{
    return {20, 60};
}

qreal LevelSlider::knobHeight() const
{
    // A tiny widget still keeps travel for the knob.
    return std::max<qreal>(0, std::min(KnobHeight, trackRect().height() / 3));
}

qreal LevelSlider::travel() const
{
    return std::max<qreal>(0, trackRect().height() - knobHeight());
}

void LevelSlider::placeKnob()
{
    m_knobOffset = offsetFromValue(m_kind, m_value, travel());
    update();
}

void LevelSlider::store(int value)
{
    if (value == m_value)
        return;
    m_value = value;
    QAccessibleValueChangeEvent event(this, value);
    notifyAccessibility(&event);
    emit valueChanged(value);
}

void LevelSlider::edit(int value, bool byDrag)
{
    if (byDrag) {
        // The knob stays where the hand put it.
        const int before = m_value;
        store(value);
        if (m_value != before)
            emit valueEdited(m_value, true);
        return;
    }
    setValue(value);
    emit valueEdited(m_value, false);
}

void LevelSlider::showValueInCaption()
{
    const QString number = QString::number(m_value);
    emit speakValueRequested(number);
    setCaption(traitsOf(m_kind).percent ? number + QStringLiteral("%") : number);
}

void LevelSlider::setCaption(const QString &caption)
{
    if (caption == m_caption)
        return;
    m_caption = caption;
    if (m_frame)
        m_frame->setTitle(caption);
    QAccessibleEvent event(this, QAccessible::NameChanged);
    notifyAccessibility(&event);
    emit captionChanged(caption);
}

void LevelSlider::dragTick()
{
    if (m_latestY == m_actedY)
        return;
    // Measured from where the drag began, so that the grabbed point stays under the pointer.
    const qreal proposed = m_downOffset + (m_latestY - m_downY);
    m_knobOffset = std::clamp<qreal>(proposed, 0, travel());
    m_actedY = m_latestY;
    update();
    edit(readValue(), true);
}

void LevelSlider::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    const QRectF track = trackRect();
    const qreal half = knobHeight() / 2;
    const qreal cx = track.center().x();

    // Scale marks at every tenth of the travel; the middle one longer.
    p.setPen(QPen(pal.color(QPalette::WindowText), 1));
    for (int i = 0; i <= 10; ++i) {
        const qreal y = track.top() + half + travel() * i / 10;
        const qreal reach = (i == 5 ? 0.45 : 0.3) * track.width();
        p.drawLine(QPointF(cx - reach, y), QPointF(cx + reach, y));
    }
    const QRectF groove(cx - 3, track.top() + half - 3, 6, travel() + 6);
    p.setPen(QPen(pal.color(QPalette::Dark), 1));
    p.setBrush(pal.color(QPalette::Base));
    p.drawRoundedRect(groove, 3, 3);

    const QRectF knob = knobRect().adjusted(1, 0.5, -1, -0.5);
    QLinearGradient shade(knob.topLeft(), knob.bottomLeft());
    shade.setColorAt(0, pal.color(QPalette::Light));
    shade.setColorAt(1, pal.color(QPalette::Button));
    p.setPen(QPen(pal.color(QPalette::Shadow), 1));
    p.setBrush(shade);
    p.drawRoundedRect(knob, 3, 3);
    p.setPen(QPen(pal.color(QPalette::Dark), 1));
    for (int i = -1; i <= 1; ++i) {
        const qreal y = knob.center().y() + i * 3;
        p.drawLine(QPointF(knob.left() + 5, y), QPointF(knob.right() - 5, y));
    }

    if (hasFocus()) {
        p.setPen(QPen(pal.color(QPalette::Highlight), 2, Qt::DashLine));
        p.setBrush(Qt::NoBrush);
        p.drawRect(knobRect().adjusted(-2, -2, 2, 2));
    }
}

void LevelSlider::resizeEvent(QResizeEvent *)
{
    m_dragTimer.stop();
    placeKnob();
}

bool LevelSlider::KeyDown(int key)
{
    switch (key) {
    case Qt::Key_Up:
        if (m_value >= maximum())
            return true; // at the limit nothing at all happens
        edit(std::min(m_value + step(), maximum()), false);
        break;
    case Qt::Key_Down:
        if (m_value <= minimum())
            return true;
        edit(std::max(m_value - step(), minimum()), false);
        break;
    case Qt::Key_Space:
        resetToDefault();
        break;
    default:
        return false;
    }
    if (hasFocus())
        showValueInCaption();
    else
        emit speakValueRequested(QString::number(m_value));
    return true;
}

void LevelSlider::keyPressEvent(QKeyEvent *event)
{
    if (!KeyDown(event->key()))
        QWidget::keyPressEvent(event);
}

void LevelSlider::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !knobRect().contains(event->position())) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_downY = m_latestY = m_actedY = event->position().y();
    m_downOffset = m_knobOffset;
    m_dragTimer.start();
}

void LevelSlider::mouseMoveEvent(QMouseEvent *event)
{
    if ((event->buttons() & Qt::LeftButton) && m_dragTimer.isActive())
        m_latestY = event->position().y();
}

void LevelSlider::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && m_dragTimer.isActive()) {
        m_latestY = event->position().y();
        dragTick(); // the last stretch is not lost to a tick that never came
        m_dragTimer.stop();
    }
}

void LevelSlider::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && knobRect().contains(event->position()))
        resetToDefault();
}

void LevelSlider::focusInEvent(QFocusEvent *event)
{
    QWidget::focusInEvent(event);
    update();
}

void LevelSlider::focusOutEvent(QFocusEvent *event)
{
    QWidget::focusOutEvent(event);
    update();
    setCaption(m_restCaption);
}

bool LevelSlider::eventFilter(QObject *watched, QEvent *event)
{
    // Compare plain pointers only: while the frame is being destroyed it is no longer a
    // QGroupBox, and reading it through the guarded pointer would downcast a dying object.
    if (event->type() == QEvent::MouseButtonPress && isEnabled() && watched == m_frameObject)
        setFocus(Qt::MouseFocusReason);
    return QWidget::eventFilter(watched, event);
}

namespace {

QAccessibleInterface *levelSliderFactory(const QString &className, QObject *object)
{
    if (className == QLatin1String(LevelSlider::staticMetaObject.className()))
        if (auto *slider = qobject_cast<LevelSlider *>(object))
            return new LevelSliderAccessible(slider);
    return nullptr;
}

} // namespace

void installLevelSliderAccessibility()
{
    static const bool installed = [] {
        QAccessible::installFactory(levelSliderFactory);
        return true;
    }();
    Q_UNUSED(installed);
}

void setLevelSliderEventHook(std::function<void(QAccessibleEvent *)> hook)
{
    eventHook() = std::move(hook);
}

} // namespace tonaris
