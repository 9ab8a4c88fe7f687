#include "shell/ClipboardWatch.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QProcess>
#include <QStandardPaths>

namespace tonaris {

namespace {
bool onWayland()
{
    return QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

QString wlPaste()
{
    return QStandardPaths::findExecutable(QStringLiteral("wl-paste"));
}
} // namespace

ClipboardWatch::ClipboardWatch(QObject *parent)
    : QObject(parent)
    , m_wayland(onWayland())
{}

ClipboardWatch::~ClipboardWatch()
{
    setActive(false);
}

bool ClipboardWatch::available()
{
    return !onWayland() || !wlPaste().isEmpty();
}

QString ClipboardWatch::unavailableReason()
{
    return available() ? QString()
                       : QStringLiteral("On Wayland the clipboard of other programs can only be "
                                        "read with wl-paste: install the wl-clipboard package.");
}

void ClipboardWatch::setActive(bool active)
{
    if (!m_wayland)
        return;
    if (!active) {
        for (QProcess *p : {m_watch, m_fetch}) {
            if (!p)
                continue;
            p->disconnect(this);
            p->kill();
            p->waitForFinished(1000);
            delete p;
        }
        m_watch = m_fetch = nullptr;
        m_text.clear();
        return;
    }
    if (m_watch || wlPaste().isEmpty())
        return;
    // Each change runs "echo" with the new contents on its input: one empty line on ours.
    m_watch = new QProcess(this);
    m_watch->setStandardErrorFile(QProcess::nullDevice());
    connect(m_watch, &QProcess::readyReadStandardOutput, this, [this] {
        m_watch->readAllStandardOutput();
        fetch();
    });
    m_watch->start(wlPaste(), {QStringLiteral("--watch"), QStringLiteral("echo")});
    fetch();
}

void ClipboardWatch::fetch()
{
    if (m_fetch) {
        m_fetchAgain = true;
        return;
    }
    m_fetch = new QProcess(this);
    m_fetch->setStandardErrorFile(QProcess::nullDevice());
    connect(m_fetch, &QProcess::finished, this, [this](int code, QProcess::ExitStatus status) {
        // wl-paste fails when what was copied has no text, as a picture.
        m_text = status == QProcess::NormalExit && code == 0
                     ? QString::fromUtf8(m_fetch->readAllStandardOutput())
                     : QString();
        m_fetch->deleteLater();
        m_fetch = nullptr;
        if (m_fetchAgain) {
            m_fetchAgain = false;
            fetch();
        }
    });
    m_fetch->start(wlPaste(), {QStringLiteral("--no-newline"), QStringLiteral("--type"),
                               QStringLiteral("text")});
}

QString ClipboardWatch::text() const
{
    if (m_wayland)
        return m_text;
    const QClipboard *clipboard = QGuiApplication::clipboard();
    const QMimeData *data = clipboard ? clipboard->mimeData() : nullptr;
    return data && data->hasText() ? data->text() : QString();
}

} // namespace tonaris
