// Retrograde analysis, level by level of distance to mate, with a count per position of its moves
// not yet answered by a win for the opponent.
//
// The first pass settles mates, stalemates and positions whose every move converts (their value is
// known from the smaller tables); of every other position it counts the distinct positions its
// moves inside the table lead to, and folds its conversions into what is known already: a win
// enters as a provisional value, a draw means the position is never lost, and of losses only the
// slowest is kept. Then, for m = 1, 2, ...:
//
//   a. every position lost in m - 1 moves makes each of its predecessors (un-moves) a win in m,
//      unless it is already a win that fast;
//   b. every position won in m moves takes one off the count of each distinct predecessor; the
//      position whose count runs out is lost, in m moves or in its slowest losing conversion.
//
// A win in m is final once level m has run, so each position is un-moved from once for its
// value, and a position is looked at as a whole only in the first pass. What is undecided at the
// end is a draw. The count of a position that cannot be lost by counting is 0 and stays so: one
// with a drawing or winning conversion, or one decided in the first pass.
//
// Symmetric placements share one index, so two moves of a position may lead to one index and two
// un-moves to one predecessor: both sides deal in distinct canonical indices, and a predecessor
// loses one count per successor.
//
// A double step that gives the opponent an en-passant capture leads to a position the working
// layout does not hold (it has no en-passant rights): its value is the better for the opponent
// of the stored position and the captures. Where the captures win, the move is answered when they
// do, or sooner when the stored position wins sooner: the count drops then at the level of the
// captures (a list per level) unless the un-move of the stored position's win came first.
//
// Every step is a scan over index ranges of positions held as small values, with no shared
// board, so the worker threads split the ranges (workers.h). One side's array is scanned while
// the other's is marked: step a lowers bytes of the other side by compare-and-swap, so the win
// kept is the fastest whichever thread comes last; step b takes counts down by atomic
// subtraction, and the one thread that takes a count to 0 writes that position's loss.
#include "tools/tbgen/retro.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "board/bitboard.h"
#include "tablebases/catalogue.h"
#include "tools/tbgen/derive.h"
#include "tools/tbgen/layout.h"
#include "tools/tbgen/store.h"
#include "tools/tbgen/values.h"
#include "tools/tbgen/workers.h"

static uint8_t* values[2];     // [side]: working values
static uint8_t* movesLeft[2];  // [side]: distinct successors inside the table not yet won
static uint8_t* exitLoss[2];   // [side]: with a count, the slowest loss its conversions offer
static std::atomic<int> lastLevel;  // the loop runs at least to this level
static std::atomic<bool> failed;    // a table converted into could not be read
static std::atomic<bool> anyLost;   // a position was found lost in the level running

// A double step of `index` whose en-passant captures win for the opponent by the level of the
// list it is in; `successor` is the stored position it leads to.
struct LateAnswer {
  uint64_t index;
  uint64_t successor;
  int side;
};
static std::vector<LateAnswer> lateAnswers[128];

// What the pass the workers run is about.
static int passSide, passLevel;

static int SideOf(const Men& p) { return p.toMove == White ? 0 : 1; }
static uint8_t& ValueOf(const Men& p) { return values[SideOf(p)][WorkIndex(p)]; }

static void NeedLevel(int level) {
  int seen = lastLevel.load(std::memory_order_relaxed);
  while (level > seen && !lastLevel.compare_exchange_weak(seen, level, std::memory_order_relaxed)) {
  }
}

static bool IsConversion(const MenMove& m) { return m.captured >= 0 || m.promotion; }

// The value of the position a capture or promotion leads to, for the opponent who moves there.
static int ConvertedValue(const Men& p, const MenMove& m) {
  int v = 0;
  if (!StoredValue(MenAfterAny(p, m), -1, &v)) failed = true;
  return v;
}

// The best value for the side to move of the en-passant captures on `epSquare`; `any` tells
// whether there is one.
static int EpCapturesValue(const Men& p, int epSquare, bool* any) {
  MenMove captures[4];
  const int n = GenerateMenEpCaptures(p, epSquare, captures);
  int best = LossValue(0);
  for (int i = 0; i < n; i++) best = Better(best, Negate(ConvertedValue(p, captures[i])));
  *any = n > 0;
  return best;
}

