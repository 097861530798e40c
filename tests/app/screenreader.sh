#!/usr/bin/env bash
# Runs the screen-reader test on a display and a session bus of its own, with the
# accessibility bus switched on:
#   xvfb-run -a -s "-screen 0 1280x3600x24" dbus-run-session -- screenreader.sh HOST
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
runtime=$(mktemp -d)
export XDG_RUNTIME_DIR=$runtime
/usr/libexec/at-spi-bus-launcher --launch-immediately &
launcher=$!
# However the launcher ends, the test's own outcome is the script's.
trap 'kill $launcher 2>/dev/null || true; wait $launcher 2>/dev/null || true; rm -rf "$runtime"' EXIT
gdbus wait --session --timeout 10 org.a11y.Bus
gdbus call --session --dest org.a11y.Bus --object-path /org/a11y/bus \
    --method org.freedesktop.DBus.Properties.Set org.a11y.Status IsEnabled '<true>' >/dev/null
# Debian's pyatspi is for the system's python, not for one that PATH may put first.
/usr/bin/python3 "$here/screenreader.py" "$1"
