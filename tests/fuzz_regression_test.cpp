// What the fuzz harnesses (tests/fuzz/) found or cannot reach: their inputs stop at 4 KB, and a
// search that takes a king needs a position no FEN of theirs gets past the guards. Protocol lines
// they found are rows of the conformance table.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/think.h"
#include "tests/capture.h"
#include "tests/position_check.h"

namespace {

using ostrel_test::CheckPosition;

// After an unknown move the interpreter searches for the side not to move (the protocol keeps
// that flip), which can take a king whose side stands in check. The search then moved "the king"
// from the taker's square, and the occupancy no longer matched the board once it was over.
TEST(FuzzRegression, SearchThatTakesAKingLeavesThePositionAsItFoundIt) {
  const char* const positions[] = {
    "2b2b1r/2R2kp1/8/p1Ppp2p/1n2PPP1/PNPN4/RP1B1K2/8 b - -",
    "r1bnB2r/2b3p1/2k1p3/pp1p4/P1N1Pp1p/3P3P/2Q1R3/2R2KN1 b - -",
  };
  Captured([] {
    if (!hashTable) InitHT(MinHashBits);
  });
  for (const char* fen : positions) {
    for (int depth = 3; depth <= 5; depth++) {
      ostrel_test::SetPositionQuietly(fen);
      const Position before = ostrel_test::SnapshotPosition();
      gameClock = GameClock{};
      engineFlags = EngineFlags{};
      TimeLeft = 1000000000;
      Captured([&] { Think(pos.sideToMove ^ 1, depth + 1, ThinkNoClock); });
      EXPECT_EQ(ostrel_test::DiffPositions(before, pos), "") << fen << " at depth " << depth;
    }
  }
}

// Text far longer than any line: the decoder must stay inside its tables and build a sound
// position, and SAN must name a legal move or none.
TEST(FuzzRegression, HugeTextDecodesSoundly) {
  constexpr size_t Huge = 100 * 1024;
  std::string ranks, random;
  while (ranks.size() < Huge) ranks += "8/";
  ostrel_test::TestRandom r(0x100);
  for (size_t i = 0; i < Huge; i++) random += char(1 + r.Below(255));
  for (const std::string& text :
       {std::string(Huge, 'x'), std::string(Huge, '/'), std::string(Huge, '1'), std::string(Huge, '9'),
        std::string(Huge, 'P'), std::string(Huge, 'k'), std::string(Huge, ' '), random, ranks,
        "8/8/8/8/8/8/8/8 w " + std::string(Huge, 'K'), "4k3/8/8/8/8/8/8/4K3 b KQkq " + std::string(Huge, 'e')}) {
    ostrel_test::SetPositionQuietly(text);
    EXPECT_EQ(CheckPosition(), "") << text.substr(0, 40);
  }
  ostrel_test::SetPositionQuietly("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -");
  Move legal[MaxMoves];
  const Move* end = GenerateLegal(legal, White);
  for (const std::string& token : {std::string(Huge, 'N'), "e4" + std::string(Huge, '+'), "O-O" + std::string(Huge, 'O'),
                                   random}) {
    Move m = 0;
    Captured([&] { m = ParseSan(token.c_str(), White); });
    EXPECT_TRUE(!m || std::find(static_cast<const Move*>(legal), end, m) != end) << token.substr(0, 20);
  }
}

// Far more moves than any real game allows (279 for White here); every list must hold them.
TEST(FuzzRegression, PositionsCrowdedWithQueensFitTheMoveLists) {
  ostrel_test::SetPositionQuietly("QQQQQQQk/Q111111Q/Q1111Q1Q/Q111111Q/Q111111Q/Q111111Q/Q111111Q/KQQQQQQQ w - -");
  Move move = 0;
  Captured([&] { move = ParseSan("Qd4", White); });
  Move legal[MaxMoves];
  EXPECT_NE(move, 0u);
  EXPECT_GT(GenerateLegal(legal, White) - legal, 256);
  EXPECT_EQ(CheckPosition(), "");
}

}  // namespace
