#!/usr/bin/env bash
# Installs what building and testing Ostrel needs on Debian when any of it is missing: the
# compiler, CMake, make and GoogleTest, clang with libFuzzer for the fuzz harnesses, and for the tests that play through a real GUI, xboard, a
# virtual X server and Fairy-Max as an opponent. With sudo unless run as root. Sourced by run.sh
# and test.sh.
missing=0
for package in cmake make g++ libgtest-dev clang libclang-rt-14-dev xboard xvfb fairymax; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing=1
done
if [ "$missing" = 1 ]; then
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y \
    cmake make g++ libgtest-dev clang libclang-rt-14-dev xboard xvfb xauth fairymax
fi
