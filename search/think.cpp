#include "search/think.h"

#include <cstdio>
#include <cstring>

#include "board/fen.h"
#include "board/output.h"
#include "book/book.h"
#include "board/game.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "board/repetition.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/reset.h"

ThinkResult thinkResult;
int32_t thinkTime;
FILE* thinkEpdOutput;
ThinkReporter thinkReporter;

constexpr int AspirationWindow = 250;
constexpr int32_t NoTimeLimit = 1000000000;
constexpr int32_t BudgetFloor = 50, FloorBudget = 20;
constexpr int32_t ClockReserve = 500;
constexpr int EarlyGameHalfMoves = 25;

namespace {

struct RootMove {
  Move move;
  int score;
  int pvLength;
  Move pv[MaxSearchPly];
};

RootMove rootMoves[MaxMoves];
int rootCount;

void PrintLine(const Move* pv, int length) {
  for (int i = 0; i < length; i++) PrintMove(pv[i]);
}

// Stable exchange sort by the last iteration's scores, highest first.
void SortRootMoves() {
  for (int i = 1; i < rootCount; i++)
    for (int j = i; j > 0 && rootMoves[j].score > rootMoves[j - 1].score; j--) {
      const RootMove m = rootMoves[j];
      rootMoves[j] = rootMoves[j - 1];
      rootMoves[j - 1] = m;
    }
}

// One root move at `depth`, PVS against the best so far. Returns the score (meaningless after
// an abort).
int SearchRootMove(int index, int depth, int alpha, int beta, int best, int side) {
  const Move m = rootMoves[index].move;
  const int floor = best > alpha ? best : alpha;
  currentLine[0] = m;
  PushRepetition();
  MakeMove(m, 0, side);
  int score;
  if (index == 0 || best == -Infinity) {
    score = -Search(-beta, -floor, depth - OnePly, 1, side ^ 1, 1);
  } else {
    score = -Search(-best - 1, -best, depth - OnePly, 1, side ^ 1, 1);
    if (score > best && score < beta && TimeLeft >= 1) score = -Search(-beta, -floor, depth - OnePly, 1, side ^ 1, 1);
  }
  UnmakeMove(m, 0, side);
  PopRepetition();
  return score;
}

struct Iteration {
  int best = -Infinity;
  int bestIndex = -1;
  int beta = Infinity;  // the window's upper bound as it ended
  bool aborted = false;
};

// One pass over the root moves at `d` plies within (alpha, beta). A move that fails high on the
// aspiration window is searched again at once with the window opened upwards, so the best move
// is never judged on a bound.
Iteration SearchRoot(int d, int alpha, int beta, int side, int32_t start, bool post) {
  Iteration it;
  SaveUndo(0);
  const int depth = d * OnePly;
  for (int i = 0; i < rootCount; i++) {
    int score = SearchRootMove(i, depth, alpha, beta, it.best, side);
    if (TimeLeft >= 1 && score >= beta && beta < Infinity) {
      beta = Infinity;
      score = SearchRootMove(i, depth, alpha, beta, it.best, side);
    }
    it.beta = beta;
    if (TimeLeft < 1) {
      it.aborted = true;
      return it;
    }
    RootMove& r = rootMoves[i];
    r.score = score;
    if (score > it.best) {
      it.best = score;
      it.bestIndex = i;
      r.pvLength = ExtendLine(r.pv, r.move, PvTable[1], PvLength[1]);
      HistoryTable[side][r.move & 4095] += uint32_t(depth) * uint32_t(depth);
      if (thinkReporter) {
        thinkReporter(d, score, r.pv, r.pvLength, false);
      } else if (post) {
        // xboard's thinking format: ply, score, centiseconds, nodes, then the line on the same
        // output line, where xboard reads it. Nodes are both kinds, as the GUI divides them by
        // time for its speed display.
        Print("%i %i %i %i ", d, score / 10, ClockCentiseconds() - start, int(NodeCount + QNodeCount));
        PrintLine(r.pv, r.pvLength);
        Print("\n");
      }
    }
  }
  return it;
}

void WriteEpdResult(Move chosen) {
  fprintf(thinkEpdOutput, "%s acd %d; acn %u; acs %d; bm %s; ce %d; pv", PositionToEpd(), thinkResult.depth,
          NodeCount + QNodeCount, thinkTime / 100, MoveText(chosen), thinkResult.score);
  for (int i = 0; i < thinkResult.pvLength; i++) fprintf(thinkEpdOutput, " %s", MoveText(thinkResult.pv[i]));
  fprintf(thinkEpdOutput, ";\n");
}

}  // namespace

