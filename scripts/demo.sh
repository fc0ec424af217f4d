#!/usr/bin/env bash
# The main job: sets up this machine, builds the tools, starts the local
# platform and runs a round trip against it with xchng: a new site, the
# sample boreholes, terrain and geologic model uploaded and their imports'
# results awaited, the site's tree, the model downloaded. Then stops it.
#
#   scripts/demo.sh             local mode: no sign-in, results polled from 127.0.0.1:8080
#   scripts/demo.sh --platform  platform mode: HTTPS, sign-in, results pushed through the socket
set -euo pipefail

mode=${1:-local}
case "$mode" in
  local) platform_options=() ;;
  --platform) platform_options=(--platform --user "demo:demo-password" --no-poll) ;;
  *) echo "usage: $0 [--platform]" >&2; exit 2 ;;
esac

root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"

build_dir="${LITHMAR_BUILD_DIR:-$root/out/release}"
cmake -S "$root" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build_dir" --target lithmar-local xchng

local_bin=$(find "$build_dir/tools" -type f -name lithmar-local -perm -u+x | head -n 1)
xchng_bin=$(find "$build_dir/tools" -type f -name xchng -perm -u+x | head -n 1)

log=$(mktemp)
scratch_config=""
"$local_bin" --port 0 "${platform_options[@]}" >"$log" 2>&1 &
platform=$!
trap 'kill $platform 2>/dev/null; wait $platform 2>/dev/null; rm -f "$log"; [ -z "$scratch_config" ] || rm -rf "$scratch_config"' EXIT

for _ in $(seq 1 100); do
  grep -q "listening on" "$log" && break
  kill -0 $platform 2>/dev/null || { cat "$log"; exit 1; }
  sleep 0.1
done
url=$(grep -o 'data exchange: [^)]*' "$log" | cut -d' ' -f3)
echo "local platform: $url"

connection=(--url "$url")
if [ "$mode" = --platform ]; then
  connection+=(--ca-file "$(grep -o '/[^ ]*/ca.pem' "$log" | head -n 1)")
  # The session cookie is kept under the config directory: a scratch one.
  scratch_config=$(mktemp -d)
  export XDG_CONFIG_HOME="$scratch_config"
fi

xchng() {
  echo
  echo "\$ xchng $*"
  "$xchng_bin" "${connection[@]}" "$@"
}

if [ "$mode" = --platform ]; then
  xchng signin --user demo --password demo-password
fi

data="$root/examples/data"
site=$("$xchng_bin" "${connection[@]}" --json sites create "Kestrel Ridge" | grep -o '"id":"[^"]*"' | head -n 1 | cut -d'"' -f4)
echo
echo "created site Kestrel Ridge [$site]"
# Each upload checks its files in, asks for the import and waits for the
# platform's job to send its result (polled from 127.0.0.1:8080 in local
# mode, pushed through the socket in platform mode).
xchng upload boreholes "$data/collars.csv" "$data/surveys.csv" --site "$site" --timeout 120
xchng upload terrain "$data/terrain.asc" --site "$site" --name "Valley terrain" --timeout 120
xchng upload geo "$data/geologic-model.json" --site "$site" --name "Valley fill" --timeout 120
xchng sites show "$site"
model=$("$xchng_bin" "${connection[@]}" --json sites show "$site" |
  grep -o '"type":"GeologicModel","id":"[^"]*"' | head -n 1 | cut -d'"' -f8)
xchng download model "$model" --output "$root/out/demo-download"
