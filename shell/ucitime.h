// How long a UCI session thinks on a move. Everything is in milliseconds of the real clock, as the
// GUI sends it; nothing of the xboard budget (its clock conversion, reserve, floor and increment
// rule) applies here.
#pragma once

#include <cstdint>

// Two deadlines, counted from the moment the search starts (or from ponderhit).
struct MovePlan {
  int64_t softMs;  // a completed iteration past this starts no further one
  int64_t hardMs;  // the search stops here, mid-iteration if need be
  // Playing on a clock, time not spent now is spent later, so no iteration is started that looks
  // unable to finish by the hard deadline (an unfinished one is thrown away). With a fixed time
  // per move there is no later, and the whole time is used.
  bool savesTime;
};

// The plan for a move with `clockMs` left on our clock, `incrementMs` added after each move and
// `movesToGo` moves until the next time control (0: the clock must last the game).
MovePlan PlanMove(int64_t clockMs, int64_t incrementMs, int movesToGo);

// The plan for `go movetime`: the time asked for, less what the pipes need, as both deadlines.
MovePlan PlanFixedMove(int64_t moveTimeMs);

// Whether a search that has used `elapsedMs`, whose last iteration took `iterationMs`, should
// start another one under `plan`.
bool StartNextIteration(const MovePlan& plan, int64_t elapsedMs, int64_t iterationMs);
