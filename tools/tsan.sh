#!/usr/bin/env bash
# Builds the tests that run work on other threads (the kernel-event watcher and
# VDKQueue, the serial queue and dispatch group, the metadata index query, the work
# processor and the size workers, the AppImage decision, the colour cache, the agent's
# delegate, and the presenter with its window, quitting included) with ThreadSanitizer in a build of their own, and runs
# them several times.
#
#   tools/tsan.sh [REPEATS]          (default 5: each test until it fails, at most 5 runs)
#
# Qt itself is not built with ThreadSanitizer, so reports whose stacks lie wholly
# inside Qt or glib are suppressed (tools/tsan.supp); a report that reaches project
# code fails the test. TW_TSAN_BUILD overrides the build folder (build-tsan).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
repeats="${1:-5}"
build="${TW_TSAN_BUILD:-$root/build-tsan}"
tests=(tst_MainThread tst_SerialQueue tst_MetadataIndexQuery tst_KernelEventQueue tst_VDKQueue tst_DirectoryWatcher
       tst_AppsInTrashWatcher tst_SimpleSizeCalculation tst_SimpleRemainsInfo
       tst_SpotlightEasySearch tst_ColorExtra tst_RichNotificationWC tst_AppDelegate tst_AppImageRemains
       tst_Presenter)

# shellcheck source=tools/quietly.sh
source "$root/tools/quietly.sh"
if [ ! -f "$build/build.ninja" ]; then
    quietly cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTW_SANITIZERS=thread -DTW_BUILD_BENCH=OFF -DTW_TEST_DELAYS=ON
fi
quietly nice -n 19 cmake --build "$build" --parallel 2 --target "${tests[@]}"

# Tests start programs (find, mksquashfs, the helper) through QProcess, which clones
# with CLONE_VM | CLONE_VFORK: the child's fork bookkeeping lands in the parent's
# memory, and ThreadSanitizer would then refuse the parent's next thread as if it were
# a child starting threads after fork. The child only execs, so that check is off.
export TSAN_OPTIONS="suppressions=$root/tools/tsan.supp:second_deadlock_stack=1:history_size=4:die_after_fork=0"
pattern="^($(IFS='|'; echo "${tests[*]}"))\$"
ctest --test-dir "$build" -R "$pattern" --repeat "until-fail:$repeats" --output-on-failure --parallel 2
