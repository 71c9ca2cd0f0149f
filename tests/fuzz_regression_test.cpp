// Inputs the fuzz harnesses (tests/fuzz/) and the chaos test found faults with. Through the real
// engine, the sanitizer build ends it at the first undefined operation, so such a case only has
// to show that the engine is still there and answering afterwards.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "board/fen.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/reset.h"
#include "search/think.h"
#include "tests/engine_process.h"

namespace {

constexpr int ReplyMs = 15000;

TEST(FuzzRegression, ProtocolLinesEngineSurvives) {
  const char* const lines[] = {
    // Clock figures beyond 32 bits.
    "level 40 555555555555 0", "level 40 99999999:5999999999 99999999999", "time 99999999999",
    "time 4294967295", "st 99999999999", "level 1 1 4294967295", "go",
    // Two kings a side, where every root move scores -Infinity.
    "new", "sd 3", "edit", "#", "Ka2", "Ke1", "c", "Ke8", "Kh8", "Qb2", ".", "white", "go",
  };
  EngineProcess engine;
  ASSERT_TRUE(StartEngine(engine));
  Send(engine, "sd 3");
  Send(engine, "white");
  for (const char* line : lines) Send(engine, line);
  Send(engine, "print");
  ASSERT_TRUE(WaitForExact(engine, "Process Queue Line [print]", ReplyMs)) << Tail(engine);
  Send(engine, "quit");
  EXPECT_TRUE(WaitForExit(engine, ReplyMs));
}

// After an unknown move the interpreter searches for the side not to move (the protocol keeps
// that flip), which can take a king whose side stands in check. The search then moved "the king"
// from the taker's square, and the occupancy no longer matched the board once it was over.
TEST(FuzzRegression, SearchThatTakesAKingLeavesThePositionAsItFoundIt) {
  const char* const positions[] = {
    "2b2b1r/2R2kp1/8/p1Ppp2p/1n2PPP1/PNPN4/RP1B1K2/8 b - -",
    "r1bnB2r/2b3p1/2k1p3/pp1p4/P1N1Pp1p/3P3P/2Q1R3/2R2KN1 b - -",
  };
  testing::internal::CaptureStdout();
  if (!hashTable) InitHT(MinHashBits);
  for (const char* fen : positions) {
    for (int depth = 3; depth <= 5; depth++) {
      SetPosition(fen);
      ResetForNewPosition();
      static Position before;
      memcpy(&before, &pos, sizeof pos);
      gameClock = GameClock{};
      engineFlags = EngineFlags{};
      TimeLeft = 1000000000;
      Think(pos.sideToMove ^ 1, depth + 1, ThinkNoClock);
      EXPECT_EQ(memcmp(&before, &pos, sizeof pos), 0) << fen << " at depth " << depth;
    }
  }
  testing::internal::GetCapturedStdout();
}

}  // namespace
