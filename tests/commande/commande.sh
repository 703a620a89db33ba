#!/usr/bin/env bash
# Uses the command "cdv" as a person would, against a real server: every subcommand, wrong usage, pipes that break,
# Ctrl-C, terminals, lost connections.
# Usage: tests/commande/commande.sh CDV CDV_SERVEUR SOURCE_FOLDER
set -uo pipefail
set -m # a group for each job: one can be sent Ctrl-C
commande=$1
serveur=$2
sources=$3

export LC_ALL=C.UTF-8
umask 022
unset COLUMNS CDV_CONFIG
dossier=$(mktemp -d)
pid_serveur=
nettoyer() {
    [ -z "$pid_serveur" ] || kill -KILL "$pid_serveur" 2>/dev/null
    wait 2>/dev/null
    rm -rf "$dossier"
}
trap nettoyer EXIT
cd "$dossier" || exit 1

echec() {
    echo "commande: ligne ${BASH_LINENO[-2]}: $*" >&2
    echo "--- sortie" >&2 && head -n 20 sortie >&2
    echo "--- erreurs" >&2 && head -n 20 erreurs >&2
    [ ! -e serveur.log ] || { echo "--- serveur" >&2 && tail -n 5 serveur.log >&2; }
    exit 1
}
# essai STATUS ARGUMENT...: runs cdv; what it wrote is in the files sortie and erreurs.
essai() {
    local attendu=$1 statut=0
    shift
    timeout 60 "$commande" "$@" >sortie 2>erreurs || statut=$?
    [ "$statut" -eq "$attendu" ] || echec "cdv $*: statut $statut au lieu de $attendu"
}
# contient FILE TEXT...: the file contains every text.
contient() {
    local fichier=$1 texte
    shift
    for texte; do grep -qF -- "$texte" "$fichier" || echec "« $texte » n'est pas dans $fichier"; done
}
droits() { [ "$(stat -c %a "$2")" = "$1" ] || echec "$2 a les droits $(stat -c %a "$2") au lieu de $1"; }
lignes() { [ "$(wc -l <"$1")" -eq "$2" ] || echec "$(wc -l <"$1") lignes dans $1 au lieu de $2"; }
vide() { [ ! -s "$1" ] || echec "$1 n'est pas vide"; }
# The command for "script", which runs it in a terminal of its own: terminal COLUMNS ARGUMENT...
terminal() {
    local colonnes=$1
    shift
    script -qec "stty cols $colonnes rows 24; $(printf '%q ' "$commande" "$@")" /dev/null </dev/null |
        tr -d '\r' >sortie
}
attendre() { # until the command given succeeds: an event of another process
    local i
    for ((i = 0; i < 600; i++)); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.05
    done
    echec "rien n'est venu de : $*"
}
demarrer() { # on a free port, or the given one
    rm -f serveur.log # of the one before
    [ -p pret ] || mkfifo pret
    "$serveur" --base vols.db --port "${1:-0}" --pret-fd 7 7>pret >serveur.log 2>&1 &
    pid_serveur=$!
    url=$(timeout 60 cat pret) # to its end: the server closes it
    port=$(grep -oE ':[0-9]+/' <<<"$url" | tr -d ':/')
}
arreter() { # with the signal given
    kill "-$1" "$pid_serveur"
    wait "$pid_serveur" 2>/dev/null
    pid_serveur=
}
# finit STATUS WHAT: the command in the background ends so.
finit() {
    local statut=0
    wait "$pid" || statut=$?
    [ "$statut" -eq "$1" ] || echec "statut $statut $2"
}
# The steps of that scene of commande.txt.
jouer() {
    local ligne pas=0
    while IFS= read -r ligne <&8; do
        case $ligne in
            "  sortie: "*) contient sortie "${ligne#*: }" ;;
            "  erreurs: "*) contient erreurs "${ligne#*: }" ;;
            "  vide: "*) vide "${ligne#*: }" ;;
            "  lignes: "*) read -r _ fichier nombre <<<"$ligne" && lignes "$fichier" "$nombre" ;;
            "  droits: "*) read -r _ fichier nombre <<<"$ligne" && droits "$nombre" "$fichier" ;;
            "  comme: "*) diff "${ligne#*: }" sortie >&2 || echec "la sortie n'est pas ${ligne#*: }" ;;
            [0-9]*) eval "essai $ligne" && pas=$((pas + 1)) ;;
            ?*) [[ $ligne == "= "* ]] || echec "pas compris : $ligne" ;;
        esac
    done 8< <(sed -n "/^= $1\$/,/^= /{s|\$url|$url|;s|\$hostile|$hostile|;p}" "$sources/tests/commande/commande.txt")
    [ "$pas" -gt 0 ] || echec "il n'y a pas de scène « $1 »"
}
personne=127.0.0.1:1
url=
hostile=$'=1\e[2J\u9b'

