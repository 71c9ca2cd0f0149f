// The search on positions whose answer is known: mates with their exact distance, draws, the
// horizon hand-over, determinism and a tactical suite.
#include <gtest/gtest.h>


#include <cstring>
#include <fstream>
#include <string>

#include "board/fen.h"
#include "board/game.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "board/repetition.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/movelist.h"
#include "search/reset.h"
#include "search/search.h"
#include "search/think.h"

namespace {

class SearchTest : public testing::Test {
 protected:
  void SetUp() override {
    testing::internal::CaptureStdout();
    if (!hashTable) InitHT(MinHashBits);
    testing::internal::GetCapturedStdout();
    gameClock = GameClock{};
    engineFlags = EngineFlags{};
  }

  static void Set(const char* fen) {
    testing::internal::CaptureStdout();
    SetPosition(fen);
    ResetForNewPosition();
    NewGameRecord();
    gameRecord.moveCount = 40;
    testing::internal::GetCapturedStdout();
  }

  // Think to `plies` full iterations without the clock; returns the move.
  static Move ThinkTo(int plies) {
    TimeLeft = 1000000000;
    testing::internal::CaptureStdout();
    const Move m = Think(pos.sideToMove, plies + 1, ThinkNoClock);
    testing::internal::GetCapturedStdout();
    return m;
  }

  static std::string Text(Move m) { return CoordinateText(m); }
};

// Mated at ply p scores -327670 + 10 p; the driver reports centipawns (a tenth).
int MateIn(int plies) { return (MateValue - 10 * plies) / 10; }

}  // namespace

