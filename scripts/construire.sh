#!/usr/bin/env bash
# Configures and builds one preset, quietly: what it printed is shown only when it fails.
# Usage: scripts/construire.sh PRESET [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:?usage: scripts/construire.sh PRESET [TARGET...]}
shift

journal=$(mktemp)
trap 'rm -f "$journal"' EXIT
cibles=()
[ $# -gt 0 ] && cibles=(--target "$@")
if ! { cmake --preset "$preset" && cmake --build --preset "$preset" "${cibles[@]}"; } >"$journal" 2>&1; then
    tail -n 60 "$journal" >&2
    echo "The build of preset $preset failed (the end of its output is above)." >&2
    exit 1
fi