// Whether two moves, or two un-moves, of `p` may lead to one index: only when one result is the
// other's mirror image. The king of the side not moving stands on the same square in both, so
// the mirror is one that keeps that square, a reflection in a long diagonal with the king on it;
// tables with pawns have no such mirror.
static bool MayShareIndex(const Men& p, int stayingSide) {
  const int king = p.man[stayingSide].square;
  return !layout.pawns && (FileOf(king) == RankOf(king) || FileOf(king) + RankOf(king) == 7);
}

// Adds `index` to the n distinct indices in `list`; returns their number.
static int AddDistinct(uint64_t* list, int n, uint64_t index) {
  for (int i = 0; i < n; i++)
    if (list[i] == index) return n;
  list[n] = index;
  return n + 1;
}

static void FirstPass(uint64_t begin, uint64_t end) {
  const int side = passSide;
  MenMoveSets moves;
  MenMove replies[MaxMenMoves];
  uint64_t successors[MaxMenMoves];
  std::vector<std::pair<int, LateAnswer>> late;  // with the level of each
  for (uint64_t index = begin; index < end; index++) {
    Men p;
    if (!DecodeWork(index, side, &p)) continue;
    const bool any = GenerateMenMoveSets(p, &moves);
    // Successors are told apart by index only where two moves may share one; elsewhere a
    // piece's quiet moves are simply counted.
    const bool shared = MayShareIndex(p, side ^ 1);
    IndexTerms terms;
    if (shared) SplitIndex(p, &terms);
    int best = LossValue(0), distinct = 0, counted = 0;
    for (int i = 0; i < p.count; i++) {
      if (!shared) {
        counted += PopCount(moves.quiet[i]);
        continue;
      }
      uint64_t indices[64];
      const int n = WorkIndicesMoved(p, terms, i, moves.quiet[i], indices);
      for (int j = 0; j < n; j++) distinct = AddDistinct(successors, distinct, indices[j]);
    }
    const size_t lateBefore = late.size();
    for (int i = 0; i < moves.count; i++) {
      const MenMove& m = moves.list[i];
      if (IsConversion(m)) {
        best = Better(best, Negate(ConvertedValue(p, m)));
        continue;
      }
      const int ep = EpRightAfter(p, m);
      if (ep >= 0) {
        const Men after = MenAfter(p, m);
        bool captures;
        const int value = EpCapturesValue(after, ep, &captures);
        if (GenerateMenMoves(after, replies) == 0) {
          // The opponent's only moves are en-passant captures: the value is known now.
          best = Better(best, Negate(Better(MenInCheck(after) ? LossValue(0) : 0, value)));
          continue;
        }
        if (captures && IsWin(value)) {
          late.push_back({value, {index, WorkIndex(after), side}});
          NeedLevel(value);
        }
      }
      if (shared) distinct = AddDistinct(successors, distinct, WorkIndexMoved(p, terms, m.man, m.to));
      counted++;
    }
    if (!shared) distinct = counted;
    uint8_t& v = values[side][index];
    if (!any) {
      v = MenInCheck(p) ? LossValue(0) : 0;
    } else if (distinct == 0) {
      v = uint8_t(best);
      NeedLevel(Distance(best) + 1);
    } else if (IsWin(best)) {
      v = uint8_t(best);  // provisional: a move inside the table may win faster
      NeedLevel(best);
    } else if (IsLoss(best)) {
      movesLeft[side][index] = uint8_t(distinct);
      exitLoss[side][index] = uint8_t(Distance(best));
      continue;
    }
    late.resize(lateBefore);  // the position is never lost by counting
  }
  if (late.empty()) return;
  WorkersLock lock;
  for (const auto& [level, answer] : late) lateAnswers[level].push_back(answer);
}

// The value for the opponent of the position after a double step that gives it an en-passant
// right, when the stored position `after` has the value `stored`.
static int WithEpCaptures(const Men& after, int epSquare, int stored) {
  bool any;
  const int captures = EpCapturesValue(after, epSquare, &any);
  return any ? Better(stored, captures) : stored;
}

