// Make and unmake: every derived field kept in step with the mailbox, every move undone to the
// byte, and the game record's play, take-back and repetition bookkeeping.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>

#include "board/bitboard.h"
#include "board/fen.h"
#include "board/game.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "board/repetition.h"
#include "tests/capture.h"
#include "tests/position_check.h"

namespace {
using ostrel_test::DiffPositions;
using ostrel_test::M;
using ostrel_test::SnapshotPosition;

constexpr int GamesPerStart = OSTREL_SANITIZED ? 2 : 6;
constexpr int MaxGamePlies = 300;

// Catches any derived field (bitboards, keys, counts, material, rights) that make or unmake
// gets wrong, named by the audit, in random games from starts rich in special moves.
TEST(MakeUnmake, EveryPseudoLegalMoveKeepsThePositionSoundAndUnmakesToTheByte) {
  const char* const starts[] = {
      "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -",
      "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
      "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq -", "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - -",
      "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -", "rnb1k2r/pp1p1p1p/1q1P4/2pnpPp1/6P1/2N5/PP1BP2P/R2QKBNR w KQkq e6",
      "8/8/1k6/2b5/2pP4/8/5K2/8 b - d3", "r3k2r/8/3Q4/8/8/5q2/8/R3K2R b KQkq -",
  };
  std::set<std::string> seen;  // the special moves met
  uint64_t seed = 1;
  for (const char* start : starts) {
    for (int game = 0; game < GamesPerStart; game++) {
      ostrel_test::RandomGame g(start, seed++);
      const Position initial = SnapshotPosition();
      do {
        const int side = g.Side();
        ASSERT_STREQ(PositionFault(side), "") << start << " after " << g.Plies() << " plies: " << PositionToEpd();
        const Position before = SnapshotPosition();
        SaveUndo(1);
        for (Move m : ostrel_test::PseudoLegalMoves(side)) {
          if (MoveCaptured(m) && pos.board[MoveTo(m)] == 0) seen.insert("en passant");
          if (MovePiece(m) == King && std::abs(MoveTo(m) - MoveFrom(m)) == 2) seen.insert("castling");
          if (MovePromotion(m)) seen.insert("promotion to " + std::to_string(MovePromotion(m)));
          MakeMove(m, 1, side);
          const std::string fault = PositionFault(side ^ 1);
          UnmakeMove(m, 1, side);
          ASSERT_EQ(fault, "") << "after " << CoordinateText(m) << " in " << PositionToEpd();
          ASSERT_EQ(DiffPositions(before, pos), "") << "unmaking " << CoordinateText(m) << " in " << PositionToEpd();
        }
      } while (g.Plies() < MaxGamePlies && PopCount(pos.occupied) > 2 && g.Play());
      // Taking the whole game back through its undo records restores the start exactly.
      while (g.Undo()) {
      }
      ASSERT_EQ(DiffPositions(initial, pos), "") << "game from " << start << " taken back";
    }
  }
  // The starts were chosen to make every special move; without them the test would prove much less.
  EXPECT_EQ(seen.size(), 6u);
}

// Catches wrong castling rights, en-passant square or rook and pawn placement after the special moves, which the
// audit cannot tell from other sound positions. Each move must also pass the audit and unmake to the byte.
TEST(MakeUnmake, SpotCases) {
  const char* const corners = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
  const char* const cornersBlack = "r3k2r/8/8/8/8/8/8/R3K2R b KQkq -";
  // Castling rights and en-passant square afterwards; `emptied` is empty and `filled` holds `content`.
  const struct { const char* fen; int side; Move move; uint32_t flags; int ep, emptied, filled, content; }
      cases[] = {
      // A double step marks the square passed; any other move clears it.
      {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", White, M(E2, E4, Pawn), 15, E3, E2, E4, Pawn},
      {"4k3/3p4/8/4P3/8/8/8/4K3 b - -", Black, M(D7, D5, Pawn), 0, D6, D7, D5, -Pawn},
      {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", White, M(E1, E2, King), 0, 0, E1, E2, King},
      // En passant removes the pawn behind the square taken.
      {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", White, M(E5, D6, Pawn, Pawn), 0, 0, D5, D6, Pawn},
      {"4k3/8/8/8/3Pp3/8/8/4K3 b - d3", Black, M(E4, D3, Pawn, Pawn), 0, 0, D4, D3, -Pawn},
      // A king step that is no castling drops both rights of its side and moves no rook.
      {corners, White, M(E1, F1, King), 12, 0, E1, F1, King},
      {cornersBlack, Black, M(E8, E7, King), 3, 0, E8, H8, -Rook},
      // A rook leaving its corner drops its own right only.
      {corners, White, M(A1, B1, Rook), 14, 0, A1, B1, Rook}, {corners, White, M(H1, G1, Rook), 13, 0, H1, G1, Rook},
      // Taking a rook in its corner drops the victim's right too.
      {corners, White, M(H1, H8, Rook, Rook), 5, 0, H1, H8, Rook},
      {cornersBlack, Black, M(A8, A1, Rook, Rook), 10, 0, A8, A1, -Rook},
      {"r3k2r/8/8/8/8/8/1B6/R3K2R w KQkq -", White, M(B2, H8, Bishop, Rook), 7, 0, B2, H8, Bishop},
      // Castling gives up both rights, records that the side has castled, and the rook crosses.
      {corners, White, M(E1, G1, King), 12 | 16, 0, H1, F1, Rook},
      {corners, White, M(E1, C1, King), 12 | 16, 0, A1, D1, Rook},
      {cornersBlack, Black, M(E8, G8, King), 3 | 32, 0, H8, F8, -Rook},
      {cornersBlack, Black, M(E8, C8, King), 3 | 32, 0, A8, D8, -Rook},
  };
  for (const auto& c : cases) {
    ostrel_test::SetPositionQuietly(c.fen);
    const std::string where = std::string(CoordinateText(c.move)) + " in " + c.fen;
    ASSERT_TRUE(IsValidMove(c.move, c.side)) << where;
    const Position before = SnapshotPosition();
    SaveUndo(0);
    MakeMove(c.move, 0, c.side);
    EXPECT_EQ(pos.castleFlags, c.flags) << where;
    EXPECT_EQ(pos.epSquare, c.ep) << where;
    EXPECT_EQ(pos.board[c.emptied], 0) << where;
    EXPECT_EQ(pos.board[c.filled], c.content) << where;
    EXPECT_STREQ(PositionFault(c.side ^ 1), "") << where;
    UnmakeMove(c.move, 0, c.side);
    EXPECT_EQ(DiffPositions(before, pos), "") << where;
  }
}

// The game record is global; leave it as a fresh game for whatever runs next.
class GameHistory : public testing::Test {
 protected:
  void SetUp() override {
    SetInitialPosition();
    NewGameRecord();
  }
  void TearDown() override { SetUp(); }
};

// Catches a game move or take-back that leaves the position, the record, the repetition list or
// the hash table's age (which wraps at eight) out of step.
TEST_F(GameHistory, PlayAndTakeBackRestoreThePositionAndTheAge) {
  const Position start = SnapshotPosition();
  ostrel_test::TestRandom random(77);
  constexpr int Moves = 21;  // past multiples of eight, so the age wraps both ways
  for (int n = 1; n <= Moves; n++) {
    Move legal[MaxMoves];
    const int side = gameRecord.sideToMove;
    Move* end = GenerateLegal(legal, side);
    ASSERT_NE(end, legal);
    const Move m = legal[random.Below(uint32_t(end - legal))];
    ASSERT_TRUE(PlayGameMove(MoveFrom(m), MoveTo(m), MovePromotion(m))) << CoordinateText(m);
    EXPECT_EQ(gameRecord.moveCount, n);
    EXPECT_EQ(pos.ttAge, n & 7);
    EXPECT_EQ(pos.sideToMove, side ^ 1);
    EXPECT_EQ(gameRecord.slots[n - 1].move, m);
    ASSERT_STREQ(PositionFault(pos.sideToMove), "") << "after " << CoordinateText(m);
  }
  for (int n = Moves - 1; n >= 0; n--) {
    UndoMove();
    EXPECT_EQ(gameRecord.moveCount, n);
    EXPECT_EQ(pos.ttAge, n & 7) << "taking back to move " << n;
    ASSERT_STREQ(PositionFault(pos.sideToMove), "") << "taken back to move " << n;
  }
  EXPECT_EQ(DiffPositions(start, pos), "");
  for (const RepetitionBucket& b : repetitionList) EXPECT_EQ(b.count, 0);
  // Nothing left to take back: a message and no change.
  EXPECT_EQ(Captured(UndoMove), "UndoMove : cannot undo\n");
  EXPECT_EQ(gameRecord.moveCount, 0);
  EXPECT_EQ(DiffPositions(start, pos), "");
}

}  // namespace
