#include "textprep/SuperClass.h"

#include <QThread>

namespace tonaris {

SuperClassC::SuperClassC(QObject *parent)
    : QObject(parent)
{}

SuperClassC::~SuperClassC()
{
    UnSubclass();
}

void SuperClassC::AddMsg(QEvent::Type msg, bool before)
{
    if (!m_before.contains(msg)) {
        m_before.insert(msg, before);
    }
}

bool SuperClassC::Subclass(QObject *hWndSub, SuperClassI *owner, bool allMsgs)
{
    UnSubclass();
    if (hWndSub == nullptr || owner == nullptr || hWndSub->thread() != thread() ||
        (!allMsgs && m_before.isEmpty())) {
        return false;
    }
    m_target = hWndSub;
    m_owner = owner;
    m_allMsgs = allMsgs;
    hWndSub->installEventFilter(this);
    return true;
}

void SuperClassC::UnSubclass()
{
    if (m_target) {
        m_target->removeEventFilter(this);
    }
    m_target = nullptr;
    m_owner = nullptr;
    m_allMsgs = false;
}

bool SuperClassC::eventFilter(QObject *watched, QEvent *event)
{
    // The target's own deletion is never routed: After would see a dead object.
    if (m_owner == nullptr || watched != m_target || event->type() == QEvent::DeferredDelete) {
        return QObject::eventFilter(watched, event);
    }
    const auto registered = m_before.constFind(event->type());
    const bool known = registered != m_before.constEnd();
    if (!known && !m_allMsgs) {
        return false;
    }
    if (known && registered.value()) {
        bool handled = false;
        qintptr result = 0;
        m_owner->Before(handled, result, watched, event);
        if (handled) {
            event->setAccepted(result != 0);
        }
        return handled;
    }
    // A handler run by the target may end the subclassing, delete this filter or the target.
    const QPointer<SuperClassC> self(this);
    const QPointer<QObject> target(watched);
    qintptr result = watched->event(event) ? 1 : 0;
    if (self && target && m_owner != nullptr && m_target == watched) {
        m_owner->After(result, watched, event);
    }
    return true;
}

} // namespace tonaris
