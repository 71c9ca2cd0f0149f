#!/usr/bin/env bash
# Builds the optimised engine in build/ and runs it. Until the engine's main loop exists this
# counts the move tree of the start position to depth 6 (119,060,324 leaves), which doubles as a
# speed figure for move generation and make/unmake.
set -euo pipefail
cd "$(dirname "$0")"

# The test directory is part of the configuration, so GoogleTest is needed even here.
missing=0
for tool in cmake make g++; do
  command -v "$tool" >/dev/null 2>&1 || missing=1
done
dpkg-query -W -f='${Status}' libgtest-dev 2>/dev/null | grep -q 'ok installed' || missing=1
if [ "$missing" = 1 ]; then
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y cmake make g++ libgtest-dev
fi

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j "$(nproc 2>/dev/null || echo 2)" --target ostrel-perft
exec ./build/ostrel-perft "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1" 6
