#!/usr/bin/env bash
# Installs what Ostrel needs on Debian when any of it is missing, with sudo unless run as root.
# Sourced by run.sh and test.sh with what they need:
#   run   the compiler, CMake and make: enough to build and start the engine;
#   test  that, GoogleTest, clang with libFuzzer for the fuzz harnesses, and for the tests that
#         play through a real GUI xboard, a virtual X server and Fairy-Max as an opponent; Gaviota's three-man tables with their probing
#         library, the oracle the generated endgame tables are checked against; mingw-w64 for the
#         Windows cross build and wine to run it; dpkg-dev to find the Debian package's
#         dependencies.
packages=(cmake make g++)
# Wine's recommendations are the 32-bit half and desktop integration, neither of which a console
# engine under test needs.
bare_packages=()
if [ "${1:-test}" = test ]; then
  packages+=(libgtest-dev clang libclang-rt-14-dev xboard xvfb xauth fairymax gaviotatb libgaviotatb-dev
             dpkg-dev)
  bare_packages+=(g++-mingw-w64-x86-64-win32 wine64)
fi
missing=0
for package in "${packages[@]}" "${bare_packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing=1
done
if [ "$missing" = 1 ]; then
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y "${packages[@]}"
  if [ "${#bare_packages[@]}" -gt 0 ]; then
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
      "${bare_packages[@]}"
  fi
fi
