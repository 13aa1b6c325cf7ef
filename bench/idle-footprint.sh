#!/usr/bin/env bash
# What the resident helper costs while it waits: starts the helper on a fresh sandbox
# home (under its own Xvfb when no display is given), lets it settle, then prints its
# resident and proportional memory, threads, open descriptors and wake-ups (context
# switches of all its threads) over an idle period. Then an application is moved into
# the Trash: the agent's and the presenter's memory while the window shows, and the
# agent's once the window has closed and the presenter has gone.
#
#   bench/idle-footprint.sh HELPER [SECONDS]     (default 60)
#
# HELPER is the tarnwick-helper executable, best from a Release build.
set -euo pipefail
helper="${1:?usage: bench/idle-footprint.sh HELPER [SECONDS]}"
seconds="${2:-60}"
sandbox="$(mktemp -d "${TMPDIR:-/tmp}/tw-idle.XXXXXX")"
pids=()
# The helper first (it quits cleanly on SIGTERM), then the display it used.
cleanup() {
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
        kill "${pids[i]}" 2>/dev/null || true
        wait "${pids[i]}" 2>/dev/null || true
    done
    rm -rf "$sandbox"
}
trap cleanup EXIT

if [ -z "${DISPLAY:-}" ]; then
    export DISPLAY=:97
    Xvfb "$DISPLAY" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
    pids+=($!)
    sleep 1
fi
mkdir -p "$sandbox/home" "$sandbox/runtime"
chmod 700 "$sandbox/runtime"
XDG_RUNTIME_DIR="$sandbox/runtime" "$helper" --home "$sandbox/home" &
pid=$!
pids+=("$pid")
sleep 3

# Voluntary and involuntary context switches of every thread of the helper.
switches() {
    cat /proc/"$pid"/task/*/status | awk '/ctxt_switches/ { n += $2 } END { print n }'
}
kib() { awk -v key="$2:" '$1 == key { print $2 }' /proc/"$1"/smaps_rollup; }
# Resident and proportional memory, and the part that is the process's own (written
# pages, mostly heap; the rest is program and library text shared with other programs).
memory() { printf 'RSS %s KiB, PSS %s KiB, own %s KiB' "$(kib "$1" Rss)" "$(kib "$1" Pss)" "$(kib "$1" Private_Dirty)"; }
presenter() { pgrep -P "$pid" -f tarnwick-presenter || true; }

before=$(switches)
sleep "$seconds"
after=$(switches)
printf 'idle agent:      %s, threads %s, descriptors %s, wake-ups %s in %s s\n' \
    "$(memory "$pid")" "$(ls /proc/"$pid"/task | wc -l)" "$(ls /proc/"$pid"/fd | wc -l)" \
    "$((after - before))" "$seconds"

app="$sandbox/home/Downloads/Footprint.app"
mkdir -p "$app/Contents" "$sandbox/home/Library/Caches/com.example.Footprint"
head -c 100000 /dev/zero >"$sandbox/home/Library/Caches/com.example.Footprint/cache"
cat >"$app/Contents/Info.plist" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>CFBundleIdentifier</key><string>com.example.Footprint</string>
<key>CFBundleExecutable</key><string>Footprint</string>
</dict></plist>
PLIST
mkdir -p "$sandbox/home/.local/share/Trash/files"
mv "$app" "$sandbox/home/.local/share/Trash/files/"
for _ in $(seq 100); do [ -n "$(presenter)" ] && break; sleep 0.1; done
shown="$(presenter)"
sleep 3
if [ -z "$shown" ]; then
    # A helper that draws the window itself.
    printf 'window shown:    helper %s (the window in the helper)\n' "$(memory "$pid")"
    exit 0
fi
printf 'window shown:    agent %s; presenter %s\n' "$(memory "$pid")" "$(memory "$shown")"
kill "$shown"
for _ in $(seq 100); do [ -z "$(presenter)" ] && break; sleep 0.1; done
sleep 3
printf 'window closed:   agent %s; presenter gone: %s\n' "$(memory "$pid")" "$([ -z "$(presenter)" ] && echo yes || echo no)"
