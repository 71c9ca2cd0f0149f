// Rules of the search that only show over a game: what each search rebuilds from the game as it
// stands, and what it keeps from the searches before it.
#include <gtest/gtest.h>

#include "board/fen.h"
#include "board/game.h"
#include "board/position.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/psqtables.h"
#include "search/reset.h"
#include "search/think.h"
#include "shell/interpreter.h"

namespace {

class SearchRules : public testing::Test {
 protected:
  void SetUp() override {
    testing::internal::CaptureStdout();
    if (!hashTable) InitHT(MinHashBits);
    Interpret("new");
    Interpret("force");
    engineFlags.bookUse = 0;
    testing::internal::GetCapturedStdout();
  }
  void TearDown() override { engineFlags = EngineFlags{}; }

  // Game moves in coordinate notation, as the interface sends them.
  static void Play(std::initializer_list<const char*> moves) {
    testing::internal::CaptureStdout();
    for (const char* m : moves) Interpret(m);
    testing::internal::GetCapturedStdout();
  }

  // One two-ply search of the game position, as any move, ponder or analysis would start.
  static void ThinkBriefly() {
    TimeLeft = 1000000000;
    testing::internal::CaptureStdout();
    Think(pos.sideToMove, 3, ThinkNoClock);
    testing::internal::GetCapturedStdout();
  }
};

}  // namespace

TEST_F(SearchRules, KingTableFollowsTradesMadeInTheGame) {
  testing::internal::CaptureStdout();
  SetPosition("3qk3/4p3/8/8/8/8/4P3/3QK3 w - -");
  ResetForNewPosition();
  testing::internal::GetCapturedStdout();
  Play({"d1d8", "e8d8", "e1d2"});  // the queens come off: a pawn ending
  ThinkBriefly();
  // Ending table: White's king on d2 400, Black's on d8 300; the pawns' -400 cancel.
  EXPECT_EQ(300, pieceSquareTables[White][King][E1]);
  EXPECT_EQ(300, pieceSquareTables[Black][King][E8]);
  EXPECT_EQ(100, pos.psqScore);
}

TEST_F(SearchRules, CastlingPenaltyLastsThirtyHalfMovesOfEachGame) {
  // Knights out and home again keep every castling right for as long as needed.
  const char* shuffle[4] = {"g1f3", "g8f6", "f3g1", "f6g8"};
  const struct { int halfMoves, penalty; } game[] = {{0, -300}, {29, -300}, {30, 0}, {41, 0}};
  for (int round = 0; round < 2; round++) {
    SetUp();
    int played = 0;
    for (const auto& c : game) {
      for (; played < c.halfMoves; played++) Play({shuffle[played % 4]});
      ThinkBriefly();
      EXPECT_EQ(c.penalty, castlingLossPenalty[White]) << "game " << round << ", half-move " << played;
      EXPECT_EQ(c.penalty, castlingLossPenalty[Black]) << "game " << round << ", half-move " << played;
    }
  }
}