// Step a for one lost position of side `side`.
static void MarkWins(const Men& lost, int level) {
  MenUnmove unmoves[MaxMenMoves];
  const int n = GenerateMenUnmoves(lost, unmoves);
  IndexTerms terms;
  SplitIndex(lost, &terms);
  uint8_t* winner = values[SideOf(lost) ^ 1];
  for (int i = 0; i < n; i++) {
    int win = WinValue(level);
    if (unmoves[i].doubleStep) {
      const MenMove step = {unmoves[i].man, lost.man[unmoves[i].man].square, -1, 0, true};
      const int ep = EpRightAfter(MenBefore(lost, unmoves[i]), step);
      if (ep >= 0) {
        const int opponent = WithEpCaptures(lost, ep, LossValue(level - 1));
        if (!IsLoss(opponent)) continue;
        win = Negate(opponent);
        NeedLevel(win);
      }
    }
    uint8_t* v = &winner[WorkIndexMoved(lost, terms, unmoves[i].man, unmoves[i].from)];
    uint8_t seen = __atomic_load_n(v, __ATOMIC_RELAXED);
    while ((seen == 0 || (IsWin(seen) && seen > win)) &&
           !__atomic_compare_exchange_n(v, &seen, uint8_t(win), true, __ATOMIC_RELAXED, __ATOMIC_RELAXED)) {
    }
  }
}

// One move of `index` (side `side`) answered by a win in `level`; the last one makes it lost.
static void Answer(int side, uint64_t index, int level) {
  uint8_t* left = &movesLeft[side][index];
  if (__atomic_load_n(left, __ATOMIC_RELAXED) == 0 || __atomic_fetch_sub(left, 1, __ATOMIC_RELAXED) != 1) return;
  const int slowest = exitLoss[side][index] > level ? exitLoss[side][index] : level;
  values[side][index] = uint8_t(LossValue(slowest));
  NeedLevel(slowest + 1);
  anyLost.store(true, std::memory_order_relaxed);
}

// Whether the un-move `u` of `won` is a double step whose en-passant captures won for the
// opponent before `level`: its predecessor's count dropped then (lateAnswers).
static bool AnsweredEarlier(const Men& won, const MenUnmove& u, int level) {
  const MenMove step = {u.man, won.man[u.man].square, -1, 0, true};
  const int ep = EpRightAfter(MenBefore(won, u), step);
  if (ep < 0) return false;
  bool any;
  const int captures = EpCapturesValue(won, ep, &any);
  return any && IsWin(captures) && captures < level;
}

// Step b for one position won in `level`.
static void AnswerPredecessors(const Men& won, int level) {
  MenUnmove unmoves[MaxMenMoves];
  const int n = GenerateMenUnmoves(won, unmoves);
  IndexTerms terms;
  SplitIndex(won, &terms);
  const int side = SideOf(won) ^ 1;
  const bool shared = MayShareIndex(won, side ^ 1);
  uint64_t predecessors[MaxMenMoves];
  int distinct = 0;
  for (int i = 0; i < n; i++) {
    if (unmoves[i].doubleStep && AnsweredEarlier(won, unmoves[i], level)) continue;
    const uint64_t index = WorkIndexMoved(won, terms, unmoves[i].man, unmoves[i].from);
    if (shared) {
      const int before = distinct;
      distinct = AddDistinct(predecessors, distinct, index);
      if (distinct == before) continue;
    }
    Answer(side, index, level);
  }
}

// The late answers of `level`: those whose stored successor has not won by then.
static void AnswerLate(int level) {
  for (const LateAnswer& a : lateAnswers[level]) {
    const int stored = values[a.side ^ 1][a.successor];
    if (!(IsWin(stored) && stored <= level)) Answer(a.side, a.index, level);
  }
  std::vector<LateAnswer>().swap(lateAnswers[level]);
}

