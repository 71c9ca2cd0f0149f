// The full-width node: principal-variation alpha-beta with a null move, internal iterative
// deepening, hash, follow-PV, counter, killer and history move ordering. Each step of the node
// procedure is labelled; the order of the steps decides which moves are tried first and what the
// tables learn, so it is kept as it is.
#include "search/search.h"

#include <cstring>

#include "board/bitboard.h"
#include "board/keys.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/repetition.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/movelist.h"
#include "search/pawns.h"
#include "tablebases/probe.h"

Move moveList[MoveListSize];
int scoreList[MoveListSize];
int MoveListEnd[MaxSearchPly];
Move PvTable[MaxSearchPly][MaxSearchPly];
int PvLength[MaxSearchPly];
KillerSlot KillerTable[MaxSearchPly + 1][2];
uint32_t HistoryTable[2][4096];
Move CounterMoveTable[2][7][4096];
int CounterMoveDepth[7][4096];
FollowPvCursor FollowPv;
uint32_t FailHighCount;

constexpr int CheckExtension = 75;
constexpr int SingleReplyExtension = 25;
constexpr int MateThreatExtension = 100;
constexpr int NullReduction = 300, DeepNullReduction = 400, DeepNullFrom = 600;
constexpr int IidReduction = 200;
constexpr int KillerOneBonus = 5000000, KillerTwoBonus = 2500000;

void UpdateKillers(Move m, int ply) {
  if (!m) return;
  KillerSlot* k = KillerTable[ply];
  if (k[0].count == 0) {
    k[0] = {m, 1};
  } else if (k[0].move == m) {
    k[0].count++;
  } else if (k[1].move == m && k[1].count > 0) {
    const KillerSlot first = k[0];
    k[0] = k[1];
    k[1] = first;
  } else {
    k[1] = k[0];
    k[0] = {m, 1};
  }
}

static inline void UpdateHistory(Move m, int side, int depth) { HistoryTable[side][m & 4095] += uint32_t(depth) * uint32_t(depth); }

static inline void UpdateCounterMove(Move previous, Move m, int side, int depth) {
  const int piece = MovePiece(previous), fromTo = previous & 4095;
  if (depth >= CounterMoveDepth[piece][fromTo]) {
    CounterMoveDepth[piece][fromTo] = depth;
    CounterMoveTable[side][piece][fromTo] = m;
  }
}

// Scores in the list are 32-bit and wrap as 32-bit arithmetic does; the in-check capture scores
// overflow on purpose.
static inline int Wrap32(int64_t v) { return int32_t(uint32_t(uint64_t(v))); }

namespace {

// What one node knows while its moves are searched.
struct Node {
  int alpha, beta, depth, ply, side;
  int best = -Infinity;
  Move bestMove = 0;
  int searched = 0;  // legal moves searched
  Move tried[5];     // moves searched before the generated lists: skipped there
  int triedCount = 0;
};

enum class Outcome { Continue, Cutoff, Abort, NoEvasion };

}  // namespace

static inline bool AlreadyTried(const Node& n, Move m) {
  for (int i = 0; i < n.triedCount; i++)
    if (n.tried[i] == m) return true;
  return false;
}

// Steps 17 to 19 for a move already made and found legal: search it, take it back, and learn from
// the result. `learns` is false for the moves tried before the generated lists (follow-PV, hash,
// counter), whose cutoffs teach the killers and history nothing.
static Outcome SearchMadeMove(Node& n, Move m, bool learns) {
  const int ply = n.ply;
  n.searched++;
  currentLine[ply] = m;
  int score;
  const int floor = n.best > n.alpha ? n.best : n.alpha;
  if (n.searched == 1) {
    score = -Search(-n.beta, -floor, n.depth - OnePly, ply + 1, n.side ^ 1, 1);
  } else {
    score = -Search(-n.best - 1, -n.best, n.depth - OnePly, ply + 1, n.side ^ 1, 1);
    if (score > n.best && score < n.beta && TimeLeft >= 1)
      score = -Search(-n.beta, -floor, n.depth - OnePly, ply + 1, n.side ^ 1, 1);
  }
  UnmakeMove(m, ply, n.side);
  PopRepetition();
  if (TimeLeft < 1) return Outcome::Abort;

  if (score > n.best) {
    n.best = score;
    n.bestMove = m;
    // The mark is the negation of the child's: a quirk of this engine that decides which
    // fail-high results reach the hash table.
    undoStack[ply].repetition = undoStack[ply + 1].repetition ? 0 : 1;
    ExtendPv(ply, m);
  }
  if (n.best >= n.beta) {
    if (!undoStack[ply + 1].repetition) StoreHash(score, LowerBound, n.depth, m);
    if (ply >= 1) UpdateCounterMove(currentLine[ply - 1], m, n.side, n.depth);
    FailHighCount++;
    if (learns && !MoveCaptured(m)) {
      UpdateKillers(m, ply);
      UpdateHistory(m, n.side, n.depth);
    }
    return Outcome::Cutoff;
  }
  return Outcome::Continue;
}

