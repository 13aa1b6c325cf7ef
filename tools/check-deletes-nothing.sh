#!/usr/bin/env bash
# Checks that the helper deletes nothing but the command files it consumes, with the
# real helper on a sandbox home through a whole session:
#   the main application (a stand-in that records what it is given and deletes
#   nothing) has written an exclusion of Bar.app and a clear command; the helper
#   starts, is handed the exclusion, Bar.app and Foo.app are moved to the Trash, the
#   notification (Foo.app only) is accepted with the Return key on a private display,
#   the clear command is handed over, and the helper is stopped with SIGTERM.
# Every path of the home and of the runtime directory is recorded before and after
# (type, size, modification time; link targets) and compared. The only differences
# allowed: the two command files gone, watcher messages added in the message folder,
# the test's own moves into the Trash with their trash info, and the modification
# times of the folders those changes touched.
#
# usage: tools/check-deletes-nothing.sh BUILD_DIR [--keep]
set -euo pipefail

build="$(cd "${1:?usage: check-deletes-nothing.sh BUILD_DIR [--keep]}" && pwd)"
keep=0
[ "${2:-}" = "--keep" ] && keep=1

# shellcheck source=tools/sandbox-functions.sh
source "$(dirname "$0")/sandbox-functions.sh"
in_private_session_bus "$@"

helper_bundle="$build/Tarnwick.app/Contents/Library/LoginItems/Tarnwick Helper.app"
msg="$build/bin/tarnwick-msg"
[ -x "$helper_bundle/Contents/MacOS/tarnwick-helper" ] && [ -x "$msg" ] ||
    { echo "check-deletes-nothing.sh: no helper or tarnwick-msg in $build" >&2; exit 2; }

open_sandbox tarnwick-deletes

fail() { echo "check-deletes-nothing.sh: $*" >&2; [ -f "$sandbox/helper.log" ] && sed 's/^/  helper: /' "$sandbox/helper.log" >&2; exit 1; }

# Records every path below the folders given, one JSON object a line.
snapshot() {
    python3 - "$@" <<'PY'
import json, os, stat, sys
for root in sys.argv[1:]:
    for folder, dirs, files in os.walk(root):
        for path in [folder] + [os.path.join(folder, name) for name in dirs + files]:
            if path != folder and os.path.isdir(path) and not os.path.islink(path):
                continue  # listed as a folder of its own
            s = os.lstat(path)
            kind = stat.S_IFMT(s.st_mode)
            entry = {"path": path, "type": kind, "mode": stat.S_IMODE(s.st_mode), "mtime": s.st_mtime_ns,
                     "size": s.st_size if not stat.S_ISDIR(s.st_mode) else 0}
            if stat.S_ISLNK(s.st_mode):
                entry["target"] = os.readlink(path)
            print(json.dumps(entry))
PY
}

say "Sandbox: $sandbox"
export XDG_RUNTIME_DIR="$runtime"
lib="$home/Library"
for name in Foo Bar; do
    make_app "$home/Applications/$name.app" "com.example.$name" "$name"
    make_file "$home/Applications/$name.app/Contents/MacOS/$name" 100
    make_file "$lib/Caches/com.example.$name/Cache.db" 64
    make_file "$lib/Preferences/com.example.$name.plist" 4
    make_file "$lib/Logs/$name.log" 8
done
make_file "$lib/Caches/com.example.Other/unrelated.db" 16
make_file "$home/Documents/letter.txt" 2
ln -s "$home/Documents/letter.txt" "$home/Documents/letter-link"
ln -s "$home/nowhere" "$home/Documents/dangling-link"
tarnwick="$home/Applications/Tarnwick.app"
helper="$(make_stand_in_main_app "$tarnwick" "$helper_bundle" "$received")"
trash="$home/.local/share/Trash"
mkdir -p "$trash/files" "$trash/info"
chmod 700 "$trash" "$trash/files" "$trash/info"

# What the main application wrote for the helper before the session.
exclude_file="$("$msg" exclude --no-send "/Applications/Bar.app")"
clear_file="$("$msg" clear --no-send)"
message_folder="$(dirname "$exclude_file")"
use_a_session_bus # or Qt would start one, writing into the home and the runtime directory
snapshot "$home" "$runtime" >"$sandbox/before.jsonl"

