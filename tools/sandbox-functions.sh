# Shell functions shared by the scripts that run the real helper on a sandbox home
# (demonstrate.sh, check-deletes-nothing.sh). Source it, call in_private_session_bus
# "$@", define `fail MESSAGE` and call open_sandbox first.

# Runs the calling script again inside a session bus of its own, which ends with it.
# A real desktop always has a session bus; without one, Qt's X11 platform would start
# one for the helper (dbus-launch) and write ~/.dbus into the sandbox home.
in_private_session_bus() {
    [ -n "${TW_SANDBOX_BUS:-}" ] && return 0
    command -v dbus-run-session >/dev/null || { echo "$0: needs dbus-run-session (the dbus-daemon package)" >&2; exit 2; }
    TW_SANDBOX_BUS=1 exec dbus-run-session -- "$0" "$@"
}

# Makes the sandbox: a scratch folder named after $1 with home/, a private runtime/
# and received/ (what the stand-in main application is given). On exit the helper
# (helper_pid), the X server (xvfb_pid) and the session bus (bus_pid) are stopped and,
# unless keep=1, the sandbox is removed.
open_sandbox() {
    sandbox="$(mktemp -d "${TMPDIR:-/tmp}/$1.XXXXXX")"
    home="$sandbox/home"
    runtime="$sandbox/runtime"
    received="$sandbox/received"
    helper_pid=""
    xvfb_pid=""
    bus_pid=""
    mkdir -p "$home" "$runtime" "$received"
    chmod 700 "$runtime"
    trap close_sandbox EXIT
}

