#include "board/keys.h"

#include <cstring>

uint64_t pieceKey[2][7][64];
uint64_t whiteToMoveKey;
uint64_t blackToMoveKey;
uint64_t sideKey;
uint64_t pawnKey[2][64];

static const uint32_t seedWords[55] = {
  1410651636, 3012776752, 3497475623, 2892145026, 1571949714, 3253082284, 3489895018, 387949491,
  2597396737, 1981903553, 3160251843, 129444464,  1851443344, 4156445905, 224604922,  1455067070,
  3953493484, 1460937157, 2528362617, 317430674,  3229354360, 117491133,  832845075,  1961600170,
  1321557429, 747750121,  545747446,  810476036,  503334515,  4088144633, 2824216555, 3738252341,
  3493754131, 3672533954, 29494241,   1180928407, 4213624418, 33062851,   3221315737, 1145213552,
  2957984897, 4078668503, 2262661702, 65478801,   2527208841, 1960622036, 315685891,  1196037864,
  804614524,  1421733266, 2017105031, 3882325900, 810735053,  384606609,  2393861397};

static uint32_t randomTable[55];
static int randomI = 23, randomJ = 54;
static bool randomSeeded = false;

void ResetAdditiveRandom() {
  memcpy(randomTable, seedWords, sizeof randomTable);
  randomI = 23;
  randomJ = 54;
  randomSeeded = true;
}

uint32_t AdditiveRandom() {
  if (!randomSeeded) ResetAdditiveRandom();
  uint32_t result = randomTable[randomJ] += randomTable[randomI];
  if (--randomI < 0) randomI = 54;
  if (--randomJ < 0) randomJ = 54;
  return result;
}

uint64_t AdditiveRandom64() {
  uint64_t low = AdditiveRandom();
  uint64_t high = AdditiveRandom();
  return high << 32 | low;
}

void InitKeys() {
  ResetAdditiveRandom();
  for (int side = Black; side <= White; side++)
    for (int square = 0; square < 64; square++)
      for (int type = 0; type <= King; type++) pieceKey[side][type][square] = AdditiveRandom64();
  whiteToMoveKey = AdditiveRandom64();
  blackToMoveKey = AdditiveRandom64();
  sideKey = whiteToMoveKey ^ blackToMoveKey;
  for (int side = Black; side <= White; side++)
    for (int square = 0; square < 64; square++) pawnKey[side][square] = AdditiveRandom64();
}
