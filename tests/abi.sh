#!/usr/bin/env bash
# What programs that are already built rely on is what paquets/abi/ says: the functions that the libraries show, and the
# layout of the types that the public headers define. A difference that breaks programs is a new SONAME, and any other is a
# decision too. Besides, what has state stands once in a process.
# Usage: tests/abi.sh BUILD_FOLDER SOURCE_FOLDER [--accepter]
#   --accepter   writes paquets/abi/ from the build, to be looked at and committed
set -euo pipefail
export LC_ALL=C
construction=$1 sources=$2 mode=${3:-}
reference=$sources/paquets/abi
dossier=$(mktemp -d)
trap 'rm -rf "$dossier"' EXIT

trouver() {
    local objet
    objet=$(find "$construction" -path "*/_CPack_Packages" -prune -o -name "$1" ! -type d -print -quit)
    [ -n "$objet" ] || { echo "abi: $1 is not built" >&2; exit 1; }
    echo "$objet"
}

# ---- The interface
cmake --install "$construction" --component developpement --prefix "$dossier" >/dev/null
# Left out: what is not ours, the stubs of the IDL, the inside of the standard library's types, and what liborix shows to
# the other libraries only, which are installed with it: the binding of the ORB, a class for each header of interne/.
internes=$(for entete in "$sources"/plateforme/include/orix/interne/*.h; do
    nom=$(basename "$entete" .h)
    echo -n "|${#nom}$nom"
done)
for genre in function variable; do
    cat <<SUPPRESSIONS
[suppress_$genre]
symbol_name_not_regexp = ^_Z(T[IV])?(N[VK]*)?(4orix|3cdv|[0-9]+OX|ls)|^OX
drop = yes
[suppress_$genre]
symbol_name_regexp = ^_Z(T[IV])?N[VK]*([0-9]+OX[a-z_]+Data_v3_0_0|4orix(3orb$internes))
drop = yes
SUPPRESSIONS
done >"$dossier/suppressions"
cat >>"$dossier/suppressions" <<'SUPPRESSIONS'
[suppress_type]
name_regexp = ^(std::(.*::)?(_|allocator|rebind|reverse_iterator|.*_traits|initializer_list)|__gnu_cxx)
drop = yes
SUPPRESSIONS
decrire() { # OBJECT FILE
    abidw --headers-dir "$dossier/include/oxcdv" --drop-private-types --exported-interfaces-only \
        --suppressions "$dossier/suppressions" --type-id-style hash --no-show-locs --no-parameter-names --no-corpus-path \
        --no-comp-dir-path --no-elf-needed --no-architecture --no-write-default-sizes --out-file "$2" "$1"
}

statut=0
for nom in liborix libOXcdvCli libOXcdvVol libOXcdvSession; do
    objet=$(trouver "$nom.so.3")
    if [ "$mode" = --accepter ]; then
        decrire "$objet" "$reference/$nom.xml"
    else
        decrire "$objet" "$dossier/$nom.xml"
        abidiff "$reference/$nom.xml" "$dossier/$nom.xml" >"$dossier/$nom.txt" || { statut=1; cat "$dossier/$nom.txt"; }
    fi
done
if [ "$statut" -ne 0 ]; then
    cat >&2 <<FIN
abi: the interface has changed (above). By accident: mend it. On purpose, with a line in CHANGELOG.md that says who must
build again, and a new SONAME once this one is released:
    scripts/construire.sh release && tests/abi.sh build/release . --accepter
and commit paquets/abi/.
FIN
fi

# ---- State
# Variables of ours that each file of a process would have for itself: those that no other file can see.
propres() {
    comm -23 <(variables "$1") <(variables "$1" -D)
}
variables() {
    nm -C --defined-only "${@:2}" "$1" | sed -nE 's/^[0-9a-f]+ [bBdDuV] (guard variable for )?//p' | grep '^orix::' | sort -u
}
doubles=$(for nom in liborix.so.3 libOXcdvCli.so.3 libOXcdvVol.so.3 libOXcdvSession.so.3 cdv-serveur; do
    objet=$(trouver "$nom") || exit 1
    propres "$objet"
done | sort | uniq -d)
if [ -n "$doubles" ]; then
    echo "abi: these stand more than once in a process; they belong to one library, which exports what uses them:" >&2
    echo "$doubles" >&2
    statut=1
fi
# Their threads, and those of the ORB, outlive a module that was linked with them and is closed.
for nom in liborix libOXcdvCli libOXcdvSession; do
    grep -q NODELETE <<<"$(readelf -dW "$(trouver "$nom.so.3")")" || { statut=1; echo "abi: $nom can be unloaded" >&2; }
done
exit "$statut"
