#!/usr/bin/env bash
# Installs Doxygen if it is missing and makes the reference pages from the public headers: build/docs/html.
# Status 1 when a public name has no comment.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh docs
mkdir -p build/docs
doxygen docs/Doxyfile
echo "build/docs/html/index.html"
