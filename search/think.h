// The driver of one search: time budget, book, iterative deepening, thinking output.
#pragma once

#include "board/types.h"
#include "search/search.h"

// The current result of Think, readable while it runs (the "." status command prints it).
struct ThinkResult {
  int depth;   // last completed iteration
  int score;   // its score, centipawns
  int pvLength;
  Move pv[MaxSearchPly];
};
extern ThinkResult thinkResult;

// Searches the global position for `side` to at most `maxDepth` plies within TimeLeft and the
// shell's limits; returns the move to play, or 0 when there is none.
Move Think(int side, int maxDepth);

// The engine's own move in a game: budget from the clocks, Think, then "move ..." (made on the
// game board) or the result line when the side to move has no move.
void EngineMove();
