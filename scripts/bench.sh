#!/usr/bin/env bash
# Installs what is missing, builds, measures: the costs inside one process, the reference server, and the comparison
# with the bare ORB and the other transports. A peer whose packages cannot be had is left out. Results:
# build/bench/resultats/.
# Usage: scripts/bench.sh [--court] [--publier] [--base URI]
#   --court     about two minutes in all after the build, instead of about twenty
#   --base      an empty database of PostgreSQL for the clients of which there are many, instead of a file
#   --publier   also puts the results into docs/performance.md and its figures
set -euo pipefail
cd "$(dirname "$0")/.."

tours=() reperes=(--benchmark_min_time=0.5) vols=() foule=() base=() publier=false
while [ $# -gt 0 ]; do
    case $1 in
        --court) tours=(--court) reperes=(--benchmark_min_time=0.05) vols=(--nombre 50000) foule=(--nombre 50000 --tours 2 --duree 5) ;;
        --publier) publier=true ;;
        --base) base=(--base "${2:?--base wants an address}") && shift ;;
        *)
            echo "bench.sh: unknown option $1 (--court, --publier, --base URI)" >&2
            exit 2
            ;;
    esac
    shift
done

scripts/installer-dependances.sh --bench
construction=build/bench
resultats=$construction/resultats
mkdir -p "$resultats"
echo "Building..."
if ! { cmake --preset release -B "$construction" -DOXCDV_BENCH=ON &&
    cmake --build "$construction" --target bench; } >"$resultats/construction.log" 2>&1; then
    tail -n 60 "$resultats/construction.log" >&2
    exit 1
fi
grep -h 'bench: without' "$resultats/construction.log" || true

echo "Load of the machine before the measures: $(cut -d' ' -f1-3 /proc/loadavg)" | tee "$resultats/contexte.txt"
echo "Inside one process..."
"$construction/bench/bench_cdv" "${reperes[@]}" --benchmark_out="$resultats/enprocessus.json" \
    --benchmark_out_format=json >"$resultats/enprocessus.txt" 2>&1 || { tail "$resultats/enprocessus.txt" >&2; exit 1; }
cat "$resultats/enprocessus.txt"

echo "The reference server..."
"$construction/bench/debit_serveur" "${vols[@]}" --dossier "$resultats" --jsonl "$resultats/serveur.jsonl" \
    >"$resultats/serveur.md"
cat "$resultats/serveur.md"
echo "The reference server among many clients..."
"$construction/bench/foule_serveur" "${foule[@]}" "${base[@]}" --dossier "$resultats" --jsonl "$resultats/foule.jsonl" \
    >"$resultats/foule.md"
cat "$resultats/foule.md"

echo "Comparison..."
statut=0
"$construction/bench/comparer" "${tours[@]}" --jsonl "$resultats/comparaison.jsonl" >"$resultats/comparaison.md" || statut=$?
cat "$resultats/comparaison.md"
if $publier; then
    {
        echo
        echo "Measured at $(git describe --always --dirty) on $(date +%F), bench.sh ${tours[*]:-}"
    } >>"$resultats/contexte.txt"
    bench/publier.py "$resultats" docs
fi
exit "$statut"
