#include "board/perft.h"

#include "board/makemove.h"
#include "board/movegen.h"

static uint64_t PerftNode(int depth, int ply, int side) {
  Move moves[MaxMoves];
  Move* end = GenerateQuiet(GenerateCaptures(moves, side), side);
  SaveUndo(ply);
  uint64_t nodes = 0;
  for (Move* m = moves; m < end; m++) {
    MakeMove(*m, ply, side);
    if (!KingAttacked(side)) nodes += depth > 1 ? PerftNode(depth - 1, ply + 1, side ^ 1) : 1;
    UnmakeMove(*m, ply, side);
  }
  return nodes;
}

uint64_t Perft(int depth, int side, int ply) { return depth < 1 ? 1 : PerftNode(depth, ply, side); }
