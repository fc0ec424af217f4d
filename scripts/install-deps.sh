#!/usr/bin/env bash
# Installs every Debian package that the build, the tests, the tools and the
# benchmarks need. Safe to run again; needs root (or sudo) on Debian 12.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config python3
  libcpprest-dev libboost-dev libboost-system-dev libssl-dev libsqlite3-dev libxxhash-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev nlohmann-json3-dev
  libcsv-dev curl wrk tinyproxy-bin clang libclang-rt-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
