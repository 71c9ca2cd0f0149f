// Piece-square tables: the values are hand-tuned, so a transposed row or a mirrored side shows
// up only as slightly worse play. The king's switch to its ending table and the castling
// penalty's time limit are the two rules that change with the game.
#include <gtest/gtest.h>

#include <string>

#include "board/fen.h"
#include "board/game.h"
#include "board/position.h"
#include "search/psqtables.h"

namespace {

void Set(const char* fen) {
  testing::internal::CaptureStdout();
  SetPosition(fen);
  EXPECT_EQ("", testing::internal::GetCapturedStdout()) << fen;
}

int WhiteValue(int type, int square) { return pieceSquareTables[White][type][square]; }

// Keeps the game length a test sets from leaking into other tests.
class CastlingPenalty : public testing::Test {
 protected:
  void SetUp() override { saved_ = gameRecord.moveCount; }
  void TearDown() override { gameRecord.moveCount = saved_; }
  int saved_ = 0;
};

}  // namespace

TEST(PieceSquareTables, InitialPositionBalances) {
  SetInitialPosition();
  EXPECT_EQ(0, pos.material);
  EXPECT_EQ(0, pos.psqScore);
  BuildPieceSquareTables();
  EXPECT_EQ(0, ComputePsqScore());
}

TEST(PieceSquareTables, WhiteValuesOnTheirSquares) {
  SetInitialPosition();
  BuildPieceSquareTables();
  // Squares where a transposed row, a mirrored file or a swapped table would show.
  const struct { int type, square, value; } cases[] = {
    {Pawn, E2, -400}, {Pawn, D2, -400}, {Pawn, C2, 0}, {Pawn, D3, -80}, {Pawn, C3, 30},
    {Pawn, A4, 20}, {Pawn, A5, 10}, {Pawn, B4, 45}, {Pawn, B5, 35}, {Pawn, H4, 20}, {Pawn, H5, 10},
    {Pawn, D5, 60}, {Pawn, C6, 120}, {Pawn, E7, 200}, {Pawn, H7, 50}, {Pawn, E8, 0},
    {Knight, B1, -300}, {Knight, G1, -300}, {Knight, A1, -100}, {Knight, A4, 0}, {Knight, H5, 0},
    {Knight, A3, -100}, {Knight, E4, 100}, {Knight, C6, 50}, {Knight, B7, 0}, {Knight, D8, -100},
    {Bishop, C1, -200}, {Bishop, F1, -200}, {Bishop, B1, -100}, {Bishop, A4, -100}, {Bishop, D5, 100},
    {Bishop, B2, 0}, {Bishop, F3, 50},
    {Rook, A8, 50}, {Rook, H8, 50}, {Rook, D7, 0}, {Rook, A1, 0},
    {Queen, D1, 0}, {Queen, E4, 0}, {Queen, H8, 0},
  };
  for (const auto& c : cases) EXPECT_EQ(c.value, WhiteValue(c.type, c.square)) << c.type << " " << c.square;
}

TEST(PieceSquareTables, MiddleGameKing) {
  SetInitialPosition();
  BuildPieceSquareTables();
  const int rank1[8] = {90, 90, 80, -40, 0, -40, 80, 30};
  const int rank2[8] = {80, 70, -40, -40, -40, -40, 30, 0};
  for (int f = 0; f < 8; f++) {
    EXPECT_EQ(rank1[f], WhiteValue(King, A1 + f)) << f;
    EXPECT_EQ(rank2[f], WhiteValue(King, A2 + f)) << f;
    for (int r = 2; r < 8; r++) EXPECT_EQ(-80, WhiteValue(King, r * 8 + f)) << r << f;
  }
  EXPECT_EQ(80, WhiteValue(King, G1));
  EXPECT_EQ(30, WhiteValue(King, H1));
  EXPECT_EQ(0, WhiteValue(King, E1));
}

