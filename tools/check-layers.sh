#!/usr/bin/env bash
# Lists every include in src/ that points up the layers, and fails if there is one.
# A folder may include its own headers and those of the folders below it:
#
#   platform < core < messaging < remains < watching < ui < notification < agent, presenter, app
#
# (agent, presenter and app, the three programs, share the top and never include each
# other).
set -euo pipefail
cd "$(dirname "$0")/../src"
declare -A rank=([platform]=0 [core]=1 [messaging]=2 [remains]=3 [watching]=4 [ui]=5 [notification]=6
                 [agent]=7 [presenter]=7 [app]=7)
bad=0
while IFS=: read -r file _ target; do
    from="${file%%/*}"
    to="$(sed -E 's/^#include "([a-z]+)\/.*/\1/' <<<"$target")"
    [ "$from" = "$to" ] && continue
    if [ -z "${rank[$from]:-}" ] || [ -z "${rank[$to]:-}" ] || [ "${rank[$to]}" -ge "${rank[$from]}" ]; then
        echo "check-layers: $file includes ${target#\#include } ($from may not include $to)" >&2
        bad=1
    fi
done < <(grep -rnE '^#include "[a-z]+/' --include='*.h' --include='*.cpp' . | sed 's#^\./##')
[ "$bad" -eq 0 ] && echo "check-layers: every include points down"
exit "$bad"
