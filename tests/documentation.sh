#!/usr/bin/env bash
# The documentation against what it documents: each message of the traces, the comments of the public headers, the links,
# the command lines, the example of the README, the code of the guide.
#
# Command lines are those of the ```sh blocks, run in order, document by document, in a scratch folder where build/release
# is the build under test, and where nobody else has a port. Not run, but checked: scripts and presets that install, build,
# test or measure (the suite runs inside some of them, and their options must exist), and what needs a machine of its own
# (apt-get, systemctl: packages and units must be ours; tests/paquets.sh installs the packages).
#
# Usage: tests/documentation.sh BUILD_FOLDER SOURCE_FOLDER
set -euo pipefail
construction=$(cd "$1" && pwd) sources=$(cd "$2" && pwd)
moi=$(cd "$(dirname "$0")" && pwd)/${0##*/}

echec() {
    echo "documentation: $*" >&2
    exit 1
}

if [ -z "${OXCDV_DOCUMENTATION_SEULE:-}" ]; then
    # A network of its own: the documents' ports are free there.
    seul=(unshare -n)
    [ "$(id -u)" -eq 0 ] || seul=(unshare -rn)
    if "${seul[@]}" ip link set lo up 2>/dev/null; then
        exec "${seul[@]}" env OXCDV_DOCUMENTATION_SEULE=1 bash -c 'ip link set lo up; exec "$@"' - "$moi" "$@"
    fi
fi

dossier=$(mktemp -d)
# sans_faute WHAT COMMAND...: runs it; what it says is shown when it fails.
sans_faute() {
    "${@:2}" >"$dossier/journal" 2>&1 || { cat "$dossier/journal" >&2; echec "$1"; }
}
nettoyer() {
    local pids
    pids=$(jobs -p)
    # shellcheck disable=SC2086 # several of them
    [ -z "$pids" ] || { kill $pids 2>/dev/null; wait $pids 2>/dev/null; } || true
    rm -rf "$dossier"
}
trap nettoyer EXIT

cd "$sources"
python3 tests/documentation/traces.py . || echec "the traces and docs/exploitation.md differ (above)"
sans_faute "doxygen warns" scripts/doc.sh "$dossier/html"
[ -s "$dossier/html/html/classcdv_1_1Session.html" ] || echec "doxygen made no page of cdv::Session"
for page in classcdv_1_1Session classOXcdvCliItf md_guide; do
    grep -qF "href=\"$page.html\"" "$dossier/html/html/index.html" || echec "the first page of the HTML does not lead to $page"
done

# Each row of what holds against strangers names tests, and they are there.
essais=0
while IFS='|' read -r _ quoi _ nommes _; do
    [[ $nommes == *\`* ]] || echec "docs/securite.md: no test shows: $quoi"
    while read -r essai; do
        case $essai in
            fuzz_*) [ -e "fuzz/$essai.cpp" ] ;;
            *.*) grep -rqE "^TEST(_F|_P)?\(${essai/./, }\)" tests ;;
            *) grep -rq "add_test(NAME $essai " tests ;;
        esac || echec "docs/securite.md: no test is called $essai"
        essais=$((essais + 1))
    done < <(grep -oE "\`[^\`]+\`" <<<"$nommes" | tr -d '`')
done < <(awk '/^## /{ dans = $0 == "## What holds" } dans && /^\|/ && ++ligne > 2' docs/securite.md)
[ "$essais" -gt 20 ] || echec "docs/securite.md: the table of what holds is not understood"

documents=(README.md docs/*.md)
sans_faute "dead links" python3 tests/documentation/liens.py README.md CONTRIBUTING.md CHANGELOG.md docs

# The lines of the blocks of that language.
blocs() { awk -v debut="\`\`\`$2" '$0 == debut { dans = 1; next } /^```/ { dans = 0 } dans' "$1"; }

# Whether a line is one of those that are only checked; fails when it names what is not there.
verifiee() {
    local mots mot
    read -ra mots <<<"${1%%#*}"
    case $1 in
        scripts/*.sh*)
            [ -x "$sources/${mots[0]}" ] || echec "$1: no such script"
            for mot in "${mots[@]:1}"; do
                grep -qF -- "$mot" "$sources/${mots[0]}" || echec "$1: the script does not know $mot"
            done
            ;;
        "cmake --preset "* | "ctest --preset "*) grep -qF "\"name\": \"${mots[2]}\"" "$sources/CMakePresets.json" || echec "$1: no such preset" ;;
        "cmake --build --preset "*)
            grep -qF "\"name\": \"${mots[3]}\"" "$sources/CMakePresets.json" || echec "$1: no such preset"
            for mot in "${mots[@]:5}"; do # after --target
                grep -qE "^build $mot: phony" "$construction/build.ninja" || echec "$1: no target $mot"
            done
            ;;
        apt-get\ *)
            for mot in "${mots[@]:2}"; do
                mot=${mot#./}
                grep -qE " ${mot%%_*}\$" "$sources/cmake/Paquets.cmake" || echec "$1: no package of ours"
            done
            ;;
        systemctl\ * | journalctl\ *) [ -e "$sources/paquets/racine/serveur/usr/lib/systemd/system/${mots[-1]}.service" ] || echec "$1: no unit of ours" ;;
        *) return 1 ;;
    esac
}

attendre() { # until somebody listens at that port
    local essai
    for ((essai = 0; essai < 200; ++essai)); do
        (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null && return
        sleep 0.1
    done
    echec "nobody listens at port $1: $(cat "$dossier/journal")"
}

export PATH=$construction/serveur:$construction/outils:$PATH # where operators find the programs
total=0
for document in "${documents[@]}"; do
    ici=$dossier/${document//\//_}.d
    mkdir -p "$ici/build"
    ln -s "$construction" "$ici/build/release"
    ln -s "$sources/exemples" "$ici/exemples"
    cd "$ici"
    while IFS= read -r commande; do
        total=$((total + 1))
        ! verifiee "$commande" || continue
        sans_faute "$document: this failed: $commande" eval "$commande" # not in a subshell: its jobs are this shell's
        if [[ $commande == *\& ]]; then
            [[ $commande =~ --port\ ([0-9]+) ]] || true
            attendre "${BASH_REMATCH[1]:-2809}"
        fi
    done < <(blocs "$sources/$document" sh | grep -vE '^ *(#|$)')

    if [ "$document" = README.md ]; then
        # The application of the README, built and run as it says, with its server under way.
        mkdir application
        blocs "$sources/README.md" cpp >application/main.cpp
        blocs "$sources/README.md" toml >session.toml
        lignes=$(wc -l <application/main.cpp)
        [ "$lignes" -le 40 ] || echec "the example of the README has grown to $lignes lines"
        { printf 'cmake_minimum_required(VERSION 3.25)\nproject(essai LANGUAGES CXX)\nset(CMAKE_CXX_STANDARD 17)\n'
            printf 'add_executable(mon_application main.cpp)\n'
            blocs "$sources/README.md" cmake; } >application/CMakeLists.txt
        sans_faute "the example of the README does not configure" cmake -S application -B application/build \
            -DCMAKE_PREFIX_PATH="$ici/installe" -DCMAKE_CXX_FLAGS="-Wall -Wextra"
        sans_faute "the example of the README does not build" cmake --build application/build
        ! grep -i 'warning:' "$dossier/journal" || echec "the example of the README has warnings"
        application/build/mon_application >sortie 2>erreur || { cat sortie erreur >&2; echec "the example ended with status $?"; }
        grep -qx 'Creation: done' sortie && grep -qx 'Change: done' sortie && grep -qx '20261121DBAW334-000 at stand C09' sortie ||
            { cat sortie erreur >&2; echec "the example does not say what it should"; }
    fi
    # Other documents show pieces of a function: compiled with the installed headers of the README, not run.
    if [ "$document" != README.md ] && blocs "$sources/$document" cpp | grep -q .; then
        { printf '#include "CdvChargement.h"\n#include "CdvEssais.h"\n#include "orix/EnvoisGroupes.h"\n#include <iostream>\nvoid extrait(const cdv::Vol& vol, const cdv::Vol& exemple, std::vector<cdv::Vol>& vols) {\n'
            blocs "$sources/$document" cpp
            printf '}\n'; } >extrait.cpp
        sans_faute "the code of $document does not compile" "${CXX:-c++}" -std=c++17 -fsyntax-only -Wall -Wextra -Werror \
            -Wno-unused-variable -I"$dossier/README.md.d/installe/include/oxcdv" extrait.cpp
    fi
    # shellcheck disable=SC2046 # several of them
    [ -z "$(jobs -p)" ] || { kill $(jobs -p) 2>/dev/null || true; wait || true; }
done
echo "documentation: $total command lines run or checked, the example of the README built and run, the code of the guide compiled"