// MakeMove, with the child's first memory access asked for as soon as its key is known: the
// hash bucket of a full-width child before the move is made (right after it is too late to hide
// much of the wait), the pawn entry (read by the evaluation) of one at the horizon. The key
// leaves out castling's rook and takes an en-passant victim from the wrong square: for those
// few moves the request is wasted, which costs less than telling them apart.
static inline void MakeAndPrefetch(Move m, int ply, int side, int childDepth) {
  if (childDepth >= OnePly) PrefetchHash(KeyAfterMove(m, side, MoveTo(m)));
  MakeMove(m, ply, side);
  if (childDepth < OnePly) PrefetchPawnEntry();
}

// Makes a move; an illegal one (own king left attacked) is taken back and not counted.
static inline bool MakeLegal(Move m, int ply, int side, int depth) {
  PushRepetition();
  MakeAndPrefetch(m, ply, side, depth - OnePly);
  if (!KingAttacked(side)) return true;
  UnmakeMove(m, ply, side);
  PopRepetition();
  return false;
}

// Steps 10, 13, 14, 15: a single move from outside the generated lists.
static Outcome TrySingleMove(Node& n, Move m) {
  if (!m || !IsValidMove(m, n.side)) return Outcome::Continue;
  n.tried[n.triedCount++] = m;
  if (!MakeLegal(m, n.ply, n.side, n.depth)) return Outcome::Continue;
  return SearchMadeMove(n, m, false);
}

static inline void EraseCounterMove(const Node& n) {
  if (n.ply < 1) return;
  const Move previous = currentLine[n.ply - 1];
  const int piece = MovePiece(previous), fromTo = previous & 4095;
  if (n.depth >= CounterMoveDepth[piece][fromTo]) {
    CounterMoveDepth[piece][fromTo] = n.depth;
    CounterMoveTable[n.side][piece][fromTo] = 0;
  }
}

// The order in which the entries of a list are taken, highest score first and ties in list
// order: the score in the high half of the key, the position reversed in the low half. The largest
// key names its entry, so a pick is a plain maximum over the list.
static int64_t pickKey[MoveListSize];
constexpr int64_t TakenKey = INT64_MIN;

// Keys for the entries from `start` to `end`; an entry without a move is taken already.
static inline void SetPickKeys(int start, int end) {
  for (int i = start; i < end; i++)
    pickKey[i] = moveList[i] ? int64_t(scoreList[i]) * (int64_t(1) << 32) + int64_t(~uint32_t(i)) : TakenKey;
}

// Takes the entry of the highest score not yet taken; -1 when none is left.
static inline int TakeBest(int start, int end) {
  int64_t best = TakenKey;
  for (int i = start; i < end; i++) best = pickKey[i] > best ? pickKey[i] : best;
  if (best == TakenKey) return -1;
  const int chosen = int(~uint32_t(uint64_t(best)));
  pickKey[chosen] = TakenKey;
  return chosen;
}

// Step 16, in check: every evasion, captures first by exchange value, then history with the
// killers lifted. The exchange value is scaled by 10^9 in wrapping 32-bit arithmetic: the
// wrapped order is part of the engine's move order, and so of its node counts.
static Outcome SearchEvasions(Node& n, int start) {
  const int side = n.side, ply = n.ply;
  const int end = int(GenerateEvasions(moveList + start, side) - moveList);
  MoveListEnd[ply] = end;
  if (end == start) return Outcome::NoEvasion;
  if (end - start == 1) n.depth += SingleReplyExtension;
  const KillerSlot* k = KillerTable[ply];
  for (int i = start; i < end; i++) {
    const Move m = moveList[i];
    const int from = MoveFrom(m), to = MoveTo(m);
    if (MoveCaptured(m)) {
      scoreList[i] = Wrap32(int64_t(StaticExchange(from, to, side)) * 1000000000LL);
    } else {
      int64_t s = HistoryTable[side][m & 4095];
      if (k[0].count >= 1 && k[0].move == m) s += KillerOneBonus;
      if (k[1].count >= 1 && k[1].move == m) s += KillerTwoBonus;
      scoreList[i] = Wrap32(s);
    }
  }
  SetPickKeys(start, end);
  for (int chosen; (chosen = TakeBest(start, end)) >= 0;) {
    const Move m = moveList[chosen];
    if (AlreadyTried(n, m)) continue;
    PushRepetition();
    MakeAndPrefetch(m, ply, side, n.depth - OnePly);
    const Outcome o = SearchMadeMove(n, m, true);
    if (o != Outcome::Continue) return o;
  }
  return Outcome::Continue;
}

