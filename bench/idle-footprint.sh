#!/usr/bin/env bash
# What the resident helper costs while it waits: starts the helper on a fresh sandbox
# home (under its own Xvfb when no display is given), lets it settle, then prints its
# resident and proportional memory, threads, open descriptors and wake-ups (context
# switches of all its threads) over an idle period.
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
kib() { awk -v key="$1:" '$1 == key { print $2 }' /proc/"$pid"/smaps_rollup; }

before=$(switches)
sleep "$seconds"
after=$(switches)
printf 'RSS %s KiB, PSS %s KiB, threads %s, descriptors %s, wake-ups %s in %s s\n' \
    "$(kib Rss)" "$(kib Pss)" "$(ls /proc/"$pid"/task | wc -l)" "$(ls /proc/"$pid"/fd | wc -l)" \
    "$((after - before))" "$seconds"
