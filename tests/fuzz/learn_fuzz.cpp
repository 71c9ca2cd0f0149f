// The master book from any bytes: as learn.txt compiled to learn.bin (first byte even), or as a
// learn.bin read directly (odd), damaged, cyclic-looking or deep. The tree read back from what
// the engine wrote must have as many nodes as the one it wrote, and scoring the first moves of
// a game against it must stay within the tree.
#include <cstdio>
#include <cstdlib>

#include "board/fen.h"
#include "board/movegen.h"
#include "book/master.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  remove("learn.bin");
  if (data[0] % 2 == 0) {
    WriteFuzzFile("learn.txt", data + 1, size - 1);
    LoadMasterBook("learn.txt", "learn.bin");
  } else {
    WriteFuzzFile("learn.bin", data + 1, size - 1);
    ReadMasterBook("learn.bin");
    WriteMasterBook("learn.bin");
  }
  const int nodes = CountMasterNodes();
  ReadMasterBook("learn.bin");
  if (CountMasterNodes() != nodes) abort();

  SetInitialPosition();
  Move moves[MaxMoves];
  int scores[MaxMoves] = {};
  const int n = int(GenerateLegal(moves, White) - moves);
  ScoreMasterMoves(moves, scores, n, nullptr, 0);
  for (int i = 0; i < n; i++) ScoreMasterMoves(moves, scores, n, &moves[i], 1);
  ClearMasterBook();
  return 0;
}
