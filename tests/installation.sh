#!/usr/bin/env bash
# Installs the build into an empty folder, and checks what is there by using it: the examples are built from the installed
# tree alone with pkg-config (with CMake: paquets.sh, documentation.sh), and the shared object shows what it should and
# nothing else.
# Usage: tests/installation.sh BUILD_FOLDER SOURCE_FOLDER [LINK_OPTION...]
set -euo pipefail
construction=$1
sources=$2
shift 2
options=("$@")

dossier=$(mktemp -d)
serveur=
nettoyer() {
    [ -z "$serveur" ] || kill "$serveur" 2>/dev/null || true
    rm -rf "$dossier"
}
trap nettoyer EXIT
echec() {
    echo "installation: $*" >&2
    exit 1
}

cmake --install "$construction" --prefix "$dossier/prefixe" >"$dossier/install.log" || { cat "$dossier/install.log"; exit 1; }
bibliotheque=$(find "$dossier/prefixe" -name 'libOXcdvCli.so.3.0.0.0')
[ -n "$bibliotheque" ] || echec "libOXcdvCli.so.3.0.0.0 is not installed"

# What operators read leads nowhere but to what they have.
documents=$dossier/prefixe/share/doc
python3 "$sources/tests/documentation/liens.py" "$documents" || echec "dead links in the installed documents"
! grep -nE '(src|scripts|build|plateforme)/[A-Za-z]' "$documents"/cdv-serveur/{exploitation,configuration}.md "$dossier"/prefixe/share/man/man1/* ||
    echec "a path of the source tree in what operators read"

grep -qF '@(#) 3.0.0.0 $LastChangedRevision: 808 $ ' < <(strings "$bibliotheque") || echec "no identification string"

# Public: the facade, the record, the state and the end of the adapter. Everything else stays inside.
autres=$(nm -DC --defined-only "$bibliotheque" | cut -d' ' -f3- |
    grep -vE '^(OXcdvCliItf::|OXvol_completData::|operator<<\(std::ostream&, OXvol_completData const&\)|operator<<\(std::basic_ostream.*OXvol_completData const&\)|orix::detruireOXcdvCliItfAdaptateur\(\)|orix::lireOXcdvCliConnexion\(\)|orix::lireRappelsOXcdvCliCB\(\)|orix::(doubler|lireDoublure)OXcdvCliItf\(|orix::OXcdvCli(Doublure|Temps)::)' |
    grep -vE '^(typeinfo|vtable|guard variable|([a-z]+ )?std::|__asan|__odr_asan|__ubsan)' || true)
[ -z "$autres" ] || echec "symbols that should be hidden: $(head -n 10 <<<"$autres")"

export PKG_CONFIG_PATH=$(dirname "$(find "$dossier/prefixe" -name oxcdvcli.pc)")
pkgconfig() { pkg-config --define-variable=prefix="$dossier/prefixe" "$@"; }
compiler() { # SOURCE PROGRAM PKG-CONFIG [BEFORE THE LIBRARIES...]
    # shellcheck disable=SC2046 # several options
    c++ -std=c++17 "${options[@]}" $(pkgconfig --cflags $3) "$1" -o "$dossier/$2" "${@:4}" $(pkgconfig --libs $3) "${apres[@]}"
}
apres=() # the libraries
# A program that reads a record, and no more, needs no other library of ours. (The library's own callbacks are the
# application's to define.)
cat >"$dossier/lecture.cpp" <<'FIN'
#include "OXvol_completData.h"
int main()
{
    OXvol_completData vol;
    orix::OXstatut statut = orix::OXS_NOK;
    return vol.lire_gparking(statut) != nullptr || vol.nombre_rub_chgt() != 0 || vol.lireVersion().front() == orix::VERSION_NULLE;
}
FIN
# shellcheck disable=SC2046 # several options
c++ -std=c++17 "${options[@]}" $(pkgconfig --cflags oxcdvcli) "$dossier/lecture.cpp" -o "$dossier/lecture" \
    -L"$(dirname "$bibliotheque")" -lOXcdvCli -Wl,--unresolved-symbols=ignore-in-shared-libs ||
    echec "a program that reads a record needs more than libOXcdvCli"
compiler "$sources/exemples/session_cdv.cpp" session_cdv oxcdvcli
compiler "$sources/exemples/parkings.cpp" parkings oxcdvsession
compiler "$sources/exemples/essai_parkings.cpp" essai_parkings "oxcdvessais oxcdvsession"
echo '#include "CdvVol.h"
int main() { return cdv::Vol{{"parking", "B12"}}.lire_ou("parking", "") != "B12"; }' >"$dossier/valeur.cpp"
compiler "$dossier/valeur.cpp" valeur oxcdvsession -Wl,--as-needed # nothing of the session itself is named
# Callbacks in a shared library of the application's: with cdv::Vol they hear, a session says why it would not.
compiler "$sources/tests/installation/rappels.cpp" librappels.so oxcdvcli -fPIC -shared
compiler "$sources/tests/installation/rappels_caches.cpp" rappels_caches oxcdvsession -Wl,--no-as-needed -L"$dossier" -lrappels
apres=(-L"$dossier" -lrappels)
compiler "$sources/tests/installation/rappels_entendus.cpp" rappels_entendus oxcdvvol
copie=$(c++ -std=c++17 -fsyntax-only $(pkgconfig --cflags oxcdvvol) -include CdvVol.h -xc++ - <<<'cdv::Vol f(const cdv::Vol& vol) { return vol; }' 2>&1) &&
    echec "a record is copied in silence"
grep -qF 'copier()' <<<"$copie" || echec "a copy is refused without a word of copier(): $copie"
for idl in "$dossier"/prefixe/share/oxcdv/idl/*.idl; do
    omniidl -bcxx -C"$dossier" "$idl" || echec "the installed ${idl##*/} does not compile"
