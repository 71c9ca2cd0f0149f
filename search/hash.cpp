#include "search/hash.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "board/output.h"
#include "platform/platform.h"
#include "search/pawns.h"

HashBucket* hashTable;
uint64_t hashIndexMask;
int hashBits;
uint32_t hashProbes, hashHits, hashReplacements;

// Set by every store, so that clearing an untouched table (every position set-up clears it) costs
// nothing.
static bool hashDirty;

void ClearHT() {
  if (hashTable && hashDirty) memset(static_cast<void*>(hashTable), 0, (hashIndexMask + 1) * sizeof(HashBucket));
  hashDirty = false;
}

void InitHT(int bits) {
  if (bits < MinHashBits || bits > MaxHashBits) {
    // The file name and line number are fixed text of the message, not this line's own place.
    Print("Error in file hash.cpp in line 28\nInvalid hash table size\n");
    exit(-1);
  }
  Print("InitHT [%d]\n", bits);
  // Without memory for the new size keep the old table; at start-up, when there is none, take
  // the largest size that can be had.
  // Aligned to a huge page, so that every page of the table can be one.
  for (int b = bits; b >= MinHashBits; b--) {
    const size_t bytes = sizeof(HashBucket) << (b - 1);
    HashBucket* table = static_cast<HashBucket*>(operator new[](bytes, std::align_val_t(HugePageBytes), std::nothrow));
    if (table) {
      AdviseHugePages(table, bytes);
      if (hashTable) operator delete[](hashTable, std::align_val_t(HugePageBytes));
      hashTable = table;
      hashBits = b;
      hashIndexMask = (uint64_t(1) << (b - 1)) - 1;
      hashDirty = true;
      ClearHT();
      return;
    }
    Print("InitHT : cannot allocate 2^%d entries\n", b);
    if (hashTable) return;
  }
}

void ResizeHashMegabytes(int megabytes) {
  Print("pawn hash = %d\n", PawnTableBytes);
  // Signed 32-bit arithmetic throughout, wrapping as such arithmetic does.
  const int32_t x1 = int32_t(uint32_t(megabytes) * (1u << 20) - uint32_t(PawnTableBytes));
  Print("x1 = [%d]\n", x1);
  const int32_t x2 = x1 >> 4;
  Print("x2 = [%d]\n", x2);
  const int32_t x3 = x2 / 2;
  Print("x3 = [%d]\n", x3);
  int bits = MinHashBits;
  if (x3 >= (1 << MinHashBits)) {
    bits = MaxHashBits;
    for (int b = MinHashBits; b <= MaxHashBits - 1; b++)
      if (x3 < (1 << b)) {
        bits = b;
        break;
      }
  }
  InitHT(bits);
}

void StoreHash(int score, int type, int depth, Move move) {
  if (depth < 0) depth = 0;
  if (depth > MaxStoredDepth) depth = MaxStoredDepth;
  const uint64_t key = pos.hashKey & HashKeyMask;
  HashEntry entry;
  entry.keyStamp = key | uint64_t(pos.ttAge) << 48 | uint64_t(depth) << 51;
  entry.moveType = (move & HashMoveMask) | uint32_t(type) << 21;
  entry.score = score;
  hashDirty = true;

  HashEntry* slot = hashTable[pos.hashKey & hashIndexMask].slot;
  if (slot[0].moveType <= HashMoveMask) {
    slot[0] = entry;
    return;
  }
  const int stamp0 = int(slot[0].keyStamp >> 48) & 7;
  const int depth0 = int(slot[0].keyStamp >> 51);
  if (stamp0 == pos.ttAge && depth <= depth0) {
    if (slot[1].moveType > HashMoveMask && (slot[1].keyStamp & HashKeyMask) != key) hashReplacements++;
    slot[1] = entry;
    return;
  }
  if ((slot[0].keyStamp & HashKeyMask) != key) {
    hashReplacements++;
    slot[1] = slot[0];
  }
  slot[0] = entry;
}
