# Sourced by the tools' scripts: quietly COMMAND... runs the command with its output
# held back, and prints that output only when the command fails.
quietly() {
    local log status=0
    log="$(mktemp)"
    "$@" >"$log" 2>&1 || status=$?
    [ "$status" -eq 0 ] || cat "$log"
    rm -f "$log"
    return "$status"
}
