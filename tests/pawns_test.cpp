// Pawn structure terms and the pawn table, on formations whose score can be worked out by hand.
#include <gtest/gtest.h>

#include "board/fen.h"
#include "search/eval.h"
#include "search/pawns.h"
#include "search/reset.h"

// Entries are packed, so their fields are read by value: a reference to one may be misaligned.
namespace {

const PawnEntry& Formation(const char* fen) {
  testing::internal::CaptureStdout();
  SetPosition(fen);
  ResetForNewPosition();
  testing::internal::GetCapturedStdout();
  return ProbePawnTable();
}


}  // namespace

TEST(PawnStructure, DoubledPawns) {
  // b- and c-pawns support each other; only the doubling counts.
  EXPECT_EQ(Formation("4k3/1pp5/8/8/8/1P6/1PP5/4K3 w - -").score, -85);
  EXPECT_EQ(Formation("4k3/1pp5/8/8/1P6/1P6/1PP5/4K3 w - -").score, -170);
  EXPECT_EQ(Formation("4k3/1pp5/1p6/1p6/8/8/1PP5/4K3 w - -").score, 170);
}

TEST(PawnStructure, IsolatedEvenWhenPassed) {
  // a5 alone against h7 alone: both isolated, one queen-side and one king-side file each.
  const PawnEntry& e = Formation("4k3/7p/8/P7/8/8/8/4K3 w - -");
  EXPECT_EQ(int(e.score), 0);
  EXPECT_EQ(uint64_t(e.passed), 1ULL << A5);
  // With a neighbour the a-pawn is no longer isolated: +100 for White.
  EXPECT_EQ(Formation("4k3/7p/8/P7/8/8/1P6/4K3 w - -").score, 100);
}

TEST(PawnStructure, PassedOnlyFromTheFifthRank) {
  EXPECT_EQ(uint64_t(Formation("4k3/8/8/8/4P3/8/8/4K3 w - -").passed), 0u);
  EXPECT_EQ(uint64_t(Formation("4k3/8/8/4P3/8/8/8/4K3 w - -").passed), 1ULL << E5);
  // A black pawn ahead on an adjacent file stops it; one behind does not (and is passed itself,
  // on Black's fifth rank).
  EXPECT_EQ(uint64_t(Formation("4k3/3p4/8/4P3/8/8/8/4K3 w - -").passed), 0u);
  EXPECT_EQ(uint64_t(Formation("4k3/8/8/4P3/3p4/8/8/4K3 w - -").passed), (1ULL << E5) | (1ULL << D4));
  // Black's fifth rank is the fourth from White's side.
  EXPECT_EQ(uint64_t(Formation("4k3/8/8/8/3p4/8/8/4K3 w - -").passed), 1ULL << D4);
}

TEST(PawnStructure, BackwardOnlyWhenTheStopSquareIsAttacked) {
  // d2 lags behind c3 and e3 and faces no pawn on its file. The black c-pawn costs Black the same
  // on c5 and on c4, but only from c4 does it hit d3.
  const int quiet = Formation("4k3/8/8/2p5/8/2P1P3/3P4/4K3 w - -").score;
  const int attacked = Formation("4k3/8/8/8/2p5/2P1P3/3P4/4K3 w - -").score;
  EXPECT_EQ(quiet - attacked, 80);
  // A black pawn on the d-file makes it no backward pawn at all.
  const int facing = Formation("4k3/3p4/8/8/2p5/2P1P3/3P4/4K3 w - -").score;
  const int facingFree = Formation("4k3/3p4/8/2p5/8/2P1P3/3P4/4K3 w - -").score;
  EXPECT_EQ(facing, facingFree);
}

TEST(PawnTable, HitGivesTheStoredEntry) {
  const char* fen = "r1bqkb1r/pp3ppp/2n1pn2/2pp4/3P4/2PBPN2/PP3PPP/RNBQK2R w KQkq -";
  const PawnEntry fresh = Formation(fen);
  const uint32_t hits = pawnHits, computed = pawnComputed;
  const PawnEntry& again = ProbePawnTable();
  EXPECT_EQ(pawnHits, hits + 1);
  EXPECT_EQ(pawnComputed, computed);
  EXPECT_EQ(memcmp(&fresh, &again, sizeof fresh), 0);
}

TEST(PawnTable, ANewPositionEmptiesTheTable) {
  Formation("4k3/8/8/8/8/8/PPP5/4K3 w - -");
  const uint64_t key = pos.pawnKey;
  Formation("4k3/8/8/8/8/8/8/4K3 w - -");
  EXPECT_NE(uint64_t(pawnTable[key & (PawnTableEntries - 1)].key), key);
}

TEST(KingSafety, ExposedKingAgainstAQueenCostsMore) {
  // Same structure, White's king-side shelter torn open in the second position.
  testing::internal::CaptureStdout();
  SetPosition("r1bq1rk1/ppp2ppp/2n2n2/3pp3/8/8/PPPPPPPP/RNBQ1RK1 w - -");
  const int sheltered = KingSafety(ProbePawnTable());
  SetPosition("r1bq1rk1/ppp2ppp/2n2n2/3pp3/8/8/PPPPP3/RNBQ1RK1 w - -");
  const int open = KingSafety(ProbePawnTable());
  testing::internal::GetCapturedStdout();
  EXPECT_LT(open, sheltered);
}

TEST(KingSafety, AttackerWhoseMenAllStandOnA1AndB1IsLetOff) {
  // Bare kings: without pawns there is no shelter entry, so each king's index is its base and
  // the open file (4 + 2, and 2 + 4 + 2 more around an e-file king), halved without a queen.
  // White king on a1 or b1: 6 / 2 = 3, danger 250. Black king on e8: 15 / 2 = 7, danger 770,
  // but only when White's occupancy, read as a number, is 4 or more.
  auto safety = [](const char* fen) {
    testing::internal::CaptureStdout();
    SetPosition(fen);
    testing::internal::GetCapturedStdout();
    return KingSafety(ProbePawnTable());
  };
  EXPECT_EQ(safety("4k3/8/8/8/8/8/8/K7 w - -"), -250);
  EXPECT_EQ(safety("4k3/8/8/8/8/8/8/1K6 w - -"), -250);
  EXPECT_EQ(safety("4k3/8/8/8/8/8/8/2K5 w - -"), 770 - 250);
  // With pawns on the board the shelter counts. White (c1): a-pawn home, b and c missing (13),
  // open c-file 4 + 2: 19 / 2 = 9, danger 845. Black (e8): base 1, f-h missing (16), open d, e, f
  // around the king 8, open e-file 4 + 2: 31 / 2 = 15, danger 1020.
  EXPECT_EQ(safety("4k3/p7/8/8/8/8/P7/2K5 w - -"), 1020 - 845);
}
