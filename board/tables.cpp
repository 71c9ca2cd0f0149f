#include "board/tables.h"

uint8_t lowBit16[65536];
uint8_t highBit16[65536];
Bitboard rankMask[8];
Bitboard fileMask[8];
Bitboard squareMask[64];

const int rot90[64] = {
   7, 15, 23, 31, 39, 47, 55, 63,
   6, 14, 22, 30, 38, 46, 54, 62,
   5, 13, 21, 29, 37, 45, 53, 61,
   4, 12, 20, 28, 36, 44, 52, 60,
   3, 11, 19, 27, 35, 43, 51, 59,
   2, 10, 18, 26, 34, 42, 50, 58,
   1,  9, 17, 25, 33, 41, 49, 57,
   0,  8, 16, 24, 32, 40, 48, 56};

// Rank 1 first, a-file first in each row.
const int rot45A1H8[64] = {
  28, 36, 43, 49, 54, 58, 61, 63,
  21, 29, 37, 44, 50, 55, 59, 62,
  15, 22, 30, 38, 45, 51, 56, 60,
  10, 16, 23, 31, 39, 46, 52, 57,
   6, 11, 17, 24, 32, 40, 47, 53,
   3,  7, 12, 18, 25, 33, 41, 48,
   1,  4,  8, 13, 19, 26, 34, 42,
   0,  2,  5,  9, 14, 20, 27, 35};

const int rot45H1A8[64] = {
  63, 62, 60, 57, 53, 48, 42, 35,
  61, 59, 56, 52, 47, 41, 34, 27,
  58, 55, 51, 46, 40, 33, 26, 20,
  54, 50, 45, 39, 32, 25, 19, 14,
  49, 44, 38, 31, 24, 18, 13,  9,
  43, 37, 30, 23, 17, 12,  8,  5,
  36, 29, 22, 16, 11,  7,  4,  2,
  28, 21, 15, 10,  6,  3,  1,  0};

OccupancyMasks occupancyMask[64];
Bitboard rankAttacks[64][256];
Bitboard fileAttacks[64][256];
DiagonalAttacks diagonalAttacks[64];
Bitboard pawnAttacks[2][64];
Bitboard knightAttacks[64];
Bitboard kingAttacks[64];
int8_t direction[64][64];
Bitboard betweenMask[64][64];

static bool OnBoard(int file, int rank) { return file >= 0 && file < 8 && rank >= 0 && rank < 8; }

// One line through a square: two opposite steps given as (file, rank) deltas.
struct Line {
  int df, dr;
};

// The squares of the line through s, in order from one end to the other.
static int LineSquares(int s, Line line, int out[8]) {
  int f = FileOf(s), r = RankOf(s);
  while (OnBoard(f - line.df, r - line.dr)) f -= line.df, r -= line.dr;
  int n = 0;
  for (; OnBoard(f, r); f += line.df, r += line.dr) out[n++] = r * 8 + f;
  return n;
}

// Attack sets along one line for every occupancy pattern. The bit of square t in the pattern
// is rotation[t] - shift, where shift is the lowest rotated index on the line; only as many
// bits as the line has squares are read.
static void BuildLineAttacks(int s, Line line, const int* rotation, Bitboard table[256], int* shiftOut) {
  int squares[8];
  int n = LineSquares(s, line, squares);
  int shift = 64;
  for (int i = 0; i < n; i++) shift = rotation[squares[i]] < shift ? rotation[squares[i]] : shift;
  int at = 0;
  while (squares[at] != s) at++;
  for (int pattern = 0; pattern < 256; pattern++) {
    Bitboard attacks = 0;
    for (int step = -1; step <= 1; step += 2) {
      for (int i = at + step; i >= 0 && i < n; i += step) {
        attacks |= 1ULL << squares[i];
        if (pattern >> (rotation[squares[i]] - shift) & 1) break;
      }
    }
    table[pattern] = attacks;
  }
  if (shiftOut) *shiftOut = shift;
}

static Bitboard Jumps(int s, const int (*deltas)[2], int count) {
  Bitboard b = 0;
  for (int i = 0; i < count; i++) {
    int f = FileOf(s) + deltas[i][0], r = RankOf(s) + deltas[i][1];
    if (OnBoard(f, r)) b |= 1ULL << (r * 8 + f);
  }
  return b;
}

static void InitRays() {
  static const int steps[8][2] = {{0, -1}, {-1, 0}, {1, 0}, {0, 1}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
  for (int from = 0; from < 64; from++) {
    for (const auto& step : steps) {
      Bitboard between = 0;
      int f = FileOf(from) + step[0], r = RankOf(from) + step[1];
      for (; OnBoard(f, r); f += step[0], r += step[1]) {
        int to = r * 8 + f;
        direction[from][to] = int8_t(step[1] * 8 + step[0]);
        betweenMask[from][to] = between;
        between |= 1ULL << to;
      }
    }
  }
}

void InitTables() {
  for (int v = 1; v < 65536; v++) {
    int low = 0, high = 15;
    while (!(v >> low & 1)) low++;
    while (!(v >> high & 1)) high--;
    lowBit16[v] = uint8_t(low);
    highBit16[v] = uint8_t(high);
  }
  for (int i = 0; i < 8; i++) {
    rankMask[i] = 0xFFULL << (8 * i);
    fileMask[i] = 0x0101010101010101ULL << i;
  }
  for (int s = 0; s < 64; s++) {
    squareMask[s] = 1ULL << s;
    occupancyMask[s] = {squareMask[s], 1ULL << rot90[s], 1ULL << rot45A1H8[s], 1ULL << rot45H1A8[s]};
  }

  static const int identity[64] = {
     0,  1,  2,  3,  4,  5,  6,  7,  8,  9, 10, 11, 12, 13, 14, 15,
    16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31,
    32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47,
    48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, 62, 63};
  for (int s = 0; s < 64; s++) {
    BuildLineAttacks(s, Line{1, 0}, identity, rankAttacks[s], nullptr);
    BuildLineAttacks(s, Line{0, 1}, rot90, fileAttacks[s], nullptr);
    BuildLineAttacks(s, Line{1, 1}, rot45A1H8, diagonalAttacks[s].attacksA1H8, &diagonalAttacks[s].shiftA1H8);
    BuildLineAttacks(s, Line{1, -1}, rot45H1A8, diagonalAttacks[s].attacksH1A8, &diagonalAttacks[s].shiftH1A8);
  }

  static const int knightDeltas[8][2] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
  static const int kingDeltas[8][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}};
  static const int whitePawnDeltas[2][2] = {{-1, 1}, {1, 1}};
  static const int blackPawnDeltas[2][2] = {{-1, -1}, {1, -1}};
  for (int s = 0; s < 64; s++) {
    knightAttacks[s] = Jumps(s, knightDeltas, 8);
    kingAttacks[s] = Jumps(s, kingDeltas, 8);
    pawnAttacks[White][s] = Jumps(s, whitePawnDeltas, 2);
    pawnAttacks[Black][s] = Jumps(s, blackPawnDeltas, 2);
  }
  InitRays();
}
