// Tables computed once at start-up and read-only afterwards.
#pragma once

#include "board/types.h"

// Index of the lowest / highest set bit of a 16-bit value (0 for the value 0).
extern uint8_t lowBit16[65536];
extern uint8_t highBit16[65536];

extern Bitboard rankMask[8];
extern Bitboard fileMask[8];
extern Bitboard squareMask[64];
constexpr Bitboard notFileA = 0xFEFEFEFEFEFEFEFEULL;
constexpr Bitboard notFileH = 0x7F7F7F7F7F7F7F7FULL;
constexpr Bitboard ranks567Mask = 0x00FFFFFF00000000ULL;
constexpr Bitboard notRank1Mask = 0xFFFFFFFFFFFFFF00ULL;

// Squares between king and rook that must be empty for castling.
constexpr Bitboard whiteKingSidePath = 0x60ULL;
constexpr Bitboard whiteQueenSidePath = 0x0EULL;
constexpr Bitboard blackKingSidePath = 0x6000000000000000ULL;
constexpr Bitboard blackQueenSidePath = 0x0E00000000000000ULL;

// Bit index of each square in the three rotated occupancies. ROT90 puts each file in one byte;
// the 45-degree rotations put each diagonal in consecutive bits.
extern const int rot90[64];
extern const int rot45A1H8[64];
extern const int rot45H1A8[64];

// A square's bit in `occupied` and at its rotated index in each rotated occupancy, in the order
// those four fields have in Position, so that one record updates all four.
struct OccupancyMasks {
  Bitboard normal, r90, a1h8, h1a8;
};
extern OccupancyMasks occupancyMask[64];

// Sliding attacks by square and by the 8-bit occupancy of the line through it.
// Rank pattern: bit i is file i. File pattern: bit i is rank 7 - i (the ROT90 byte order).
extern Bitboard rankAttacks[64][256];
extern Bitboard fileAttacks[64][256];

// Diagonal attacks: the pattern is (rotated occupancy >> shift) & 255; bits beyond the
// diagonal's length belong to the next diagonal and are ignored by the table.
struct DiagonalAttacks {
  Bitboard attacksA1H8[256];
  int shiftA1H8;
  Bitboard attacksH1A8[256];
  int shiftH1A8;
};
extern DiagonalAttacks diagonalAttacks[64];

extern Bitboard pawnAttacks[2][64];  // squares a pawn of that side attacks
extern Bitboard knightAttacks[64];
extern Bitboard kingAttacks[64];

// For two squares on one line, the step (-9, -8, -7, -1, +1, +7, +8, +9) from the first towards
// the second; 0 otherwise (and for a square with itself).
extern int8_t direction[64][64];

// Squares strictly between two squares on one line; empty otherwise.
extern Bitboard betweenMask[64][64];

// Builds every table above. Must run before the keys are drawn (InitKeys) and before any
// position is set.
void InitTables();
