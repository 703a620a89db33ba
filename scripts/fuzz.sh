#!/usr/bin/env bash
# Fuzzes what comes from outside: records as they travel, configuration files, imported texts, the order of
# a session's events, what a connection brings, what a server answers, texts that are traced. What is found stays in build/fuzz.
# Usage: scripts/fuzz.sh [SECONDS [INPUT...]]     default: 600 seconds for each of vol configuration lecture session accueil reponses traces
# Exit status 77: clang or its fuzzing runtime is missing (scripts/installer-dependances.sh --tests installs them).
set -euo pipefail
cd "$(dirname "$0")/.."
secondes=${1:-600}
entrees=("${@:2}")
[ ${#entrees[@]} -gt 0 ] || entrees=(vol configuration lecture session accueil reponses traces)
construction=build/fuzz

journal=$(mktemp)
trap 'rm -f "$journal"' EXIT
if ! echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' |
    clang++ -x c++ -fsanitize=fuzzer,address,undefined - -o /dev/null >"$journal" 2>&1; then
    echo "fuzz.sh: skipped, clang++ with libFuzzer is missing: $(head -n 1 "$journal")" >&2
    exit 77
fi

mkdir -p "$construction"
exec 9>"$construction/verrou" # one run at a time
flock 9

options=(-DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOXCDV_FUZZ=ON -DOXCDV_TESTS=OFF)
if command -v ccache >/dev/null; then options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
if ! { cmake -S . -B "$construction" -G Ninja "${options[@]}" &&
    cmake --build "$construction" --target "${entrees[@]/#/fuzz_}"; } >"$journal" 2>&1; then
    tail -n 60 "$journal" >&2
    echo "fuzz.sh: the build failed (the end of its output is above)." >&2
    exit 1
fi

for entree in "${entrees[@]}"; do
    # Inputs that reach new code are kept in the build, beside those of the tree.
    mkdir -p "$construction/corpus/$entree"
    dictionnaire=()
    [ ! -f "fuzz/$entree.dict" ] || dictionnaire=(-dict="fuzz/$entree.dict")
    if ! "$construction/fuzz/fuzz_$entree" -max_total_time="$secondes" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$construction/$entree-" "${dictionnaire[@]}" \
        "$construction/corpus/$entree" "fuzz/corpus/$entree" >"$journal" 2>&1; then
        tail -n 60 "$journal" >&2
        echo "fuzz.sh: $entree failed; the input is $construction/$entree-*" >&2
        exit 1
    fi
    echo "$entree: $(sed -n 's/^stat::number_of_executed_units: *//p' "$journal") inputs in $secondes s, nothing found"
done
