#pragma once

#include "ScriptedEngine.h"
#include "TestSupport.h"
#include "shell/Form1.h"

#include <QTest>

#include <functional>

namespace tonaris::test {

// The main window on two scripted engines, as the window tests drive it. A test class inherits
// it beside QObject and opens the window in init() and closes it in cleanup().
class ScriptedWindow
{
public:
    ScriptedEngine *voice = nullptr;
    ScriptedEngine *over = nullptr;
    Form1 *w = nullptr;

    ScriptedWindow() = default;
    ScriptedWindow(const ScriptedWindow &) = delete;
    ScriptedWindow &operator=(const ScriptedWindow &) = delete;
    ~ScriptedWindow() { closeWindow(); }

    // New engines, given their voices by `prepare` before the window asks for them, and a new
    // window on them; `shown` windows are shown and active. False when it never became active.
    [[nodiscard]] bool openWindow(const std::function<void(ScriptedEngine &)> &prepare = {},
                                  bool shown = true)
    {
        closeWindow();
        voice = new ScriptedEngine;
        over = new ScriptedEngine;
        if (prepare)
            prepare(*voice);
        return makeWindow(shown);
    }

    // A new window on the same engines, after the old one has written its settings on closing.
    [[nodiscard]] bool restartWindow(bool shown = true)
    {
        w->close();
        delete w;
        return makeWindow(shown);
    }

    void closeWindow()
    {
        delete w;
        delete voice;
        delete over;
        w = nullptr;
        voice = over = nullptr;
    }

    template <typename T> T *child(const char *name) const { return test::child<T>(w, name); }

private:
    bool makeWindow(bool shown)
    {
        w = new Form1(voice, over);
        if (!shown)
            return true;
        w->show();
        w->activateWindow();
        return QTest::qWaitForWindowActive(w);
    }
};

} // namespace tonaris::test
