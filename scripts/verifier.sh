#!/usr/bin/env bash
# Everything that can be checked, on a bare Debian 12, as root or with sudo: layout, the suite as it is shipped, code checks,
# the suites under both sanitizers. All of it runs, whatever fails. The last line adds it up: a step that is no suite, or
# a suite that cannot be run, counts as one. .ci/run is the part of it that every landing has to pass.
set -uo pipefail
cd "$(dirname "$0")/.."

passes=0 echecs=0 sautes=0
journal=$(mktemp)
trap 'rm -f "$journal"' EXIT
etape() { # NAME COMMAND...
    local nom=$1 depart=$SECONDS statut=0 p=0 e=0 s=0
    shift
    echo "== $nom"
    "$@" 2>&1 | tee "$journal" || statut=1
    if [[ $(tail -n 1 "$journal") =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed,\ ([0-9]+)\ skipped$ ]]; then
        p=${BASH_REMATCH[1]} e=${BASH_REMATCH[2]} s=${BASH_REMATCH[3]}
    fi
    [ "$statut" -eq 0 ] || [ "$e" -gt 0 ] || e=1
    passes=$((passes + p)) echecs=$((echecs + e)) sautes=$((sautes + s))
    echo "== $nom: $([ "$e" -eq 0 ] && echo passed || echo FAILED) after $((SECONDS - depart)) s"
}

etape "packages" scripts/installer-dependances.sh --tests --analyse
etape "layout" scripts/analyse.sh format
etape "tests, release" scripts/test.sh release
etape "checks" scripts/analyse.sh tidy
etape "tests, address and undefined behaviour" scripts/test.sh asan
etape "tests, threads" scripts/test.sh tsan
echo "All of it: $SECONDS s"
echo "$passes passed, $echecs failed, $sautes skipped"
[ "$echecs" -eq 0 ]