// Step 16, not in check: good captures, killers, then everything else by score.
static Outcome SearchMoves(Node& n, int start) {
  const int side = n.side, ply = n.ply;
  int end = int(GenerateCaptures(moveList + start, side) - moveList);
  for (int i = start; i < end; i++) {
    const Move m = moveList[i];
    int64_t gain = StaticExchange(MoveFrom(m), MoveTo(m), side);
    if (MovePromotion(m)) gain += pieceValue[MovePromotion(m)] - pieceValue[MovePiece(m)];
    scoreList[i] = Wrap32(gain * 1000 + HistoryTable[side][m & 4095]);
  }
  // Stage a: sorted once, equal scores in generation order.
  SortByScore(moveList + start, scoreList + start, end - start);
  MoveListEnd[ply] = end;
  for (int i = start; i < end && scoreList[i] > 0; i++) {
    const Move m = moveList[i];
    if (AlreadyTried(n, m) || !MakeLegal(m, ply, side, n.depth)) continue;
    moveList[i] = 0;
    const Outcome o = SearchMadeMove(n, m, false);
    if (o != Outcome::Continue) return o;
  }

  // Stage b: the killers of this ply; the next ply starts its own afresh.
  KillerTable[ply + 1][0].count = KillerTable[ply + 1][1].count = 0;
  const KillerSlot* k = KillerTable[ply];
  for (int slot = 0; slot < 2; slot++) {
    const Move m = k[slot].move;
    if (k[slot].count < 1 || AlreadyTried(n, m) || (slot == 1 && m == k[0].move) || !IsValidMove(m, side)) continue;
    n.tried[n.triedCount++] = m;
    if (!MakeLegal(m, ply, side, n.depth)) continue;
    const Outcome o = SearchMadeMove(n, m, true);
    if (o != Outcome::Continue) return o;
  }

  // Stages c and d: quiet moves join the captures left over, highest score first. The killers
  // are skipped here only when stage b searched them: a slot whose count is 0 is not in use, and
  // passing over its move would leave a legal move of this position unsearched altogether.
  const int quietStart = end;
  end = int(GenerateQuiet(moveList + end, side) - moveList);
  for (int i = quietStart; i < end; i++) scoreList[i] = Wrap32(HistoryTable[side][moveList[i] & 4095]);
  MoveListEnd[ply] = end;
  SetPickKeys(start, end);
  for (int chosen; (chosen = TakeBest(start, end)) >= 0;) {
    const Move m = moveList[chosen];
    if (AlreadyTried(n, m) || !MakeLegal(m, ply, side, n.depth)) continue;
    const Outcome o = SearchMadeMove(n, m, true);
    if (o != Outcome::Continue) return o;
  }
  return Outcome::Continue;
}

