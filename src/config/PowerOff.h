#pragma once

#include <QString>

namespace tonaris {

// Turns the computer off at the end of a long save. Everything goes through the instance in
// force, so that tests observe the request instead of powering off.
class PowerOff
{
public:
    virtual ~PowerOff() = default;
    // Asks the system for an orderly power-off. False, with the reason, when it refuses.
    virtual bool powerOff(QString *error = nullptr) = 0;

    // The instance in force: logind over the system bus unless another was installed.
    static PowerOff *instance();
    // Installs a new instance (not owned) and returns the previous one; null restores logind.
    static PowerOff *install(PowerOff *powerOff);
};

// logind's PowerOff method on the system bus, without asking interactively.
class LogindPowerOff : public PowerOff
{
public:
    bool powerOff(QString *error = nullptr) override;
};

} // namespace tonaris
