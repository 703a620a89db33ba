#!/usr/bin/env bash
# Installs what is missing, builds, and runs a client session against two real servers, one of which is killed in the
# middle. Ends with status 0 only if every answer was the expected one, and leaves nothing running.
set -euo pipefail
cd "$(dirname "$0")/.."

debut=$SECONDS
scripts/installer-dependances.sh
echo "Packages in place after $((SECONDS - debut)) s."
echo "Building (release)..."
scripts/construire.sh release cdv-serveur session_cdv parkings
echo "Built after $((SECONDS - debut)) s."

dossier=$(mktemp -d)
serveurs=()
nettoyer() {
    for pid in "${serveurs[@]}"; do
        kill "$pid" 2>/dev/null || true
        tail --pid="$pid" -f /dev/null # until it has ended
    done
    rm -rf "$dossier"
}
trap nettoyer EXIT

# Starts a server on a free port, and waits for the line in which it says where its kernel is.
declare -A noyau
demarrer() {
    local nom=$1 ligne
    mkfifo "$dossier/$nom"
    exec {sortie}<>"$dossier/$nom" # stays open for as long as the server may write
    build/release/serveur/cdv-serveur --port 0 --base "$dossier/vols.db" --nom "$nom" \
        >"$dossier/$nom" 2>"$dossier/$nom.log" &
    serveurs+=($!)
    disown # the shell need not report its death: that is part of the show
    if ! read -r -t 20 ligne <&"$sortie"; then
        echo "Server $nom did not start:" >&2
        cat "$dossier/$nom.log" >&2
        exit 1
    fi
    noyau[$nom]=$(grep -o 'corbaloc:[^, ]*' <<<"$ligne")
    echo "Server $nom (process ${serveurs[-1]}) listens: ${noyau[$nom]}"
}
demarrer cdv1
demarrer cdv2
premier=${serveurs[0]}

cat >"$dossier/session.toml" <<TOML
[routage]
cdv = ["${noyau[cdv1]}", "${noyau[cdv2]}"]

[surveillance]
periode_ms = 500
delai_ms = 500

[trace]
niveau = 0
TOML

echo
build/release/exemples/session_cdv "$dossier/session.toml" exemples/vols.csv --operator AFR --kill-server "$premier"
echo
build/release/exemples/parkings "$dossier/session.toml" AFR B01 B02 B03
echo
echo "Every answer was the expected one ($((SECONDS - debut)) s in all)."
