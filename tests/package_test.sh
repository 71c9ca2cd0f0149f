#!/usr/bin/env bash
# The install and the Debian package, as a packager and a user meet them: `cmake --install`
# puts the engine, its tools, the books and the man page under the prefix; cpack makes
# ostrel_VERSION_amd64.deb, which is installed, answers an xboard and a UCI session from a
# working directory set up as the man page says, and is removed again. Installing needs root (or
# sudo without a password); without it that part is skipped with the reason. Called by test.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=build-package
jobs=$(nproc 2>/dev/null || echo 2)

echo "=== $dir: build without -march=native, install, package"
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DOSTREL_NATIVE=OFF -DOSTREL_TESTS=OFF -DCMAKE_INSTALL_PREFIX=/usr
cmake --build "$dir" -j "$jobs"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$dir" --prefix "$scratch/prefix" > /dev/null
for f in bin/ostrel bin/ostrel-perft bin/ostrel-bench share/man/man6/ostrel.6 \
         share/ostrel/book.bin share/ostrel/index.dat share/ostrel/learn.txt share/ostrel/learn.bin; do
  [ -s "$scratch/prefix/$f" ] || { echo "cmake --install left out $f"; exit 1; }
done
(cd "$dir" && rm -f ostrel_*.deb && cpack > /dev/null)
deb=$(ls "$dir"/ostrel_*_amd64.deb)
echo "package: $deb"

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! sudo -n true 2>/dev/null; then
    echo "=== SKIPPED installing the package: not root and no password-less sudo"
    exit 0
  fi
  as_root=(sudo -n)
fi
if dpkg-query -W -f='${Status}' ostrel 2>/dev/null | grep -q 'ok installed'; then
  echo "=== SKIPPED installing the package: an ostrel package is already installed here"
  exit 0
fi
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -y -o DPkg::Lock::Timeout=600)
"${apt[@]}" install "$PWD/$deb" > /dev/null
trap '"${apt[@]}" remove ostrel > /dev/null; rm -rf "$scratch"' EXIT

# A user's set-up: the shipped books copied into a working directory of their own.
cp -r /usr/share/ostrel "$scratch/work"
cd "$scratch/work"
{ printf 'xboard\nprotover 2\nnew\ne2e4\n'; sleep 3; printf 'quit\n'; } | /usr/bin/ostrel > xboard.out
{ printf 'uci\nisready\nposition startpos\ngo wtime 3000 btime 3000\n'; sleep 3; printf 'quit\n'; } \
  | /usr/bin/ostrel > uci.out
fail=0
for expected in "xboard.out:feature done=1" "xboard.out:Best book moves in this position" "xboard.out:move " \
                "uci.out:uciok" "uci.out:readyok" "uci.out:info string book move" "uci.out:bestmove "; do
  grep -q "^${expected#*:}" "${expected%%:*}" || { echo "no \"${expected#*:}\" in ${expected%%:*}"; fail=1; }
done
[ "$fail" = 0 ] || { tail -20 xboard.out uci.out; exit 1; }
echo "=== $dir: the installed package plays from its own books in both protocols"
