#!/usr/bin/env bash
# The public symbols of the shared objects are those of paquets/abi/: a symbol that goes or changes breaks programs that
# are already built, and is a new SONAME; a new one is a decision too.
# Usage: tests/abi.sh BUILD_FOLDER SOURCE_FOLDER [--accepter | SANITIZER]
#   --accepter   writes the files of paquets/abi/ from the build, to be looked at and committed
set -euo pipefail
export LC_ALL=C
construction=$1 reference=$2/paquets/abi mode=${3:-}

if [ -n "$mode" ] && [ "$mode" != --accepter ]; then
    echo "abi: not compared: the build with $mode has the sanitizer's own symbols"
    exit 77
fi

# Of ours, what other objects link to. The stubs of the IDL are no interface, and what the compiler instantiates of the
# standard library depends on its options.
symboles() {
    nm -DC --defined-only "$1" | sed -nE 's/^[0-9a-f]+ [TDBRV] //p' |
        grep -E '^((vtable|typeinfo) for )?(orix::|cdv::|OX[A-Za-z_]*(::|\())|^operator' |
        grep -vE '_v3_0_0|orix_corba' | sort -u
}

trouver() {
    local objet
    objet=$(find "$construction" -path "*/_CPack_Packages" -prune -o -name "$1" ! -type d -print -quit)
    [ -n "$objet" ] || { echo "abi: $1 is not built" >&2; exit 1; }
    echo "$objet"
}

statut=0
for nom in liborix libOXcdvCli libOXcdvSession; do
    objet=$(trouver "$nom.so.3")
    if [ "$mode" = --accepter ]; then
        symboles "$objet" >"$reference/$nom.symboles"
    elif ! diff -u "$reference/$nom.symboles" <(symboles "$objet") --label "$nom before" --label "$nom now"; then
        statut=1
    fi
done
if [ "$statut" -ne 0 ]; then
    echo "abi: the public symbols have changed (above: '-' gone, '+' new). A symbol gone: restore it, or raise the" \
        "SONAME. Wanted: tests/abi.sh $construction $2 --accepter, and commit paquets/abi/." >&2
fi

# Variables of ours that each file of a process would have for itself: those that no other file can see.
propres() {
    comm -23 <(variables "$1") <(variables "$1" -D)
}
variables() {
    nm -C --defined-only "${@:2}" "$1" | sed -nE 's/^[0-9a-f]+ [bBdDuV] (guard variable for )?//p' | grep '^orix::' | sort -u
}
doubles=$(for nom in liborix.so.3 libOXcdvCli.so.3 libOXcdvSession.so.3 cdv-serveur; do
    objet=$(trouver "$nom") || exit 1
    propres "$objet"
done | sort | uniq -d)
if [ -n "$doubles" ]; then
    echo "abi: these stand more than once in a process; they belong to one library, which exports what uses them:" >&2
    echo "$doubles" >&2
    statut=1
fi
exit "$statut"
