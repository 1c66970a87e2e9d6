#!/bin/sh
# Runs a test on a 1920x1080 display of its own under a real window manager
# (openbox), as window states behave on a desktop: Xvfb alone places and
# sizes windows as asked and never makes one full screen.
#   with-window-manager.sh TEST [ARGS...]
exec xvfb-run -a -s "-screen 0 1920x1080x24" sh -c '
    openbox --sm-disable >/dev/null 2>&1 &
    wm=$!
    # Ready once it has claimed the screen.
    i=0
    while ! xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q "window id"; do
        i=$((i + 1))
        [ $i -gt 100 ] && { echo "openbox did not start" >&2; kill $wm; exit 1; }
        sleep 0.1
    done
    "$@"
    status=$?
    kill $wm 2>/dev/null
    exit $status
' sh "$@"
