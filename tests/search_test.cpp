// The search on positions whose answer is known (mates at the distance an independent prover finds, draws, the
// hand-over to quiescence), the clock, determinism, and what each search rebuilds from the game as it stands.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board/fen.h"
#include "board/game.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "board/repetition.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/psqtables.h"
#include "search/reset.h"
#include "search/search.h"
#include "search/think.h"
#include "shell/interpreter.h"
#include "tests/capture.h"
#include "tests/position_check.h"

namespace {
class SearchTest : public testing::Test {
 protected:
  void SetUp() override {
    Captured([] { if (!hashTable) InitHT(MinHashBits); });
    gameClock = GameClock{}, engineFlags = EngineFlags{};
  }
  void TearDown() override { engineFlags = EngineFlags{}; }
  static void Set(const char* fen) {
    ostrel_test::SetPositionQuietly(fen);
    ResetForNewPosition();
    NewGameRecord();
    gameRecord.moveCount = 40;
  }
  // Think to `plies` full iterations without the clock; returns the move.
  static Move ThinkTo(int plies) {
    TimeLeft = 1000000000;
    Move m = 0;
    Captured([&] { m = Think(pos.sideToMove, plies + 1, ThinkNoClock); });
    return m;
  }
  // Game moves in coordinate notation, as the interface sends them.
  static void Interpret(std::initializer_list<const char*> lines) {
    Captured([&] { for (const char* line : lines) ::Interpret(line); });
  }
};

// Mated at ply p scores -327670 + 10 p; the driver reports centipawns (a tenth).
int MateIn(int plies) { return (MateValue - 10 * plies) / 10; }

// An independent mate prover, plain legal-move minimax: does `side` mate within `moves` moves?
bool MatesWithin(int moves, int side, int ply = 2) {
  Move list[MaxMoves];
  Move* end = GenerateLegal(list, side);
  SaveUndo(ply);
  for (Move* m = list; m < end; m++) {
    MakeMove(*m, ply, side);
    Move replies[MaxMoves];
    Move* replyEnd = GenerateLegal(replies, side ^ 1);
    bool mates = replyEnd == replies && KingAttacked(side ^ 1);
    if (!mates && replyEnd != replies && moves > 1) {
      mates = true;
      SaveUndo(ply + 1);
      for (Move* r = replies; r < replyEnd && mates; r++) {
        MakeMove(*r, ply + 1, side ^ 1);
        mates = MatesWithin(moves - 1, side, ply + 2);
        UnmakeMove(*r, ply + 1, side ^ 1);
      }
    }
    UnmakeMove(*m, ply, side);
    if (mates) return true;
  }
  return false;
}
}  // namespace

// Catches mate scores counted from the wrong ply and mates missed or delayed by the extensions.
TEST_F(SearchTest, MatesAreFoundWithTheirExactDistance) {
  const struct { const char* fen; int moves; } mates[] = {
      {"r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq -", 1}, {"k7/8/2K5/8/8/8/8/7R w - -", 2},
      {"1k6/8/8/2K5/8/8/8/7R w - -", 3},
  };
  for (const auto& t : mates) {
    Set(t.fen);
    ASSERT_TRUE(MatesWithin(t.moves, White)) << t.fen;
    ASSERT_FALSE(t.moves > 1 && MatesWithin(t.moves - 1, White)) << t.fen;
    const Move m = ThinkTo(2 * t.moves + 1);
    EXPECT_EQ(thinkResult.score, MateIn(2 * t.moves - 1)) << t.fen;
    EXPECT_EQ(thinkResult.pv[0], m);
  }
  // The mated side sees it coming: Black's only move, Ka7, walks into Ra1. (In analysis a
  // single legal move is searched like any other.)
  Set("k7/2K5/8/8/8/8/8/1R6 b - -");
  engineFlags.analyze = 1;
  ThinkTo(4);
  EXPECT_EQ(thinkResult.score, -MateIn(2));
}