close_sandbox() {
    [ -n "$helper_pid" ] && kill "$helper_pid" 2>/dev/null && wait "$helper_pid" 2>/dev/null
    [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null && wait "$xvfb_pid" 2>/dev/null
    [ -n "$bus_pid" ] && kill "$bus_pid" 2>/dev/null
    if [ "${keep:-0}" -eq 0 ]; then rm -rf "$sandbox"; fi
    return 0
}

say() { printf '\033[1m%s\033[0m\n' "$*"; }

# Whether the helper's agent answers on its socket in the sandbox's runtime directory:
# an empty open-file request, which only a running agent's event loop acknowledges.
agent_answers() {
    python3 - "$runtime/com.corbelle.Tarnwick-HelperS.socket" <<'PY'
import socket, sys
peer = socket.socket(socket.AF_UNIX)
peer.settimeout(2)
peer.connect(sys.argv[1])
peer.sendall(bytes([0, 0, 0, 4, 0, 0, 0, 0]))  # a length of 4, then a count of no files
sys.exit(0 if peer.recv(1) == b"A" else 1)
PY
}

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

# Writes an AppImage, an ELF header (never run) followed by a squashfs image holding
# one desktop entry: PATH DESKTOP_ID "Key=value lines"
make_appimage() {
    local root
    root="$(mktemp -d)"
    printf '[Desktop Entry]\nType=Application\n%b\n' "$3" >"$root/$2.desktop"
    mkdir -p "$(dirname "$1")"
    # The ELF header of a 64-bit program with the AppImage type 2 magic, whose one empty
    # section header ends at byte 128, where the image begins.
    python3 -c 'import struct, sys
h = bytearray(128); h[0:11] = b"\x7fELF\x02\x01\x01\x00AI\x02"
struct.pack_into("<Q", h, 0x28, 64); struct.pack_into("<HH", h, 0x3A, 64, 1)
sys.stdout.buffer.write(h)' >"$1"
    mksquashfs "$root" "$root.img" -root-owned -noappend -quiet -no-progress -nopad >/dev/null
    cat "$root.img" >>"$1"
    chmod +x "$1"
    rm -rf "$root" "$root.img"
}

# Writes a file of N kilobytes: PATH N
make_file() {
    mkdir -p "$(dirname "$1")"
    head -c "$(($2 * 1024))" /dev/urandom >"$1"
}

# The stand-in main application, Tarnwick.app (com.corbelle.TarnwickS) at PATH, which
# holds a copy of the helper bundle HELPER_BUNDLE as the real product does and, when
# given a file, copies it to RECEIVED/message.trfortw and writes its path to
# RECEIVED/opened.txt. It deletes nothing. Prints the helper executable inside it.
make_stand_in_main_app() {
    local app="$1" helper_bundle="$2" received="$3"
    make_app "$app" com.corbelle.TarnwickS Tarnwick
    cat >"$app/Contents/MacOS/Tarnwick" <<SCRIPT
#!/bin/sh
# Stands in for the main application: keeps a copy of the message it is given.
cp "\$1" "$received/message.trfortw" 2>/dev/null
printf '%s\n' "\$1" >"$received/opened.txt"
SCRIPT
    chmod +x "$app/Contents/MacOS/Tarnwick"
    mkdir -p "$app/Contents/Library/LoginItems"
    cp -R "$helper_bundle" "$app/Contents/Library/LoginItems/"
    printf '%s\n' "$app/Contents/Library/LoginItems/Tarnwick Helper.app/Contents/MacOS/tarnwick-helper"
}

# Moves ITEM into the Trash folder TRASH (the freedesktop one) as a file manager does,
# with its trash info.
move_to_trash() {
    local item="$1" trash="$2" name
    name="$(basename "$1")"
    mv "$item" "$trash/files/$name"
    printf '[Trash Info]\nPath=%s\nDeletionDate=%s\n' "$item" "$(date +%Y-%m-%dT%H:%M:%S)" >"$trash/info/$name.trashinfo"
}

# A display: the current one, else a private X server whose pid goes to xvfb_pid.
use_a_display() {
    if [ -z "${DISPLAY:-}" ] || ! xdpyinfo >/dev/null 2>&1; then
        command -v Xvfb >/dev/null || fail "no display and no Xvfb (install the xvfb package)"
        Xvfb -displayfd 5 -screen 0 1280x800x24 -nolisten tcp 5>"$sandbox/display" >"$sandbox/xvfb.log" 2>&1 &
        xvfb_pid=$!
        wait_for 15 test -s "$sandbox/display" || fail "Xvfb did not start"
        DISPLAY=":$(tr -dc 0-9 <"$sandbox/display")"
        export DISPLAY
        say "Started a private X server on $DISPLAY"
    fi
    export QT_QPA_PLATFORM=xcb
}

# A private session bus for the sandbox (its pid goes to bus_pid): the programs find
# their desktop services there, not in the user's session, and Qt does not start a
# bus of its own in the real home. It has no notification service, so the main
# application reports on its output only.
use_a_session_bus() {
    command -v dbus-daemon >/dev/null || fail "no dbus-daemon (install the dbus package)"
    local address
    address="$(dbus-daemon --session --fork --print-address=1 --print-pid=1 | tr '\n' ' ')"
    DBUS_SESSION_BUS_ADDRESS="${address%% *}"
    bus_pid="$(echo "$address" | cut -d' ' -f2)"
    [ -n "$DBUS_SESSION_BUS_ADDRESS" ] && [ -n "$bus_pid" ] || fail "no private session bus"
    export DBUS_SESSION_BUS_ADDRESS
}

# Prints each entry of the Trash TRASH, a tab, and the original path its .trashinfo
# records ("from PATH").
print_trash() {
    python3 - "$1" <<'PY'
import os, sys, urllib.parse
trash = sys.argv[1]
for name in sorted(os.listdir(os.path.join(trash, "files"))):
    info = os.path.join(trash, "info", name + ".trashinfo")
    origin = "(no trash info)"
    if os.path.exists(info):
        for line in open(info, encoding="utf-8"):
            if line.startswith("Path="):
                origin = "from " + urllib.parse.unquote(line[5:].strip())
    print(f"{name}\t{origin}")
PY
}

# Prints a digest of every file and link below FOLDER, one a line (to compare later).
digest_tree() {
    (cd "$1" && find . \( -type f -o -type l \) -print0 | sort -z | xargs -0 -r sha1sum 2>/dev/null; find . -type l -printf '%p -> %l\n' | sort)
}

# Waits for the notification window and sets `window` to its X window id.
window_title="Tarnwick - Complete Uninstallation"
find_window() { window="$(xdotool search --onlyvisible --name "^$window_title\$" 2>/dev/null | head -n 1)"; [ -n "$window" ]; }
wait_for_window() {
    wait_for 30 find_window || fail "no notification window appeared"
    find_window
}

# Prints the items of a watcher message: type, size and path, one a line.
print_message_items() {
    python3 - "$1" <<'PY'
import json, sys
text = open(sys.argv[1], encoding="utf-8").read()
header, _, body = text.partition("\n")
assert header == "---=== Tarnwick Watcher Message v2 ===---", header
for item in json.loads(body)["items"]:
    print(item["type"].rjust(2), item.get("size", "-").rjust(9), item["path"])
PY
}
