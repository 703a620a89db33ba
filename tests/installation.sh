#!/usr/bin/env bash
# Installs the build into an empty folder, and checks what is there by using it: the example is built from the installed
# tree alone with pkg-config (with CMake: paquets.sh, documentation.sh), and the shared object shows what it should and
# nothing else.
# Usage: tests/installation.sh BUILD_FOLDER SOURCE_FOLDER [LINK_OPTION...]
set -euo pipefail
construction=$1
sources=$2
shift 2
options=("$@")

dossier=$(mktemp -d)
trap 'rm -rf "$dossier"' EXIT
echec() {
    echo "installation: $*" >&2
    exit 1
}

cmake --install "$construction" --prefix "$dossier/prefixe" >"$dossier/install.log" || { cat "$dossier/install.log"; exit 1; }
bibliotheque=$(find "$dossier/prefixe" -name 'libOXcdvCli.so.3.0.0.0')
[ -n "$bibliotheque" ] || echec "libOXcdvCli.so.3.0.0.0 is not installed"

grep -q 'SONAME.*\[libOXcdvCli\.so\.3\]' < <(readelf -d "$bibliotheque") || echec "the SONAME is not libOXcdvCli.so.3"
grep -qF '@(#) 3.0.0.0 $LastChangedRevision: 808 $ ' < <(strings "$bibliotheque") || echec "no identification string"

# Public: the facade, the record, the state and the end of the adapter. Everything else stays inside.
autres=$(nm -DC --defined-only "$bibliotheque" | cut -d' ' -f3- |
    grep -vE '^(OXcdvCliItf::|OXvol_completData::|operator<<\(std::ostream&, OXvol_completData const&\)|operator<<\(std::basic_ostream.*OXvol_completData const&\)|orix::detruireOXcdvCliItfAdaptateur\(\)|orix::lireOXcdvCliConnexion\(\))' |
    grep -vE '^(typeinfo|vtable|guard variable|std::|__asan|__odr_asan|__ubsan)' || true)
[ -z "$autres" ] || echec "symbols that should be hidden: $(head -n 10 <<<"$autres")"

export PKG_CONFIG_PATH=$(dirname "$(find "$dossier/prefixe" -name oxcdvcli.pc)")
c++ -std=c++17 "${options[@]}" $(pkg-config --cflags oxcdvcli --define-variable=prefix="$dossier/prefixe") \
    "$sources/exemples/session_cdv.cpp" -o "$dossier/session_cdv" \
    $(pkg-config --libs oxcdvcli --define-variable=prefix="$dossier/prefixe")

# The program runs against the installed libraries: a wrong file gives its line and its status.
statut=0
sortie=$(LD_LIBRARY_PATH=$(dirname "$bibliotheque") "$dossier/session_cdv" "$dossier/absent.toml" "$sources/exemples/vols.csv" 2>&1) ||
    statut=$?
[ "$statut" -eq 2 ] && grep -q 'absent.toml' <<<"$sortie" || echec "status $statut and '$sortie' for an absent configuration"
echo "installation: the example builds and runs from the installed tree"