int Search(int alpha, int beta, int depth, int ply, int side, int nullAllowed) {
  UndoRecord& undo = undoStack[ply];

  // Step 1: one earlier occurrence, in the game or on the path, is a draw.
  if (IsRepetition()) {
    undo.repetition = 1;
    return 0;
  }
  // Step 2
  undo.repetition = 0;
  PvLength[ply] = 0;

  // Step 3: bare kings.
  if (!pos.pieceCount[White] && !pos.pieceCount[Black] && !pos.pawnCount[White] && !pos.pawnCount[Black]) return 0;

  // Step 4: check extension.
  const bool inCheck = KingAttacked(side);
  if (inCheck) depth += CheckExtension;

  // Step 5: the horizon.
  if (depth < OnePly || ply >= MaxSearchPly - 2) return Quiesce(alpha, beta, ply, depth, side);

  // The null move's child (step 12) comes after this node's own probe; its bucket is asked for now.
  const bool tryNull = nullAllowed && !inCheck && beta != -Infinity && beta == alpha + 1 && ply >= 1 && pos.pieceCount[side];
  const int reduced = depth <= DeepNullFrom ? depth - NullReduction : depth - DeepNullReduction;
  if (tryNull && reduced >= OnePly) PrefetchHash(pos.hashKey ^ sideKey);

  // Step 6: endgame tablebases.
  int tableScore;
  if (ply > 0 && PopCount(pos.occupied) < 6 && ProbeTablebase(side, &tableScore))
    return tableScore < MatedBelow ? tableScore + 10 * ply : tableScore >= MatingFrom ? tableScore - 10 * ply : tableScore;

  // Step 7
  SaveUndo(ply);
  const int start = ply > 0 ? MoveListEnd[ply - 1] : 0;
  MoveListEnd[ply] = start;

  // Step 8: clock and input, once every 2,048 nodes.
  NodeCount++;
  if (!NoTimeCheck && ((NodeCount + QNodeCount) & 2047) == 2047 && CheckTime()) return 0;

  // Step 9
  Node n;
  n.alpha = alpha;
  n.beta = beta;
  n.depth = depth;
  n.ply = ply;
  n.side = side;

  // Step 10: the previous iteration's principal variation.
  Move pvMove = 0;
  if (FollowPv.left > 0) {
    pvMove = *FollowPv.next++;
    FollowPv.left--;
    const Outcome o = TrySingleMove(n, pvMove);
    if (o == Outcome::Abort) return 0;
    if (o == Outcome::Cutoff) return beta;
  }

  // Step 11: the transposition table.
  Move hashMove = 0;
  if (ply >= 1) {
    int hashScore;
    if (ProbeHash(pos.hashKey, depth, alpha, beta, ply, hashMove, hashScore)) return hashScore;
  }

  // Step 12: null move, in null-window nodes of a side that has a piece.
  if (tryNull) {
    const int epSquare = pos.epSquare;
    pos.hashKey ^= sideKey;
    pos.epSquare = 0;
    currentLine[ply] = 0;  // no move was played: the child has no counter move to look up
    const int s = -Search(-beta, 1 - beta, reduced, ply + 1, side ^ 1, 0);
    pos.hashKey ^= sideKey;
    pos.epSquare = epSquare;
    if (TimeLeft < 1) return 0;
    if (s >= beta) {
      StoreHash(beta, LowerBound, depth, 0);
      return beta;
    }
    if (s < MatedBelow) n.depth = depth += MateThreatExtension;
  }

  // Step 13: the hash move.
  if (hashMove && hashMove != pvMove) {
    const Outcome o = TrySingleMove(n, hashMove);
    if (o == Outcome::Abort) return 0;
    if (o == Outcome::Cutoff) return beta;
  }

  // Step 14: internal iterative deepening finds a first move for PV nodes without one. It runs
  // for the same side at the next ply so that its line lands in the next ply's row.
  if (!hashMove && nullAllowed && depth > IidReduction && !pvMove && beta != alpha + 1) {
    int s = Search(alpha, beta, depth - IidReduction, ply + 1, side, 1);
    if (s <= alpha && TimeLeft >= 1) Search(-Infinity, beta, depth - IidReduction, ply + 1, side, 1);
    if (TimeLeft < 1) return 0;
    if (PvLength[ply + 1] >= 1 && IsValidMove(PvTable[ply + 1][0], side)) {
      pvMove = PvTable[ply + 1][0];
      const Outcome o = TrySingleMove(n, pvMove);
      if (o == Outcome::Abort) return 0;
      if (o == Outcome::Cutoff) return beta;
    }
  }

  // Step 15: the move that last refuted the previous move.
  if (ply >= 1) {
    const Move previous = currentLine[ply - 1];
    const Move counter = CounterMoveTable[side][MovePiece(previous)][previous & 4095];
    if (counter && counter != hashMove && counter != pvMove) {
      const Outcome o = TrySingleMove(n, counter);
      if (o == Outcome::Abort) return 0;
      if (o == Outcome::Cutoff) return beta;
    }
  }

  // Step 16: the generated moves.
  const Outcome o = inCheck ? SearchEvasions(n, start) : SearchMoves(n, start);
  if (o == Outcome::Cutoff) return beta;
  if (o == Outcome::Abort) return 0;
  if (o == Outcome::NoEvasion) return -MateValue + 10 * ply;

  // Steps 20 and 21: end of node.
  if (!n.searched) return 0;  // stalemate (in check there was always an evasion)
  if (n.best > alpha) {
    StoreHash(n.best, ExactScore, n.depth, n.bestMove);
    if (!inCheck) {
      UpdateKillers(n.bestMove, ply);
      UpdateHistory(n.bestMove, side, n.depth);
    }
  } else {
    StoreHash(n.best, UpperBound, n.depth, n.bestMove);
  }
  EraseCounterMove(n);
  return n.best;
}
