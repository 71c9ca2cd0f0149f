#!/usr/bin/env bash
# Builds the optimised engine in build/ and runs it. Until the engine's main loop exists this
# counts the move tree of the start position to depth 6 (119,060,324 leaves), which doubles as a
# speed figure for move generation and make/unmake.
set -euo pipefail
cd "$(dirname "$0")"

# The test directory is part of the configuration, so GoogleTest is needed even here.
. tools/install-deps.sh

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j "$(nproc 2>/dev/null || echo 2)" --target ostrel-perft
exec ./build/ostrel-perft "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1" 6
