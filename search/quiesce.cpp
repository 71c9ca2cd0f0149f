// Quiescence: stand pat on the static evaluation, then only captures that can still raise the
// score, best victim first; every evasion when in check.
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/repetition.h"
#include "search/control.h"
#include "search/eval.h"
#include "search/movelist.h"
#include "search/search.h"

uint32_t FullEvalCount;
int LazyMargin = InitialLazyMargin;

// A capture must be able to lift the score to alpha with this much to spare.
constexpr int DeltaMargin = 800;

// Captures only change material, so no position can repeat below the horizon: the search path
// is not extended into the repetition list here.
static int QuiesceEvasions(int alpha, int beta, int ply, int depth, int side) {
  SaveUndo(ply);
  const int start = ply > 0 ? MoveListEnd[ply - 1] : 0;
  const int end = int(GenerateEvasions(moveList + start, side) - moveList);
  MoveListEnd[ply] = end;
  if (end == start) return -MateValue + 10 * ply;
  PvLength[ply] = 0;
  int best = -Infinity;
  for (int i = start; i < end; i++) {
    const Move m = moveList[i];
    MakeMove(m, ply, side);
    PrefetchPawnEntry();
    const int score = -Quiesce(-beta, -(best > alpha ? best : alpha), ply + 1, depth - OnePly, side ^ 1);
    UnmakeMove(m, ply, side);
    if (TimeLeft < 1) return 0;
    if (score > best) {
      if (score >= beta) {
        ExtendPv(ply, m);
        return beta;
      }
      best = score;  // the line is deliberately not kept for an improvement below beta
    }
  }
  return best;
}

int Quiesce(int alpha, int beta, int ply, int depth, int side) {
  // Step 1: clock and input, once every 2,048 nodes of either kind.
  QNodeCount++;
  if (ply > SelDepth) SelDepth = ply;
  if (!NoTimeCheck && ((NodeCount + QNodeCount) & 2047) == 2047 && CheckTime()) return 0;

  // Step 2
  if (IsRepetition()) {
    undoStack[ply].repetition = 1;
    return 0;
  }
  undoStack[ply].repetition = 0;

  // Step 3
  if (KingAttacked(side) && ply < MaxSearchPly - 1) return QuiesceEvasions(alpha, beta, ply, depth, side);

  // Steps 4 and 5: the second stage only when the first is near the window.
  const PawnEntry& pawns = ProbePawnTable();
  const int first = EvaluateFirstStage(pawns);
  const int lazy = side == White ? first : -first;
  int standPat = lazy;
  if (alpha <= lazy + LazyMargin && beta >= lazy - LazyMargin) {
    const int full = first + EvaluateSecondStage(pawns, side);
    FullEvalCount++;
    const int gap = full > first ? full - first : first - full;
    if (gap > LazyMargin) LazyMargin = gap;
    standPat = side == White ? full : -full;
  }
  if (ply >= MaxSearchPly - 1) return standPat;

  // Step 6
  if (standPat > alpha) {
    if (standPat >= beta) return beta;
    alpha = standPat;
  }

  // Step 7: candidates worth a look, keyed most valuable victim first.
  SaveUndo(ply);
  PvLength[ply] = 0;
  const int start = ply > 0 ? MoveListEnd[ply - 1] : 0;
  const int generated = int(GenerateCaptures(moveList + start, side) - moveList);
  int end = start;
  for (int i = start; i < generated; i++) {
    const Move m = moveList[i];
    const int captured = MoveCaptured(m), piece = MovePiece(m);
    if (captured == King) return beta;  // the previous move left its king en prise
    if (alpha > standPat + pieceValue[captured] + DeltaMargin) continue;
    int key;
    if (pieceValue[captured] > pieceValue[piece]) {
      key = pieceValue[captured] - piece;
    } else {
      const int gain = StaticExchange(MoveFrom(m), MoveTo(m), side);
      if (gain <= 0) continue;
      key = gain - piece;
    }
    moveList[end] = m;
    scoreList[end] = key;
    end++;
  }
  MoveListEnd[ply] = end;
  if (end == start) return alpha;

  // Step 8
  for (int next = start; next < end; next++) {
    int chosen = next;
    for (int i = next + 1; i < end; i++)
      if (scoreList[i] > scoreList[chosen]) chosen = i;
    const Move m = moveList[chosen];
    const int key = scoreList[chosen];
    if (standPat + key + DeltaMargin < alpha) return alpha;
    MakeMove(m, ply, side);
    PrefetchPawnEntry();
    const bool legal = !KingAttacked(side);
    const int score = legal ? -Quiesce(-beta, -alpha, ply + 1, depth - OnePly, side ^ 1) : 0;
    UnmakeMove(m, ply, side);
    if (TimeLeft < 1) return 0;
    if (legal && score > alpha) {
      if (score >= beta) return beta;
      alpha = score;
      ExtendPv(ply, m);
    }
    moveList[chosen] = moveList[next];
    scoreList[chosen] = scoreList[next];
    moveList[next] = m;
    scoreList[next] = key;
  }
  return alpha;
}
