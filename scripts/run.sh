#!/usr/bin/env bash
# The main job: set up, configure build/ and build the wkcache tool there, then record the demo
# scene into demo.wkc (and demo.mat) in the current folder and print its summary.
# Exits with the tool's exit code.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

bash "$WKCACHE_ROOT/scripts/setup.sh"
configure build -DCMAKE_BUILD_TYPE=RelWithDebInfo
build build wkcache

say "Running build/tools/wkcache demo"
exec "$WKCACHE_ROOT/build/tools/wkcache" demo
