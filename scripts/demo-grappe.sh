#!/usr/bin/env bash
# Three machines, each a network and a set of processes of its own on this one: two with PostgreSQL under Patroni and a
# cdv-serveur, and a third with the third member of etcd and the client. The whole first machine dies while the client
# creates, changes and deletes flights. The client goes on at the second; what it was told of is all there, field by field;
# the first machine comes back, and has it all too.
#
# Usage: scripts/demo-grappe.sh [--traces FOLDER]
#   --traces   copies there, at the end, what every process wrote
#
# Needs root: for the namespaces, and to run PostgreSQL as the user postgres. Installs what is missing, builds, and takes
# about two minutes after that. The configuration is that of exemples/grappe/, which docs/exploitation.md puts on real
# machines. All it makes is in a temporary folder and in its namespaces; both are gone when it ends, however it ends.
# Status: 0 every answer was the expected one; 1 not; 2 wrong command line; 77 skipped, namespaces cannot be made here.
set -euo pipefail
cd "$(dirname "$0")/.."
racine=$PWD
binaires=$racine/build/release
PATH=$PATH:/usr/sbin:/sbin
machines=(cdv-1 cdv-2 cdv-3)
declare -A adresse=([cdv-1]=10.213.8.1 [cdv-2]=10.213.8.2 [cdv-3]=10.213.8.3)

# ---- A machine, from inside: what systemd does on a real one

# Runs it again whenever it ends.
garder() { # NAME COMMAND...
    while true; do
        "${@:2}" >>"$dossier/$moi/$1.log" 2>&1 || true
        sleep 1
    done &
}
comme_postgres() { # ENVIRONMENT_FILE COMMAND...
    # shellcheck disable=SC2046 # one variable a line, none has spaces
    setpriv --reuid=postgres --regid=postgres --init-groups env -C / $(grep -v '^#' "$1") "${@:2}"
}
# The first process of the machine: when it dies, all the others do, at once.
vivre() {
    mount -t tmpfs tmpfs /run
    install -d -o postgres -g postgres /run/postgresql
    garder etcd comme_postgres "$dossier/$moi/etcd.env" etcd --data-dir "$dossier/$moi/donnees/etcd"
    if [ "$moi" != cdv-3 ]; then
        garder patroni comme_postgres "$dossier/$moi/patroni.env" patroni "$dossier/$moi/patroni.yml"
        PGPASSFILE=$dossier/pgpass garder serveur "$binaires/serveur/cdv-serveur" --nom "$moi" --machine "$moi" \
            --hote "${adresse[$moi]}" --base "$(grep -o 'postgresql://[^ ]*' "$dossier/$moi/cdv-serveur.conf")"
    fi
    wait
}
if [ "${1:-}" = --machine ]; then
    moi=$2 dossier=$3
    vivre
    exit
fi

# ---- Command line, what must be there

traces=
while [ $# -gt 0 ]; do
    case $1 in
        -h | --help) sed -n '2,/^set/{/^set/d;s/^# \?//;p}' "$0" && exit 0 ;;
        --traces) traces=$(realpath -m "${2:?--traces wants a folder}") && shift 2 ;;
        *) echo "demo-grappe.sh: unknown option $1 (see --help)" >&2 && exit 2 ;;
    esac
done
sauter() {
    echo "demo-grappe.sh: skipped: $*" >&2
    exit 77
}
[ "$(id -u)" -eq 0 ] || sauter "it makes network namespaces and runs PostgreSQL as another user: start it as root"
debut=$SECONDS
scripts/installer-dependances.sh --grappe

