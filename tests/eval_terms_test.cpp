// The second evaluation stage term by term, on sparse positions whose every term is known.
#include <gtest/gtest.h>

#include "board/fen.h"
#include "board/game.h"
#include "search/eval.h"
#include "search/psqtables.h"
#include "search/reset.h"

namespace {

// Second-stage value of a position; `halfMoves` is how far the game has gone.
int SecondStage(const char* fen, int halfMoves = 40, int toMove = -1) {
  gameRecord.moveCount = halfMoves;
  testing::internal::CaptureStdout();
  SetPosition(fen);
  ResetForNewPosition();
  testing::internal::GetCapturedStdout();
  return EvaluateSecondStage(ProbePawnTable(), toMove < 0 ? pos.sideToMove : toMove);
}

class EvalTerms : public testing::Test {
 protected:
  void TearDown() override { gameRecord.moveCount = 0; }
};

}  // namespace

TEST_F(EvalTerms, BishopPairAndTheWinningKingsApproach) {
  // Pair with no pawns +1000; a 6000 lead against a bare king: 50 per step under 14 (7 apart).
  EXPECT_EQ(SecondStage("4k3/8/8/8/8/8/8/2B1KB2 w - -"), 1000 + 350);
}

TEST_F(EvalTerms, Rooks) {
  // Open file +100, eleven squares +110, and the approach of the winning king.
  EXPECT_EQ(SecondStage("4k3/8/8/8/8/8/8/R3K3 w - -"), 210 + 350);
  // On the seventh with the king on its back rank and no pawns there: +800.
  EXPECT_EQ(SecondStage("4k3/R7/8/8/8/8/8/4K3 w - -"), 100 + 140 + 800 + 350);
  // The king off its back rank: +250 only.
  EXPECT_EQ(SecondStage("8/R3k3/8/8/8/8/8/4K3 w - -"), 100 + 10 * 11 + 250 + 50 * (14 - 6));
  // Two rooks on one file see each other: +60 for the one behind.
  const int doubled = SecondStage("4k3/8/8/8/8/8/R7/R3K3 w - -");
  const int apart = SecondStage("4k3/8/8/8/8/8/7R/R3K3 w - -");
  EXPECT_EQ(doubled - apart, 60 + (100 + 10 * 8 + 100 + 10 * 13) - (100 + 10 * 13 + 100 + 10 * 14));
}

TEST_F(EvalTerms, TwoMinorsAgainstARook) {
  // Knight and bishop against a rook with four pawns: +150; the black rook on a pawn-blocked
  // file sees five squares: -50.
  EXPECT_EQ(SecondStage("r3k3/pp6/8/8/8/8/PP6/1NB1K3 w - -"), 150 - 50);
}

TEST_F(EvalTerms, CastlingLoss) {
  // While the game is young a side that gives up its rights without castling pays 300.
  EXPECT_EQ(SecondStage("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", 0), 0);
  EXPECT_EQ(castlingLossPenalty[White], -300);
  pos.castleFlags &= ~uint32_t(WhiteKingSide | WhiteQueenSide);
  EXPECT_EQ(EvaluateSecondStage(ProbePawnTable(), White), -300);
  pos.castleFlags |= WhiteCastled;
  EXPECT_EQ(EvaluateSecondStage(ProbePawnTable(), White), 0);
  // From the thirtieth half-move on nothing is owed.
  SecondStage("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", 30);
  EXPECT_EQ(castlingLossPenalty[White], 0);
  // Each side pays only for rights of its own.
  SecondStage("r3k2r/8/8/8/8/8/8/R3K2R w Qk -", 29);
  EXPECT_EQ(castlingLossPenalty[White], -300);
  EXPECT_EQ(castlingLossPenalty[Black], -300);
  SecondStage("r3k2r/8/8/8/8/8/8/R3K2R w Q -", 29);
  EXPECT_EQ(castlingLossPenalty[Black], 0);
}

TEST_F(EvalTerms, Development) {
  // White: four minors at home (-1000); Black: three (-750); White's bishop pair +1000.
  EXPECT_EQ(SecondStage("rn1qkbnr/8/8/8/8/8/8/RNBQKBNR w KQkq -", 0), -250 + 1000);
  EXPECT_EQ(SecondStage("rn1qkbnr/8/8/8/8/8/8/RNBQKBNR w KQkq -", 30), 1000);
}

TEST_F(EvalTerms, PassedPawnsAndThePawnEnding) {
  // The black king in front stops the sixth-rank bonus; the extra pawn in a pawn ending is +2000.
  EXPECT_EQ(SecondStage("4k3/8/3P4/8/8/8/8/4K3 w - -"), 2000);
  // Far away: +400 on the sixth, and a runaway (no black piece) +2500.
  EXPECT_EQ(SecondStage("8/8/3P4/8/8/8/8/k3K3 w - -"), 400 + 2500 + 2000);
  // On the edge of the square, the side to move decides the race.
  EXPECT_EQ(SecondStage("8/8/k2P4/8/8/8/8/4K3 w - -", 40, White), 400 + 2500 + 2000);
  EXPECT_EQ(SecondStage("8/8/k2P4/8/8/8/8/4K3 w - -", 40, Black), 400 + 2000);
  // A seventh-rank pawn is worth less than a sixth-rank one (300), and with one black piece
  // the runaway bonus is 2000.
  EXPECT_EQ(SecondStage("8/3P4/8/8/8/8/n7/k3K3 w - -"), 300 + 2000);
}

TEST_F(EvalTerms, KingTableFollowsTheOpponentsPieces) {
  // Piece material of the opponent, pawns not counted: 9000 or more keeps the middle game.
  const struct { const char* fen; bool whiteEnding, blackEnding; } cases[] = {
    {"3qk3/8/8/8/8/8/8/4K3 w - -", false, true},           // queen alone: 9000
    {"2nnk1n1/8/8/8/8/8/8/4K3 w - -", false, true},        // three knights: 9000
    {"3rkb2/8/8/8/8/8/8/4K3 w - -", true, true},           // rook and bishop: 8000
    {"3rk1n1/pppppppp/8/8/8/8/8/4K3 w - -", true, true},   // pawns do not count
    {"3rkb2/8/8/8/8/8/8/3QK3 w - -", true, false},
    {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w - -", false, false},
  };
  for (const auto& c : cases) {
    SecondStage(c.fen);
    // e1 and d4 tell the tables apart: 0 and -80 in the middle game, 300 and 600 in the ending.
    EXPECT_EQ(c.whiteEnding ? 300 : 0, pieceSquareTables[White][King][E1]) << c.fen;
    EXPECT_EQ(c.whiteEnding ? 600 : -80, pieceSquareTables[White][King][D4]) << c.fen;
    EXPECT_EQ(c.blackEnding ? 300 : 0, pieceSquareTables[Black][King][E8]) << c.fen;
    EXPECT_EQ(c.blackEnding ? 600 : -80, pieceSquareTables[Black][King][D5]) << c.fen;
  }
}
