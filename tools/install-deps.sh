#!/usr/bin/env bash
# Installs what building Ostrel needs on Debian (compiler, CMake, make, GoogleTest) when any of
# it is missing; with sudo unless run as root. Sourced by run.sh and test.sh.
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
