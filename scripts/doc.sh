#!/usr/bin/env bash
# The public headers as HTML: build/doc/html/index.html. A warning of Doxygen is a failure.
# Usage: scripts/doc.sh [FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."
dossier=${1:-build/doc}

command -v doxygen >/dev/null || scripts/installer-dependances.sh --doc
mkdir -p "$dossier"
{ cat docs/Doxyfile; echo "OUTPUT_DIRECTORY = \"$dossier\""; } | doxygen -
echo "Documentation: $dossier/html/index.html"
