#!/usr/bin/env bash
# Installs what is missing, then configures and builds one preset quietly; when that fails the whole output is shown.
# usage: scripts/build.sh PRESET [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."

preset=$1
shift
targets=()
[ $# -eq 0 ] || targets=(--target "$@")

scripts/install-packages.sh
mkdir -p "build/$preset"
log=build/$preset/build.log
[ -e "build/$preset/build.ninja" ] || echo "Building (build/$preset); the first time takes a few minutes ..." >&2
if ! { cmake --preset "$preset" && cmake --build --preset "$preset" -j "$(nproc)" "${targets[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "The build failed; the output above is also in $log." >&2
    exit 1
fi
