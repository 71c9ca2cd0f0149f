#!/usr/bin/env bash
# Builds the optimised engine in build/ and starts it there. It speaks the xboard protocol on
# standard input and output: type "new", "go", moves such as "e2e4", and "quit" (see README.md),
# or let a chess GUI start it. On first use it builds the opening book (book.bin, index.dat) in
# build/ from book/games.pgn with the engine's own two steps and puts the master book beside it,
# and makes the endgame tables of up to four men in build/tbs/ (about a minute, once), which the
# engine is started with.
set -euo pipefail
cd "$(dirname "$0")"

# Only the compiler and CMake: the tests and what they need are test.sh's affair.
. tools/install-deps.sh run

# Profile-guided and link-time-optimised where the compiler can do it (the first build then takes
# about a minute longer); the plain optimised build when that build fails.
jobs=$(nproc 2>/dev/null || echo 2)
if ! { cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DOSTREL_TESTS=OFF -DOSTREL_PGO=ON &&
       cmake --build build -j "$jobs" --target ostrel ostrel-tbgen; }; then
  echo "The profile-guided build failed; building the plain optimised engine"
  cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DOSTREL_TESTS=OFF -DOSTREL_PGO=OFF
  cmake --build build -j "$jobs" --target ostrel ostrel-tbgen
fi
cd build
cp -p ../book/learn.txt learn.txt
if [ ! -f book.bin ] || [ ! -f index.dat ] || [ ../book/games.pgn -nt book.bin ]; then
  echo "Building the opening book from book/games.pgn (once; its log is build/book-build.log)"
  ./ostrel -pgnsource ../book/games.pgn -tempfile book-temp.dat -max_book_moves 12 > book-build.log
  ./ostrel -buildbook -tempfile book-temp.dat >> book-build.log
  rm -f book-temp.dat
fi
# kqqk is the last of them to be made; an interrupted run is completed, the tables made kept.
if [ ! -f tbs/kqqk.nbb ]; then
  echo "Making the endgame tables of up to four men in build/tbs (once; its log is build/tbs.log)"
  nice ./ostrel-tbgen --dir tbs --all 4 2>> tbs.log
fi
exec ./ostrel -tbdir tbs "$@"
