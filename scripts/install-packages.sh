#!/usr/bin/env bash
# Installs what the build and the tests need, by name, from the distribution (Debian 12). Packages that are there are
# left alone; when nothing is missing, nothing is asked of the network and no rights are needed.
# usage: scripts/install-packages.sh [further packages...]
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config
    libboost1.81-dev libboost-json1.81-dev
    libcurl4-openssl-dev libssl-dev
    libpugixml-dev
    libsqlite3-dev
    libpq-dev postgresql-15
    libspdlog-dev
    libcli11-dev
    libutf8proc-dev
    libgtest-dev libgmock-dev
    python3 openssl
    "$@"
)

say() { printf '%s\n' "$*" >&2; }

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    # Another distribution: its user installs the libraries, and the build says which one it does not find.
    for tool in c++ cmake ninja pkg-config python3; do
        if ! command -v "$tool" >/dev/null; then
            say "There is no apt-get here and no $tool. Install $tool and the libraries named in docs/architecture.md, then try again."
            exit 1
        fi
    done
    exit 0
fi

missing=()
for package in "${packages[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        say "These packages are missing: ${missing[*]}. Run this as root, or install them and try again."
        exit 1
    fi
    as_root=(sudo)
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT
apt() { "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q "$@" </dev/null >>"$log" 2>&1; }

say "Installing ${missing[*]} ..."
if ! { apt update && apt install -y --no-install-recommends "${missing[@]}"; }; then
    cat "$log" >&2
    say "apt-get could not install the packages; its words are above."
    exit 1
fi
