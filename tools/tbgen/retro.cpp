// Retrograde analysis, level by level of distance to mate.
//
// The working byte of every position starts undecided; the first pass settles mates, stalemates,
// positions whose every move converts (their value is known from the smaller tables) and enters
// the best win a conversion offers as a provisional value. Then, for m = 1, 2, ...:
//
//   a. every position lost in m - 1 moves makes each of its predecessors (un-moves) a win in m,
//      unless it is already a win that fast;
//   b. every position won in m moves marks its undecided predecessors as candidates; a candidate
//      whose every move now leads to a settled win for the opponent is lost, in as many moves as
//      the slowest of them.
//
// A win in m is final once level m has run, so (b) reads only wins up to m. Both steps find
// their work by scanning the byte arrays for one value, so no per-position counters are kept:
// one byte per entry plus a candidate bit. What is undecided at the end is a draw.
//
// A double step that gives the opponent an en-passant capture leads to a position the working
// layout does not hold (it has no en-passant rights): its value is the better for the opponent
// of the stored position and the captures. When such a capture wins only at a later level the
// candidate is looked at again then (the deferred list, rare enough to be a plain vector).
//
// Every step is a scan over index ranges of positions held as small values, with no shared
// board, so the worker threads split the ranges (workers.h). One side's array is scanned while
// the other's is marked: step a lowers bytes of the other side by compare-and-swap, so the win
// kept is the fastest whichever thread comes last; candidate bits are set by atomic or; step b
// writes only its own range and reads only the other side, which no one writes meanwhile.
#include "tools/tbgen/retro.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tablebases/catalogue.h"
#include "tools/tbgen/derive.h"
#include "tools/tbgen/layout.h"
#include "tools/tbgen/store.h"
#include "tools/tbgen/values.h"
#include "tools/tbgen/workers.h"

static uint8_t* values[2];      // [side]: working values
static uint64_t* candidates[2];  // [side]: one bit per entry
static std::atomic<int> lastLevel;  // the loop runs at least to this level
static std::atomic<bool> failed;    // a table converted into could not be read

struct Deferred {
  int level;
  int side;
  uint64_t index;
};
static std::vector<Deferred> deferred;

// What the pass the workers run is about.
static int passSide, passLevel;
static std::atomic<uint64_t> passCount;

static int SideOf(const Men& p) { return p.toMove == White ? 0 : 1; }
static uint8_t& ValueOf(const Men& p) { return values[SideOf(p)][WorkIndex(p)]; }

static void NeedLevel(int level) {
  int seen = lastLevel.load(std::memory_order_relaxed);
  while (level > seen && !lastLevel.compare_exchange_weak(seen, level, std::memory_order_relaxed)) {
  }
}