printf '[orb]\npoints_acces = ["192.0.2.1:1"]\n' >ailleurs.toml # an address that no machine has
jouer usage
[ ! -e x.csv ] && [ ! -e x.csv.partiel ] || echec "un fichier exporté sans serveur"

# A port that was chosen by number can be opened again while its last connections fade, one that was given cannot.
demarrer
arreter TERM
demarrer "$port"
vol='"identifiant":"X1","indicatif":"AFR1","nature":"","parking":"Été","code_stat_depart":{"code":"OUV"},"changements":[{"rubrique":"parking","ancienne_valeur":"B12","nouvelle_valeur":"C3"}],"points":["LFBO","AGEN"]'
echo "{$vol}" >x1.json
sed 's/"X1"/"X2"/; s/"parking":"Été",//' x1.json >x2.json
printf '[processus]\nnom = "tour-nord"\n[routage]\ncdv = ["%s"]\n' "$url" >cdv.toml
jouer "un vol"
attendre grep -qE 'Client [0-9]+ activé : cdv\[[0-9]+\] sur ' serveur.log # under which names the server knows its clients
CDV_CONFIG=cdv.toml essai 0 consulter X1
jouer "les serveurs"
attendre grep -qE 'Client [0-9]+ activé : tour-nord sur ' serveur.log
grep -qE '"numero_client": [1-9]' sortie || echec "le serveur n'a pas donné de numéro"
jouer "importer et exporter"
lignes sortie "$(grep -c '"indicatif":"AFR' vols.json)"
chmod 640 vols.csv

# Rejected lines are named, kept, and can be imported once they are right.
printf 'identifiant,parking\nR1,B1\nR2\nX1,B3\nR3,\xE9\nR4,B4\n' >lot.csv
jouer "des rejets"
# In the order in which they were known: the server's answers come later than what is read.
[ "$(head -n 1 rejets.csv)" = identifiant,parking ] || echec "les rejets n'ont pas l'en-tête"
printf 'R2\nR3,\xE9\nX1,B3\n' | cmp -s - <(tail -n +2 rejets.csv | LC_ALL=C sort) || echec "ce ne sont pas les rejets"
LC_ALL=C sed -i 's/^R2$/R2,B2/; s/^X1/R5/; s/^R3.*/R3,é/' rejets.csv
jouer "des rejets repris"

# Ctrl-C: what was read is done, and where to go on is said.
mkfifo tube
"$commande" importer - --url "$url" <tube >sortie 2>erreurs &
pid=$!
exec 9>tube
printf 'identifiant\nC1\nC2\nC3\nC4-incompl' >&9
attendre "$commande" consulter C3 --url "$url"
kill -INT -- "-$pid"
finit 130 "après Ctrl-C"
exec 9>&-
contient erreurs "3 vols créés" interrompu "--depuis 5"
essai 1 consulter C4-incompl --url "$url"

# An export that is interrupted leaves the old file alone, and goes on where it stopped.
cp vols.csv ancien.csv
essai 0 exporter vols.csv --url "$url"
! cmp -s vols.csv ancien.csv || echec "le fichier n'a pas été remplacé"
droits 640 vols.csv
head -n 101 vols.csv >suite.csv.partiel
essai 0 exporter suite.csv --depuis 101 --url "$url"
cmp -s vols.csv suite.csv || echec "l'exportation reprise n'est pas l'exportation"
[ ! -e suite.csv.partiel ] || echec "le fichier provisoire est resté"
essai 2 exporter suite.csv --depuis 101 --url "$url"

# ---- Pipes, and terminals
"$commande" lister --url "$url" 2>erreurs | head -n 2 >sortie
[ "${PIPESTATUS[0]}" -eq 0 ] || echec "statut ${PIPESTATUS[0]} quand le lecteur part"
vide erreurs
"$commande" exporter - --url "$url" 2>erreurs | head -n 1 >sortie
contient sortie "identifiant,"
"$commande" lister --url "$url" >/dev/full 2>erreurs
[ $? -eq 2 ] || echec "un disque plein n'a pas été dit"
contient erreurs "écriture impossible"
echo 20 >vingt
printf 'identifiant,indicatif\nX1,AFR1\n' >choisis
jouer "lister"
printf 'identifiant,piste\nX1,33\nX9,33\n' >pistes.csv
jouer "en nombre"
COLUMNS=40 essai 0 lister --url "$url"
[ "$(wc -L <sortie)" -le 40 ] || echec "une ligne dépasse 40 colonnes"
terminal 40 lister --limite 3 --url "$url"
contient sortie "Vol " "Pkg" "3 vols"
[ "$(wc -L <sortie)" -le 40 ] || echec "une ligne dépasse 40 colonnes"
terminal 100 lister 'indicatif=AFR*' --url "$url"
contient sortie Identifiant
terminal 40 importer vols.csv --existants modifier --en-cours 1 --url "$url"
contient sortie "modifiés"
terminal 60 surveiller --nombre 2 --periode 10 --url "$url"
contient sortie ping "2 réponses"

