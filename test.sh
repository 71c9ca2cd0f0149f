#!/usr/bin/env bash
# Checks that no layer includes a layer above it (tools/check-layers.sh), then builds Ostrel
# twice, optimised (build/) and under AddressSanitizer and UndefinedBehaviorSanitizer
# (build-sanitize/), and runs every test in both; then builds the fuzz harnesses with clang
# (build-fuzz/) and runs each briefly on its seed corpus, cross-builds for Windows and tries it
# under wine, and builds, installs and tries the Debian package. On a fresh Debian machine it
# first installs the compiler, CMake, GoogleTest and the tools the tests use. Any failure stops
# the script with a non-zero status.
set -euo pipefail
cd "$(dirname "$0")"

. tools/install-deps.sh test

jobs=$(nproc 2>/dev/null || echo 2)
# Sanitizer reports are only useful with the stack that led there.
export UBSAN_OPTIONS=print_stacktrace=1

build_and_test() {
  local dir=$1
  shift
  echo "=== $dir: configure and build"
  cmake -S . -B "$dir" "$@"
  cmake --build "$dir" -j "$jobs"
  echo "=== $dir: tests"
  (cd "$dir" && ctest --output-on-failure -j "$jobs")
}

bash tools/check-layers.sh
build_and_test build -DCMAKE_BUILD_TYPE=Release -DOSTREL_TESTS=ON
build_and_test build-sanitize -DOSTREL_TESTS=ON -DOSTREL_SANITIZE=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo
build_and_test build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DOSTREL_FUZZ=ON -DOSTREL_SANITIZE=ON \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo
bash tests/windows_smoke.sh
bash tests/package_test.sh
echo "=== all tests passed"
