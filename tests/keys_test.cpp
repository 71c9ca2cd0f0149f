// Start-up tables and Zobrist keys. Opening books hold key bits, so the generator and its draw
// order are checked against fixed values; the attack tables are checked against a plain walk
// over the board, which shares nothing with the rotated-bitboard construction.
#include <gtest/gtest.h>

#include <set>

#include "board/bitboard.h"
#include "board/fen.h"
#include "board/keys.h"
#include "board/movegen.h"
#include "tests/position_check.h"

namespace {

using ostrel_test::TestRandom;

Bitboard Bit(int file, int rank) { return 1ULL << (rank * 8 + file); }
bool OnBoard(int file, int rank) { return file >= 0 && file < 8 && rank >= 0 && rank < 8; }

// Squares a slider on s reaches along (df, dr) and its opposite, stopping on the first blocker.
Bitboard WalkLine(int s, Bitboard occupied, int df, int dr) {
  Bitboard attacks = 0;
  for (int sign = -1; sign <= 1; sign += 2) {
    int f = FileOf(s) + sign * df, r = RankOf(s) + sign * dr;
    for (; OnBoard(f, r); f += sign * df, r += sign * dr) {
      attacks |= Bit(f, r);
      if (occupied & Bit(f, r)) break;
    }
  }
  return attacks;
}

// Number of squares on the line through s along (df, dr).
int LineLength(int s, int df, int dr) { return PopCount(WalkLine(s, 0, df, dr)) + 1; }

TEST(KeysAndTables, GeneratorDrawsTheFixedSequenceInTheFixedOrder) {
  const uint64_t firstDraws[4] = {0x4890D6A4039B11BFULL, 0xA7E3A10437539B8AULL, 0xEB71AE0B8B263019ULL,
                                  0x32EF9CD487099341ULL};
  for (int type = 0; type < 4; type++) EXPECT_EQ(pieceKey[Black][type][A1], firstDraws[type]) << "type " << type;

  // Redraw every key in its documented order: piece keys (side, square, type), the two side
  // keys, then pawn keys. This also leaves the generator where start-up left it.
  ResetAdditiveRandom();
  for (int i = 0; i < 4; i++) EXPECT_EQ(AdditiveRandom64(), firstDraws[i]);
  ResetAdditiveRandom();
  for (int side = Black; side <= White; side++)
    for (int square = 0; square < 64; square++)
      for (int type = 0; type <= King; type++)
        ASSERT_EQ(AdditiveRandom64(), pieceKey[side][type][square]) << side << " " << type << " " << square;
  EXPECT_EQ(AdditiveRandom64(), whiteToMoveKey);
  EXPECT_EQ(AdditiveRandom64(), blackToMoveKey);
  for (int side = Black; side <= White; side++)
    for (int square = 0; square < 64; square++) ASSERT_EQ(AdditiveRandom64(), pawnKey[side][square]);

  EXPECT_EQ(sideKey, whiteToMoveKey ^ blackToMoveKey);
  EXPECT_NE(sideKey, 0u);

  // A repeated key would make two different positions collide for certain.
  std::set<uint64_t> keys{whiteToMoveKey, blackToMoveKey};
  for (auto& side : pieceKey)
    for (auto& type : side) keys.insert(std::begin(type), std::end(type));
  for (auto& side : pawnKey) keys.insert(std::begin(side), std::end(side));
  EXPECT_EQ(keys.size(), size_t(2 * 7 * 64 + 2 + 2 * 64));
}

TEST(KeysAndTables, RotationsArePermutationsThatKeepEachLineTogether) {
  EXPECT_EQ(rot90[A1], 7);
  EXPECT_EQ(rot90[B1], 15);
  EXPECT_EQ(rot90[A2], 6);
  EXPECT_EQ(rot90[H8], 56);
  EXPECT_EQ(rot45H1A8[A1], 63);
  EXPECT_EQ(rot45H1A8[H8], 0);
  for (int i = 0; i < 8; i++) EXPECT_EQ(rot45A1H8[i * 9], 28 + i) << "long diagonal, square " << i * 9;

  const int* const tables[3] = {rot90, rot45A1H8, rot45H1A8};
  for (const int* table : tables) {
    Bitboard seen = 0;
    for (int s = 0; s < 64; s++) seen |= 1ULL << table[s];
    EXPECT_EQ(seen, ~0ULL) << "not a permutation";
  }

  // The lookups read one byte from the shift on, so a line's squares must occupy consecutive
  // rotated bits starting exactly at the shift; files must fill whole bytes with rank 8 lowest.
  for (int s = 0; s < 64; s++) {
    EXPECT_EQ(rot90[s], FileOf(s) * 8 + 7 - RankOf(s)) << s;
    const struct { const int* table; int shift, df, dr; } lines[2] = {
        {rot45A1H8, diagonalAttacks[s].shiftA1H8, 1, 1}, {rot45H1A8, diagonalAttacks[s].shiftH1A8, 1, -1}};
    for (const auto& line : lines) {
      const int n = LineLength(s, line.df, line.dr);
      Bitboard rotated = MapBitboard(WalkLine(s, 0, line.df, line.dr) | 1ULL << s, line.table);
      EXPECT_EQ(rotated, ((1ULL << n) - 1) << line.shift) << "square " << s << " step " << line.df << "," << line.dr;
    }
  }
}

TEST(KeysAndTables, SlidingLookupsAgreeWithAWalkOverTheBoard) {
#ifdef OSTREL_SANITIZE
  constexpr int Occupancies = 60;
#else
  constexpr int Occupancies = 400;
#endif
  TestRandom random(0x5EED0001);
  for (int i = 0; i < Occupancies; i++) {
    // Sparse to crowded boards, so that long and short rays both occur.
    Bitboard occupied = random.Next();
    for (int thin = i % 4; thin > 0; thin--) occupied &= random.Next();
    const Bitboard r90 = MapBitboard(occupied, rot90);
    const Bitboard a1h8 = MapBitboard(occupied, rot45A1H8);
    const Bitboard h1a8 = MapBitboard(occupied, rot45H1A8);
    for (int s = 0; s < 64; s++) {
      const DiagonalAttacks& d = diagonalAttacks[s];
      ASSERT_EQ(rankAttacks[s][(occupied >> (s & 56)) & 255], WalkLine(s, occupied, 1, 0)) << s << " " << occupied;
      ASSERT_EQ(fileAttacks[s][(r90 >> ((s & 7) * 8)) & 255], WalkLine(s, occupied, 0, 1)) << s << " " << occupied;
      ASSERT_EQ(d.attacksA1H8[(a1h8 >> d.shiftA1H8) & 255], WalkLine(s, occupied, 1, 1)) << s << " " << occupied;
      ASSERT_EQ(d.attacksH1A8[(h1a8 >> d.shiftH1A8) & 255], WalkLine(s, occupied, 1, -1)) << s << " " << occupied;
    }
  }
}

TEST(KeysAndTables, PatternBitsBeyondAShortDiagonalChangeNothing) {
  for (int s = 0; s < 64; s++) {
    const int lengthA1H8 = LineLength(s, 1, 1), lengthH1A8 = LineLength(s, 1, -1);
    for (int pattern = 0; pattern < 256; pattern++) {
      const DiagonalAttacks& d = diagonalAttacks[s];
      ASSERT_EQ(d.attacksA1H8[pattern], d.attacksA1H8[pattern & ((1 << lengthA1H8) - 1)]) << s << " " << pattern;
      ASSERT_EQ(d.attacksH1A8[pattern], d.attacksH1A8[pattern & ((1 << lengthH1A8) - 1)]) << s << " " << pattern;
    }
  }
}

TEST(KeysAndTables, LeaperAndPawnTables) {
  int knightMoves = 0, kingMoves = 0, pawnCaptures[2] = {0, 0};
  for (int s = 0; s < 64; s++) {
    knightMoves += PopCount(knightAttacks[s]);
    kingMoves += PopCount(kingAttacks[s]);
    for (int side = Black; side <= White; side++) pawnCaptures[side] += PopCount(pawnAttacks[side][s]);
  }
  // Totals over the empty board, known independently of any board layout: clipping mistakes at
  // the edges show in them.
  EXPECT_EQ(knightMoves, 336);
  EXPECT_EQ(kingMoves, 420);
  EXPECT_EQ(pawnCaptures[White], 98);
  EXPECT_EQ(pawnCaptures[Black], 98);
  for (int file = 0; file < 8; file++) {
    EXPECT_EQ(pawnAttacks[White][56 + file], 0u);
    EXPECT_EQ(pawnAttacks[Black][file], 0u);
  }
}

TEST(KeysAndTables, SixteenBitScans) {
  EXPECT_EQ(lowBit16[0], 0);
  EXPECT_EQ(highBit16[0], 0);
  for (int v = 1; v < 65536; v++) {
    ASSERT_EQ(lowBit16[v], __builtin_ctz(unsigned(v))) << v;
    ASSERT_EQ(highBit16[v], 31 - __builtin_clz(unsigned(v))) << v;
  }
}

}  // namespace
