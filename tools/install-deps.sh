#!/usr/bin/env bash
# Installs what building and testing Ostrel needs on Debian when any of it is missing: the
# compiler, CMake, make and GoogleTest, and for the tests that play through a real GUI, xboard, a
# virtual X server and Fairy-Max as an opponent; for the Windows cross build mingw-w64, and wine
# to run its executables; dpkg-dev to find the Debian package's dependencies. With sudo unless
# run as root. Sourced by run.sh and test.sh.
missing=0
for package in cmake make g++ libgtest-dev xboard xvfb fairymax g++-mingw-w64-x86-64-win32 wine64 dpkg-dev; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing=1
done
if [ "$missing" = 1 ]; then
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y \
    cmake make g++ libgtest-dev xboard xvfb xauth fairymax dpkg-dev
  # Wine's recommendations are the 32-bit half and desktop integration, neither of which a
  # console engine under test needs.
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
    g++-mingw-w64-x86-64-win32 wine64
fi
