#!/usr/bin/env bash
# Fetches the version of uPlot that the live page draws with, and puts it where the tool compiles it
# in, as it was published: the minified script, its style sheet and its licence.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."

version=1.6.32
target=tools/zvevent/web/vendor
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
npm install --prefix "$work" --no-save --no-package-lock --no-audit --no-fund --ignore-scripts \
    "uplot@$version" >/dev/null
mkdir -p "$target"
install -m 644 "$work/node_modules/uplot/dist/uPlot.iife.min.js" "$target/uPlot.js"
install -m 644 "$work/node_modules/uplot/dist/uPlot.min.css" "$target/uPlot.css"
install -m 644 "$work/node_modules/uplot/LICENSE" "$target/LICENSE"
