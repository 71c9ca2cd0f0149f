// The driver of one search: time budget, book, iterative deepening, thinking output.
#pragma once

#include <cstdio>

#include "board/types.h"
#include "search/search.h"

// The current result of Think, readable while it runs (the "." status command prints it).
struct ThinkResult {
  int depth;   // last completed iteration, 0 before the first
  int score;   // its score, centipawns
  int pvLength;
  Move pv[MaxSearchPly];
};
extern ThinkResult thinkResult;

// Hundredths of a second the last Think used.
extern int32_t thinkTime;

// When set, each search ends by writing the position and its result there as EPD operations
// (acd, acn, acs, bm, ce, pv): the EPD analysis mode's result file under -epdmode.
extern FILE* thinkEpdOutput;

// Where a search's progress goes. Left null, Think writes xboard's thinking lines (while post is
// on) and the "epd diagram" line. A UCI session installs its own writer: Think then writes none
// of these and calls it for each new best root move (`completed` false) and after each completed
// iteration (`completed` true), post or not. Scores are the search's own (a pawn is 1000). The
// writer may set TimeLeft below 1; after a completed iteration no further one then starts.
typedef void (*ThinkReporter)(int depth, int score, const Move* pv, int pvLength, bool completed);
extern ThinkReporter thinkReporter;

enum ThinkFlags {
  ThinkNormal = 0,
  // Never charge the clock or poll the input, so that the tree depends on nothing but the
  // position and the depth (the benchmark's node count is a signature of the engine's behaviour).
  ThinkNoClock = 1,
};

// Searches the global position for `side` to at most `maxDepth` plies within TimeLeft and the
// shell's limits; returns the move to play, or 0 when there is none (or only kings are left).
Move Think(int side, int maxDepth, int flags = ThinkNormal);

// Hundredths of a second for the engine's next move: the clock less a 5-second reserve, spread
// over 40 moves early in the game and 28 later, plus the increment when there is time to spare.
int32_t MoveBudget();

// The engine's own move for `side` in a game: budget from the clocks, Think, then the move made
// on the game board and announced ("move e2e4"), or the result line when there is none. Returns
// the move (0 for none, and in analysis mode, where nothing is played).
Move EngineMove(int side);

// The result line for `side` having no move: mated when in check, else stalemated.
void PrintResult(int side);
