#!/usr/bin/env bash
# Runs every libFuzzer target of tests/fuzz for SECONDS each (or only the targets
# named), one after another, on a copy of its seed corpus, and prints per target the
# executions, the rate, the new corpus entries and the findings (crashes, leaks,
# timeouts, out-of-memory), with the files that reproduce them. Exits non-zero when
# anything was found or a target could not run.
#
#   tools/fuzz.sh SECONDS [TARGET...]
#
# The fuzz build lives in build-fuzz (TW_FUZZ_BUILD overrides it); it is configured
# with clang and built here when needed. The targets need no display and no GUI
# application. TW_FUZZ_ARGS adds libFuzzer options (e.g. -runs=10000000 with a large
# SECONDS for a campaign), and TW_FUZZ_KEEP=1 keeps the work folder (grown corpora,
# logs) even without findings.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
seconds="${1:?usage: tools/fuzz.sh SECONDS [TARGET...]}"
shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(FileMessage WatcherMessage Bundle PropertyListGuard AtributikaBridge ColorExtra AppImage)
build="${TW_FUZZ_BUILD:-$root/build-fuzz}"

# Longest input per target: above the real inputs of its kind (a description with
# the longest file name is under 1 KB, a command file with a few paths under 1 KB, an
# Info.plist a few KB) and small enough to keep the rate up; the parsers' handling of
# each element does not change with the length. The guard's differential target needs
# room for nesting a few hundred levels deeper than the guard allows. An AppImage's squashfs image with a
# desktop entry and a link, uncompressed by mksquashfs, is about 1 KB.
declare -A max_len=([FileMessage]=8192 [WatcherMessage]=4096 [Bundle]=8192 [PropertyListGuard]=16384 [AtributikaBridge]=1024
                    [ColorExtra]=64 [AppImage]=16384)
declare -A dictionary=([FileMessage]=plist [Bundle]=plist [PropertyListGuard]=plist [WatcherMessage]=WatcherMessage
                       [AtributikaBridge]=AtributikaBridge [AppImage]=AppImage)

# shellcheck source=tools/quietly.sh
source "$root/tools/quietly.sh"
if [ ! -f "$build/build.ninja" ]; then
    CC=clang CXX=clang++ quietly cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DTW_BUILD_FUZZERS=ON -DTW_BUILD_TESTS=OFF -DTW_BUILD_BENCH=OFF
fi
quietly nice -n 19 cmake --build "$build" --target fuzzers --parallel 2

work="$(mktemp -d "${TMPDIR:-/tmp}/tw-fuzz.XXXXXX")"
# Short allocation stacks: recording 30 frames for every allocation halved the rate
# of the allocation-heavy targets (watcher messages). Running a target on a crash file alone gives the
# full stacks again.
export ASAN_OPTIONS="detect_leaks=1:malloc_context_size=4"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$root/tools/lsan.supp"

# The value of a "stat::NAME: VALUE" line of libFuzzer's final statistics.
stat() { sed -n "s/^stat::$1: *//p" "$2" | tail -1; }

passed_targets=0
failed_targets=0
printf '%-18s %12s %8s %10s %8s  %s\n' target executions time "exec/s" "new" findings
for target in "${targets[@]}"; do
    binary="$build/fuzz/fuzz_$target"
    dir="$work/$target"
    mkdir -p "$dir/corpus" "$dir/artifacts"
    cp -r "$root/tests/fuzz/corpus/$target/." "$dir/corpus/"
    seeds=$(find "$dir/corpus" -type f | wc -l)
    options=(-max_total_time="$seconds" -max_len="${max_len[$target]:-4096}" -timeout=10 -rss_limit_mb=2048
             -print_final_stats=1 -artifact_prefix="$dir/artifacts/")
    [ -z "${dictionary[$target]:-}" ] || options+=(-dict="$root/tests/fuzz/dict/${dictionary[$target]}.dict")
    status=0
    started=$SECONDS
    # shellcheck disable=SC2086 # TW_FUZZ_ARGS holds several options
    nice -n 19 "$binary" "${options[@]}" ${TW_FUZZ_ARGS:-} "$dir/corpus" >"$dir/log" 2>&1 || status=$?
    grown=$(( $(find "$dir/corpus" -type f | wc -l) - seeds ))
    findings=$(find "$dir/artifacts" -type f | sort)
    summary="none"
    if [ -n "$findings" ]; then
        summary="$(echo "$findings" | tr '\n' ' ')(log: $dir/log)"
    elif [ "$status" -ne 0 ]; then
        summary="fuzzer exited with $status (log: $dir/log)"
    fi
    printf '%-18s %12s %8s %10s %8s  %s\n' "$target" "$(stat number_of_executed_units "$dir/log")" \
        "$((SECONDS - started))s" "$(stat average_exec_per_sec "$dir/log")" "$grown" "$summary"
    if [ "$summary" = none ]; then
        passed_targets=$((passed_targets + 1))
    else
        failed_targets=$((failed_targets + 1))
        # The report itself, for runs (CI) whose work folder is gone afterwards.
        grep -v '^#[0-9]\|NEW_FUNC\|^INFO:' "$dir/log" | tail -n 40 | sed 's/^/    /'
    fi
done

if [ "$failed_targets" -eq 0 ] && [ -z "${TW_FUZZ_KEEP:-}" ]; then
    rm -rf "$work"
else
    echo "work folder: $work"
fi
echo "fuzz: $passed_targets passed, $failed_targets failed"
[ "$failed_targets" -eq 0 ]