namespace {

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

TEST_F(SearchTest, MatesAreFoundWithTheirExactDistance) {
  const struct {
    const char* fen;
    int moves;
  } mates[] = {
      {"r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq -", 1},
      {"k7/8/2K5/8/8/8/8/7R w - -", 2},
      {"1k6/8/8/2K5/8/8/8/7R w - -", 3},
  };
  for (const auto& t : mates) {
    Set(t.fen);
    // The prover settles the distance first: a mate in exactly n.
    ASSERT_TRUE(MatesWithin(t.moves, White)) << t.fen;
    if (t.moves > 1) {
      ASSERT_FALSE(MatesWithin(t.moves - 1, White)) << t.fen;
    }
    const Move m = ThinkTo(2 * t.moves + 1);
    EXPECT_EQ(thinkResult.score, MateIn(2 * t.moves - 1)) << t.fen;
    EXPECT_EQ(thinkResult.pv[0], m);
  }
}

TEST_F(SearchTest, TheMatedSideSeesItComing) {
  // Black's only move, Ka7, walks into Ra1: mated at ply 2. (In analysis a single legal move
  // is searched like any other.)
  Set("k7/2K5/8/8/8/8/8/1R6 b - -");
  engineFlags.analyze = 1;
  ThinkTo(4);
  EXPECT_EQ(thinkResult.score, -MateIn(2));
}

TEST_F(SearchTest, DrawsScoreZero) {
  // Stalemate: no move, no result.
  Set("7k/5Q2/6K1/8/8/8/8/8 b - -");
  EXPECT_EQ(Search(-Infinity, Infinity, 300, 1, Black, 1), 0);
  EXPECT_EQ(ThinkTo(3), 0u);

  // Bare kings: 0 before any move is generated.
  Set("8/8/3k4/8/8/3K4/8/8 w - -");
  NodeCount = QNodeCount = 0;
  EXPECT_EQ(Search(-Infinity, Infinity, 500, 1, White, 1), 0);
  EXPECT_EQ(NodeCount + QNodeCount, 0u);

  // A position met before in the game is a draw at once.
  Set("r1bqkbnr/pppppppp/2n5/8/8/5N2/PPPPPPPP/RNBQKB1R w KQkq -");
  PushRepetition();
  NodeCount = 0;
  EXPECT_EQ(Search(-Infinity, Infinity, 500, 1, White, 1), 0);
  EXPECT_EQ(undoStack[1].repetition, 1);
  EXPECT_EQ(NodeCount, 0u);
  PopRepetition();
}

TEST_F(SearchTest, CheckExtensionDecidesBetweenFullWidthAndQuiescence) {
  // White in check: depth 25 + 75 is one full ply; depth 0 + 75 goes to quiescence.
  Set("4k3/8/8/8/8/8/4r3/4K3 w - -");
  NodeCount = QNodeCount = 0;
  Search(-Infinity, Infinity, 25, 1, White, 1);
  EXPECT_GE(NodeCount, 1u);
  NodeCount = QNodeCount = 0;
  Search(-Infinity, Infinity, 0, 1, White, 1);
  EXPECT_EQ(NodeCount, 0u);
  EXPECT_GE(QNodeCount, 1u);
}

TEST_F(SearchTest, QuiescenceIgnoresLosingCapturesAndMatesInCheck) {
  // Queen takes a defended pawn: never searched below the horizon, so the score is the
  // stand-pat score whatever the window.
  Set("4k3/8/2p5/3p4/8/8/3Q4/4K3 w - -");
  QNodeCount = 0;
  const int standPat = Quiesce(-Infinity, Infinity, 1, 0, White);
  EXPECT_EQ(QNodeCount, 1u);
  EXPECT_GT(standPat, 0);
  // Mated in the quiescence search: -327670 + 10 ply.
  Set("R5k1/5ppp/8/8/8/8/8/6K1 b - -");
  EXPECT_EQ(Quiesce(-Infinity, Infinity, 3, 0, Black), -MateValue + 30);
}

TEST_F(SearchTest, SameSearchSameTree) {
  const char* fen = "r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQ1RK1 w - -";
  uint32_t nodes[2];
  Move moves[2];
  for (int run = 0; run < 2; run++) {
    Set(fen);
    moves[run] = ThinkTo(6);
    nodes[run] = NodeCount + QNodeCount;
  }
  EXPECT_EQ(nodes[0], nodes[1]);
  EXPECT_EQ(moves[0], moves[1]);
}

TEST_F(SearchTest, FixedTimeStopsNearItsBudgetWithACompleteIteration) {
  Set("r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQ1RK1 w - -");
  gameClock.fixedTime = 50;
  TimeLeft = 50;
  testing::internal::CaptureStdout();
  const Move m = Think(White, 60);
  testing::internal::GetCapturedStdout();
  EXPECT_NE(m, 0u);
  EXPECT_GE(thinkResult.depth, 2);
  EXPECT_EQ(thinkResult.pv[0], m);
  // The budget is charged every 2,048 nodes, so the overrun is a fraction of a second.
  EXPECT_GE(thinkTime, 45);
  EXPECT_LE(thinkTime, 80);
}

TEST_F(SearchTest, SingleLegalMoveIsPlayedWithoutSearching) {
  Set("k7/8/8/8/8/8/8/1R4K1 b - -");
  NodeCount = 0;
  testing::internal::CaptureStdout();
  TimeLeft = 1000;
  const Move m = Think(Black, 60);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(Text(m), "a8a7");
  EXPECT_EQ(NodeCount, 0u);
  EXPECT_EQ(out.find("32"), std::string::npos);
}

TEST_F(SearchTest, TimeBudgetFromTheClock) {
  gameClock.engineTime = 30000;
  gameRecord.moveCount = 10;
  EXPECT_EQ(MoveBudget(), 737);
  gameRecord.moveCount = 30;
  EXPECT_EQ(MoveBudget(), 1053);
  gameRecord.moveCount = 10;
  gameClock.increment = 2;
  EXPECT_EQ(MoveBudget(), 937);
  gameClock.increment = 0;
  gameClock.engineTime = 400;  // no reserve below five seconds
  EXPECT_EQ(MoveBudget(), 10);
}

TEST_F(SearchTest, EngineMovePlaysAndAnnounces) {
  SetInitialPosition();
  ResetForNewPosition();
  NewGameRecord();
  gameClock.fixedDepth = 3;
  testing::internal::CaptureStdout();
  EngineMove(pos.sideToMove);
  const std::string out = testing::internal::GetCapturedStdout();
  ASSERT_EQ(gameRecord.moveCount, 1);
  EXPECT_NE(out.find("move " + Text(gameRecord.slots[0].move) + "\n"), std::string::npos) << out;

  // With no move left the result is announced instead.
  Set("7k/5Q2/6K1/8/8/8/8/8 b - -");
  testing::internal::CaptureStdout();
  EngineMove(pos.sideToMove);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "epd diagram : 7k/5Q2/6K1/8/8/8/8/8 b - - \n1/2-1/2 {Stalemate}\n");
  Set("R6k/6pp/8/8/8/8/8/6K1 b - -");
  testing::internal::CaptureStdout();
  EngineMove(pos.sideToMove);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "epd diagram : R6k/6pp/8/8/8/8/8/6K1 b - - \n1-0 {White Mates}\n");
}

TEST_F(SearchTest, SolvesMostOfAWinAtChessSample) {
  std::ifstream in(std::string(OSTREL_TEST_DATA) + "/epd/wac.epd");
  std::string line;
  int tried = 0, solved = 0;
  std::string missed;
  for (int index = 0; std::getline(in, line) && tried < 50; index++) {
    if (index % 6) continue;  // every sixth position: 50 spread over the suite
    Set(line.c_str());
    const size_t bm = line.find(" bm ");
    ASSERT_NE(bm, std::string::npos) << line;
    const std::string answers = line.substr(bm + 4, line.find(';', bm) - bm - 4);
    const Move m = ThinkTo(6);
    bool hit = false;
    size_t at = 0;
    while (at < answers.size()) {
      size_t next = answers.find(' ', at);
      if (next == std::string::npos) next = answers.size();
      const std::string token = answers.substr(at, next - at);
      testing::internal::CaptureStdout();
      if (!token.empty() && ParseSan(token.c_str(), pos.sideToMove) == m) hit = true;
      testing::internal::GetCapturedStdout();
      at = next + 1;
    }
    tried++;
    solved += hit;
    if (!hit) missed += line.substr(line.find("id ")) + " ";
  }
  EXPECT_EQ(tried, 50);
  EXPECT_GE(solved, 35) << "missed: " << missed;
  RecordProperty("solved", solved);
}
