// Transposition table: the replacement rule, the bounds a probe settles, and the sizing report.
#include <gtest/gtest.h>

#include <string>

#include "board/fen.h"
#include "search/hash.h"

namespace {

class HashTest : public testing::Test {
 protected:
  void SetUp() override {
    testing::internal::CaptureStdout();
    if (hashBits != MinHashBits) InitHT(MinHashBits);
    SetInitialPosition();
    testing::internal::GetCapturedStdout();
    ClearHT();
    hashProbes = hashHits = hashReplacements = 0;
  }
  static const HashEntry* Bucket() { return hashTable[pos.hashKey & hashIndexMask].slot; }
  static int Depth(const HashEntry& e) { return int(e.keyStamp >> 51); }
};

}  // namespace

TEST_F(HashTest, SameGameMoveShallowerStoreGoesToSlotOne) {
  StoreHash(500, ExactScore, 600, 1234);
  StoreHash(-200, LowerBound, 300, 4321);
  const HashEntry* b = Bucket();
  EXPECT_EQ(b[0].score, 500);
  EXPECT_EQ(Depth(b[0]), 600);
  EXPECT_EQ(b[1].score, -200);
  EXPECT_EQ(b[1].moveType & HashMoveMask, 4321u);
  EXPECT_EQ(int(b[1].moveType >> 21), LowerBound);
}

TEST_F(HashTest, LaterGameMoveTakesSlotZeroAndPushesTheOldEntryDown) {
  StoreHash(500, ExactScore, 600, 1234);
  const uint64_t firstKey = pos.hashKey;
  pos.ttAge = (pos.ttAge + 1) & 7;
  pos.hashKey += hashIndexMask + 1;  // same bucket, other position
  StoreHash(100, UpperBound, 100, 99);
  const HashEntry* b = Bucket();
  EXPECT_EQ(b[0].score, 100);
  EXPECT_EQ(int(b[0].keyStamp >> 48) & 7, pos.ttAge);
  EXPECT_EQ(b[1].keyStamp & HashKeyMask, firstKey & HashKeyMask);
  EXPECT_EQ(hashReplacements, 1u);

  // The same position again at a new game move: slot 0 is overwritten, slot 1 stays.
  pos.ttAge = (pos.ttAge + 1) & 7;
  StoreHash(300, ExactScore, 200, 77);
  EXPECT_EQ(b[0].score, 300);
  EXPECT_EQ(b[1].keyStamp & HashKeyMask, firstKey & HashKeyMask);
  EXPECT_EQ(hashReplacements, 1u);
}

TEST_F(HashTest, DeeperStoreInTheSameGameMoveTakesSlotZero) {
  StoreHash(500, ExactScore, 300, 1);
  StoreHash(700, ExactScore, 900, 2);
  EXPECT_EQ(Bucket()[0].score, 700);
  EXPECT_EQ(Bucket()[1].moveType, 0u);  // same key: nothing pushed down
}

TEST_F(HashTest, ProbeSettlesOnlyWhatTheBoundProves) {
  Move move = 0;
  int score = 0;
  const uint64_t key = pos.hashKey;
  EXPECT_FALSE(ProbeHash(key, 100, -1000, 1000, 1, move, score));
  EXPECT_EQ(hashHits, 0u);

  StoreHash(-5000, UpperBound, 500, 4242);
  EXPECT_TRUE(ProbeHash(key, 500, -1000, 1000, 1, move, score));
  EXPECT_EQ(score, -1000);  // at or below alpha: alpha
  EXPECT_EQ(move, 4242u);
  EXPECT_FALSE(ProbeHash(key, 500, -6000, 1000, 1, move, score));
  EXPECT_FALSE(ProbeHash(key, 600, -1000, 1000, 1, move, score));  // too shallow, move still given
  EXPECT_EQ(move, 4242u);

  ClearHT();
  StoreHash(5000, LowerBound, 500, 1);
  EXPECT_TRUE(ProbeHash(key, 400, -1000, 1000, 1, move, score));
  EXPECT_EQ(score, 1000);  // at or above beta: beta
  EXPECT_FALSE(ProbeHash(key, 400, -1000, 6000, 1, move, score));

  ClearHT();
  StoreHash(250, ExactScore, 500, 1);
  EXPECT_TRUE(ProbeHash(key, 500, -1000, 1000, 1, move, score));
  EXPECT_EQ(score, 250);
  EXPECT_TRUE(ProbeHash(key, 500, 300, 1000, 1, move, score));
  EXPECT_EQ(score, 300);

  ClearHT();
  StoreHash(MatedAtRoot, ExactScore, 500, 0);
  EXPECT_TRUE(ProbeHash(key, 500, -327680, 327680, 7, move, score));
  EXPECT_EQ(score, MatedAtRoot + 70);
  EXPECT_EQ(hashProbes, 9u);
}

TEST_F(HashTest, SecondSlotIsFoundAndDepthIsClamped) {
  const uint64_t key = pos.hashKey;
  StoreHash(1, ExactScore, 20000, 5);
  EXPECT_EQ(Depth(Bucket()[0]), MaxStoredDepth);
  pos.hashKey = key + (hashIndexMask + 1);
  StoreHash(2, ExactScore, 100, 6);  // same game move, shallower: slot 1
  Move move = 0;
  int score = 0;
  EXPECT_TRUE(ProbeHash(pos.hashKey, 100, -10, 10, 1, move, score));
  EXPECT_EQ(score, 2);
  EXPECT_EQ(move, 6u);
  pos.hashKey = key;
}

TEST(HashSizing, MegabytesChooseThePowerOfTwo) {
  testing::internal::CaptureStdout();
  ResizeHashMegabytes(8);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "pawn hash = 7864320\nx1 = [524288]\nx2 = [32768]\nx3 = [16384]\nInitHT [17]\n");
  EXPECT_EQ(hashBits, 17);
  testing::internal::CaptureStdout();
  ResizeHashMegabytes(1);  // less than the pawn table: negative, smallest table
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "pawn hash = 7864320\nx1 = [-6815744]\nx2 = [-425984]\nx3 = [-212992]\nInitHT [17]\n");
}
