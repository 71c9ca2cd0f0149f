// The evaluation: a position and its colour-flipped mirror score exactly opposite (the catch-all for terms mirrored
// wrongly), and term by term on sparse positions whose every term is worked out by hand.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board/fen.h"
#include "board/game.h"
#include "board/position.h"
#include "board/psqscore.h"
#include "search/eval.h"
#include "search/pawns.h"
#include "search/psqtables.h"
#include "search/reset.h"
#include "tests/capture.h"
#include "tests/position_check.h"

namespace {
constexpr int Any = -99999;

void Set(const char* fen) {
  ostrel_test::SetPositionQuietly(fen);
  ResetForNewPosition();
}

// Second-stage value of a position; `halfMoves` is how far the game has gone.
int SecondStage(const char* fen, int halfMoves = 40, int toMove = Any) {
  gameRecord.moveCount = halfMoves;
  Set(fen);
  const int value = EvaluateSecondStage(ProbePawnTable(), toMove == Any ? pos.sideToMove : toMove);
  gameRecord.moveCount = 0;
  return value;
}

const PawnEntry& Formation(const char* fen) {
  Set(fen);
  return ProbePawnTable();
}

// The king-safety gate reads an attacker's occupancy as a number, so only men all standing on a1 and b1 are let off;
// the mirror of that is not. Such positions are the one designed asymmetry and are left out.
bool GateAsymmetric() { return pos.colourOcc[White] < 4 || pos.colourOcc[Black] < 4; }

struct Checked {
  int compared = 0;
  std::string firstFailure;
  void Add(const std::string& fen) {
    bool skip = false;
    int score = 0, mirrored = 0;
    std::string mirror;
    Captured([&] {
      SetPosition(fen.c_str());
      ResetForNewPosition();
      skip = GateAsymmetric() || !pos.pieces[White][KingSlot] || !pos.pieces[Black][KingSlot];
      score = Evaluate(pos.sideToMove);
      mirror = ostrel_test::MirroredFen();
      SetPosition(mirror.c_str());
      ResetForNewPosition();
      skip |= GateAsymmetric();
      mirrored = Evaluate(pos.sideToMove);
    });
    if (skip) return;
    compared++;
    if (score != -mirrored && firstFailure.empty())
      firstFailure = fen + " scores " + std::to_string(score) + ", mirror " + mirror + " scores " +
                     std::to_string(mirrored);
  }
};
}  // namespace

