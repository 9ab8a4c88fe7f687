#include "shell/MediaControls.h"

#include <QCoreApplication>
#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QStringList>

namespace tonaris {

namespace {

const QString ObjectPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString PlayerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");

// org.mpris.MediaPlayer2: the application as a whole.
class RootAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ canQuit)
    Q_PROPERTY(bool CanRaise READ canRaise)
    Q_PROPERTY(bool HasTrackList READ hasTrackList)
    Q_PROPERTY(QString Identity READ identity)
    Q_PROPERTY(QString DesktopEntry READ desktopEntry)
    Q_PROPERTY(QStringList SupportedUriSchemes READ none)
    Q_PROPERTY(QStringList SupportedMimeTypes READ none)
public:
    explicit RootAdaptor(MediaControls *controls)
        : QDBusAbstractAdaptor(controls)
        , m_controls(controls)
    {}
    bool canQuit() const { return true; }
    bool canRaise() const { return true; }
    bool hasTrackList() const { return false; }
    QString identity() const { return QStringLiteral("Tonaris"); }
    QString desktopEntry() const { return QStringLiteral("tonaris"); }
    QStringList none() const { return {}; }

public slots:
    void Raise() { m_controls->commands().raise(); }
    void Quit() { m_controls->commands().quit(); }

private:
    MediaControls *m_controls;
};

// org.mpris.MediaPlayer2.Player: a text read line by line. A line is a track; seeking inside
// one is not offered.
class PlayerAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(double Rate READ one)
    Q_PROPERTY(double MinimumRate READ one)
    Q_PROPERTY(double MaximumRate READ one)
    Q_PROPERTY(double Volume READ one)
    Q_PROPERTY(QVariantMap Metadata READ metadata)
    Q_PROPERTY(qlonglong Position READ position)
    Q_PROPERTY(bool CanGoNext READ yes)
    Q_PROPERTY(bool CanGoPrevious READ yes)
    Q_PROPERTY(bool CanPlay READ yes)
    Q_PROPERTY(bool CanPause READ yes)
    Q_PROPERTY(bool CanSeek READ no)
    Q_PROPERTY(bool CanControl READ yes)
public:
    explicit PlayerAdaptor(MediaControls *controls)
        : QDBusAbstractAdaptor(controls)
        , m_controls(controls)
    {}
    QString playbackStatus() const { return m_controls->playbackStatus(); }
    QVariantMap metadata() const { return m_controls->metadata(); }
    double one() const { return 1.0; }
    qlonglong position() const { return 0; }
    bool yes() const { return true; }
    bool no() const { return false; }

public slots:
    void Play() { m_controls->commands().play(); }
    void Pause() { m_controls->commands().pause(); }
    void PlayPause() { m_controls->commands().playPause(); }
    void Stop() { m_controls->commands().stop(); }
    void Next() { m_controls->commands().next(); }
    void Previous() { m_controls->commands().previous(); }
    void Seek(qlonglong) {}
    void SetPosition(const QDBusObjectPath &, qlonglong) {}
    void OpenUri(const QString &) {}

signals:
    void Seeked(qlonglong position);

private:
    MediaControls *m_controls;
};

} // namespace

MediaControls::MediaControls(MediaCommands commands, QObject *parent)
    : QObject(parent)
    , m_commands(std::move(commands))
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    new RootAdaptor(this);
    new PlayerAdaptor(this);
    if (!bus.registerObject(ObjectPath, this))
        return;
    const QString base = QStringLiteral("org.mpris.MediaPlayer2.tonaris");
    const QStringList names{base, base + QStringLiteral(".instance") +
                                      QString::number(QCoreApplication::applicationPid())};
    for (const QString &name : names) {
        if (bus.registerService(name)) {
            m_service = name;
            break;
        }
    }
    if (m_service.isEmpty())
        bus.unregisterObject(ObjectPath);
}

MediaControls::~MediaControls()
{
    if (m_service.isEmpty())
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterObject(ObjectPath);
    bus.unregisterService(m_service);
}

QString MediaControls::playbackStatus() const
{
    switch (m_commands.status()) {
    case Playing:
        return QStringLiteral("Playing");
    case Paused:
        return QStringLiteral("Paused");
    default:
        return QStringLiteral("Stopped");
    }
}

QVariantMap MediaControls::metadata() const
{
    const int line = m_commands.line();
    QVariantMap map;
    map.insert(QStringLiteral("mpris:trackid"),
               QVariant::fromValue(QDBusObjectPath(
                   line > 0 ? QStringLiteral("/org/tonaris/line/") + QString::number(line)
                            : QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack"))));
    map.insert(QStringLiteral("xesam:title"), m_commands.title());
    return map;
}

void MediaControls::refresh()
{
    if (m_service.isEmpty())
        return;
    const int status = m_commands.status();
    const QString title = m_commands.title();
    const int line = m_commands.line();
    QVariantMap changed;
    if (status != m_lastStatus)
        changed.insert(QStringLiteral("PlaybackStatus"), playbackStatus());
    if (title != m_lastTitle || line != m_lastLine)
        changed.insert(QStringLiteral("Metadata"), metadata());
    if (changed.isEmpty())
        return;
    m_lastStatus = status;
    m_lastTitle = title;
    m_lastLine = line;
    QDBusMessage signal =
        QDBusMessage::createSignal(ObjectPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                                   QStringLiteral("PropertiesChanged"));
    signal << PlayerInterface << changed << QStringList();
    QDBusConnection::sessionBus().send(signal);
}

} // namespace tonaris

#include "MediaControls.moc"
