#!/usr/bin/env bash
# Runs window_atspi.py against PROGRAM on a private X server (1024x768), a private D-Bus session
# and its accessibility bus, as a screen reader would meet the window.
set -euo pipefail
program=$1
here=$(cd "$(dirname "$0")" && pwd)
exec xvfb-run -a -s "-screen 0 1024x768x24" dbus-run-session -- bash -c '
    /usr/libexec/at-spi-bus-launcher --launch-immediately &
    launcher=$!
    trap "kill $launcher 2>/dev/null || true" EXIT
    sleep 0.5
    /usr/bin/python3 "$1" "$2"
' run_atspi "$here/window_atspi.py" "$program"
