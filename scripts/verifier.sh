#!/usr/bin/env bash
# Everything that can be checked, on a bare Debian 12, as root or with sudo: layout, every suite under every sanitizer, code
# checks. Stops at the first step that fails; the last line adds the suites up. .ci/run is the part of it that every landing
# has to pass.
set -uo pipefail
cd "$(dirname "$0")/.."

debut=$SECONDS
journal=$(mktemp)
trap 'rm -f "$journal"' EXIT
etape() { # NAME COMMAND...
    local nom=$1 depart=$SECONDS
    shift
    echo "== $nom"
    if ! "$@"; then
        echo "== $nom: FAILED after $((SECONDS - depart)) s ($*)" >&2
        exit 1
    fi
    echo "== $nom: $((SECONDS - depart)) s"
}
passes=0 sautes=0
suite() { # PRESET: its last line counts its tests
    scripts/test.sh "$1" | tee "$journal" || return
    local p s
    read -r p _ _ _ s _ < <(tail -n 1 "$journal")
    passes=$((passes + p)) sautes=$((sautes + s))
}

etape "packages" scripts/installer-dependances.sh --tests --analyse
etape "layout" scripts/analyse.sh format
etape "tests, release" suite release
etape "checks" scripts/analyse.sh tidy
etape "tests, address and undefined behaviour" suite asan
etape "tests, threads" suite tsan
echo "All of it: $((SECONDS - debut)) s"
echo "$passes passed, 0 failed, $sautes skipped"
