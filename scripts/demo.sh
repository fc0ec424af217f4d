#!/usr/bin/env bash
# The main job: sets up this machine, builds the tools, starts the local
# platform and runs a short session against it with xchng, then stops it.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"

build_dir="${LITHMAR_BUILD_DIR:-$root/out/release}"
cmake -S "$root" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build_dir" --target lithmar-local xchng

local_bin=$(find "$build_dir/tools" -type f -name lithmar-local -perm -u+x | head -n 1)
xchng_bin=$(find "$build_dir/tools" -type f -name xchng -perm -u+x | head -n 1)

log=$(mktemp)
"$local_bin" --port 0 >"$log" 2>&1 &
platform=$!
trap 'kill $platform 2>/dev/null; wait $platform 2>/dev/null; rm -f "$log"' EXIT

for _ in $(seq 1 100); do
  grep -q "listening on" "$log" && break
  kill -0 $platform 2>/dev/null || { cat "$log"; exit 1; }
  sleep 0.1
done
url=$(grep -o 'data exchange: [^)]*' "$log" | cut -d' ' -f3)
echo "local platform: $url"

xchng() {
  echo
  echo "\$ xchng $*"
  "$xchng_bin" --url "$url" "$@"
}

xchng sites create "Kestrel Ridge"
xchng sites list
demo_site=$("$xchng_bin" --url "$url" --json sites list | grep -o '"id":"[^"]*","name":"Demo site"' | cut -d'"' -f4)
xchng sites show "$demo_site"
xchng crs
model=$("$xchng_bin" --url "$url" --json sites show "$demo_site" |
  grep -o '"type":"GeologicModel","id":"[^"]*"' | head -n 1 | cut -d'"' -f8)
xchng download model "$model" --output "$root/out/demo-download"
