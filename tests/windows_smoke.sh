#!/usr/bin/env bash
# Cross-builds ostrel.exe, ostrel-perft.exe and ostrel-bench.exe for Windows with mingw-w64 (this
# must always succeed) and, where wine can run them, checks them: perft counts, and an xboard and
# a UCI session over Windows pipes held by a small driver in the role of the GUI. Where wine
# cannot run, the reason is printed and the check is skipped. Called by test.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=build-windows
jobs=$(nproc 2>/dev/null || echo 2)

echo "=== $dir: cross build with mingw-w64"
cmake -S . -B "$dir" -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake -DCMAKE_BUILD_TYPE=Release
cmake --build "$dir" -j "$jobs"

wine=$(command -v wine64 || command -v wine || true)
[ -z "$wine" ] && [ -x /usr/lib/wine/wine64 ] && wine=/usr/lib/wine/wine64
if [ -z "$wine" ]; then
  echo "=== SKIPPED the wine smoke test: no wine64 or wine on this machine"
  exit 0
fi
export WINEPREFIX="$PWD/$dir/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
echo "=== $dir: smoke test under $("$wine" --version 2>/dev/null || echo wine)"
if ! probe=$(timeout 300 "$wine" cmd /c echo wine-runs 2>&1) || [[ "$probe" != *wine-runs* ]]; then
  echo "=== SKIPPED the wine smoke test: wine cannot start a Windows program here:"
  echo "$probe" | tail -5
  exit 0
fi

run() { timeout 300 "$wine" "$@" 2>&1 | tr -d '\r'; }
check_perft() {
  local nodes
  nodes=$(run "$dir/ostrel-perft.exe" "$1" "$2" | sed -n 's/^nodes //p')
  echo "perft $2 of $1: ${nodes:-nothing} (expected $3)"
  [ "$nodes" = "$3" ]
}
check_perft "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1" 5 4865609
check_perft "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1" 4 4085603

# The engine's working directory is scratch, as it deletes and writes files there.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
engine=$(cd "$dir" && pwd)/ostrel.exe
engine="Z:${engine//\//\\}"
driver=$(cd "$dir" && pwd)/ostrel-pipe-driver.exe
(cd "$work" && run "$driver" "$engine" \
  '>' xboard '>' 'protover 2' '<' 'feature done=1' '>' new '>' 'st 1' '>' e2e4 '<' 'move ' '>' quit)
(cd "$work" && run "$driver" "$engine" \
  '>' uci '<' uciok '>' isready '<' readyok '>' 'position startpos moves e2e4' \
  '>' 'go wtime 2000 btime 2000 winc 50 binc 50' '<' 'bestmove ' '>' quit)
echo "=== $dir: wine smoke test passed"
