#include "config/PowerOff.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>

namespace tonaris {

namespace {
PowerOff *installed = nullptr;
} // namespace

PowerOff *PowerOff::instance()
{
    static LogindPowerOff logind;
    return installed ? installed : &logind;
}

PowerOff *PowerOff::install(PowerOff *powerOff)
{
    PowerOff *previous = installed;
    installed = powerOff;
    return previous;
}

bool LogindPowerOff::powerOff(QString *error)
{
    QDBusInterface manager(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QDBusConnection::systemBus());
    if (!manager.isValid()) {
        if (error)
            *error = manager.lastError().message();
        return false;
    }
    const QDBusReply<void> reply = manager.call(QStringLiteral("PowerOff"), false);
    if (!reply.isValid() && error)
        *error = reply.error().message();
    return reply.isValid();
}

} // namespace tonaris
