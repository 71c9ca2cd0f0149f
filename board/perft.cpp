#include "board/perft.h"

#include "board/legality.h"
#include "board/makemove.h"
#include "board/movegen.h"

// Flattened: make and unmake inlined into the loop are worth a sixth of the time. The side is a
// constant of each instance so that every "White or Black" choice inside them folds away.
template <int side>
static __attribute__((flatten)) uint64_t PerftNode(int depth, int ply, bool bulk) {
  if (bulk && depth == 1) return CountLegalMoves(side);
  Move moves[MaxMoves];
  Move* end = GenerateQuiet(GenerateCaptures(moves, side), side);
  const Bitboard toTest = MoversToTest(side);
  SaveUndo(ply);
  uint64_t nodes = 0;
  for (Move* m = moves; m < end; m++) {
    MakeMove(*m, ply, side);
    if (!(toTest & squareMask[MoveFrom(*m)]) || !KingAttacked(side))
      nodes += depth > 1 ? PerftNode<side ^ 1>(depth - 1, ply + 1, bulk) : 1;
    UnmakeMove(*m, ply, side);
  }
  return nodes;
}

uint64_t Perft(int depth, int side, int ply, bool bulk) {
  if (depth < 1) return 1;
  return side == White ? PerftNode<White>(depth, ply, bulk) : PerftNode<Black>(depth, ply, bulk);
}
