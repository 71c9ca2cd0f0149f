#!/usr/bin/env bash
# Builds the optimised engine in build/ and starts it. It speaks the xboard protocol on standard
# input and output: type "new", "go", moves such as "e2e4", and "quit" (see README.md), or let a
# chess GUI start it.
set -euo pipefail
cd "$(dirname "$0")"

# The test directory is part of the configuration, so GoogleTest is needed even here.
. tools/install-deps.sh

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j "$(nproc 2>/dev/null || echo 2)" --target ostrel
exec ./build/ostrel "$@"
