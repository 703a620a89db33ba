#!/usr/bin/env bash
# Simulates sessions: their decisions, in a random order of events on virtual time. A seed that fails is printed; given
# back, it fails again, at once.
# Usage: scripts/simuler.sh SECONDS [SEED]
set -euo pipefail
cd "$(dirname "$0")/.."
if [ $# -lt 1 ] || [ $# -gt 2 ]; then
    echo "usage: scripts/simuler.sh SECONDS [SEED]" >&2
    exit 2
fi

construction=build/release
journal=$(mktemp)
trap 'rm -f "$journal"' EXIT
if ! { cmake --preset release && cmake --build "$construction" --target simuler; } >"$journal" 2>&1; then
    tail -n 60 "$journal" >&2
    echo "simuler.sh: the build failed (the end of its output is above)." >&2
    exit 1
fi
"$construction/tests/simulation/simuler" "$@"
