#!/usr/bin/env bash
# Installs the Debian packages that the project needs and that are not there yet.
# Usage: scripts/installer-dependances.sh [--tests] [--analyse] [--couverture] [--bench] [--paquets] [--doc] [--grappe]
#   --tests   also what the tests need beyond the build
#   --analyse, --couverture   also what scripts/analyse.sh and scripts/couverture.sh need
#   --paquets, --doc   also what scripts/paquets.sh and scripts/doc.sh need
#   --grappe  also what scripts/demo-grappe.sh needs
#   --bench   also what the benchmarks need; a peer to compare with that cannot be had is left out
set -euo pipefail

paquets=(
    g++ cmake ninja-build pkg-config                      # tools
    omniidl libomniorb4-dev libssl-dev libace-dev         # ORB, TLS, timers
    libspdlog-dev libtomlplusplus-dev                     # traces, configuration
    libsqlite3-dev libpq-dev                              # stores
    libcli11-dev nlohmann-json3-dev libsystemd-dev        # programs
    libmicrohttpd-dev prometheus-cpp-dev                  # figures of the server
    libgtest-dev libgmock-dev                             # tests are part of the build
)
facultatifs=()
for option in "$@"; do
    case $option in
        --tests) paquets+=(postgresql-15 binutils abigail-tools openssl iproute2 python3 dpkg-dev lintian doxygen prometheus clang libclang-rt-dev) ;;
        --analyse) paquets+=(clang-format-14 clang-tidy-14) ;;
        --couverture) paquets+=(gcovr) ;;
        --paquets) paquets+=(dpkg-dev lintian debootstrap) ;;
        --doc) paquets+=(doxygen) ;;
        --grappe) paquets+=(postgresql-15 patroni etcd-server iproute2 procps util-linux) ;;
        --bench)
            paquets+=(libbenchmark-dev)
            facultatifs+=(libzeroc-ice-dev zeroc-ice-compilers libgrpc++-dev libprotobuf-dev protobuf-compiler-grpc gnuplot-nox)
            ;;
        *)
            echo "installer-dependances.sh: unknown option $option (see its first lines)" >&2
            exit 2
            ;;
    esac
done

absents() {
    for paquet in "$@"; do
        dpkg-query -W -f='${Status}' "$paquet" 2>/dev/null | grep -q 'install ok installed' || echo "$paquet"
    done
}
mapfile -t manquants < <(absents "${paquets[@]}")
mapfile -t souhaites < <(absents "${facultatifs[@]}")
[ $((${#manquants[@]} + ${#souhaites[@]})) -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
    commande=()
elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
    commande=(sudo)
else
    echo "These Debian packages are missing, and installing them needs root or sudo:" >&2
    echo "    apt-get install ${manquants[*]} ${souhaites[*]}" >&2
    [ ${#manquants[@]} -eq 0 ] && exit 0
    exit 3
fi

echo "Installing: ${manquants[*]} ${souhaites[*]}"
export DEBIAN_FRONTEND=noninteractive
journal=$(mktemp)
trap 'rm -f "$journal"' EXIT
installer() { "${commande[@]}" apt-get install -y -q --no-install-recommends "$@"; }
if ! { "${commande[@]}" apt-get update -q && installer "${manquants[@]}"; } >"$journal" 2>&1; then
    tail -n 20 "$journal" >&2
    echo "The installation of ${manquants[*]} failed (the end of its output is above)." >&2
    exit 3
fi
for paquet in "${souhaites[@]}"; do
    installer "$paquet" >"$journal" 2>&1 || echo "Left out, cannot be installed: $paquet" >&2
done