// Catches draws scored as anything but 0, nodes spent on them, the check extension not reaching
// a full ply, and quiescence searching losing captures or missing a mate.
TEST_F(SearchTest, SpotCasesOfTheFullWidthAndQuiescenceSteps) {
  constexpr int Some = -1, Any = -2, Quiescence = -1;
  // The depth in hundredths of a ply at ply 1, or Quiescence (called at ply 3); whether the position
  // has been met before in the game; the score and node counts (Some: not 0; Any: not checked).
  const struct { const char* fen; int depth; bool repeated; int score, nodes, qnodes; } cases[] = {
      {"7k/5Q2/6K1/8/8/8/8/8 b - -", 300, false, 0, Some, 0},  // stalemate
      {"8/8/3k4/8/8/3K4/8/8 w - -", 500, false, 0, 0, 0},      // bare kings: 0 before any move
      {"r1bqkbnr/pppppppp/2n5/8/8/5N2/PPPPPPPP/RNBQKB1R w KQkq -", 500, true, 0, 0, 0},
      {"4k3/8/8/8/8/8/4r3/4K3 w - -", 25, false, Any, Some, Any},  // in check: 25 + 75 is a ply
      {"4k3/8/8/8/8/8/4r3/4K3 w - -", 0, false, Any, 0, Some},      // 0 + 75 is not
      {"4k3/8/2p5/3p4/8/8/3Q4/4K3 w - -", Quiescence, false, Some, 0, 1},  // Qxd5 loses the queen
      {"R5k1/5ppp/8/8/8/8/8/6K1 b - -", Quiescence, false, -MateValue + 30, 0, Some},
  };
  for (const auto& c : cases) {
    Set(c.fen);
    if (c.repeated) PushRepetition();
    NodeCount = QNodeCount = 0;
    const int score = c.depth == Quiescence ? Quiesce(-Infinity, Infinity, 3, 0, pos.sideToMove)
                                            : Search(-Infinity, Infinity, c.depth, 1, pos.sideToMove, 1);
    if (c.repeated) {
      EXPECT_EQ(undoStack[1].repetition, 1);
      PopRepetition();
    }
    const std::string label = std::string(c.fen) + " at depth " + std::to_string(c.depth);
    const auto check = [&](const char* what, int want, int64_t have) {
      if (want == Some) {
        EXPECT_NE(have, 0) << what << ", " << label;
      } else if (want != Any) {
        EXPECT_EQ(have, want) << what << ", " << label;
      }
    };
    check("score", c.score, score);
    check("nodes", c.nodes, NodeCount);
    check("quiescence nodes", c.qnodes, QNodeCount);
  }
}

// Catches state a search leaves behind that changes the next one.
TEST_F(SearchTest, SameSearchSameTree) {
  uint32_t nodes[2];
  Move moves[2];
  for (int run = 0; run < 2; run++) {
    Set("r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQ1RK1 w - -");
    moves[run] = ThinkTo(6);
    nodes[run] = NodeCount + QNodeCount;
  }
  EXPECT_TRUE(nodes[0] == nodes[1] && moves[0] == moves[1]);
}

// Catches a clock that is not charged, or a search cut off without a finished iteration.
TEST_F(SearchTest, FixedTimeStopsNearItsBudgetWithACompleteIteration) {
  Set("r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQ1RK1 w - -");
  gameClock.fixedTime = TimeLeft = 50;
  Move m = 0;
  Captured([&] { m = Think(White, 60); });
  EXPECT_NE(m, 0u);
  EXPECT_GE(thinkResult.depth, 2);
  EXPECT_EQ(thinkResult.pv[0], m);
  // The budget is charged every 2,048 nodes, so the overrun is a fraction of a second.
  EXPECT_GE(thinkTime, 45);
  EXPECT_LE(thinkTime, 80);
  // A single legal move is played at once, without a search or its output.
  Set("k7/8/8/8/8/8/8/1R4K1 b - -");
  NodeCount = 0, TimeLeft = 1000;
  const std::string out = Captured([&] { m = Think(Black, 60); });
  EXPECT_STREQ(CoordinateText(m), "a8a7");
  EXPECT_EQ(NodeCount, 0u);
  EXPECT_EQ(out.find("32"), std::string::npos) << out;
}