# No record, file or argument acts on a terminal; a file holds what the record does.
essai 0 creer T1 "parking=$hostile" --point "$hostile" --url "$url"
for format in csv json dump tableau; do
    terminal 200 consulter T1 --format $format --url "$url"
    ! grep -q $'[\e\u9b]' sortie || echec "$format laisse passer une séquence"
    contient sortie "=1" "[2J"
done
printf 'identifiant,%s\n' "$hostile" >lot.csv
jouer "un vol hostile"
essai 2 "$hostile"
! grep -q $'[\e\u9b]' erreurs || echec "un argument est redit tel quel"

# ---- Lost during the work
exec 9<>tube
"$commande" importer - --patience 0 --url "$url" <tube >sortie 2>erreurs &
pid=$!
printf 'identifiant\nP1\n' >&9
attendre "$commande" consulter P1 --url "$url"
arreter TERM # orderly: clients are told
printf 'P2\nP3\n' >&9
finit 4 "après la perte du serveur"
exec 9>&-
contient erreurs "1 vol créé" "--depuis 3"

demarrer "$port"
essai 0 importer - --depuis 3 --url "$url" <<<$'identifiant\nP1\nP2\nP3'
contient erreurs "2 vols créés"
mkfifo suite
"$commande" importer - --url "$url" <suite >sortie 2>erreurs & # goes on by itself
pid=$!
exec 9>suite
printf 'identifiant\nP4\n' >&9
attendre "$commande" consulter P4 --url "$url"
arreter KILL
printf 'P5\nP6\n' >&9
exec 9>&-
demarrer "$port"
finit 0 "alors que le serveur est revenu"
contient erreurs "3 vols créés"
"$commande" surveiller --periode 50 --url "$url" >sortie 2>erreurs &
pid=$!
attendre grep -q ping sortie
arreter TERM
attendre grep -q "connexion perdue" sortie
demarrer "$port"
attendre bash -c '[ "$(grep -c "active  cdv-serveur" sortie)" -eq 2 ]'
kill -INT -- "-$pid"
finit 0 "alors que la connexion est revenue"

# A listing that is cut off goes on by itself, or says where to go on: no record is missing, none comes twice.
seq -f 'E%05g' 20000 | sed 1iidentifiant >lot.csv
essai 0 importer lot.csv --url "$url"
printf '[executeur]\ncapacite = 10\n[routage]\ncdv = ["%s"]\n' "$url" >cdv.toml # little is under way
essai 0 exporter complet.csv 'identifiant=E*' --url "$url"
# couper PATIENCE ARGUMENT...: what the command writes into the pipe, its server killed after the first line, is in suite.csv.
couper() {
    "$commande" "${@:2}" 'identifiant=E*' --format csv --patience "$1" --config cdv.toml >tube 2>erreurs &
    pid=$!
    exec 9<tube
    read -r ligne <&9
    arreter KILL
    [ "$1" -eq 0 ] || demarrer "$port"
    { echo "$ligne"; cat <&9; } >suite.csv
    exec 9<&-
}
for arguments in lister "exporter -"; do
    # shellcheck disable=SC2086 # several of them
    couper 60 $arguments
    finit 0 "alors que le serveur est revenu"
    contient erreurs "1 connexion perdue en route"
    cmp -s complet.csv suite.csv || echec "ce qui a été repris n'est pas la liste"
done
couper 0 exporter -
finit 4 "après une exportation coupée"
contient erreurs "exportation incomplète" "--depuis $(wc -l <suite.csv)"
demarrer "$port"
essai 0 exporter - 'identifiant=E*' --depuis "$(wc -l <suite.csv)" --url "$url"
cat suite.csv sortie | cmp -s - complet.csv || echec "l'exportation reprise n'est pas l'exportation"
kill -STOP "$pid_serveur" # it is there, and does not answer
essai 3 consulter X1 --delai 300 --url "$url"
kill -CONT "$pid_serveur"
arreter TERM
echo "commande: tout s'est passé comme prévu"
