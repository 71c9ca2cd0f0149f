#include "shell/ucitime.h"

// Kept off every deadline for what the clock of the GUI sees and ours does not: waking up, the
// pipes both ways, the GUI's own reading. A clock shorter than twice this keeps half of itself.
constexpr int64_t PipeReserveMs = 30;
// The same costs, paid again on every move still to come: counting them keeps a cushion on the
// clock (about this much per move of the horizon) that the increments do not eat away, so a
// machine that stalls the engine for a moment does not cost the game.
constexpr int64_t MoveLatencyMs = 20;
// Without moves-to-go the clock is spread as if this many moves were left; as the clock runs
// down each move takes the same share of a smaller rest, and the increment carries the end.
constexpr int GameHorizonMoves = 30;
// A completed iteration past this share of the target starts no further one (tenths).
constexpr int SoftShareTenths = 6;
// The hard deadline may stretch the target this far, for an iteration that changes its mind.
constexpr int HardStretch = 4;
// The next iteration is taken to last this many times the last one; it is not started when it
// would end past the hard deadline, where it would be thrown away unfinished.
constexpr int NextIterationGrowth = 2;

static int64_t Usable(int64_t ms) {
  const int64_t reserve = ms / 2 < PipeReserveMs ? ms / 2 : PipeReserveMs;
  return ms > reserve ? ms - reserve : 0;
}

MovePlan PlanMove(int64_t clockMs, int64_t incrementMs, int movesToGo) {
  const int64_t usable = Usable(clockMs);
  const int horizon = movesToGo > 0 ? movesToGo : GameHorizonMoves;
  // The last move before a new control may spend most of what is left; any other keeps half.
  const int64_t cap = horizon == 1 ? usable * 4 / 5 : usable / 2;
  // The clock and the increments still to come, less the latency of each move, in equal shares.
  const int64_t increment = incrementMs > 0 ? incrementMs : 0;
  const int64_t pool = usable + (horizon - 1) * increment - horizon * MoveLatencyMs;
  int64_t target = pool / horizon;
  // A clock too short for that cushion still thinks a little on every move.
  if (target < usable / (2 * horizon)) target = usable / (2 * horizon);
  if (target > cap) target = cap;
  int64_t hard = target * HardStretch;
  if (hard > cap) hard = cap;
  MovePlan plan;
  plan.softMs = target * SoftShareTenths / 10;
  plan.hardMs = hard > 1 ? hard : 1;
  plan.savesTime = true;
  return plan;
}

MovePlan PlanFixedMove(int64_t moveTimeMs) {
  const int64_t usable = Usable(moveTimeMs);
  MovePlan plan;
  plan.softMs = plan.hardMs = usable > 1 ? usable : 1;
  plan.savesTime = false;
  return plan;
}

bool StartNextIteration(const MovePlan& plan, int64_t elapsedMs, int64_t iterationMs) {
  if (elapsedMs >= plan.softMs) return false;
  return !plan.savesTime || elapsedMs + iterationMs * NextIterationGrowth <= plan.hardMs;
}
