#!/usr/bin/env bash
# The whole road, on a sandbox home, from the outside:
#   a sample application Foo.app (com.example.Foo) with typical remains in the home's
#   Library; the helper inside the build's Tarnwick.app is started on that home,
#   Foo.app is moved into the home's Trash, the notification window is awaited on a
#   display (the current one, else a private Xvfb), photographed, and accepted with
#   the Return key as a person would; the main application (the build's, told the
#   sandbox home by the helper) moves the remains into the sandbox Trash, each with
#   its .trashinfo; then `tarnwick --undo-last` puts them back.
#   The same road for a Linux application: an AppImage, Kritter, with its settings,
#   data, cache, menu entry and icon in the XDG folders.
#
# usage: tools/demonstrate.sh BUILD_DIR [--check] [--keep]
#   BUILD_DIR  a build folder, or an installed <prefix>/lib/tarnwick: what holds Tarnwick.app
#   --check  exit non-zero unless exactly the expected remains go to the Trash with
#            valid .trashinfo files and come back unchanged (used by the tests)
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

main_app="$build/Tarnwick.app/Contents/MacOS/tarnwick"
helper="$build/Tarnwick.app/Contents/Library/LoginItems/Tarnwick Helper.app/Contents/MacOS/tarnwick-helper"
[ -x "$main_app" ] && [ -x "$helper" ] || { echo "demonstrate.sh: no Tarnwick.app with its helper in $build" >&2; exit 2; }

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

library_before="$(digest_tree "$lib")"

use_a_display
use_a_session_bus
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
wait_for 30 grep -q "moved to the Trash" "$sandbox/helper.log" || fail "the main application moved nothing"
say "The main application: $(grep "moved to the Trash" "$sandbox/helper.log")"
say "The sandbox Trash now holds:"
listing="$(print_trash "$trash")"
sed "s|$home|~|; s|^|  |" <<<"$listing"

remains=(
    "$lib/Caches/com.example.Foo"
    "$lib/Saved Application State/com.example.Foo.savedState"
    "$lib/Preferences/com.example.Foo.plist"
    "$lib/Logs/Foo.log"
    "$lib/Cookies/com.example.Foo.cookies"
    "$lib/Containers/com.example.Foo"
    "$lib/Application Support/Foo"
    "$lib/LaunchAgents/com.example.Foo.agent.plist"
    "$lib/Application Support/CrashReporter/Foo_1A2B3C.plist")
if [ "$check" -eq 1 ]; then
    for path in "${remains[@]}"; do
        name="$(grep -F "	from $path" <<<"$listing" | cut -f1)"
        [ ! -e "$path" ] && [ -n "$name" ] && [ -e "$trash/files/$name" ] || fail "not moved into the Trash: $path"
        grep -qxF "$name	from $path" <<<"$listing" || fail "no valid .trashinfo for $name"
    done
    [ -d "$trash/files/Foo.app" ] && [ -f "$lib/Caches/com.example.Other/unrelated.db" ] || fail "something else moved"
    # A freedesktop implementation (gio, on a bus of its own whose services see the
    # sandbox as home) reads the same origins, where one is at hand.
    if command -v gio >/dev/null && HOME="$home" XDG_DATA_HOME="$home/.local/share" timeout 30 \
        dbus-run-session -- gio list -a trash::orig-path trash:/// >"$sandbox/gio.txt" 2>/dev/null; then
        grep -qF "trash::orig-path=$lib/Caches/com.example.Foo" "$sandbox/gio.txt" || fail "gio reads no origin"
        say "gio reads the same origins."
    fi
fi

say "Undoing: tarnwick --undo-last"
"$main_app" --home "$home" --undo-last || fail "the undo failed"
if [ "$check" -eq 1 ]; then
    [ "$(digest_tree "$lib")" = "$library_before" ] || fail "the Library did not come back unchanged"
    [ "$(ls "$trash/files")" = "Foo.app" ] || fail "the Trash still holds $(ls "$trash/files")"
    say "Check passed: the remains went to the Trash with valid .trashinfo files and came back unchanged."
fi

# The AppImage: Kritter (org.example.Kritter), integrated into the menu with an icon.
kritter="$home/Applications/Kritter.AppImage"
make_appimage "$kritter" org.example.Kritter 'Name=Kritter\nExec=kritter %F\nIcon=kritter\nStartupWMClass=Kritter'
make_file "$home/.config/Kritter/kritterrc" 4
make_file "$home/.local/share/kritter/brushes.db" 1500
make_file "$home/.cache/org.example.Kritter/thumbnails.db" 700
mkdir -p "$home/.local/share/applications"
printf '[Desktop Entry]\nType=Application\nName=Kritter\nExec="%s" %%F\nIcon=kritter-menu\n' "$kritter" \
    >"$home/.local/share/applications/kritter-appimage.desktop"
make_file "$home/.local/share/icons/hicolor/256x256/apps/kritter-menu.png" 40
make_file "$home/.config/KritterOther/kept.conf" 1
xdg_before="$(digest_tree "$home/.config"; digest_tree "$home/.local/share" | grep -v Trash; digest_tree "$home/.cache")"

say "Moving Kritter.AppImage to the Trash"
move_to_trash "$kritter" "$trash"
wait_for_window
say "The notification window is up for Kritter (X window $window)"
sleep 2
xdotool windowfocus --sync "$window" 2>/dev/null || true
import -window "$window" "$sandbox/notification-appimage.png"
say "Screenshot: $sandbox/notification-appimage.png"
say "Pressing Return (Complete Uninstall)"
xdotool key --clearmodifiers Return
second_move() { [ "$(grep -c "moved to the Trash" "$sandbox/helper.log")" -ge 2 ]; }
wait_for 30 second_move || fail "the main application moved nothing of Kritter"
say "The main application: $(grep "moved to the Trash" "$sandbox/helper.log" | tail -n 1)"
listing="$(print_trash "$trash")"
sed "s|$home|~|; s|^|  |" <<<"$listing"
kritter_remains=(
    "$home/.config/Kritter"
    "$home/.local/share/kritter"
    "$home/.cache/org.example.Kritter"
    "$home/.local/share/applications/kritter-appimage.desktop"
    "$home/.local/share/icons/hicolor/256x256/apps/kritter-menu.png")
if [ "$check" -eq 1 ]; then
    for path in "${kritter_remains[@]}"; do
        grep -qF "	from $path" <<<"$listing" && [ ! -e "$path" ] || fail "not moved into the Trash: $path"
    done
    [ -f "$trash/files/Kritter.AppImage" ] && [ -f "$home/.config/KritterOther/kept.conf" ] || fail "something else moved"
    [ -d "$home/.local/share/icons/hicolor" ] && [ -d "$home/.local/share/applications" ] || fail "a shared folder moved"
fi
say "Undoing: tarnwick --undo-last"
"$main_app" --home "$home" --undo-last || fail "the undo failed"
if [ "$check" -eq 1 ]; then
    [ "$(digest_tree "$home/.config"; digest_tree "$home/.local/share" | grep -v Trash; digest_tree "$home/.cache")" = "$xdg_before" ] ||
        fail "the XDG folders did not come back unchanged"
    say "Check passed: Kritter's remains went to the Trash and came back unchanged."
fi
[ "$keep" -eq 1 ] && say "Kept the sandbox: $sandbox"
exit 0