use_a_display
export HOME="$home" XDG_CACHE_HOME="$sandbox/cache"
say "Starting the helper on the sandbox home"
"$helper" --home "$home" >"$sandbox/helper.log" 2>&1 &
helper_pid=$!
wait_for 30 agent_answers || fail "the helper did not start"

say "Handing the exclusion of Bar.app to the helper"
"$helper" --home "$home" "$exclude_file"
wait_for 30 test ! -e "$exclude_file" || fail "the exclusion was not consumed"

say "Moving Bar.app and Foo.app to the Trash"
move_to_trash "$home/Applications/Bar.app" "$trash"
move_to_trash "$home/Applications/Foo.app" "$trash"
wait_for_window
sleep 2 # the other decisions and the sizes arriving
xdotool windowfocus --sync "$window" 2>/dev/null || true
say "Pressing Return (Complete Uninstall)"
xdotool key --clearmodifiers Return
wait_for 30 test -s "$received/opened.txt" || fail "the main application received nothing"
wait_for 10 test -s "$received/message.trfortw" || fail "the message file could not be read"
print_message_items "$received/message.trfortw" | sed "s|$home|~|"
print_message_items "$received/message.trfortw" | grep -q "com.example.Bar\|/Bar" && fail "the excluded Bar.app was offered"

say "Handing the clear command to the helper"
"$helper" --home "$home" "$clear_file"
wait_for 30 test ! -e "$clear_file" || fail "the clear command was not consumed"

say "Stopping the helper"
kill -TERM "$helper_pid"
wait "$helper_pid" || fail "the helper did not end cleanly"
helper_pid=""
snapshot "$home" "$runtime" >"$sandbox/after.jsonl"

say "Comparing the home and the runtime directory before and after"
python3 - "$sandbox/before.jsonl" "$sandbox/after.jsonl" "$home" "$runtime" "$message_folder" \
    "$exclude_file" "$clear_file" <<'PY'
import json, os, sys
before_file, after_file, home, runtime, message_folder, *consumed = sys.argv[1:]
load = lambda name: {e["path"]: e for e in map(json.loads, open(name))}
before, after = load(before_file), load(after_file)
moves = {f"{home}/Applications/{n}.app": f"{home}/.local/share/Trash/files/{n}.app" for n in ("Bar", "Foo")}
trash_info = {f"{home}/.local/share/Trash/info/{n}.app.trashinfo" for n in ("Bar", "Foo")}

# What the session may do: the test's moves into the Trash and their trash info, the
# consumed command files, watcher messages written in the message folder.
expected = {}
for path, entry in before.items():
    if path in consumed:
        continue
    for source, target in moves.items():
        if path == source or path.startswith(source + "/"):
            path = target + path[len(source):]
            entry = dict(entry, path=path)
    expected[path] = entry
added = {p for p in after if p not in expected}
allowed_added = trash_info | {p for p in added if os.path.dirname(p) == message_folder and p.endswith(".trfortw")}
allowed_added |= {os.path.join(runtime, "com.corbelle.Tarnwick-HelperS.lock")}  # one agent per user; stays, empty
touched = {os.path.dirname(p) for p in set(moves) | set(moves.values()) | trash_info | set(consumed) | allowed_added}
touched.add(runtime)  # the helper's socket, there while it runs

problems = []
for path in sorted(set(expected) - set(after)):
    problems.append(f"gone:    {path}")
for path in sorted(added - allowed_added):
    problems.append(f"added:   {path}")
for path in sorted(set(expected) & set(after)):
    was, now = expected[path], after[path]
    keys = ["type", "mode", "size", "target"] + (["mtime"] if path not in touched else [])
    changed = [k for k in keys if was.get(k) != now.get(k)]
    if changed:
        problems.append(f"changed: {path} ({', '.join(changed)})")
print(f"{len(before)} paths before, {len(after)} after; consumed {len(consumed)} command files, "
      f"{len(allowed_added - trash_info)} watcher message(s) written")
if problems:
    print("\n".join(problems))
    sys.exit(1)
PY
say "Check passed: the helper deleted and changed nothing but the command files it consumed."
[ "$keep" -eq 1 ] && say "Kept the sandbox: $sandbox"
exit 0
