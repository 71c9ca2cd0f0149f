// What the fuzz harnesses found or cannot reach: their inputs stop at 4 KB, and a search that takes a king needs a
// position no FEN of theirs gets past the guards. Protocol lines they found are rows of the conformance table.
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
#include "search/reset.h"
#include "search/think.h"
#include "tests/capture.h"
#include "tests/position_check.h"

namespace {
// After an unknown move the interpreter searches for the side not to move (the protocol keeps
// that flip), which can take a king whose side stands in check. The search then moved "the king"
// from the taker's square, and the occupancy no longer matched the board once it was over.
TEST(FuzzRegression, SearchThatTakesAKingLeavesThePositionAsItFoundIt) {
  const char* const positions[] = {
    "2b2b1r/2R2kp1/8/p1Ppp2p/1n2PPP1/PNPN4/RP1B1K2/8 b - -",
    "r1bnB2r/2b3p1/2k1p3/pp1p4/P1N1Pp1p/3P3P/2Q1R3/2R2KN1 b - -",
  };
  Captured([] { if (!hashTable) InitHT(MinHashBits); });
  for (const char* fen : positions) {
    for (int depth = 3; depth <= 5; depth++) {
      ostrel_test::SetPositionQuietly(fen);
      ResetForNewPosition();
      const Position before = ostrel_test::SnapshotPosition();
      gameClock = GameClock{}, engineFlags = EngineFlags{}, TimeLeft = 1000000000;
      Captured([&] { Think(pos.sideToMove ^ 1, depth + 1, ThinkNoClock); });
      EXPECT_EQ(ostrel_test::DiffPositions(before, pos), "") << fen << " at depth " << depth;
    }
  }
}

// Text far longer than any line, every prefix of a position and tokens that are nearly SAN: the
// decoder must stay inside its tables and build a sound position, and SAN must name a legal move
// or none. (The unit tests run in every build; the fuzzers only in their own.)
TEST(FuzzRegression, OddTextDecodesSoundly) {
  constexpr size_t Huge = 100 * 1024;
  const std::string full = "rnb1k2r/pp1p1p1p/1q1P4/2pnpPp1/6P1/2N5/PP1BP2P/R2QKBNR w KQkq e6 0 1";
  std::string ranks, random;
  while (ranks.size() < Huge) ranks += "8/";
  ostrel_test::TestRandom r(0x100);
  for (size_t i = 0; i < Huge; i++) random += char(1 + r.Below(255));
  std::vector<std::string> texts = {
      std::string(Huge, 'x'), std::string(Huge, '/'), std::string(Huge, '1'), std::string(Huge, '9'),
      std::string(Huge, 'P'), std::string(Huge, 'k'), std::string(Huge, ' '), random, ranks,
      "8/8/8/8/8/8/8/8 w " + std::string(Huge, 'K'), "4k3/8/8/8/8/8/8/4K3 b KQkq " + std::string(Huge, 'e'),
      "rnbqkbnr w KQkq e6", " b"};
  for (size_t n = 0; n <= full.size(); n++) texts.push_back(full.substr(0, n));
  for (const std::string& text : texts) {
    ostrel_test::SetPositionQuietly(text);
    EXPECT_STREQ(PositionFault(pos.sideToMove), "") << text.substr(0, 40);
  }
  const std::vector<std::string> tokens = {
      std::string(Huge, 'N'), "e4" + std::string(Huge, '+'), "O-O" + std::string(Huge, 'O'), random, "",
      "O-O+", "Z5", "1-0", "1/2-1/2", "Nxx", "e", "e9", "a0", "hx", "x", "O-O-O", "o-o", "O", "o-o-o-o", "Kx",
      "Nb", "N1", "R1x", "Qh9", "B0a", "exd", "e8=", "ex", "N1x", "Nbx", "b\t", "dxe6", "Nge2", "Bb5+",
      "O-O"};
  for (const char* fen : {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -", full.c_str()}) {
    ostrel_test::SetPositionQuietly(fen);
    Move legal[MaxMoves];
    const Move* end = GenerateLegal(legal, White);
    for (const std::string& token : tokens) {
      Move m = 0;
      Captured([&] { m = ParseSan(token.c_str(), White); });
      EXPECT_TRUE(!m || std::find(static_cast<const Move*>(legal), end, m) != end) << token.substr(0, 20);
    }
  }
}

// Far more moves than any real game allows (279 for White here); every list must hold them.
TEST(FuzzRegression, PositionsCrowdedWithQueensFitTheMoveLists) {
  ostrel_test::SetPositionQuietly(
      "QQQQQQQk/Q111111Q/Q1111Q1Q/Q111111Q/Q111111Q/Q111111Q/Q111111Q/KQQQQQQQ w - -");
  Move move = 0;
  Captured([&] { move = ParseSan("Qd4", White); });
  Move legal[MaxMoves];
  EXPECT_NE(move, 0u);
  EXPECT_GT(GenerateLegal(legal, White) - legal, 256);
  EXPECT_STREQ(PositionFault(pos.sideToMove), "");
}
}  // namespace
