#!/usr/bin/python3
"""What a screen reader sees of the main window, over the real accessibility bus.

Runs the program under the X server and D-Bus session the caller provides (see
run_atspi.sh), then checks through AT-SPI: every interactive control has a name, the Tab key
walks over all of them, F5 typed on the keyboard starts speech on the sound server, and the
window fits a 1024x768 screen.
"""
import os
import subprocess
import sys
import tempfile
import time

import pyatspi

INTERACTIVE = {
    pyatspi.ROLE_PUSH_BUTTON,
    pyatspi.ROLE_CHECK_BOX,
    pyatspi.ROLE_COMBO_BOX,
    pyatspi.ROLE_SLIDER,
    pyatspi.ROLE_TEXT,
}


def fail(message):
    print("FAIL: " + message)
    sys.exit(1)


def wait_for(what, condition, seconds=90.0):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.1)
    fail("timed out waiting for " + what)


def find_app():
    desktop = pyatspi.Registry.getDesktop(0)
    for app in desktop:
        if app is not None and app.name and app.name.lower() == "tonaris":
            return app
    return None


def walk(node):
    yield node
    for child in node:
        if child is not None:
            yield from walk(child)


def states(node):
    return node.getState()


def key(sym_name):
    codes = {"Tab": 23, "F5": 71}  # X keycodes of a standard pc105 layout
    pyatspi.Registry.generateKeyboardEvent(codes[sym_name], None, pyatspi.KEY_PRESSRELEASE)


def focused(app):
    for node in walk(app):
        if states(node).contains(pyatspi.STATE_FOCUSED) and node.getRole() in INTERACTIVE:
            return node
    return None


def main():
    program = sys.argv[1]
    home = tempfile.mkdtemp(prefix="tonaris-atspi-")
    env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"),
               QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_QPA_PLATFORM="xcb")
    child = subprocess.Popen([program], env=env, stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL)
    try:
        app = wait_for("the program on the accessibility bus", find_app)
        frame = wait_for("the main window",
                         lambda: next((f for f in app if f is not None and
                                       f.getRole() == pyatspi.ROLE_FRAME), None))

        # The window fits the screen.
        extents = frame.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        if extents.width > 1024 or extents.height > 768 or extents.x < 0 or extents.y < 0:
            fail("the window does not fit 1024x768: %s" % (extents,))

        # Every interactive control that can be used is named.
        controls = [n for n in walk(frame) if n.getRole() in INTERACTIVE and
                    states(n).contains(pyatspi.STATE_SHOWING) and
                    states(n).contains(pyatspi.STATE_ENABLED)]
        if len(controls) < 15:
            fail("only %d interactive controls seen" % len(controls))
        unnamed = [n.getRoleName() for n in controls
                   if n.getRole() != pyatspi.ROLE_TEXT and not n.name.strip()]
        if unnamed:
            fail("controls without a name: %s" % unnamed)
        if any("&" in n.name.replace("&&", "") for n in controls):
            fail("a name shows a mnemonic mark")
        sliders = [n for n in controls if n.getRole() == pyatspi.ROLE_SLIDER]
        if len(sliders) != 3:
            fail("expected the three level knobs, saw %d" % len(sliders))
        for s in sliders:
            v = s.queryValue()
            if not (v.minimumValue < v.maximumValue and
                    v.minimumValue <= v.currentValue <= v.maximumValue):
                fail("slider %s exposes no range" % s.name)

        # The editor has the keyboard at start; Tab walks round every control once.
        editor = wait_for("the focus in the editor", lambda: focused(app))
        if editor.getRole() != pyatspi.ROLE_TEXT:
            fail("the focus starts on %s, not the editor" % editor.getRoleName())
        seen = []
        for _ in range(len(controls) + 5):
            key("Tab")
            time.sleep(0.15)
            now = wait_for("a focused control", lambda: focused(app))
            if now.getRole() == pyatspi.ROLE_TEXT:
                break
            seen.append((now.getRoleName(), now.name))
        else:
            fail("the Tab walk never came back to the editor")
        expected = {(n.getRoleName(), n.name) for n in controls if n.getRole() != pyatspi.ROLE_TEXT}
        missing = expected - set(seen)
        if missing:
            fail("Tab never reached: %s" % sorted(missing))

        # F5 typed on the keyboard speaks; the status says so and a stream plays.
        editor.queryEditableText().setTextContents(
            "Speech from the keyboard. " * 20)
        key("F5")
        status = [n for n in walk(frame) if n.getRole() == pyatspi.ROLE_LABEL and
                  n.name == "Reproducing"]
        wait_for("the Reproducing status", lambda: [n for n in walk(frame)
                                                    if n.getRole() == pyatspi.ROLE_LABEL
                                                    and n.name == "Reproducing"])
        wait_for("a stream on the sound server", lambda: subprocess.run(
            ["pactl", "list", "short", "sink-inputs"], capture_output=True,
            text=True).stdout.strip())
        del status
        print("PASS: %d controls named and reached by Tab; speech started by F5" % len(seen))
    finally:
        child.terminate()
        try:
            child.wait(10)
        except subprocess.TimeoutExpired:
            child.kill()


if __name__ == "__main__":
    main()
