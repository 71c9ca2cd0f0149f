// Zobrist keys and sliding attacks. Opening books hold key bits, so the generator's draw order is pinned; the sliding
// lookups are checked against a plain walk, which shares nothing with the rotated-bitboard construction.
#include <gtest/gtest.h>

#include "board/bitboard.h"
#include "board/keys.h"
#include "tests/position_check.h"

namespace {
// Catches a changed generator, seed or draw order: every book written before would stop matching.
TEST(Keys, GeneratorDrawsTheFixedSequenceInTheFixedOrder) {
  const uint64_t firstDraws[4] = {0x4890D6A4039B11BFULL, 0xA7E3A10437539B8AULL, 0xEB71AE0B8B263019ULL,
                                  0x32EF9CD487099341ULL};
  for (int type = 0; type < 4; type++) EXPECT_EQ(pieceKey[Black][type][A1], firstDraws[type]) << type;
  // Redraw every key in its documented order: piece keys (side, square, type), the two side
  // keys, then pawn keys. This also leaves the generator where start-up left it.
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
}

// Squares a slider on s reaches along (df, dr) and its opposite, stopping on the first blocker.
Bitboard WalkLine(int s, Bitboard occupied, int df, int dr) {
  Bitboard attacks = 0;
  for (int sign = -1; sign <= 1; sign += 2) {
    for (int f = FileOf(s) + sign * df, r = RankOf(s) + sign * dr; f >= 0 && f < 8 && r >= 0 && r < 8;
         f += sign * df, r += sign * dr) {
      attacks |= 1ULL << (r * 8 + f);
      if (occupied & 1ULL << (r * 8 + f)) break;
    }
  }
  return attacks;
}

// Catches a wrong rotation, shift, edge clipping or blocker stop in any of the four line tables.
TEST(Keys, SlidingLookupsAgreeWithAWalkOverTheBoard) {
  constexpr int Occupancies = OSTREL_SANITIZED ? 60 : 400;
  ostrel_test::TestRandom random(0x5EED0001);
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
}  // namespace