// Catches a finished game not reported when the engine is to move.
TEST_F(SearchTest, EngineMoveWithNoMoveLeftAnnouncesTheResult) {
  const struct { const char* fen; const char* result; } ends[] = {{"7k/5Q2/6K1/8/8/8/8/8 b - -", "1/2-1/2 {Stalemate}"},
               {"R6k/6pp/8/8/8/8/8/6K1 b - -", "1-0 {White Mates}"}};
  for (const auto& e : ends) {
    Set(e.fen);
    EXPECT_EQ(Captured([] { EngineMove(pos.sideToMove); }),
              std::string("epd diagram : ") + e.fen + " \n" + e.result + "\n");
  }
}


// Catches the castling penalty or the king's tables taken from the position the game was set up
// with rather than the one it has reached, counted over all games rather than from each new one,
// charged for the other side's rights, or chosen by the wrong material: the opponent's pieces
// count, its pawns do not, and 9,000 keeps the middle game's table. Each row is a new game.
TEST_F(SearchTest, PieceSquareTermsFollowTheGameAsItStands) {
  const char* const start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
  const char* const shuffle[4] = {"g1f3", "g8f6", "f3g1", "f6g8"};  // every castling right stays
  // `shuffles`: half-moves of knight shuffling before `moves`.
  const struct { const char* fen; std::vector<const char*> moves; int shuffles, whitePenalty, blackPenalty;
                 bool whiteEnding, blackEnding; } cases[] = {
      {start, {}, 29, -300, -300, false, false}, {start, {}, 30, 0, 0, false, false},
      {start, {}, 0, -300, -300, false, false}, {"r3k2r/8/8/8/8/8/8/R3K2R w Q -", {}, 0, -300, 0, false, false},
      {"3qk3/4p3/8/8/8/8/4P3/3QK3 w - -", {}, 0, 0, 0, false, false},
      {"3qk3/4p3/8/8/8/8/4P3/3QK3 w - -", {"d1d8", "e8d8", "e1d2"}, 0, 0, 0, true, true},
      {"3qk3/8/8/8/8/8/8/4K3 w - -", {}, 0, 0, 0, false, true},  // a queen alone: 9,000
      {"2nnk1n1/8/8/8/8/8/8/4K3 w - -", {}, 0, 0, 0, false, true},
      {"3rkb2/8/8/8/8/8/8/4K3 w - -", {}, 0, 0, 0, true, true},
      {"3rk1n1/pppppppp/8/8/8/8/8/4K3 w - -", {}, 0, 0, 0, true, true},
      {"3rkb2/8/8/8/8/8/8/3QK3 w - -", {}, 0, 0, 0, true, false},
  };
  const auto play = [&](const char* fen, const std::vector<const char*>& moves, int shuffles) {
    Interpret({"new", "force"});
    engineFlags.bookUse = 0;
    ostrel_test::SetPositionQuietly(fen);
    ResetForNewPosition();
    for (int i = 0; i < shuffles; i++) Interpret({shuffle[i % 4]});
    for (const char* m : moves) Interpret({m});
    ThinkTo(2);
  };
  const auto kingTable = [](int side) {  // Black's turned over
    std::vector<int> table(64);
    for (int s = 0; s < 64; s++) table[s] = pieceSquareTables[side][King][side == White ? s : s ^ 56];
    return table;
  };
  play(start, {}, 0);
  const std::vector<int> middle = kingTable(White);
  play("4k3/8/8/8/8/8/8/4K3 w - -", {}, 0);
  const std::vector<int> ending = kingTable(White);
  ASSERT_NE(middle, ending);
  for (const auto& c : cases) {
    play(c.fen, c.moves, c.shuffles);
    const std::string label = std::string(c.fen) + " row " + std::to_string(&c - cases);
    EXPECT_TRUE(castlingLossPenalty[White] == c.whitePenalty && castlingLossPenalty[Black] == c.blackPenalty) << label;
    EXPECT_EQ(kingTable(White), c.whiteEnding ? ending : middle) << label;
    EXPECT_EQ(kingTable(Black), c.blackEnding ? ending : middle) << label;
  }
}
