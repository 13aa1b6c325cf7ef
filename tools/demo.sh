#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds the helper and shows its whole job on a
# sandbox home: an application moved to the Trash, the notification window (on this
# display, or a private Xvfb), "Complete Uninstall" pressed with the Return key, and
# the paths the (stand-in) main application received. The sandbox, with a screenshot
# of the window, is kept under /tmp; nothing else is touched and nothing keeps running.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/tools/install-dependencies.sh"
build="$root/build"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --parallel >/dev/null
exec "$root/tools/demonstrate.sh" "$build" --keep
