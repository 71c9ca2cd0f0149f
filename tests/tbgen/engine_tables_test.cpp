// The engine's search with generated tables: it keeps every promise of a won table to the move,
// against the longest defence the table knows, with either colour the stronger.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board/fen.h"
#include "board/game.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "board/position.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/pawns.h"
#include "search/reset.h"
#include "search/think.h"
#include "tablebases/files.h"
#include "tablebases/probe.h"
#include "tablebases/registry.h"
#include "tests/capture.h"

namespace {

constexpr int NoAnswer = -1;

class EngineWithTables : public testing::Test {
 protected:
  static std::vector<uint8_t> cache;

  static void SetUpTestSuite() {
    InitPawnTables();  // the evaluation's, which the generator's tests need not
    int men = 0;
    Captured([&] {
      InitHT(MinHashBits);
      men = InitTablebases(OSTREL_TB_DIR);
    });
    ASSERT_GE(men, 3);
    cache.resize(TablebaseCacheBytes);
    SetTablebaseCache(cache.data(), cache.size());
    engineFlags = EngineFlags{};
  }

  static void TearDownTestSuite() {
    InitTablebases("");
    SetTablebaseCache(nullptr, 0);
  }

  static void Set(const char* fen) {
    Captured([fen] {
      SetPosition(fen);
      ResetForNewPosition();
      NewGameRecord();
    });
  }

  static void Play(Move m) {
    Captured([m] { PlayGameMove(MoveFrom(m), MoveTo(m), MovePromotion(m)); });
  }

  static Move Think(int plies) {
    TimeLeft = 1000000000;
    Move m = 0;
    Captured([&] { m = ::Think(pos.sideToMove, plies + 1, ThinkNoClock); });
    return m;
  }

  // Moves to mate for the side to move when its table has it winning, else NoAnswer.
  static int MovesToMate() {
    int score;
    return ProbeTablebase(pos.sideToMove, &score) && score > 0 ? 32767 - score / 10 : NoAnswer;
  }
};

std::vector<uint8_t> EngineWithTables::cache;

// Catches a probe, a search or a table that breaks a table's promise: the engine, playing a won
// table position, mates in exactly the moves promised against the longest defence.
TEST_F(EngineWithTables, WinsAreMatedInTheMovesTheTablePromises) {
  const char* const wins[] = {
      "8/8/8/3k4/8/8/8/KQ6 w - -",  "7k/8/8/8/8/8/8/KQ6 w - -",    "kq6/8/8/8/8/8/8/7K b - -",
      "8/8/3k4/8/8/8/8/K6R w - -",  "k7/8/8/8/8/8/8/6RK w - -",    "8/8/8/4K3/8/8/1k6/7r b - -",
  };
  for (const char* fen : wins) {
    Set(fen);
    const int promised = MovesToMate();
    ASSERT_GT(promised, 2) << fen;
    for (int played = 0; played < promised; played++) {
      ASSERT_EQ(MovesToMate(), promised - played) << fen;
      const Move m = Think(3);
      ASSERT_NE(m, 0u) << fen;
      Play(m);
      // The loser answers with the reply after which the win is longest.
      Move list[MaxMoves];
      Move* end = GenerateLegal(list, pos.sideToMove);
      if (played + 1 == promised) {
        EXPECT_EQ(end, list) << fen << " not mated after " << CoordinateText(m);
        EXPECT_TRUE(KingAttacked(pos.sideToMove)) << fen;
        break;
      }
      Move longest = 0;
      int longestMoves = 0;
      for (Move* r = list; r < end; r++) {
        Play(*r);
        const int moves = MovesToMate();
        Captured([] { UndoMove(); });
        ASSERT_NE(moves, NoAnswer) << fen << " " << CoordinateText(*r) << " escapes the win";
        if (moves > longestMoves) longest = *r, longestMoves = moves;
      }
      ASSERT_EQ(longestMoves, promised - played - 1) << fen << " after " << CoordinateText(m);
      Play(longest);
    }
  }
}

}  // namespace
