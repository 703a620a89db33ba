#!/usr/bin/env bash
# The layout of every source, by clang-format, and the checks of .clang-tidy, by clang-tidy, on those of the product. A
# finding is a failure; one that is right as it is gets a NOLINT with the check's name and the reason.
# Usage: scripts/analyse.sh [format|tidy]...     default: both
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -gt 0 ] || set -- format tidy

scripts/installer-dependances.sh --analyse
produit=(src plateforme orb serveur outils exemples)
for analyse in "$@"; do
    case $analyse in
        format)
            find "${produit[@]}" tests bench fuzz \( -name '*.cpp' -o -name '*.h' \) -print0 |
                xargs -0 clang-format-14 --dry-run -Werror
            ;;
        tidy)
            # Needs the commands of the compiler, and the headers that the build makes of the IDL.
            scripts/construire.sh release
            journal=$(mktemp)
            trap 'rm -f "$journal"' EXIT
            if ! find "${produit[@]}" -name '*.cpp' -print0 |
                xargs -0 -n 1 -P "$(nproc)" clang-tidy-14 -p build/release --quiet >"$journal" 2>&1; then
                # Headers are looked at once for each source that includes them.
                grep -E '(warning|error):' "$journal" | sort -u >&2
                echo "analyse.sh: clang-tidy has findings (above)" >&2
                exit 1
            fi
            ;;
        *)
            echo "analyse.sh: unknown analysis $analyse (format, tidy)" >&2
            exit 2
            ;;
    esac
done