// Catches a term mirrored wrongly for one colour, over the suites' positions and those of random games.
TEST(EvalSymmetry, MirroredPositionsScoreOpposite) {
  Checked checked;
  for (const char* file : {"epd/wac.epd", "epd/bk.epd", "epd/kaufman.epd", "perft/perftsuite.epd",
                           "perft/perft_tricky.epd", "perft/perft_double_checks.epd",
                           "perft/perft_marcel.epd"}) {
    const std::vector<std::string> fens = ostrel_test::ReadEpdPositions(file);
    ASSERT_FALSE(fens.empty()) << file;
    for (const std::string& fen : fens) checked.Add(fen);
  }
  EXPECT_GT(checked.compared, 7000);
  for (int game = 0; game < 60; game++) {
    ostrel_test::RandomGame random("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 1000 + game);
    for (int ply = 0; ply < 120 && random.Play(); ply++) {
      const Position kept = pos;
      checked.Add(PositionToEpd());
      pos = kept;
      pos.psqScore = ComputePsqScore();  // the mirror's set-up rebuilt the tables
    }
  }
  EXPECT_GT(checked.compared, 10000);
  EXPECT_EQ(checked.firstFailure, "");
}

// Catches a second-stage term lost, mis-signed, mis-weighted or read for the wrong side.
TEST(EvalTerms, SecondStageOnPositionsWorkedOutByHand) {
  const struct { const char* fen; int halfMoves, toMove, value; } cases[] = {
      // Bishop pair with no pawns +1000; a 6000 lead against a bare king: 50 per step under 14.
      {"4k3/8/8/8/8/8/8/2B1KB2 w - -", 40, Any, 1000 + 350},
      // A rook: open file +100, 10 per square it sees; on the seventh +800 with the enemy king on
      // its back rank and no pawns there, +250 without.
      {"4k3/8/8/8/8/8/8/R3K3 w - -", 40, Any, 210 + 350},
      {"4k3/R7/8/8/8/8/8/4K3 w - -", 40, Any, 100 + 140 + 800 + 350},
      {"8/R3k3/8/8/8/8/8/4K3 w - -", 40, Any, 100 + 110 + 250 + 50 * (14 - 6)},
      // Knight and bishop against a rook with four pawns +150; the black rook on a pawn-blocked
      // file sees five squares.
      {"r3k3/pp6/8/8/8/8/PP6/1NB1K3 w - -", 40, Any, 150 - 50},
      // Minors at home cost 250 each while the game is young (White four, Black three).
      {"rn1qkbnr/8/8/8/8/8/8/RNBQKBNR w KQkq -", 0, Any, -250 + 1000},
      {"rn1qkbnr/8/8/8/8/8/8/RNBQKBNR w KQkq -", 30, Any, 1000},
      // The extra pawn of a pawn ending +2000; a black king in front stops the sixth-rank +400.
      {"4k3/8/3P4/8/8/8/8/4K3 w - -", 40, Any, 2000},
      // A runaway pawn (no black piece) +2500; on the edge of the square the side to move decides.
      {"8/8/3P4/8/8/8/8/k3K3 w - -", 40, Any, 400 + 2500 + 2000},
      {"8/8/k2P4/8/8/8/8/4K3 w - -", 40, White, 400 + 2500 + 2000},
      {"8/8/k2P4/8/8/8/8/4K3 w - -", 40, Black, 400 + 2000},
      // On the seventh +300; with one black piece the runaway bonus is 2000.
      {"8/3P4/8/8/8/8/n7/k3K3 w - -", 40, Any, 300 + 2000},
  };
  for (const auto& c : cases) EXPECT_EQ(SecondStage(c.fen, c.halfMoves, c.toMove), c.value) << c.fen;
  // Two rooks on one file see each other: +60 for the one behind, besides the squares they see.
  EXPECT_EQ(SecondStage("4k3/8/8/8/8/8/R7/R3K3 w - -") - SecondStage("4k3/8/8/8/8/8/7R/R3K3 w - -"),
            60 + (100 + 10 * 8 + 100 + 10 * 13) - (100 + 10 * 13 + 100 + 10 * 14));
}


// Catches pawn terms (doubled, isolated, passed, backward) mis-scored or given to the wrong side.
TEST(EvalTerms, PawnFormations) {
  constexpr uint64_t A5bit = 1ULL << A5, E5bit = 1ULL << E5, D4bit = 1ULL << D4;
  const struct {
    const char* fen;
    int score;        // White minus Black
    uint64_t passed;  // passed on their fifth rank or beyond
  } cases[] = {
      // b- and c-pawns support each other; only the doubling counts.
      {"4k3/1pp5/8/8/8/1P6/1PP5/4K3 w - -", -85, 0}, {"4k3/1pp5/8/8/1P6/1P6/1PP5/4K3 w - -", -170, 0},
      {"4k3/1pp5/1p6/1p6/8/8/1PP5/4K3 w - -", 170, 0},
      // a5 alone against h7 alone: both isolated; with a neighbour the a-pawn is not.
      {"4k3/7p/8/P7/8/8/8/4K3 w - -", 0, A5bit}, {"4k3/7p/8/P7/8/8/1P6/4K3 w - -", 100, A5bit},
      // Passed only from the fifth rank (Black's fifth is the fourth from White's side); a black
      // pawn ahead on an adjacent file stops it, one behind does not.
      {"4k3/8/8/8/4P3/8/8/4K3 w - -", Any, 0}, {"4k3/8/8/4P3/8/8/8/4K3 w - -", Any, E5bit},
      {"4k3/3p4/8/4P3/8/8/8/4K3 w - -", Any, 0}, {"4k3/8/8/4P3/3p4/8/8/4K3 w - -", Any, E5bit | D4bit},
      {"4k3/8/8/8/3p4/8/8/4K3 w - -", Any, D4bit},
  };
  for (const auto& c : cases) {
    const PawnEntry& e = Formation(c.fen);
    if (c.score != Any) {
      EXPECT_EQ(int(e.score), c.score) << c.fen;
    }
    EXPECT_EQ(uint64_t(e.passed), c.passed) << c.fen;
  }
  // d2 lags behind c3 and e3. A black c-pawn costs Black the same on c5 and on c4, but only from
  // c4 does it hit d3 and make d2 backward; a black pawn on the d-file makes it no backward pawn.
  auto score = [](const char* fen) { return int(Formation(fen).score); };
  EXPECT_EQ(score("4k3/8/8/2p5/8/2P1P3/3P4/4K3 w - -") - score("4k3/8/8/8/2p5/2P1P3/3P4/4K3 w - -"), 80);
  EXPECT_EQ(score("4k3/3p4/8/8/2p5/2P1P3/3P4/4K3 w - -"), score("4k3/3p4/8/2p5/8/2P1P3/3P4/4K3 w - -"));
}

// Catches shelter and open files counted wrongly, and the gate that lets off an attacker whose
// men all stand on a1 and b1 (its occupancy read as a number) applied to any other.
TEST(EvalTerms, KingSafety) {
  const struct { const char* fen; int safety; } cases[] = {
      // Bare kings: each king's index is its base and the open file (4 + 2, and 2 + 4 + 2 more
      // around an e-file king), halved without a queen. White king on a1 or b1: 6 / 2 = 3,
      // danger 250. Black king on e8: 15 / 2 = 7, danger 770, once White's occupancy is 4 or more.
      {"4k3/8/8/8/8/8/8/K7 w - -", -250}, {"4k3/8/8/8/8/8/8/1K6 w - -", -250},
      {"4k3/8/8/8/8/8/8/2K5 w - -", 770 - 250},
      // White (c1): a-pawn home, b and c missing (13), open c-file 4 + 2: 19 / 2 = 9, danger 845. Black (e8): base 1,
      // f-h missing (16), open d, e, f around the king 8, open e-file 4 + 2: 31 / 2 = 15, danger 1020.
      {"4k3/p7/8/8/8/8/P7/2K5 w - -", 1020 - 845},
  };
  for (const auto& c : cases) EXPECT_EQ(KingSafety(Formation(c.fen)), c.safety) << c.fen;
  // White's king-side shelter torn open against a queen costs more.
  EXPECT_LT(KingSafety(Formation("r1bq1rk1/ppp2ppp/2n2n2/3pp3/8/8/PPPPP3/RNBQ1RK1 w - -")),
            KingSafety(Formation("r1bq1rk1/ppp2ppp/2n2n2/3pp3/8/8/PPPPPPPP/RNBQ1RK1 w - -")));
}
