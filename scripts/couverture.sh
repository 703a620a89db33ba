#!/usr/bin/env bash
# Builds with counters, runs the tests, and says which lines of the product they reach: build/couverture/lignes.html, and
# a summary. Less than 94 % is a failure.
# Usage: scripts/couverture.sh
set -euo pipefail
cd "$(dirname "$0")/.."
construction=build/couverture

scripts/installer-dependances.sh --tests --couverture
echo "Building..."
scripts/construire.sh couverture
find "$construction" -name '*.gcda' -delete
# Not the tests that look at what a stranger gets: those build and ship without counters.
ctest --preset couverture --parallel $((3 * $(nproc))) -E '^(installation|paquets|abi|documentation|fuzz_.*)$' >"$construction/tests.txt" ||
    { tail -n 40 "$construction/tests.txt" >&2; exit 1; }
gcovr --root . --object-directory "$construction" --filter src/ --filter plateforme/ --filter orb/ --filter serveur/ \
    --filter outils/ --exclude-throw-branches --html-details "$construction/lignes.html" --print-summary --fail-under-line 94