// True when one of the eight bytes of `word` equals the byte repeated in `pattern`.
static bool HasByte(uint64_t word, uint64_t pattern) {
  const uint64_t x = word ^ pattern;
  return ((x - 0x0101010101010101ULL) & ~x & 0x8080808080808080ULL) != 0;
}

// The positions of passSide whose value is `scanValue`, visited; eight bytes are passed over at
// a time, as almost none hold the value looked for.
static int scanValue;
static void (*scanVisit)(const Men&, int);

static void ScanChunk(uint64_t begin, uint64_t end) {
  const uint8_t* v = values[passSide];
  const uint64_t pattern = 0x0101010101010101ULL * uint8_t(scanValue);
  for (uint64_t index = begin; index < end; index++) {
    if ((index & 7) == 0 && index + 8 <= end) {
      uint64_t word;
      memcpy(&word, v + index, 8);
      if (!HasByte(word, pattern)) {
        index += 7;
        continue;
      }
    }
    if (v[index] != scanValue) continue;
    scanVisit(MenOfWorkIndex(index, passSide), passLevel);
  }
}

static void ScanForValue(int side, int value, void (*visit)(const Men&, int), int level) {
  passSide = side;
  passLevel = level;
  scanValue = value;
  scanVisit = visit;
  ForEachChunk(layout.size, ScanChunk);
}

bool SolveTable(int table) {
  SetUpLayout(table);
  failed = false;
  lastLevel = 0;
  for (uint8_t** array : {values, movesLeft, exitLoss})
    for (int side = 0; side < 2; side++) {
      array[side] = static_cast<uint8_t*>(calloc(layout.size, 1));
      if (!array[side]) {
        fprintf(stderr, "%s: out of memory\n", tableCatalogue[table].name);
        return false;
      }
    }
  for (passSide = 0; passSide < 2; passSide++) ForEachChunk(layout.size, FirstPass);
  if (failed) return false;
  int level = 1;
  for (; level <= 127; level++) {
    for (int side = 0; side < 2; side++) ScanForValue(side, LossValue(level - 1), MarkWins, level);
    anyLost = false;
    for (int side = 0; side < 2; side++) ScanForValue(side, WinValue(level), AnswerPredecessors, level);
    AnswerLate(level);
    if (failed) return false;
    if (level >= lastLevel && !anyLost) break;
  }
  fprintf(stderr, "%s: solved in %d levels\n", tableCatalogue[table].name, level);
  return true;
}

static bool SolvedValue(const Men& p, int epSquare, int* value);

static bool SolvedOrStored(const Men& p, int epSquare, int* value) {
  return InLayout(p) ? SolvedValue(p, epSquare, value) : StoredValue(p, epSquare, value);
}

// A position of the solved table, with an en-passant right or without.
static bool SolvedValue(const Men& p, int epSquare, int* value) {
  if (epSquare >= 0) return DerivedValue(p, epSquare, SolvedOrStored, value);
  *value = ValueOf(p);
  return true;
}

static int writingSide;

static int8_t PublishedByte(uint32_t index) {
  TableMen t;
  Men p;
  int v, ep;
  if (!DecodeMen(tableLayouts[layout.table][writingSide], index, &t, &ep) || !MenOfTableMen(t, writingSide, &p))
    return BrokenByte;
  if (!SolvedValue(p, ep == NoEpSquare ? -1 : ep, &v)) {
    failed = true;
    return BrokenByte;
  }
  return FileByte(v);
}

bool WriteSolvedTable() {
  for (writingSide = 0; writingSide < 2; writingSide++) {
    if (!WriteTableSide(layout.table, writingSide, PublishedByte)) return false;
    if (failed) {
      remove(TableFileName(layout.table, writingSide));
      fprintf(stderr, "%s: a position converts into a table that cannot be read\n", tableCatalogue[layout.table].name);
      return false;
    }
  }
  return true;
}

void ReleaseSolvedTable() {
  for (uint8_t** array : {values, movesLeft, exitLoss})
    for (int side = 0; side < 2; side++) {
      free(array[side]);
      array[side] = nullptr;
    }
  for (std::vector<LateAnswer>& list : lateAnswers) std::vector<LateAnswer>().swap(list);
}
