#pragma once

#include <QObject>
#include <QString>

class QProcess;

namespace tonaris {

// The text on the desktop's clipboard, whichever program copied it. On X11 Qt follows the
// clipboard itself. On Wayland a window without the focus is told nothing, so while active the
// watch runs `wl-paste --watch` and reads each new text with `wl-paste`; without wl-paste
// (package wl-clipboard) there it is not available.
class ClipboardWatch : public QObject
{
    Q_OBJECT
public:
    explicit ClipboardWatch(QObject *parent = nullptr);
    ~ClipboardWatch() override;

    // False on Wayland without wl-paste: the clipboard of other programs cannot be seen.
    static bool available();
    // Why not, for a tool tip; empty when available.
    static QString unavailableReason();

    // Watching costs a helper process on Wayland: only while someone looks.
    void setActive(bool active);
    // The clipboard's plain text; empty when it holds none or cannot be asked.
    QString text() const;

private:
    void fetch();

    bool m_wayland = false;
    QProcess *m_watch = nullptr;
    QProcess *m_fetch = nullptr;
    bool m_fetchAgain = false;
    QString m_text;
};

} // namespace tonaris
