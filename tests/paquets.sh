#!/usr/bin/env bash
# Makes the packages of a build, looks at them, installs them, uses them as a stranger would, removes them.
#
# They are installed by dpkg into a throw-away layer over this machine's own file system, which changes nothing on it.
# Where that may not be mounted they are only unpacked and used. With --vierge they are installed by apt into a Debian
# made for them by debootstrap, which also proves that their dependencies are complete (about two minutes, a mirror).
#
# Usage: tests/paquets.sh BUILD_FOLDER SOURCE_FOLDER [--vierge]
set -euo pipefail

echec() {
    echo "paquets: $*" >&2
    exit 1
}

# Starts the server of $1 (a root, or nothing) and makes a record with its cdv. $2...: the command that runs the server.
utiliser() {
    local racine=$1 ligne tampon
    shift
    tampon=$(mktemp -d)
    mkfifo "$tampon/sortie"
    "$@" --configuration "$racine/etc/cdv/serveur.toml" --port 0 --nom essai >"$tampon/sortie" 2>"$tampon/erreur" &
    local pid=$!
    read -r -t 20 ligne <"$tampon/sortie" || echec "the server does not start: $(cat "$tampon/erreur")"
    local url
    url=$(grep -o 'corbaloc:[^, ]*' <<<"$ligne")
    "$racine/usr/bin/cdv" --url "$url" creer 20261121DAFR012-000 parking=B12 >/dev/null || echec "cdv creer failed"
    "$racine/usr/bin/cdv" --url "$url" --format json consulter 20261121DAFR012-000 | grep -q '"parking": *"B12"' ||
        echec "the record is not what was created"
    kill "$pid"
    wait "$pid" || echec "the server ended with status $?"
    rm -rf "$tampon"
}

# Builds the example of the package $1 (a root, or nothing) with find_package and with pkg-config.
construire() {
    local racine=$1 tampon
    tampon=$(mktemp -d)
    cp -r "$racine/usr/share/doc/liboxcdvcli-dev/examples" "$tampon/exemple"
    { cmake -S "$tampon/exemple" -B "$tampon/c" -DCMAKE_PREFIX_PATH="$racine/usr" && cmake --build "$tampon/c"; } \
        >"$tampon/journal" 2>&1 || { cat "$tampon/journal" >&2; echec "the example does not build"; }
    grep -qF "OXcdvCli_DIR:PATH=$racine/usr/lib/" "$tampon/c/CMakeCache.txt" || echec "another OXcdvCli was found"
    local chemin
    chemin=$racine/usr/lib/$(dpkg-architecture -q DEB_HOST_MULTIARCH)
    local statut=0 sortie
    sortie=$(LD_LIBRARY_PATH=$chemin "$tampon/c/session_cdv" "$tampon/absent.toml" "$tampon/exemple/vols.csv" 2>&1) || statut=$?
    [ "$statut" -eq 2 ] && grep -q absent.toml <<<"$sortie" || echec "the example says '$sortie', status $statut"
    PKG_CONFIG_PATH=$chemin/pkgconfig pkg-config --cflags --libs oxcdvcli >/dev/null || echec "oxcdvcli.pc is not usable"
    rm -rf "$tampon"
}

