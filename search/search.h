// Alpha-beta and quiescence search over the global position. Scores are from the side to move's
// point of view, depths in hundredths of a ply.
#pragma once

#include <cstring>

#include "board/types.h"

// Deepest ply a search path may reach, extensions and quiescence included; a node there is
// scored statically. It stays below the undo slots kept for other uses (makemove.h).
constexpr int MaxSearchPly = 240;

constexpr int OnePly = 100;
constexpr int Infinity = 327680;
constexpr int MateValue = 327670;   // the side to move mated at ply p scores -MateValue + 10 p
constexpr int MatedBelow = -319999; // scores below this: the side to move is being mated
constexpr int MatingFrom = 320000;  // scores from this up: the side to move mates

struct KillerSlot {
  Move move;
  int count;  // the slot counts only from 1 up
};

// Where the previous iteration's principal variation is still being followed.
struct FollowPvCursor {
  const Move* next;
  int left;
};

extern Move PvTable[MaxSearchPly][MaxSearchPly];
extern int PvLength[MaxSearchPly];

// Writes `m` followed by the child's line into `line`; returns the new line's length.
inline int ExtendLine(Move* line, Move m, const Move* child, int childLength) {
  line[0] = m;
  memcpy(line + 1, child, sizeof(Move) * size_t(childLength));
  return childLength + 1;
}

// The line of `ply` becomes `m` followed by the line of the child.
inline void ExtendPv(int ply, Move m) {
  PvLength[ply] = ExtendLine(PvTable[ply], m, PvTable[ply + 1], PvLength[ply + 1]);
}
extern KillerSlot KillerTable[MaxSearchPly + 1][2];
extern uint32_t HistoryTable[2][4096];        // [side][from-to]
extern Move CounterMoveTable[2][7][4096];     // [side][previous move's piece][previous from-to]
extern int CounterMoveDepth[7][4096];
extern FollowPvCursor FollowPv;
extern uint32_t FailHighCount;
extern uint32_t FullEvalCount;
extern int LazyMargin;  // grows to the largest gap ever seen between the two evaluation stages
constexpr int InitialLazyMargin = 2000;

// One full-width node. Returns 0 at once when TimeLeft falls below 1: callers test TimeLeft after
// every child before trusting a score.
int Search(int alpha, int beta, int depth, int ply, int side, int nullAllowed);

// Captures (and check evasions) below the horizon, standing pat on the static evaluation.
int Quiesce(int alpha, int beta, int ply, int depth, int side);

// Killer bookkeeping for a move that was best or refuted at `ply` (the driver uses it at the root).
void UpdateKillers(Move m, int ply);