done
export LD_LIBRARY_PATH=$(dirname "$bibliotheque"):$dossier

# A whole session against the installed libraries, with the installed server and command.
mkfifo "$dossier/ligne"
"$dossier/prefixe/bin/cdv-serveur" --port 0 --base "$dossier/vols.db" >"$dossier/ligne" 2>"$dossier/serveur.log" &
serveur=$!
read -r -t 20 ligne <"$dossier/ligne" || echec "the server does not start: $(cat "$dossier/serveur.log")"
url=$(grep -o 'corbaloc:[^, ]*' <<<"$ligne")
printf '[routage]\ncdv = ["%s"]\n' "$url" >"$dossier/session.toml"
"$dossier/prefixe/bin/cdv" --url "$url" importer "$sources/exemples/vols.csv" >/dev/null 2>&1 || echec "cdv importer failed"
vols=$(grep -c ',AFR,' "$sources/exemples/vols.csv")
sortie=$("$dossier/parkings" "$dossier/session.toml" AFR B01 2>&1) || echec "parkings: $sortie"
grep -qx "$vols of $vols flights of AFR have their stand." <<<"$sortie" || echec "parkings says: $sortie"
places=$("$dossier/prefixe/bin/cdv" --url "$url" --format csv lister exploitant_1=AFR parking=B01 | grep -c ,AFR,) || true
[ "$places" -eq "$vols" ] || echec "$places of $vols flights are at the stand"
timeout 60 "$dossier/essai_parkings" || echec "the test of an application fails (status $?)"
"$dossier/valeur" || echec "a program with records alone fails"
timeout 60 "$dossier/rappels_entendus" "$dossier/session.toml" || echec "callbacks in a library of their own hear nothing (status $?)"
sortie=$("$dossier/rappels_caches" "$dossier/session.toml") && grep -q "librappels.so defines callbacks" <<<"$sortie" ||
    echec "a session whose callbacks are hidden says: $sortie"
kill "$serveur"
wait "$serveur" || echec "the server ended with status $?"
echo "installation: the examples build and run from the installed tree"
