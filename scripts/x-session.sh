#!/usr/bin/env bash
# Runs a command inside a private X server with a window manager, the way a
# desktop session would: Xvfb, openbox, and a runtime folder of its own.
# Usage: [VORLIK_SCREEN=WxHxDEPTH] scripts/x-session.sh COMMAND [ARGS...]
# The screen is 1920x1080x24 unless VORLIK_SCREEN names another.
set -euo pipefail

runtime_dir=$(mktemp -d /tmp/vorlik-xdg.XXXXXX)
chmod 700 "$runtime_dir"
export XDG_RUNTIME_DIR="$runtime_dir"

# The server picks a free display itself and reports it on a pipe, so two
# sessions started at the same moment never share one. Without -noreset the
# server resets whenever its last client leaves, and refuses connections
# while it does: the window manager, connecting just after the readiness
# probe left, then failed to open the display now and then.
exec {fd}<> <(:)
Xvfb -displayfd "$fd" -screen 0 "${VORLIK_SCREEN:-1920x1080x24}" -nolisten tcp -noreset >"$runtime_dir/xvfb.log" 2>&1 &
xvfb_pid=$!
cleanup() {
    [ -n "${wm_pid:-}" ] && kill "$wm_pid" 2>/dev/null || true
    kill "$xvfb_pid" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$runtime_dir"
}
trap cleanup EXIT
if ! read -r -t 10 -u "$fd" display; then
    echo "x-session: Xvfb did not start" >&2
    cat "$runtime_dir/xvfb.log" >&2
    exit 1
fi
exec {fd}<&-

export DISPLAY=":${display}"

# Waits up to 30 s for a command to succeed.
wait_for() {
    for _ in $(seq 1 300); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.1
    done
    return 1
}

if ! wait_for xdpyinfo; then
    echo "x-session: the X server does not answer" >&2
    exit 1
fi

# Captured rather than piped: with pipefail, grep -q closing the pipe early
# would fail a check that matched.
wm_ready() { [[ "$(xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null)" == *"window id #"* ]]; }
openbox >"$runtime_dir/openbox.log" 2>&1 &
wm_pid=$!
for _ in $(seq 1 300); do
    wm_ready && break
    kill -0 "$wm_pid" 2>/dev/null || break
    sleep 0.1
done
if ! wm_ready || ! kill -0 "$wm_pid" 2>/dev/null; then
    echo "x-session: the window manager did not start:" >&2
    cat "$runtime_dir/openbox.log" >&2
    exit 1
fi

status=0
"$@" || status=$?
if ! kill -0 "$wm_pid" 2>/dev/null; then
    echo "x-session: the window manager exited during the run" >&2
    cat "$runtime_dir/openbox.log" >&2
fi
exit "$status"