TEST(PieceSquareTables, BlackReadsWhiteMirrored) {
  // Both kings in their middle-game table, then both in the ending table.
  for (const char* fen : {"r2qk2r/8/8/8/8/8/8/R2QK2R w - -", "4k3/pppppppp/8/8/8/8/PPPPPPPP/4K3 w - -"}) {
    Set(fen);
    BuildPieceSquareTables();
    for (int type = Pawn; type <= King; type++)
      for (int s = 0; s < 64; s++)
        EXPECT_EQ(pieceSquareTables[White][type][s], pieceSquareTables[Black][type][s ^ 56]) << fen << " " << type << " " << s;
  }
  EXPECT_EQ(-400, pieceSquareTables[Black][Pawn][E7]);
  EXPECT_EQ(-300, pieceSquareTables[Black][Knight][G8]);
}

TEST(PieceSquareTables, KingTableFollowsTheOpponentsPieces) {
  // Piece material of the opponent, pawns not counted: 9000 or more keeps the middle game.
  const struct { const char* fen; bool whiteEnding, blackEnding; } cases[] = {
    {"3qk3/8/8/8/8/8/8/4K3 w - -", false, true},           // queen alone: 9000
    {"2nnk1n1/8/8/8/8/8/8/4K3 w - -", false, true},        // three knights: 9000
    {"3rkb2/8/8/8/8/8/8/4K3 w - -", true, true},           // rook and bishop: 8000
    {"3rk1n1/pppppppp/8/8/8/8/8/4K3 w - -", true, true},   // pawns do not count
    {"3rkb2/8/8/8/8/8/8/3QK3 w - -", true, false},
  };
  for (const auto& c : cases) {
    Set(c.fen);
    BuildPieceSquareTables();
    // e1 and d4 tell the tables apart: 0 and -80 in the middle game, 300 and 600 in the ending.
    EXPECT_EQ(c.whiteEnding ? 300 : 0, pieceSquareTables[White][King][E1]) << c.fen;
    EXPECT_EQ(c.whiteEnding ? 600 : -80, pieceSquareTables[White][King][D4]) << c.fen;
    EXPECT_EQ(c.blackEnding ? 300 : 0, pieceSquareTables[Black][King][E8]) << c.fen;
    EXPECT_EQ(c.blackEnding ? 600 : -80, pieceSquareTables[Black][King][D5]) << c.fen;
  }
  // Building again for a fuller board switches back.
  SetInitialPosition();
  BuildPieceSquareTables();
  EXPECT_EQ(0, pieceSquareTables[White][King][E1]);
  EXPECT_EQ(-80, pieceSquareTables[White][King][D4]);
}

TEST(PieceSquareTables, SetPositionScoresWithTheTablesOfItsMaterial) {
  // White's king on g1 faces a queen (middle game, 80); Black's king on e8 faces nothing
  // (ending, 300). Black's queen is worth 0 anywhere.
  Set("4k3/8/8/8/8/8/8/3q2K1 w - -");
  EXPECT_EQ(80 - 300, pos.psqScore);
  Set("4k3/8/8/8/8/8/8/6K1 w - -");
  EXPECT_EQ(100 - 300, pos.psqScore);
}

TEST_F(CastlingPenalty, HeldRightsCostUntilHalfMoveThirty) {
  SetInitialPosition();
  for (int moves : {0, 29}) {
    gameRecord.moveCount = moves;
    BuildPieceSquareTables();
    EXPECT_EQ(-300, castlingLossPenalty[White]) << moves;
    EXPECT_EQ(-300, castlingLossPenalty[Black]) << moves;
  }
  for (int moves : {30, 31, 200}) {
    gameRecord.moveCount = moves;
    BuildPieceSquareTables();
    EXPECT_EQ(0, castlingLossPenalty[White]) << moves;
    EXPECT_EQ(0, castlingLossPenalty[Black]) << moves;
  }

  gameRecord.moveCount = 10;
  const struct { uint32_t flags; int white, black; } cases[] = {
    {WhiteKingSide, -300, 0},
    {WhiteQueenSide, -300, 0},
    {BlackKingSide, 0, -300},
    {BlackQueenSide, 0, -300},
    {WhiteCastled | BlackCastled, 0, 0},
    {0, 0, 0},
  };
  for (const auto& c : cases) {
    pos.castleFlags = c.flags;
    BuildPieceSquareTables();
    EXPECT_EQ(c.white, castlingLossPenalty[White]) << c.flags;
    EXPECT_EQ(c.black, castlingLossPenalty[Black]) << c.flags;
  }
}
