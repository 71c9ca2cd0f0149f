// The transposition table: two-entry buckets of 16-byte entries, indexed by the position key.
#pragma once

#include "board/position.h"

// keyStamp: bits 0-47 the low 48 bits of the key, 48-50 ttAge at the store, 51-63 the depth
//           in hundredths of a ply.
// moveType: bits 0-20 the move, bits 21 and up the type; below 2^21 means empty.
// score:    as the search returned it, mate scores included.
struct HashEntry {
  uint64_t keyStamp;
  uint32_t moveType;
  int32_t score;
};

// Slot 0 prefers depth and the current game move; slot 1 always takes what slot 0 refuses.
struct alignas(32) HashBucket {
  HashEntry slot[2];
};

enum HashType { HashEmpty = 0, UpperBound = 1, LowerBound = 2, ExactScore = 3 };

constexpr int MinHashBits = 17, MaxHashBits = 25, DefaultHashBits = 18;
constexpr uint64_t HashKeyMask = 0xFFFFFFFFFFFFULL;
constexpr uint32_t HashMoveMask = 0x1FFFFF;
constexpr int MaxStoredDepth = 0x1FFF;
constexpr int MatedAtRoot = -327670;

extern HashBucket* hashTable;
extern uint64_t hashIndexMask;  // buckets - 1
extern int hashBits;            // log2 of the number of entries
extern uint32_t hashProbes, hashHits, hashReplacements;

// Sizes the table to 2^bits entries and clears it. Bits outside 17..25 end the program. When
// the memory cannot be had, says so and keeps the table it has (or the largest smaller one).
void InitHT(int bits);
void ClearHT();

// The `hash` command: sizes the table from a budget in megabytes that also covers the pawn
// table, printing the arithmetic on the way.
void ResizeHashMegabytes(int megabytes);

// Looks the key up. On a hit sets hashMove; returns true with `score` set when the entry
// settles the node at this depth and window.
inline bool ProbeHash(uint64_t key, int depth, int alpha, int beta, int ply, Move& hashMove, int& score) {
  hashProbes++;
  const HashEntry* e = hashTable[key & hashIndexMask].slot;
  if (e->moveType <= HashMoveMask) return false;
  if ((e->keyStamp & HashKeyMask) != (key & HashKeyMask)) {
    e++;
    if (e->moveType <= HashMoveMask || (e->keyStamp & HashKeyMask) != (key & HashKeyMask)) return false;
  }
  hashHits++;
  hashMove = e->moveType & HashMoveMask;
  if (int(e->keyStamp >> 51) < depth) return false;
  const int type = int(e->moveType >> 21);
  const int stored = e->score;
  if (type == ExactScore || (type == LowerBound && stored >= beta) || (type == UpperBound && stored <= alpha)) {
    score = stored <= alpha ? alpha : (stored < beta ? stored : beta);
    if (score == MatedAtRoot) score = MatedAtRoot + 10 * ply;
    return true;
  }
  return false;
}

// Asks for the bucket of `key` ahead of its probe: made right after a move, the load overlaps
// the child's first steps instead of stalling its probe.
inline void PrefetchHash(uint64_t key) { __builtin_prefetch(&hashTable[key & hashIndexMask]); }

// Stores the current position's result (key and ttAge from the position).
void StoreHash(int score, int type, int depth, Move move);
