#!/usr/bin/env bash
# Builds Ostrel twice, optimised (build/) and under AddressSanitizer and UndefinedBehaviorSanitizer
# (build-sanitize/), and runs every test in both. On a fresh Debian machine it first installs the
# compiler, CMake and GoogleTest. Any failure stops the script with a non-zero status.
set -euo pipefail
cd "$(dirname "$0")"

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

build_and_test build -DCMAKE_BUILD_TYPE=Release
build_and_test build-sanitize -DOSTREL_SANITIZE=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo
echo "=== all tests passed"
