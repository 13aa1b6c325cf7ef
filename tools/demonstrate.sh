#!/usr/bin/env bash
# The helper's whole job, on a sandbox home, from the outside:
#   a sample application Foo.app (com.example.Foo) with typical remains in the home's
#   Library, and a stand-in main application Tarnwick.app (com.corbelle.TarnwickS)
#   that holds the helper as the real product does and records the message file it is
#   given; the helper is started on that home, Foo.app is moved into the home's Trash,
#   the notification window is awaited on a display (the current one, else a private
#   Xvfb), photographed, and accepted with the Return key as a person would; the paths
#   the stand-in received are printed.
#
# usage: tools/demonstrate.sh BUILD_DIR [--check] [--keep]
#   --check  exit non-zero unless exactly the expected paths arrive (used by the tests)
#   --keep   keep the sandbox folder (with the screenshot) instead of removing it
# Nothing outside the sandbox is touched and nothing is left running.
set -euo pipefail

build="$(cd "${1:?usage: demonstrate.sh BUILD_DIR [--check] [--keep]}" && pwd)"
shift
check=0
keep=0
for arg in "$@"; do
    case "$arg" in
    --check) check=1 ;;
    --keep) keep=1 ;;
    *) echo "demonstrate.sh: unknown option $arg" >&2; exit 2 ;;
    esac
done

# shellcheck source=tools/sandbox-functions.sh
source "$(dirname "$0")/sandbox-functions.sh"
in_private_session_bus "$build" "$@"

helper_bundle="$build/Tarnwick Helper.app"
[ -x "$helper_bundle/Contents/MacOS/tarnwick-helper" ] || { echo "demonstrate.sh: no helper in $build" >&2; exit 2; }

open_sandbox tarnwick-demo

fail() { echo "demonstrate.sh: $*" >&2; [ -f "$sandbox/helper.log" ] && sed 's/^/  helper: /' "$sandbox/helper.log" >&2; exit 1; }

say "Sandbox: $sandbox"

# The sample application and what it leaves in the Library.
foo="$home/Applications/Foo.app"
make_app "$foo" com.example.Foo Foo
make_file "$foo/Contents/MacOS/Foo" 300
lib="$home/Library"
make_file "$lib/Caches/com.example.Foo/Cache.db" 900
make_file "$lib/Saved Application State/com.example.Foo.savedState/windows.plist" 8
make_file "$lib/Preferences/com.example.Foo.plist" 4
make_file "$lib/Logs/Foo.log" 120
make_file "$lib/Cookies/com.example.Foo.cookies" 4
make_file "$lib/Containers/com.example.Foo/Data/Documents/notes.txt" 64
make_file "$lib/Application Support/Foo/Library.sqlite" 2048
make_file "$lib/LaunchAgents/com.example.Foo.agent.plist" 4
make_file "$lib/Application Support/CrashReporter/Foo_1A2B3C.plist" 4
make_file "$lib/Caches/com.example.Other/unrelated.db" 16

# The stand-in main application, holding the helper as the product does.
tarnwick="$home/Applications/Tarnwick.app"
helper="$(make_stand_in_main_app "$tarnwick" "$helper_bundle" "$received")"

use_a_display

say "Starting the helper on the sandbox home"
XDG_RUNTIME_DIR="$runtime" "$helper" --home "$home" >"$sandbox/helper.log" 2>&1 &
helper_pid=$!
wait_for 30 agent_answers || fail "the helper did not start"

say "Moving Foo.app to the Trash"
trash="$home/.local/share/Trash"
move_to_trash "$foo" "$trash"

wait_for_window
say "The notification window is up (X window $window)"
sleep 2 # the fade-in, and the sizes arriving

xdotool windowfocus --sync "$window" 2>/dev/null || true
import -window "$window" "$sandbox/notification.png"
say "Screenshot: $sandbox/notification.png"

say "Pressing Return (Complete Uninstall)"
xdotool key --clearmodifiers Return
wait_for 30 test -s "$received/opened.txt" || fail "the main application received nothing"
wait_for 10 test -s "$received/message.trfortw" || fail "the message file could not be read"

say "The main application received $(cat "$received/opened.txt") with these paths:"
paths="$(print_message_items "$received/message.trfortw")"
printf '%s\n' "$paths" | sed "s|$home|~|"

if [ "$check" -eq 1 ]; then
    expected="$(printf '%s\n' \
        "$trash/files/Foo.app" \
        "$lib/Caches/com.example.Foo" \
        "$lib/Saved Application State/com.example.Foo.savedState" \
        "$lib/Preferences/com.example.Foo.plist" \
        "$lib/Logs/Foo.log" \
        "$lib/Cookies/com.example.Foo.cookies" \
        "$lib/Containers/com.example.Foo" \
        "$lib/Application Support/Foo" \
        "$lib/LaunchAgents/com.example.Foo.agent.plist" \
        "$lib/Application Support/CrashReporter/Foo_1A2B3C.plist")"
    actual="$(printf '%s\n' "$paths" | sed -E 's/^ *[0-9]+ +[^ ]+ //')"
    [ "$actual" = "$expected" ] || fail "unexpected paths:
$actual
expected:
$expected"
    # The helper deletes nothing of the user's: every remains file is still there.
    [ -d "$trash/files/Foo.app" ] && [ -f "$lib/Logs/Foo.log" ] || fail "something was deleted"
    say "Check passed: exactly the expected paths, and nothing deleted."
fi
[ "$keep" -eq 1 ] && say "Kept the sandbox: $sandbox"
exit 0
