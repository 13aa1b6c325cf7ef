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

helper_bundle="$build/Tarnwick Helper.app"
[ -x "$helper_bundle/Contents/MacOS/tarnwick-helper" ] || { echo "demonstrate.sh: no helper in $build" >&2; exit 2; }

sandbox="$(mktemp -d "${TMPDIR:-/tmp}/tarnwick-demo.XXXXXX")"
home="$sandbox/home"
runtime="$sandbox/runtime"
received="$sandbox/received"
helper_pid=""
xvfb_pid=""

cleanup() {
    [ -n "$helper_pid" ] && kill "$helper_pid" 2>/dev/null && wait "$helper_pid" 2>/dev/null
    [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null && wait "$xvfb_pid" 2>/dev/null
    if [ "$keep" -eq 0 ]; then rm -rf "$sandbox"; fi
    return 0
}
trap cleanup EXIT

say() { printf '\033[1m%s\033[0m\n' "$*"; }
fail() { echo "demonstrate.sh: $*" >&2; [ -f "$sandbox/helper.log" ] && sed 's/^/  helper: /' "$sandbox/helper.log" >&2; exit 1; }

# Waits up to $1 seconds for the command after it to succeed.
wait_for() {
    local seconds="$1"; shift
    local deadline=$((SECONDS + seconds))
    until "$@" >/dev/null 2>&1; do
        [ "$SECONDS" -lt "$deadline" ] || return 1
        sleep 0.2
    done
}

# Writes an application bundle: PATH IDENTIFIER EXECUTABLE
make_app() {
    mkdir -p "$1/Contents/MacOS"
    cat >"$1/Contents/Info.plist" <<PLIST
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
<key>CFBundleIdentifier</key><string>$2</string>
<key>CFBundleExecutable</key><string>$3</string>
</dict></plist>
PLIST
}

# Writes a file of N kilobytes: PATH N
make_file() {
    mkdir -p "$(dirname "$1")"
    head -c "$(($2 * 1024))" /dev/urandom >"$1"
}

say "Sandbox: $sandbox"
mkdir -p "$home" "$runtime" "$received"
chmod 700 "$runtime"

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
make_app "$tarnwick" com.corbelle.TarnwickS Tarnwick
cat >"$tarnwick/Contents/MacOS/Tarnwick" <<SCRIPT
#!/bin/sh
# Stands in for the main application: keeps a copy of the message it is given.
cp "\$1" "$received/message.trfortw" 2>/dev/null
printf '%s\n' "\$1" >"$received/opened.txt"
SCRIPT
chmod +x "$tarnwick/Contents/MacOS/Tarnwick"
mkdir -p "$tarnwick/Contents/Library/LoginItems"
cp -R "$helper_bundle" "$tarnwick/Contents/Library/LoginItems/"
helper="$tarnwick/Contents/Library/LoginItems/Tarnwick Helper.app/Contents/MacOS/tarnwick-helper"

# A display: the current one, else a private X server.
if [ -z "${DISPLAY:-}" ] || ! xdpyinfo >/dev/null 2>&1; then
    command -v Xvfb >/dev/null || fail "no display and no Xvfb (install the xvfb package)"
    Xvfb -displayfd 5 -screen 0 1280x800x24 -nolisten tcp 5>"$sandbox/display" >"$sandbox/xvfb.log" 2>&1 &
    xvfb_pid=$!
    wait_for 15 test -s "$sandbox/display" || fail "Xvfb did not start"
    number="$(tr -dc 0-9 <"$sandbox/display")"
    export DISPLAY=":$number"
    say "Started a private X server on $DISPLAY"
fi
export QT_QPA_PLATFORM=xcb

say "Starting the helper on the sandbox home"
XDG_RUNTIME_DIR="$runtime" "$helper" --home "$home" >"$sandbox/helper.log" 2>&1 &
helper_pid=$!
wait_for 30 grep -q "watching" "$sandbox/helper.log" || fail "the helper did not start"

say "Moving Foo.app to the Trash"
trash="$home/.local/share/Trash"
mv "$foo" "$trash/files/Foo.app"
printf '[Trash Info]\nPath=%s\nDeletionDate=%s\n' "$foo" "$(date +%Y-%m-%dT%H:%M:%S)" >"$trash/info/Foo.app.trashinfo"

title="Tarnwick - Complete Uninstallation"
window=""
find_window() { window="$(xdotool search --onlyvisible --name "^$title\$" 2>/dev/null | head -n 1)"; [ -n "$window" ]; }
wait_for 30 find_window || fail "no notification window appeared"
find_window
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
paths="$(python3 - "$received/message.trfortw" <<'PY'
import json, sys
text = open(sys.argv[1], encoding="utf-8").read()
header, _, body = text.partition("\n")
assert header == "---=== Tarnwick Watcher Message v2 ===---", header
for item in json.loads(body)["items"]:
    print(item["type"].rjust(2), item.get("size", "-").rjust(9), item["path"])
PY
)"
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
