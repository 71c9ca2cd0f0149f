// Transposition table: the replacement rule and the bounds a probe settles. (Its sizing report is a row
// of the conformance table.)
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board/fen.h"
#include "search/hash.h"
#include "tests/capture.h"

namespace {
class HashTest : public testing::Test {
 protected:
  void SetUp() override {
    Captured([] { if (hashBits != MinHashBits) InitHT(MinHashBits); SetInitialPosition(); });
    ClearHT();
    hashProbes = hashHits = hashReplacements = 0;
  }
};
}  // namespace

// Catches slot 0 taken by a store it should refuse (or refusing one it should take), a refused
// store lost instead of going to slot 1, and replacements miscounted.
TEST_F(HashTest, ReplacementRule) {
  constexpr int Empty = 0;
  // The game move (pos.ttAge) at the store, and whether it is another position of the same bucket;
  // the scores found in the two slots after the stores (Empty for an empty slot).
  struct Store { int gameMove; bool other; int depth, score; };
  const struct { std::vector<Store> stores; int slot0, slot1; uint32_t replacements; } cases[] = {
      {{{0, false, 600, 1}, {0, false, 300, 2}}, 1, 2, 0},  // shallower: slot 1
      {{{0, false, 600, 1}, {0, false, 600, 2}}, 1, 2, 0},  // as deep: slot 1
      {{{0, false, 300, 1}, {0, false, 900, 2}}, 2, Empty, 0},  // deeper, same key: nothing pushed down
      {{{0, false, 600, 1}, {1, true, 100, 2}}, 2, 1, 1},   // a later game move pushes the old entry down
      {{{0, false, 600, 1}, {1, true, 100, 2}, {2, true, 200, 3}}, 3, 1, 1},
      {{{0, false, 600, 1}, {0, true, 100, 2}, {0, true, 50, 3}}, 1, 3, 0},
      {{{0, false, 600, 1}, {0, true, 100, 2}, {0, false, 50, 3}}, 1, 3, 1},
  };
  const uint64_t key = pos.hashKey;
  for (const auto& c : cases) {
    ClearHT();
    hashReplacements = 0;
    for (const Store& s : c.stores) {
      pos.ttAge = s.gameMove;
      pos.hashKey = key + (s.other ? hashIndexMask + 1 : 0);
      StoreHash(s.score, ExactScore, s.depth, Move(s.score));
    }
    const HashEntry* bucket = hashTable[key & hashIndexMask].slot;
    const std::string label = std::to_string(&c - cases);
    EXPECT_TRUE(bucket[0].score == c.slot0 && bucket[1].score == c.slot1) << label;
    if (c.slot1 == Empty) {
      EXPECT_EQ(bucket[1].moveType, 0u) << label;
    }
    EXPECT_EQ(hashReplacements, c.replacements) << label;
  }
  pos.hashKey = key;
  pos.ttAge = 0;
}

// Catches a bound settling a node it does not prove, a score not clamped to the window, a too-shallow entry used, a
// mate at the root not counted from the ply, and the second slot or the depth clamp lost.
TEST_F(HashTest, ProbeSettlesOnlyWhatTheBoundProves) {
  constexpr int No = 0;
  // score No: the probe settles nothing, but gives the move
  const struct { int type, stored, storedDepth, depth, alpha, beta, ply, score; } cases[] = {
      {UpperBound, -5000, 500, 500, -1000, 1000, 1, -1000},  // at or below alpha: alpha
      {UpperBound, -5000, 500, 500, -6000, 1000, 1, No},
      {UpperBound, -5000, 500, 600, -1000, 1000, 1, No},     // too shallow
      {LowerBound, 5000, 500, 400, -1000, 1000, 1, 1000},    // at or above beta: beta
      {LowerBound, 5000, 500, 400, -1000, 6000, 1, No}, {ExactScore, 250, 500, 500, -1000, 1000, 1, 250},
      {ExactScore, 250, 500, 500, 300, 1000, 1, 300},
      {ExactScore, MatedAtRoot, 500, 500, -327680, 327680, 7, MatedAtRoot + 70},
      {ExactScore, 5, 20000, MaxStoredDepth, -10, 10, 1, 5},
      {ExactScore, 5, 20000, MaxStoredDepth + 1, -10, 10, 1, No},
  };
  for (const auto& c : cases) {
    for (bool secondSlot : {false, true}) {
      ClearHT();
      Move move = 0;
      int score = No;
      if (secondSlot) {  // a deeper entry of another position keeps slot 0
        pos.hashKey += hashIndexMask + 1;
        StoreHash(1, ExactScore, MaxStoredDepth, 1);
        pos.hashKey -= hashIndexMask + 1;
      }
      EXPECT_FALSE(ProbeHash(pos.hashKey, c.depth, c.alpha, c.beta, c.ply, move, score));
      StoreHash(c.stored, c.type, c.storedDepth, 4242);
      const bool settles = ProbeHash(pos.hashKey, c.depth, c.alpha, c.beta, c.ply, move, score);
      const std::string label = std::to_string(&c - cases) + (secondSlot ? " in slot 1" : "");
      EXPECT_EQ(settles, c.score != No) << label;
      if (settles) {
        EXPECT_EQ(score, c.score) << label;
      }
      EXPECT_EQ(move, 4242u) << label;
    }
  }
}
