// StaticExchange: the swap-off on one square, least valuable attacker first.
#include "board/bitboard.h"
#include "board/movegen.h"
#include "board/tables.h"

// The occupancy as the exchange goes on is kept in the same four orientations as the
// position's, so that the sliding attacks can be looked up with the pieces that have taken part
// lifted off.
static inline void Lift(OccupancyMasks& o, int s) {
  const OccupancyMasks& m = occupancyMask[s];
  o.normal &= ~m.normal;
  o.r90 &= ~m.r90;
  o.a1h8 &= ~m.a1h8;
  o.h1a8 &= ~m.h1a8;
}

// Sliders of either side that attack `to` through `o`, the ones lifted off left out. Looking up
// all four lines costs less than finding the one a lifted piece stood on.
static inline Bitboard SlidersTo(int to, const OccupancyMasks& o) {
  return ((RookAttacks(to, o) & pos.rooksQueens) | (BishopAttacks(to, o) & pos.bishopsQueens)) & o.normal;
}

int StaticExchange(int from, int to, int side) {
  int gain[32];
  OccupancyMasks occ = Occupancy();
  Lift(occ, from);
  // Pawns, knights and kings: no capture uncovers another of them.
  const Bitboard (*p)[6] = pos.pieces;
  const Bitboard steppers = (p[White][PawnSlot] & pawnAttacks[Black][to]) | (p[Black][PawnSlot] & pawnAttacks[White][to]) |
                            ((p[White][KnightSlot] | p[Black][KnightSlot]) & knightAttacks[to]) |
                            ((p[White][KingSlot] | p[Black][KingSlot]) & kingAttacks[to]);
  Bitboard attackers = (steppers & occ.normal) | SlidersTo(to, occ);
  const int onTo = pos.board[to];
  gain[0] = from == to ? 0 : pieceValue[onTo < 0 ? -onTo : onTo];
  int standing = pos.board[from] < 0 ? -pos.board[from] : pos.board[from];
  int toMove = side ^ 1;
  int depth = 0;
  while (depth < 31) {
    const Bitboard mine = attackers & pos.colourOcc[toMove];
    if (!mine) break;
    int type = Pawn;
    Bitboard candidates = 0;
    for (; type <= King; type++) {
      candidates = mine & pos.pieces[toMove][pieceSlot[type]];
      if (candidates) break;
    }
    const int square = LowestBit(candidates);
    depth++;
    gain[depth] = pieceValue[standing] - gain[depth - 1];
    standing = type;
    Lift(occ, square);
    attackers = (attackers & occ.normal) | SlidersTo(to, occ);
    toMove ^= 1;
  }
  // Each side may stop instead of recapturing.
  while (depth > 0) {
    if (-gain[depth] < gain[depth - 1]) gain[depth - 1] = -gain[depth];
    depth--;
  }
  return gain[0];
}
