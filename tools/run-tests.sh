#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, checks that every include points down the layers
# (tools/check-layers.sh), builds the helper with AddressSanitizer and
# UndefinedBehaviorSanitizer, runs every test, then runs the threaded tests under
# ThreadSanitizer (tools/tsan.sh) and gives each fuzz target a short pass
# (tools/fuzz.sh); each of those has a build of its own.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/tools/install-dependencies.sh"
"$root/tools/check-layers.sh"
build="$root/build-sanitized"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTW_SANITIZERS=address,undefined -DTW_BUILD_BENCH=OFF -DTW_TEST_DELAYS=ON
cmake --build "$build" --parallel
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$root/tools/lsan.supp"
ctest --test-dir "$build" --output-on-failure --parallel 2
"$root/tools/tsan.sh" 3
"$root/tools/fuzz.sh" 30
