// StaticExchange: the swap-off on one square, least valuable attacker first.
#include "board/bitboard.h"
#include "board/movegen.h"

// Every piece of either side that attacks `to` with the current occupancy.
static Bitboard AttackersTo(int to) {
  const Bitboard (*p)[6] = pos.pieces;
  return (p[White][PawnSlot] & pawnAttacks[Black][to]) | (p[Black][PawnSlot] & pawnAttacks[White][to]) |
         ((p[White][KnightSlot] | p[Black][KnightSlot]) & knightAttacks[to]) |
         (pos.bishopsQueens & BishopAttacks(to)) | (pos.rooksQueens & RookAttacks(to)) |
         ((p[White][KingSlot] | p[Black][KingSlot]) & kingAttacks[to]);
}

// The first piece beyond `removed` seen from `to`, if it is a slider that moves along that line.
static Bitboard XrayBehind(int to, int removed, Bitboard occ) {
  const int step = direction[to][removed];
  if (!step) return 0;
  const Bitboard sliders = (step == 8 || step == -8 || step == 1 || step == -1) ? pos.rooksQueens : pos.bishopsQueens;
  for (int s = removed;;) {
    const int next = s + step;
    if (next < 0 || next > 63 || direction[s][next] != step) return 0;
    s = next;
    if (occ & squareMask[s]) return sliders & squareMask[s];
  }
}

int StaticExchange(int from, int to, int side) {
  int gain[32];
  Bitboard occ = pos.occupied & ~squareMask[from];
  Bitboard attackers = AttackersTo(to) & ~squareMask[from];
  attackers |= XrayBehind(to, from, occ);
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
    attackers &= ~squareMask[square];
    occ &= ~squareMask[square];
    attackers |= XrayBehind(to, square, occ);
    toMove ^= 1;
  }
  // Each side may stop instead of recapturing.
  while (depth > 0) {
    if (-gain[depth] < gain[depth - 1]) gain[depth - 1] = -gain[depth];
    depth--;
  }
  return gain[0];
}