espace=cdv-grappe-$$ # and "-NAME": the namespaces
dossier=$(mktemp -d)
declare -A noyau # MACHINE -> the process that holds it
nettoyer() {
    local statut=$? machine
    trap - EXIT
    [ -z "${client:-}" ] || { kill -KILL "$client" && wait "$client"; } 2>/dev/null || true
    for machine in "${!noyau[@]}"; do tuer "$machine"; done
    for machine in pont "${machines[@]}"; do ip netns del "$espace-$machine" 2>/dev/null || true; done
    [ -z "$traces" ] || { mkdir -p "$traces" && (cd "$dossier" && cp --parents ./*/*.log "$traces") || true; }
    rm -rf "$dossier"
    exit "$statut"
}
trap nettoyer EXIT
trap 'exit 1' INT TERM HUP

# ---- The machines, from outside

echec() {
    echo "demo-grappe.sh: $*" >&2
    tail -n 8 "$dossier"/*/*.log >&2 || true
    exit 1
}
dire() { echo "[$((SECONDS - debut)) s] $*"; }
dans() { ip netns exec "$espace-$1" "${@:2}"; } # MACHINE COMMAND...
reseau() {
    local machine
    ip netns add "$espace-pont" && ip -n "$espace-pont" link add pont type bridge && ip -n "$espace-pont" link set pont up &&
        for machine in "${machines[@]}"; do
            ip netns add "$espace-$machine" &&
                ip -n "$espace-$machine" link add eth type veth peer name "$machine" netns "$espace-pont" &&
                ip -n "$espace-pont" link set "$machine" master pont &&
                ip -n "$espace-$machine" addr add "${adresse[$machine]}/24" dev eth &&
                ip -n "$espace-$machine" link set eth up && ip -n "$espace-$machine" link set lo up || return 1
        done && dans cdv-1 unshare --pid --fork --kill-child --mount-proc mount -t tmpfs tmpfs /run
}
demarrer() { # MACHINE
    ip -n "$espace-pont" link set "$1" up
    ip netns exec "$espace-$1" unshare --pid --fork --kill-child --mount-proc \
        "$racine/scripts/demo-grappe.sh" --machine "$1" "$dossier" 2>/dev/null &
    noyau[$1]=$!
    disown # the shell need not report its death: that is part of the show
}
# Its cable first: nobody hears anything of it any more, not even that it ends. Comes back when nothing of it runs.
tuer() { # MACHINE
    ip -n "$espace-pont" link set "$1" down || true
    pkill -KILL -P "${noyau[$1]}" || kill -KILL "${noyau[$1]}" || true
    tail --pid="${noyau[$1]}" -f /dev/null
    unset "noyau[$1]"
}
attendre() { # SECONDS WHAT COMMAND...
    local depart=$SECONDS
    until "${@:3}" >/dev/null 2>&1; do
        [ $((SECONDS - depart)) -lt "$1" ] || echec "after $1 s it is still not so: $2"
        sleep 0.5
    done
    dire "$2 ($((SECONDS - depart)) s)"
}
# What Patroni says there: "primary", it takes the writes; "synchronous", it has every commit.
a_le_role() { # MACHINE ROLE
    dans cdv-3 timeout 3 bash -c 'exec 3<>"/dev/tcp/$0/8008" && printf "GET /$1 HTTP/1.0\r\n\r\n" >&3 && dit=$(cat <&3) &&
        [[ $dit == *" 200 "* ]]' "${adresse[$1]}" "$2"
}
deux_roles() {
    premiere=cdv-1 seconde=cdv-2
    a_le_role cdv-1 primary || { premiere=cdv-2 seconde=cdv-1 && a_le_role cdv-2 primary; }
    a_le_role "$seconde" synchronous
}
cdv() { dans cdv-3 "$binaires/outils/cdv" --config "$dossier/session.toml" --url "${adresse[$1]}:2809" "${@:2}"; } # MACHINE ARGUMENT...

# What the client says, as it says it, until it says that.
lire_client() { # SECONDS EXPRESSION
    local ligne fin=$((SECONDS + $1))
    while read -r -t $((fin > SECONDS ? fin - SECONDS : 1)) ligne <&"$dit"; do
        [[ ! $ligne =~ $2 ]] && [[ $ligne =~ ^[0-9]+\ answers$ ]] || dire "client: $ligne"
        [[ ! $ligne =~ $2 ]] || return 0
    done
    echec "the client has not said $2 within $1 s"
}

reseau >/dev/null 2>&1 || sauter "network namespaces, a bridge or mounts cannot be made here (a container without the right?)"
echo "Building (release)..."
scripts/construire.sh release cdv-serveur cdv durabilite
dire "Packages and programs are there."

secret=$(od -An -N16 -tx1 /dev/urandom | tr -d ' \n')
chmod 711 "$dossier"
echo "*:*:cdv:cdv:$secret" >"$dossier/pgpass"
chmod 600 "$dossier/pgpass"
for machine in "${machines[@]}"; do
    install -d -m 711 "$dossier/$machine"
    install -d -o postgres -g postgres -m 700 "$dossier/$machine/donnees"
    for fichier in etcd.env patroni.yml patroni.env cdv-serveur.conf; do
        sed -e "s/@NOM@/$machine/; s/@ADRESSE@/${adresse[$machine]}/; s|@DONNEES@|$dossier/$machine/donnees|; s/@SECRET@/$secret/" \
            -e "s/@ADRESSE1@/${adresse[cdv-1]}/; s/@ADRESSE2@/${adresse[cdv-2]}/; s/@ADRESSE3@/${adresse[cdv-3]}/" \
            "exemples/grappe/$fichier.in" >"$dossier/$machine/$fichier"
    done
done
# ---- What is shown

for machine in "${machines[@]}"; do demarrer "$machine"; done
attendre 90 "a PostgreSQL takes writes, another one has every commit of it" deux_roles
dire "The first machine is $premiere, the second $seconde."
dans cdv-3 env PGPASSWORD="$secret" psql -q -h "${adresse[$premiere]}" -U postgres -v ON_ERROR_STOP=1 <<SQL
CREATE ROLE cdv LOGIN PASSWORD '$secret';
CREATE DATABASE cdv OWNER cdv;
SQL
cat >"$dossier/session.toml" <<TOML
[routage]
cdv = ["corbaloc:iiop:${adresse[$premiere]}:2809/Noyau", "corbaloc:iiop:${adresse[$seconde]}:2809/Noyau"]

[orb]
points_acces = ["${adresse[cdv-3]}:0"]

[surveillance]
periode_ms = 500
delai_ms = 500

[trace]
niveau = 0
TOML

attendre 30 "the server of $premiere answers" cdv "$premiere" etat
attendre 30 "the server of $seconde answers" cdv "$seconde" etat

mkfifo "$dossier/client"
ip netns exec "$espace-cdv-3" "$binaires/tests/durabilite" "$dossier/session.toml" >"$dossier/client" 2>&1 &
client=$!
exec {dit}<"$dossier/client"
lire_client 300 "^2000 answers"
dire "$premiere dies: cable and processes, all at once."
tuer "$premiere"
lire_client 120 "^active .* on $seconde"
lire_client 120 "^answers again"
attendre 60 "the PostgreSQL of $seconde takes the writes" a_le_role "$seconde" primary
lire_client 300 "^4000 answers"
demarrer "$premiere"
attendre 90 "$premiere is back, its PostgreSQL has every commit again" a_le_role "$premiere" synchronous
attendre 30 "the server of $premiere answers" cdv "$premiere" etat
kill -TERM "$client"
lire_client 120 "^(Nothing|FAULTS)"
wait "$client" || echec "what the client was told is not what is there"
client=

for machine in "$premiere" "$seconde"; do cdv "$machine" exporter - | sort | sha256sum >"$dossier/$machine/somme"; done
cmp "$dossier/$premiere/somme" "$dossier/$seconde/somme" || echec "the two servers do not serve the same records"
dire "Both servers serve the same records. Every answer was the expected one."
