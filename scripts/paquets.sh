#!/usr/bin/env bash
# Installs what is missing, builds, makes the Debian packages: build/paquets/*.deb.
# Usage: scripts/paquets.sh [--essai]
#   --essai   also installs them into a fresh Debian (debootstrap, as root), uses them there, and removes them
set -euo pipefail
cd "$(dirname "$0")/.."
case ${1:-} in
    "" | --essai) ;;
    *)
        echo "paquets.sh: unknown option $1 (--essai)" >&2
        exit 2
        ;;
esac

scripts/installer-dependances.sh --paquets
echo "Building (release)..."
scripts/construire.sh release OXcdvCli OXcdvSession cdv cdv-serveur
journal=$(mktemp)
trap 'rm -f "$journal"' EXIT
(cd build/release && cpack -G DEB -B "$PWD/../paquets") >"$journal" 2>&1 || { tail -n 20 "$journal" >&2; exit 1; }
rm -rf build/paquets/_CPack_Packages
ls -l build/paquets/*.deb
[ -z "${1:-}" ] || tests/paquets.sh build/release . --vierge
