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

static uint64_t PerftLegalNode(int depth, int ply, int side) {
  Move moves[MaxMoves];
  Move* end = KingAttacked(side) ? GenerateEvasions(moves, side) : GenerateLegal(moves, side);
  if (depth == 1) return uint64_t(end - moves);
  SaveUndo(ply);
  uint64_t nodes = 0;
  for (Move* m = moves; m < end; m++) {
    MakeMove(*m, ply, side);
    nodes += PerftLegalNode(depth - 1, ply + 1, side ^ 1);
    UnmakeMove(*m, ply, side);
  }
  return nodes;
}

uint64_t PerftLegal(int depth, int side) { return depth < 1 ? 1 : PerftLegalNode(depth, 0, side); }
