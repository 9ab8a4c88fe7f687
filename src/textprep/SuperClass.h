#pragma once

#include <QEvent>
#include <QHash>
#include <QObject>
#include <QPointer>

namespace tonaris {

// The receiving side of a subclassing: sees the chosen events of one object before or after
// the object itself does.
class SuperClassI
{
public:
    virtual ~SuperClassI() = default;

    // Called before the target handles the event. Setting lHandled swallows it: the target never
    // sees it, and lReturn decides whether the event counts as accepted (non-zero) or ignored,
    // which is what a sender that propagates events (mouse, keys, menus) looks at. Both start as
    // 0 and false.
    virtual void Before(bool &lHandled, qintptr &lReturn, QObject *hWnd, QEvent *uMsg) = 0;
    // Called after the target has handled the event; lReturn holds what the target's event()
    // answered (1 handled, 0 not). To change what the sender sees, change the event's accepted
    // state.
    virtual void After(qintptr &lReturn, QObject *hWnd, QEvent *uMsg) = 0;
};

// Routes chosen events of one object to a SuperClassI, on an event filter. An event registered
// "before" reaches Before only; one registered "after" reaches After only, which runs after the
// filter has handed the event to the target's event() itself. Filters installed on the target
// earlier than this one do not see "after" events (Qt runs them later than this one), so on a
// scroll area's viewport, whose own filter does the scroll area's handling, register "before".
// An event registered twice keeps its first registration; all other events pass untouched.
// Used on the GUI thread, or on the target's thread; the owner is not owned and must outlive the
// subclassing or end it first.
class SuperClassC : public QObject
{
    Q_OBJECT
public:
    explicit SuperClassC(QObject *parent = nullptr);
    ~SuperClassC() override;

    // Also allowed while subclassing is in force.
    void AddMsg(QEvent::Type msg, bool before = false);
    // Fails without a target or owner, across threads, and without any message to route
    // (neither AddMsg nor allMsgs). allMsgs sends every event to After. A running subclassing
    // ends first.
    bool Subclass(QObject *hWndSub, SuperClassI *owner, bool allMsgs = false);
    // Ends the routing; harmless when not running.
    void UnSubclass();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QHash<int, bool> m_before; // event type -> registered "before"
    QPointer<QObject> m_target;
    SuperClassI *m_owner = nullptr;
    bool m_allMsgs = false;
};

} // namespace tonaris