static void MarkCandidate(int side, uint64_t index) {
  __atomic_fetch_or(&candidates[side][index >> 6], 1ULL << (index & 63), __ATOMIC_RELAXED);
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

// A move inside the table settles nothing yet, so once one is known legal the others are not
// tested: only conversions and the double steps that give an en-passant right are.
static void FirstPass(uint64_t begin, uint64_t end) {
  const int side = passSide;
  MenMove moves[MaxMenMoves];
  for (uint64_t index = begin; index < end; index++) {
    Men p;
    if (!DecodeWork(index, side, &p)) continue;
    const int n = GeneratePseudoMenMoves(p, moves);
    const Bitboard toTest = MenToTest(p);
    auto legal = [&](const MenMove& m) { return !(toTest & squareMask[p.man[m.man].square]) || MenMoveLegal(p, m); };
    uint8_t& v = values[side][index];
    int best = LossValue(0), inTable = 0;
    bool any = false;
    for (int i = 0; i < n; i++) {
      const MenMove& m = moves[i];
      if (IsConversion(m)) {
        if (!legal(m)) continue;
        any = true;
        best = Better(best, Negate(ConvertedValue(p, m)));
        continue;
      }
      const int ep = EpRightAfter(p, m);
      if (ep < 0 && inTable) continue;
      if (!legal(m)) continue;
      any = true;
      const Men after = MenAfter(p, m);
      MenMove replies[MaxMenMoves];
      if (ep < 0 || GenerateMenMoves(after, replies) > 0) {
        inTable++;
        continue;
      }
      // The opponent's only moves are en-passant captures: the value is known now.
      bool captures;
      const int value = EpCapturesValue(after, ep, &captures);
      best = Better(best, Negate(Better(MenInCheck(after) ? LossValue(0) : 0, value)));
    }
    if (!any) {
      v = MenInCheck(p) ? LossValue(0) : 0;
    } else if (inTable == 0) {
      v = uint8_t(best);
      NeedLevel(Distance(best) + 1);
    } else if (IsWin(best)) {
      v = uint8_t(best);  // provisional: a move inside the table may win faster
      NeedLevel(best);
    }
  }
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

static void MarkCandidates(const Men& won) {
  MenUnmove unmoves[MaxMenMoves];
  const int n = GenerateMenUnmoves(won, unmoves);
  IndexTerms terms;
  SplitIndex(won, &terms);
  const int side = SideOf(won) ^ 1;
  for (int i = 0; i < n; i++) {
    const uint64_t index = WorkIndexMoved(won, terms, unmoves[i].man, unmoves[i].from);
    if (values[side][index] == 0) MarkCandidate(side, index);
  }
}

// Step b for one candidate: its loss when every move leads to a win for the opponent settled
// by `level`, else 0. Most candidates fail at some move, so legality is tested only where a move
// would make them fail (a candidate always has a legal move: the one its marking came by).
static int CandidateLoss(const Men& p, uint64_t index, int level) {
  MenMove moves[MaxMenMoves];
  const int n = GeneratePseudoMenMoves(p, moves);
  IndexTerms terms;
  SplitIndex(p, &terms);
  const uint8_t* opponentValues = values[SideOf(p) ^ 1];
  int slowest = 0, waitFor = 0;
  Bitboard toTest = 0;
  bool testsKnown = false;
  auto legal = [&](const MenMove& m) {
    if (!testsKnown) toTest = MenToTest(p), testsKnown = true;
    return !(toTest & squareMask[p.man[m.man].square]) || MenMoveLegal(p, m);
  };
  for (int i = 0; i < n; i++) {
    int opponent;
    if (IsConversion(moves[i])) {
      if (!legal(moves[i])) continue;
      opponent = ConvertedValue(p, moves[i]);
      if (!IsWin(opponent)) return 0;
    } else {
      const int stored = opponentValues[WorkIndexMoved(p, terms, moves[i].man, moves[i].to)];
      const bool settled = IsWin(stored) && stored <= level;
      const int ep = EpRightAfter(p, moves[i]);
      if (!settled && ep < 0) {
        if (legal(moves[i])) return 0;
        continue;
      }
      if (!legal(moves[i])) continue;
      bool any = false;
      const int captures = ep >= 0 ? EpCapturesValue(MenAfter(p, moves[i]), ep, &any) : 0;
      if (settled) {
        opponent = any ? Better(stored, captures) : stored;
      } else if (any && IsWin(captures)) {
        opponent = captures;  // wins at the latest then, sooner only if `stored` settles first
        if (captures > level && captures > waitFor) waitFor = captures;
      } else {
        return 0;
      }
    }
    if (opponent > slowest) slowest = opponent;
  }
  if (waitFor) {
    LockWorkers();
    deferred.push_back({waitFor, SideOf(p), index});
    UnlockWorkers();
    NeedLevel(waitFor);
    return 0;
  }
  return slowest ? LossValue(slowest) : 0;
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

static void CandidateVisit(const Men& won, int) { MarkCandidates(won); }

// Step b on the candidates of passSide in one chunk; passCount counts those found lost.
static void SettleChunk(uint64_t begin, uint64_t end) {
  const int side = passSide, level = passLevel;
  uint64_t lost = 0;
  for (uint64_t w = begin / 64; w < (end + 63) / 64; w++) {
    uint64_t bits = candidates[side][w];
    candidates[side][w] = 0;
    while (bits) {
      const uint64_t index = w * 64 + __builtin_ctzll(bits);
      bits &= bits - 1;
      // A candidate was marked from a legal position by a legal un-move, at its canonical index.
      if (values[side][index] != 0) continue;
      const Men p = MenOfWorkIndex(index, side);
      const int loss = CandidateLoss(p, index, level);
      if (!loss) continue;
      values[side][index] = uint8_t(loss);
      NeedLevel(Distance(loss) + 1);
      lost++;
    }
  }
  passCount += lost;
}

// Runs step b on the candidates of one side; returns how many were found lost.
static uint64_t SettleCandidates(int side, int level) {
  passSide = side;
  passLevel = level;
  passCount = 0;
  ForEachChunk(layout.size, SettleChunk);
  return passCount;
}

bool SolveTable(int table) {
  SetUpLayout(table);
  failed = false;
  lastLevel = 0;
  deferred.clear();
  const uint64_t words = (layout.size + 63) / 64;
  for (int side = 0; side < 2; side++) {
    values[side] = static_cast<uint8_t*>(calloc(layout.size, 1));
    candidates[side] = static_cast<uint64_t*>(calloc(words, 8));
    if (!values[side] || !candidates[side]) {
      fprintf(stderr, "%s: out of memory\n", tableCatalogue[table].name);
      return false;
    }
  }
  for (passSide = 0; passSide < 2; passSide++) ForEachChunk(layout.size, FirstPass);
  if (failed) return false;
  int level = 1;
  for (; level <= 127; level++) {
    for (int side = 0; side < 2; side++) ScanForValue(side, LossValue(level - 1), MarkWins, level);
    for (int side = 0; side < 2; side++) ScanForValue(side, WinValue(level), CandidateVisit, level);
    for (size_t i = 0; i < deferred.size();) {
      if (deferred[i].level != level) {
        i++;
        continue;
      }
      MarkCandidate(deferred[i].side, deferred[i].index);
      deferred[i] = deferred.back();
      deferred.pop_back();
    }
    uint64_t lost = 0;
    for (int side = 0; side < 2; side++) lost += SettleCandidates(side, level);
    if (failed) return false;
    if (level >= lastLevel && !lost) break;
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
  for (int side = 0; side < 2; side++) {
    free(values[side]);
    free(candidates[side]);
    values[side] = nullptr;
    candidates[side] = nullptr;
  }
}
