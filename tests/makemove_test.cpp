// Make and unmake: every derived field kept in step with the mailbox, every move undone to the
// byte, and the game record's play, take-back and repetition bookkeeping.
#include <gtest/gtest.h>

#include <algorithm>

#include "board/bitboard.h"
#include "board/fen.h"
#include "board/game.h"
#include "board/keys.h"
#include "board/movegen.h"
#include "board/repetition.h"
#include "tests/position_check.h"

namespace {

using ostrel_test::CheckPosition;
using ostrel_test::DiffPositions;
using ostrel_test::MoveText;
using ostrel_test::PseudoLegalMoves;
using ostrel_test::RandomGame;
using ostrel_test::SnapshotPosition;

void SetQuietly(const char* fen) { ostrel_test::SetPositionQuietly(fen); }

// Makes m for `side` at ply 0 with the undo record filled, as the game does.
void Make(Move m, int side) {
  SaveUndo(0);
  MakeMove(m, 0, side);
}

#ifdef OSTREL_SANITIZE
constexpr int GamesPerStart = 2;
constexpr int MaxGamePlies = 300;
#else
constexpr int GamesPerStart = 6;
constexpr int MaxGamePlies = 300;
#endif

struct MoveKinds {
  int enPassant = 0, castling = 0, promotions[7] = {}, captures = 0;
};

TEST(MakeUnmake, EveryPseudoLegalMoveKeepsThePositionSoundAndUnmakesToTheByte) {
  const char* const starts[] = {
      "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -",
      "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
      "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq -",
      "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - -",
      "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -",
      "rnb1k2r/pp1p1p1p/1q1P4/2pnpPp1/6P1/2N5/PP1BP2P/R2QKBNR w KQkq e6",
      "8/8/1k6/2b5/2pP4/8/5K2/8 b - d3",
      "r3k2r/8/3Q4/8/8/5q2/8/R3K2R b KQkq -",
  };
  MoveKinds seen;
  uint64_t seed = 1;
  for (const char* start : starts) {
    for (int game = 0; game < GamesPerStart; game++) {
      RandomGame g(start, seed++);
      const Position initial = SnapshotPosition();
      bool going = true;
      while (going && g.Plies() < MaxGamePlies && PopCount(pos.occupied) > 2) {
        const int side = g.Side();
        std::string fault = CheckPosition(side);
        ASSERT_EQ(fault, "") << start << " after " << g.Plies() << " plies: " << PositionToEpd();

        const Position before = SnapshotPosition();
        SaveUndo(1);
        for (Move m : PseudoLegalMoves(side)) {
          if (MoveCaptured(m)) seen.captures++;
          if (MoveCaptured(m) && pos.board[MoveTo(m)] == 0) seen.enPassant++;
          if (MovePiece(m) == King && (MoveTo(m) - MoveFrom(m) == 2 || MoveFrom(m) - MoveTo(m) == 2)) seen.castling++;
          seen.promotions[MovePromotion(m)]++;
          MakeMove(m, 1, side);
          fault = CheckPosition(side ^ 1);
          UnmakeMove(m, 1, side);
          ASSERT_EQ(fault, "") << "after " << MoveText(m) << " in " << PositionToEpd();
          ASSERT_EQ(DiffPositions(before, pos), "") << "unmaking " << MoveText(m) << " in " << PositionToEpd();
        }

        going = g.Play();
      }
      // Taking the whole game back through its undo records restores the start exactly.
      while (g.Undo()) {
      }
      ASSERT_EQ(DiffPositions(initial, pos), "") << "game from " << start << " taken back";
    }
  }
  // The starts were chosen to make these moves; without them the test would prove much less.
  EXPECT_GT(seen.captures, 0);
  EXPECT_GT(seen.enPassant, 0);
  EXPECT_GT(seen.castling, 0);
  for (int type = Knight; type <= Queen; type++) EXPECT_GT(seen.promotions[type], 0) << "promotion to " << type;
}

// Each move is audited after it is made (the checker recomputes keys, counts and occupancies)
// and must unmake to the byte.
TEST(MakeUnmake, SpotCases) {
  const char* const corners = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
  const char* const cornersBlack = "r3k2r/8/8/8/8/8/8/R3K2R b KQkq -";
  const int none = -1;
  struct Case {
    const char* fen;
    int side;
    Move move;
    uint32_t flags;
    int epSquare, emptied, filled, content;  // `filled` holds `content` afterwards
  } cases[] = {
      // A double step marks the square passed; any other move clears it.
      {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", White, EncodeMove(E2, E4, Pawn, 0, 0), 15, E3, E2, E4, Pawn},
      {"4k3/3p4/8/4P3/8/8/8/4K3 b - -", Black, EncodeMove(D7, D5, Pawn, 0, 0), 0, D6, D7, D5, -Pawn},
      {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", White, EncodeMove(E1, E2, King, 0, 0), 0, 0, E1, E2, King},
      // En passant removes the pawn behind the square taken.
      {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", White, EncodeMove(E5, D6, Pawn, Pawn, 0), 0, 0, D5, D6, Pawn},
      {"4k3/8/8/8/3Pp3/8/8/4K3 b - d3", Black, EncodeMove(E4, D3, Pawn, Pawn, 0), 0, 0, D4, D3, -Pawn},
      // A king step that is no castling drops both rights of its side and is no castling.
      {corners, White, EncodeMove(E1, F1, King, 0, 0), 12, 0, E1, F1, King},
      {corners, White, EncodeMove(E1, D2, King, 0, 0), 12, 0, none, A1, Rook},
      {cornersBlack, Black, EncodeMove(E8, E7, King, 0, 0), 3, 0, none, H8, -Rook},
      // A rook leaving its corner drops its own right only.
      {corners, White, EncodeMove(A1, B1, Rook, 0, 0), 14, 0, A1, B1, Rook},
      {corners, White, EncodeMove(H1, G1, Rook, 0, 0), 13, 0, H1, G1, Rook},
      {cornersBlack, Black, EncodeMove(A8, A5, Rook, 0, 0), 11, 0, A8, A5, -Rook},
      {cornersBlack, Black, EncodeMove(H8, H7, Rook, 0, 0), 7, 0, H8, H7, -Rook},
      // Taking a rook in its corner drops the victim's right too.
      {corners, White, EncodeMove(H1, H8, Rook, Rook, 0), 5, 0, H1, H8, Rook},
      {cornersBlack, Black, EncodeMove(A8, A1, Rook, Rook, 0), 10, 0, A8, A1, -Rook},
      {"r3k2r/8/8/8/8/8/1B6/R3K2R w KQkq -", White, EncodeMove(B2, H8, Bishop, Rook, 0), 7, 0, B2, H8, Bishop},
      {"r3k2r/6b1/8/8/8/8/8/R3K2R b KQkq -", Black, EncodeMove(G7, A1, Bishop, Rook, 0), 14, 0, G7, A1, -Bishop},
      // Castling gives up both rights, records that the side has castled, and the rook crosses.
      {corners, White, EncodeMove(E1, G1, King, 0, 0), 12 | 16, 0, H1, F1, Rook},
      {corners, White, EncodeMove(E1, C1, King, 0, 0), 12 | 16, 0, A1, D1, Rook},
      {cornersBlack, Black, EncodeMove(E8, G8, King, 0, 0), 3 | 32, 0, H8, F8, -Rook},
      {cornersBlack, Black, EncodeMove(E8, C8, King, 0, 0), 3 | 32, 0, A8, D8, -Rook},
  };
  for (const Case& c : cases) {
    SetQuietly(c.fen);
    ASSERT_TRUE(IsValidMove(c.move, c.side)) << MoveText(c.move) << " in " << c.fen;
    const Position before = SnapshotPosition();
    Make(c.move, c.side);
    EXPECT_EQ(pos.castleFlags, c.flags) << MoveText(c.move) << " in " << c.fen;
    EXPECT_EQ(pos.epSquare, c.epSquare) << MoveText(c.move) << " in " << c.fen;
    if (c.emptied != none) {
      EXPECT_EQ(pos.board[c.emptied], 0) << MoveText(c.move) << " in " << c.fen;
    }
    EXPECT_EQ(pos.board[c.filled], c.content) << MoveText(c.move) << " in " << c.fen;
    EXPECT_EQ(CheckPosition(c.side ^ 1), "") << MoveText(c.move) << " in " << c.fen;
    UnmakeMove(c.move, 0, c.side);
    EXPECT_EQ(DiffPositions(before, pos), "") << MoveText(c.move) << " in " << c.fen;
  }
}

// The game record is global; leave it as a fresh game for whatever runs next.
class GameHistory : public testing::Test {
 protected:
  void SetUp() override { StartGame(nullptr); }
  void TearDown() override { StartGame(nullptr); }
  static void StartGame(const char* fen) {
    if (fen) SetQuietly(fen);
    else SetInitialPosition();
    NewGameRecord();
  }
  static std::string Play(int from, int to, int promotion, bool* played) {
    testing::internal::CaptureStdout();
    *played = PlayGameMove(from, to, promotion);
    return testing::internal::GetCapturedStdout();
  }
};

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
    bool played = false;
    Play(MoveFrom(m), MoveTo(m), MovePromotion(m), &played);
    ASSERT_TRUE(played) << MoveText(m);
    EXPECT_EQ(gameRecord.moveCount, n);
    EXPECT_EQ(pos.ttAge, n & 7);
    EXPECT_EQ(pos.sideToMove, side ^ 1);
    EXPECT_EQ(gameRecord.slots[n - 1].move, m);
    ASSERT_EQ(CheckPosition(), "") << "after " << MoveText(m);
  }
  for (int n = Moves - 1; n >= 0; n--) {
    UndoMove();
    EXPECT_EQ(gameRecord.moveCount, n);
    EXPECT_EQ(pos.ttAge, n & 7) << "taking back to move " << n;  // 8 -> 7 wraps through 0
    ASSERT_EQ(CheckPosition(), "") << "taken back to move " << n;
  }
  EXPECT_EQ(DiffPositions(start, pos), "");

  // Nothing left to take back: a message and no change.
  testing::internal::CaptureStdout();
  UndoMove();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "UndoMove : cannot undo\n");
  EXPECT_EQ(gameRecord.moveCount, 0);
  EXPECT_EQ(DiffPositions(start, pos), "");
}

TEST_F(GameHistory, UnknownMovesAreReportedAndNotPlayed) {
  bool played = false;
  EXPECT_EQ(Play(E2, E4, 0, &played), "");
  ASSERT_TRUE(played);
  const Position after = SnapshotPosition();

  // White's move again, with Black to move.
  EXPECT_EQ(Play(E2, E4, 0, &played), "Make move : cannot find move 12 28 0\n");
  EXPECT_FALSE(played);
  EXPECT_EQ(Play(E7, E4, 0, &played), "Make move : cannot find move 52 28 0\n");
  EXPECT_FALSE(played);
  EXPECT_EQ(gameRecord.moveCount, 1);
  EXPECT_EQ(DiffPositions(after, pos), "");

  // A promotion must name its piece, and the piece named is the one that appears.
  StartGame("4k3/1P6/8/8/8/8/8/4K3 w - -");
  EXPECT_EQ(Play(B7, B8, 0, &played), "Make move : cannot find move 49 57 0\n");
  EXPECT_FALSE(played);
  EXPECT_EQ(Play(B7, B8, King, &played), "Make move : cannot find move 49 57 6\n");
  EXPECT_FALSE(played);
  Play(B7, B8, Knight, &played);
  ASSERT_TRUE(played);
  EXPECT_EQ(pos.board[B8], Knight);
  EXPECT_EQ(CheckPosition(), "");
}

TEST_F(GameHistory, ReturningToAnEarlierPositionIsARepetition) {
  const int shuffle[4][2] = {{G1, F3}, {G8, F6}, {F3, G1}, {F6, G8}};
  bool played = false;
  for (int i = 0; i < 4; i++) {
    EXPECT_FALSE(IsRepetition()) << "before move " << i + 1;
    Play(shuffle[i][0], shuffle[i][1], 0, &played);
    ASSERT_TRUE(played);
  }
  EXPECT_TRUE(IsRepetition()) << "back at the initial position";
  UndoMove();
  EXPECT_FALSE(IsRepetition());
  UndoMove();
  UndoMove();
  UndoMove();
  for (const RepetitionBucket& b : repetitionList) EXPECT_EQ(b.count, 0);

  // The search's way: push before each make, pop after each unmake, test at each node.
  Move line[4];
  int side = White;
  for (int ply = 0; ply < 4; ply++, side ^= 1) {
    EXPECT_FALSE(IsRepetition()) << "ply " << ply;
    line[ply] = EncodeMove(shuffle[ply][0], shuffle[ply][1], Knight, 0, 0);
    PushRepetition();
    SaveUndo(ply);
    MakeMove(line[ply], ply, side);
  }
  EXPECT_TRUE(IsRepetition());
  for (int ply = 3; ply >= 0; ply--) {
    side ^= 1;
    UnmakeMove(line[ply], ply, side);
    PopRepetition();
  }
  for (const RepetitionBucket& b : repetitionList) EXPECT_EQ(b.count, 0);
  EXPECT_FALSE(IsRepetition());
}

}  // namespace
