#include "tools/tbgen/probe.h"

#include <cstdio>
#include <cstdlib>

#include "board/bitboard.h"
#include "board/fen.h"
#include "board/position.h"
#include "tablebases/files.h"
#include "tablebases/probe.h"
#include "tablebases/registry.h"
#include "tools/tbgen/store.h"

// Through the engine's own registry and probe, so that what a user reads here is what the
// search gets. A probe's score is 10 x (32767 - n) for a win in n moves and -10 x (32767 - n)
// for a loss in n - 1.
int ProbePositions(int count, char** fens) {
  if (!InitTablebases(tableDirectory)) {
    printf("no tables in %s\n", tableDirectory);
    return 1;
  }
  SetTablebaseCache(malloc(TablebaseCacheBytes), TablebaseCacheBytes);
  int status = 0;
  for (int i = 0; i < count; i++) {
    SetPosition(fens[i]);
    const int side = pos.sideToMove;
    int score = 0;
    if (PopCount(pos.pieces[White][KingSlot]) != 1 || PopCount(pos.pieces[Black][KingSlot]) != 1 ||
        ((pos.pieces[White][PawnSlot] | pos.pieces[Black][PawnSlot]) & (rankMask[0] | rankMask[7])) ||
        KingAttacked(side ^ 1)) {
      printf("%s\tbad position\n", fens[i]);
      status = 1;
    } else if (!ProbeTablebase(side, &score)) {
      printf("%s\tnot in the tables\n", fens[i]);
      status = 1;
    } else if (score > 0) {
      printf("%s\twin %d\n", fens[i], 32767 - score / 10);
    } else if (score < 0) {
      printf("%s\tloss %d\n", fens[i], 32766 + score / 10);
    } else {
      printf("%s\tdraw\n", fens[i]);
    }
  }
  return status;
}
