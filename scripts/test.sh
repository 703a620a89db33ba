#!/usr/bin/env bash
# Installs what is missing, builds, runs every test. The last line is "N passed, N failed".
# Usage: scripts/test.sh [PRESET]     presets: release (default), debug, asan, tsan
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}

scripts/installer-dependances.sh --tests
echo "Building ($preset)..."
scripts/construire.sh "$preset"

rapport=build/$preset/tests.xml
rm -f "$rapport"
statut=0
ctest --preset "$preset" --parallel 2 --output-junit "$PWD/$rapport" || statut=$?

nombre() { sed -n "/<testsuite/,/>/s/.*[[:space:]]$1=\"\([0-9]*\)\".*/\1/p" "$rapport" | head -n 1; }
total=$(nombre tests) echecs=$(nombre failures) sautes=$(($(nombre skipped) + $(nombre disabled)))
echo "$((total - echecs - sautes)) passed, $echecs failed$([ "$sautes" -eq 0 ] || echo ", $sautes skipped")"
[ "$statut" -eq 0 ] && [ "$total" -gt 0 ]
