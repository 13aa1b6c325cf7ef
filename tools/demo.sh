#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds the helper and runs it on a sandbox home
# (a temporary folder; nothing outside it is touched), then stops it.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/tools/install-dependencies.sh"
build="$root/build"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --parallel >/dev/null
helper="$build/Tarnwick Helper.app/Contents/MacOS/tarnwick-helper"

sandbox="$(mktemp -d /tmp/tarnwick-demo.XXXXXX)"
trap 'kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true; rm -rf "$sandbox"' EXIT
mkdir -p "$sandbox/home" "$sandbox/runtime"
chmod 700 "$sandbox/runtime"
XDG_RUNTIME_DIR="$sandbox/runtime" "$helper" --home "$sandbox/home" &
pid=$!
sleep 3
echo "Stopping the helper."
