#!/usr/bin/env bash
# Exports the demo as .glb and .gltf, with a playback that runs out of its range and stops,
# and as explode's nodes, then runs the Khronos glTF validator on each file: any error or
# warning fails the test.
#   validate_exports.sh WKCACHE OUT_DIR
set -euo pipefail
wkcache=$1
out=$2
here=$(cd "$(dirname "$0")" && pwd)
if [ ! -d "$here/node_modules/gltf-validator" ]; then
    echo "the glTF validator is not installed: run scripts/setup.sh (npm ci in tests/gltf)" >&2
    exit 1
fi
rm -rf "$out"
mkdir -p "$out"
"$wkcache" demo -o "$out/demo.wkc" >/dev/null
"$wkcache" export-gltf "$out/demo.wkc" --range 0:100 -o "$out/demo.glb"
"$wkcache" export-gltf "$out/demo.wkc" --range 0:100 --step 2.5 -o "$out/demo.gltf"
# Played at twice the speed and held after its end (out-of-range type 1): a long still tail.
"$wkcache" export-gltf "$out/demo.wkc" --range 0:120 --param playSpeed=2 --param playOutORT=1 \
    -o "$out/fast.glb"
"$wkcache" export-gltf "$out/demo.wkc" --range 0:100 --step 5 --exploded -o "$out/exploded.glb"
# An import exported again: what the import makes is playable and exportable.
"$wkcache" import-gltf "$out/demo.glb" --record "$out/again.wkc" --deform >/dev/null 2>&1
"$wkcache" export-gltf "$out/again.wkc" --range 0:100 -o "$out/again.glb"
node "$here/validate.js" "$out/demo.glb" "$out/demo.gltf" "$out/fast.glb" "$out/exploded.glb" \
    "$out/again.glb"
