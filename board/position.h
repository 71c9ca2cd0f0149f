// The one position the whole engine works on, and the attack lookups on it.
#pragma once

#include <cstddef>
#include <cstring>

#include "board/tables.h"

// Invariants: board[s] > 0 exactly where colourOcc[White] has s, < 0 where colourOcc[Black]
// has it; occupied is the union of all piece bitboards; the rotated occupancies are occupied
// mapped through rot90 / rot45A1H8 / rot45H1A8; hashKey and pawnKey equal a fresh computation.
struct Position {
  Bitboard pieces[2][6];  // [side][PieceSlot]: pawns, rooks, knights, bishops, queens, king
  int epSquare;           // square passed over by the last double step; 0 = none (a1 never is one)
  int sideToMove;
  uint32_t castleFlags;   // CastleFlag bits
  uint8_t ttAge;          // game moves played, modulo 8
  Bitboard occupied;
  Bitboard occupiedR90;
  Bitboard occupiedA1H8;
  Bitboard occupiedH1A8;
  Bitboard colourOcc[2];
  Bitboard rooksQueens;
  Bitboard bishopsQueens;
  int kingSquare[2];
  int board[64];          // +PieceType for White, -PieceType for Black, 0 empty
  uint64_t hashKey;
  uint64_t pawnKey;
  int pieceCount[2];      // knights, bishops, rooks and queens
  int pawnCount[2];
  int material;           // White minus Black, kings not counted
  int typeCount[2][7];    // [side][PieceType]; king counts are left alone
  int psqScore;           // White's view
};

extern Position pos;

// Make/unmake and the attack look-ups move these groups as whole vectors.
static_assert(offsetof(Position, occupiedH1A8) == offsetof(Position, occupied) + 3 * sizeof(Bitboard),
              "the four occupancies are one block");
static_assert(offsetof(Position, bishopsQueens) == offsetof(Position, rooksQueens) + sizeof(Bitboard),
              "the slider sets are one pair");

// The position's four occupancies as one record, read as one 32-byte block: make/unmake store
// them so, and a narrower read straddling part of that store cannot be forwarded from it.
inline OccupancyMasks Occupancy() {
  OccupancyMasks o;
  memcpy(&o, &pos.occupied, sizeof o);
  return o;
}

// Sliding attacks through a given occupancy, so that a caller can look through a copy with
// pieces lifted off; the one-argument forms look through the position's.
inline Bitboard FileAttacks(int s, const OccupancyMasks& o) { return fileAttacks[s][(o.r90 >> ((s & 7) * 8)) & 255]; }
inline Bitboard RookAttacks(int s, const OccupancyMasks& o) {
  return rankAttacks[s][(o.normal >> (s & 56)) & 255] | FileAttacks(s, o);
}
inline Bitboard BishopAttacks(int s, const OccupancyMasks& o) {
  const DiagonalAttacks& d = diagonalAttacks[s];
  return d.attacksA1H8[(o.a1h8 >> d.shiftA1H8) & 255] | d.attacksH1A8[(o.h1a8 >> d.shiftH1A8) & 255];
}
inline Bitboard FileAttacks(int s) { return FileAttacks(s, Occupancy()); }
inline Bitboard RookAttacks(int s) { return RookAttacks(s, Occupancy()); }
inline Bitboard BishopAttacks(int s) { return BishopAttacks(s, Occupancy()); }
inline Bitboard QueenAttacks(int s) { return RookAttacks(s) | BishopAttacks(s); }

// True when `square` is attacked by pieces of `bySide`.
inline bool SquareAttacked(int square, int bySide) {
  const Bitboard* p = pos.pieces[bySide];
  const Bitboard own = pos.colourOcc[bySide];
  return (p[PawnSlot] & pawnAttacks[bySide ^ 1][square]) || (p[KnightSlot] & knightAttacks[square]) ||
         (pos.bishopsQueens & own & BishopAttacks(square)) || (pos.rooksQueens & own & RookAttacks(square)) ||
         (p[KingSlot] & kingAttacks[square]);
}

// True when the king of `side` stands attacked.
inline bool KingAttacked(int side) { return SquareAttacked(pos.kingSquare[side], side ^ 1); }

// Maps each set bit s of b to bit table[s].
Bitboard MapBitboard(Bitboard b, const int* table);

// The en-passant square as a capture target for `side`, or 0. A square that is occupied or has
// no enemy pawn behind it, or lies on the wrong rank for `side` (possible only from a malformed FEN) is no target, so that no capture
// ever removes a pawn that is not there.
inline Bitboard EnPassantTarget(int side) {
  const int ep = pos.epSquare;
  if (!ep) return 0;
  if (RankOf(ep) != (side == White ? 5 : 2)) return 0;
  const int behind = side == White ? ep - 8 : ep + 8;
  if ((pos.occupied & squareMask[ep]) || pos.board[behind] != (side == White ? -Pawn : Pawn))
    return 0;
  return squareMask[ep];
}