# Inside the root where the packages are to be installed; they are in $1.
dedans() {
    export DEBIAN_FRONTEND=noninteractive
    printf '#!/bin/sh\nexit 101\n' >/usr/sbin/policy-rc.d # nothing is started
    chmod 755 /usr/sbin/policy-rc.d
    if [ "$2" = vierge ]; then
        apt-get install -y -q --no-install-recommends "$1"/{liboxcdvcli3,cdv-outils,cdv-serveur}_*.deb >"$1/journal" 2>&1 ||
            { tail "$1/journal" >&2; echec "apt-get install failed"; }
    else
        dpkg --force-unsafe-io -i "$1"/*.deb >"$1/journal" 2>&1 || { cat "$1/journal" >&2; echec "dpkg -i failed"; }
        construire ""
    fi
    [ "$(stat -c %U:%a /var/lib/cdv)" = cdv-serveur:750 ] || echec "/var/lib/cdv is $(stat -c %U:%a /var/lib/cdv)"
    [ "$(stat -c %U:%G:%a /etc/cdv/serveur.toml)" = root:cdv-serveur:640 ] || echec "others read /etc/cdv/serveur.toml"
    ! getent passwd cdv-serveur | grep -vq 'nologin$' || echec "the server's user can log in"
    utiliser "" setpriv --reuid cdv-serveur --regid cdv-serveur --clear-groups cdv-serveur --base /var/lib/cdv/vols.db
    if command -v systemd-analyze >/dev/null; then
        # Only what it says of our unit: this root has no services of its own.
        local dit
        dit=$(systemd-analyze verify --man=no cdv-serveur.service 2>&1 | grep 'cdv-serveur\.service:' || true)
        [ -z "$dit" ] || echec "the unit: $dit"
    fi

    dpkg -r cdv-serveur >/dev/null
    [ -e /var/lib/cdv/vols.db ] && [ -e /etc/cdv/serveur.toml ] || echec "a removal took the records or the settings"
    # shellcheck disable=SC2046 # names of packages
    dpkg -P $(dpkg-query -W -f '${Package}\n' cdv-serveur cdv-outils liboxcdvcli-dev liboxcdvcli3 2>/dev/null) >/dev/null
    ! getent passwd cdv-serveur >/dev/null || echec "a purge leaves the user"
    local reste
    reste=$(find /etc /usr /var/lib /var/cache -xdev \( -iname '*cdv*' -o -name 'liborix*' \) -newer "$1/debut" 2>/dev/null || true)
    [ -z "$reste" ] || echec "a purge leaves: $reste"
}

if [ "${1:-}" = --dedans ]; then
    dedans "$2" "$3"
    exit
fi

construction=$(cd "$1" && pwd) sources=$(cd "$2" && pwd) mode=${3:-}
dossier=$(mktemp -d)
trap 'rm -rf --one-file-system "$dossier"' EXIT

# ---- What they are
(cd "$construction" && cpack -G DEB -B "$dossier/paquets") >"$dossier/cpack.log" 2>&1 ||
    { tail -n 20 "$dossier/cpack.log" >&2; echec "cpack failed"; }
rm -rf "$dossier/paquets/_CPack_Packages"
paquets=("$dossier"/paquets/*.deb)
noms=$(for paquet in "${paquets[@]}"; do dpkg-deb -f "$paquet" Package; done | tr '\n' ' ')
[ "$noms" = "cdv-outils cdv-serveur liboxcdvcli-dev liboxcdvcli3 " ] || echec "the packages are: $noms"
lintian=$(lintian --fail-on error --tag-display-limit 0 --allow-root "${paquets[@]}" 2>&1) || echec "lintian: $lintian"

racine=$dossier/racine
for paquet in "${paquets[@]}"; do
    dpkg-deb -x "$paquet" "$racine"
done
arch=$(dpkg-architecture -q DEB_HOST_MULTIARCH)
bibliotheques=("$racine/usr/lib/$arch"/lib*.so.3.*)
[ ${#bibliotheques[@]} -eq 4 ] || echec "no four libraries in usr/lib/$arch: configure again with cmake -U CMAKE_INSTALL_LIBDIR"
for objet in "${bibliotheques[@]}" "$racine/usr/bin/cdv" "$racine/usr/bin/cdv-serveur"; do
    dynamique=$(readelf -dW "$objet")
    ! grep -E 'R(UN)?PATH.*\[.*[^]:]' <<<"$dynamique" || echec "${objet##*/} has a path of its own"
    ! grep -q '\.debug_info' <<<"$(readelf -SW "$objet")" || echec "${objet##*/} is not stripped"
    if grep -q '^CMAKE_BUILD_TYPE:.*=Rel' "$construction/CMakeCache.txt"; then
        grep -q BIND_NOW <<<"$dynamique" && grep -q '__stack_chk_fail' <<<"$(nm -D "$objet")" || echec "${objet##*/} is not hardened"
    fi
done
grep -q "^libOXcdvCli 3 liboxcdvcli3" < <(dpkg-deb --ctrl-tarfile "$dossier"/paquets/liboxcdvcli3_*.deb | tar -xO ./shlibs) ||
    echec "the libraries' package has no shlibs"

# ---- What they do
mkdir "$dossier/haut"
if [ "$mode" = --vierge ]; then
    rm -rf "$racine"
    debootstrap --variant=minbase bookworm "$racine" "${OXCDV_MIROIR:-http://deb.debian.org/debian}" >"$dossier/debootstrap.log" ||
        { tail "$dossier/debootstrap.log" >&2; echec "debootstrap failed"; }
    mkdir "$racine/essai"
    cp "$0" "${paquets[@]}" "$racine/essai"
    touch "$racine/essai/debut"
    unshare -m --propagation private bash -euc 'mount --rbind /proc "$1/proc"; mount --rbind /dev "$1/dev"
        exec chroot "$1" bash /essai/paquets.sh --dedans /essai vierge' - "$racine"
    echo "paquets: installed by apt into a fresh Debian, used, purged: nothing is left"
elif unshare -m --propagation private bash -euc '
        { mount -t tmpfs tmpfs "$1" && mkdir "$1/u" "$1/w" "$1/m" &&
            mount -t overlay overlay -o "lowerdir=/,upperdir=$1/u,workdir=$1/w" "$1/m" && [ -x "$1/m/usr/bin/c++" ]; } 2>/dev/null || exit 99
        mount -t tmpfs tmpfs "$1/m/tmp"; mount --rbind /proc "$1/m/proc"; mount --rbind /dev "$1/m/dev"
        mkdir "$1/m/essai"
        cp "$2" "${@:3}" "$1/m/essai"
        touch "$1/m/essai/debut"
        exec chroot "$1/m" bash /essai/"${2##*/}" --dedans /essai couche' - "$dossier/haut" "$sources/tests/paquets.sh" "${paquets[@]}"; then
    echo "paquets: installed by dpkg over a copy of this system, used, purged: nothing is left"
elif [ $? -ne 99 ] && unshare -m true 2>/dev/null; then
    exit 1
else
    construire "$racine"
    export LD_LIBRARY_PATH=$racine/usr/lib/$arch
    utiliser "$racine" "$racine/usr/bin/cdv-serveur" --base "$dossier/vols.db"
    echo "paquets: unpacked and used (mounting a root to install them into is not allowed here)"
fi
