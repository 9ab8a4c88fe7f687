#include "shell/Resizer.h"

#include <QScreen>

#include <cmath>

namespace tonaris {

Resizer::Resizer(QObject *parent)
    : QObject(parent)
{}

void Resizer::setSourceForm(QWidget *form)
{
    m_form = form;
    m_needsInit = true;
}

QWidget *Resizer::window() const
{
    return m_form ? m_form->window() : nullptr;
}

void Resizer::setMinSizeLimit(bool on)
{
    m_minLimit = on;
    if (QWidget *w = window()) {
        m_minWidth = w->width();
        m_minHeight = w->height();
    }
}

QSize Resizer::screenSize() const
{
    if (m_screen)
        return m_screen();
    const QWidget *w = window();
    const QScreen *screen = w ? w->screen() : nullptr;
    return screen ? screen->availableGeometry().size() : QSize();
}

Resizer::Scaling Resizer::scalingOf(const QString &tag)
{
    const QString upper = tag.toUpper();
    if (!upper.startsWith(QLatin1Char('@')))
        return {};
    return {upper.contains(QLatin1Char('L')), upper.contains(QLatin1Char('T')),
            upper.contains(QLatin1Char('W')), upper.contains(QLatin1Char('H'))};
}

void Resizer::MeasureControls()
{
    m_controls.clear();
    m_design = m_form->size();
    for (QWidget *child : m_form->findChildren<QWidget *>(Qt::FindDirectChildrenOnly))
        if (!child->isWindow())
            m_controls.append({child, child->geometry()});
    m_needsInit = false;
}

void Resizer::ReInitialise()
{
    if (m_form)
        MeasureControls();
}

void Resizer::ResizeControls()
{
    if (!m_form || m_busy)
        return;
    QWidget *w = window();
    if (w->isMinimized())
        return;

    // Snap back to the minimum, unless the screen cannot hold it.
    const QSize screen = screenSize();
    if (m_minLimit && screen.height() >= m_minHeight && screen.width() >= m_minWidth &&
        (w->height() < m_minHeight || w->width() < m_minWidth)) {
        m_busy = true;
        w->resize(std::max(w->width(), m_minWidth), std::max(w->height(), m_minHeight));
        m_busy = false;
    }

    if (m_form->findChildren<QWidget *>(Qt::FindDirectChildrenOnly).isEmpty() || w->isMinimized())
        return;
    if (m_needsInit) {
        MeasureControls();
        return;
    }
    if (m_design.isEmpty())
        return;

    const bool updates = m_form->updatesEnabled();
    m_form->setUpdatesEnabled(false);
    const double fy = double(m_form->height()) / m_design.height();
    const double fx = double(m_form->width()) / m_design.width();
    for (const Control &c : std::as_const(m_controls)) {
        if (!c.widget)
            continue; // a control that went away is passed over
        const Scaling s = scalingOf(c.widget->property("Tag").toString());
        QRect g = c.widget->geometry();
        const int left = s.left ? int(std::lround(c.design.left() * fx)) : g.left();
        const int top = s.top ? int(std::lround(c.design.top() * fy)) : g.top();
        const int width = s.width ? int(std::lround(c.design.width() * fx)) : g.width();
        const int height = s.height ? int(std::lround(c.design.height() * fy)) : g.height();
        c.widget->setGeometry(left, top, width, height);
    }
    m_form->setUpdatesEnabled(updates);
}

void Resizer::SizeFormToScreen(quint8 &percent)
{
    if (!m_form)
        return;
    if (m_needsInit)
        MeasureControls();
    const QSize screen = screenSize();
    const int height = int(percent / 100.0 * screen.height());
    const int width = int(percent / 100.0 * screen.width());
    QWidget *w = window();
    w->move((screen.width() - width) / 2, (screen.height() - height) / 2);
    w->resize(width, height);
    ResizeControls();
}

} // namespace tonaris