Move Think(int side, int maxDepth, int flags) {
  thinkResult.depth = 0;
  thinkResult.score = 0;
  thinkResult.pvLength = 0;
  NodeCount = QNodeCount = 0;

  // Step 1: nothing to think about with bare kings.
  if (!pos.pieceCount[White] && !pos.pieceCount[Black] && !pos.pawnCount[White] && !pos.pawnCount[Black]) return 0;

  // Step 2
  ResetForNewSearch();
  if (!thinkReporter) Print("epd diagram : %s\n", PositionToEpd());

  // Step 3
  if (engineFlags.bookUse)
    if (const Move bookMove = ProbeBook(side, engineFlags.edit, engineFlags.analyze)) return bookMove;

  // Step 4
  const int32_t start = ClockCentiseconds();
  LastClock = start;
  if (TimeLeft <= BudgetFloor) TimeLeft = FloorBudget;

  // Step 5
  Move legal[MaxMoves];
  rootCount = int(GenerateLegal(legal, side) - legal);
  if (rootCount == 0) return 0;
  if (rootCount == 1 && !engineFlags.analyze) return legal[0];
  for (int i = 0; i < rootCount; i++) {
    rootMoves[i].move = legal[i];
    rootMoves[i].score = 0;
    rootMoves[i].pvLength = 0;
  }

  // Step 6
  if (gameClock.fixedDepth > 2) {
    TimeLeft = NoTimeLimit;
    maxDepth = gameClock.fixedDepth;
  }
  if (gameClock.fixedTime) TimeLeft = gameClock.fixedTime;

  // Step 7: iterative deepening with an aspiration window around the last score.
  const bool post = engineFlags.post != 0;
  Move chosen = 0;
  int previous = 0;
  for (int d = 2; d < maxDepth && TimeLeft > 0; d++) {
    PvLength[0] = 0;
    undoStack[0].repetition = 0;
    NoTimeCheck = flags & ThinkNoClock;
    SortRootMoves();
    const int alpha = d == 2 ? -Infinity : previous - AspirationWindow;
    const int beta = d == 2 ? Infinity : previous + AspirationWindow;
    FollowPv.next = rootMoves[0].pv + 1;
    FollowPv.left = rootMoves[0].pvLength > 0 ? rootMoves[0].pvLength - 1 : 0;
    Iteration it = SearchRoot(d, alpha, beta, side, start, post);
    // Every move failed low on the window: the same depth again with it opened downwards.
    if (!it.aborted && it.best <= alpha && alpha > -Infinity) {
      FollowPv.next = rootMoves[0].pv + 1;
      FollowPv.left = rootMoves[0].pvLength > 0 ? rootMoves[0].pvLength - 1 : 0;
      it = SearchRoot(d, -Infinity, beta, side, start, post);
    }
    if (it.aborted) {
      // Nothing finished yet: the best move met so far is better than none.
      if (!chosen && it.bestIndex >= 0) chosen = rootMoves[it.bestIndex].move;
      break;
    }
    // Every move scored -Infinity: only a board no game reaches (an edit with two kings a side)
    // does that. Step 9 falls back on the first move.
    if (it.bestIndex < 0) break;

    const RootMove& best = rootMoves[it.bestIndex];
    chosen = best.move;
    previous = it.best;
    if (it.best > -Infinity && it.best < it.beta) {
      StoreHash(it.best, ExactScore, d * OnePly, best.move);
      UpdateKillers(best.move, 0);
    } else {
      StoreHash(it.best, UpperBound, d * OnePly, best.move);
    }
    thinkResult.depth = d;
    thinkResult.score = it.best / 10;
    thinkResult.pvLength = best.pvLength;
    memcpy(thinkResult.pv, best.pv, sizeof(Move) * size_t(best.pvLength));

    // Step 8: the iteration's summary. The seconds carry two decimals, which keeps xboard from
    // reading this line as a second thinking line (its format wants whole numbers there).
    if (thinkReporter) {
      thinkReporter(d, it.best, best.pv, best.pvLength, true);
    } else if (post) {
      Print("%d.\t%d\t%.2f\t%u\t%u\t", d, it.best / 10, (ClockCentiseconds() - start) / 100.0, NodeCount, QNodeCount);
      PrintLine(best.pv, best.pvLength);
      Print("\n");
    }
  }
  // Step 9
  thinkTime = ClockCentiseconds() - start;
  if (!chosen) chosen = rootMoves[0].move;
  if (thinkEpdOutput) WriteEpdResult(chosen);
  return chosen;
}

int32_t MoveBudget() {
  const int32_t clock = gameClock.engineTime;
  const int32_t available = clock > ClockReserve ? clock - ClockReserve : clock;
  int32_t budget = gameRecord.moveCount < EarlyGameHalfMoves ? available / 40 : available / 28;
  // Wide enough for any increment a person can type.
  const int64_t increment = gameClock.increment;
  if (increment && budget > 300 * increment + 100) budget = int32_t(budget + 100 * increment);
  return budget;
}

Move EngineMove(int side) {
  TimeLeft = MoveBudget();

  engineFlags.searching = 1;
  const Move m = Think(side, 60);
  engineFlags.searching = 0;
  if (engineFlags.analyze) return 0;
  if (!m) {
    PrintResult(side);
    return 0;
  }
  PlayGameMove(MoveFrom(m), MoveTo(m), MovePromotion(m));
  PrintCoordinateMove(m);
  return m;
}

void PrintResult(int side) {
  if (KingAttacked(side)) Print(side == White ? "0-1 {Black Mates}\n" : "1-0 {White Mates}\n");
  else Print("1/2-1/2 {Stalemate}\n");
}
