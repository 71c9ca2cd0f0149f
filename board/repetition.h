// Positions met so far in the game and on the current search path, bucketed by key.
#pragma once

#include "board/position.h"

constexpr int RepetitionBuckets = 16;
constexpr int RepetitionBucketSize = 128;

struct RepetitionBucket {
  int count;
  uint64_t keys[RepetitionBucketSize];
};

extern RepetitionBucket repetitionList[RepetitionBuckets];

// Records the current position. A full bucket still counts the push, so that pushes and pops
// stay paired, but keeps no key beyond its room.
inline void PushRepetition() {
  RepetitionBucket& b = repetitionList[pos.hashKey & 15];
  if (b.count < RepetitionBucketSize) b.keys[b.count] = pos.hashKey;
  b.count++;
}

// Drops the last key of the current position's bucket (the position of the matching push).
inline void PopRepetition() {
  RepetitionBucket& b = repetitionList[pos.hashKey & 15];
  if (b.count > 0) b.count--;
}

// True when the current position occurred before; once is enough to call it a draw.
inline bool IsRepetition() {
  const RepetitionBucket& b = repetitionList[pos.hashKey & 15];
  const int n = b.count < RepetitionBucketSize ? b.count : RepetitionBucketSize;
  for (int i = 0; i < n; i++)
    if (b.keys[i] == pos.hashKey) return true;
  return false;
}

void ClearRepetitions();
