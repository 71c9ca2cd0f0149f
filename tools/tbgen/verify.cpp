// The files are first read into the working layout, every entry decoded once and put at the
// position its index stands for, so that the successors inside the table are found without the
// published index function; captures, promotions and positions with an en-passant right are
// read through it. Two entries of one position (the symmetric placements the layout keeps) must
// agree, so each position is then derived once, in the working layout's order.
#include "tools/tbgen/verify.h"

#include <algorithm>
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

static const int MismatchesNamed = 5;

static int8_t* working[2];  // [side]: file bytes by working index; BrokenByte where none

static bool WorkingOrStored(const Men& p, int epSquare, int* value) {
  if (epSquare >= 0 || !InLayout(p)) return StoredValue(p, epSquare, value);
  const int8_t b = working[p.toMove == White ? 0 : 1][WorkIndex(p)];
  *value = ValueOfByte(b);
  return b != BrokenByte;
}

// DerivedValue for an entry without an en-passant right, nearly every one: a successor inside
// the table is found from the index of a man's step, not indexed afresh from its men, and the
// quiet moves of a piece square by square from its set of destinations.
static bool DerivedInTable(const Men& p, int* value) {
  MenMoveSets moves;
  if (!GenerateMenMoveSets(p, &moves)) {
    *value = MenInCheck(p) ? LossValue(0) : 0;
    return true;
  }
  IndexTerms terms;
  SplitIndex(p, &terms);
  const int8_t* next = working[p.toMove == White ? 1 : 0];
  int best = LossValue(0);
  uint64_t indices[MaxMenMoves];
  for (int i = 0; i < p.count; i++) {
    const int n = WorkIndicesMoved(p, terms, i, moves.quiet[i], indices);
    for (int j = 0; j < n; j++) {
      const int8_t b = next[indices[j]];
      if (b == BrokenByte) return false;
      best = Better(best, Negate(ValueOfByte(b)));
    }
  }
  for (int i = 0; i < moves.count; i++) {
    const MenMove& m = moves.list[i];
    const int ep = EpRightAfter(p, m);
    int successor;
    if (m.captured >= 0 || m.promotion || ep >= 0) {
      if (!WorkingOrStored(MenAfterAny(p, m), ep, &successor)) return false;
    } else {
      const int8_t b = next[WorkIndexMoved(p, terms, m.man, m.to)];
      if (b == BrokenByte) return false;
      successor = ValueOfByte(b);
    }
    best = Better(best, Negate(successor));
  }
  *value = best;
  return true;
}

// Decodes an entry; false when it stands for no position.
static bool Decode(int table, int side, uint32_t index, Men* p, int* epSquare) {
  TableMen t;
  if (!DecodeMen(tableLayouts[table][side], index, &t, epSquare) || !MenOfTableMen(t, side, p)) return false;
  if (*epSquare == NoEpSquare) *epSquare = -1;
  return true;
}

// Mismatches are few: they are counted (and the first few named) under the workers' lock.
static void Mismatch(VerifyResult* r, int table, int side, uint32_t index, int stored, int derived) {
  WorkersLock lock;
  if (r->mismatches[side]++ < MismatchesNamed)
    fprintf(stderr, "%s: index %u holds %d, its successors give %d\n", TableFileName(table, side), index, stored,
            derived);
}

// The entry of a position of the table checked, without an en-passant right.
static uint32_t EntryOf(int table, const Men& p) {
  TableMen men = {};
  for (int i = 0; i < p.count; i++) men.men[p.man[i].side == White ? 0 : 1][p.man[i].type] |= squareMask[p.man[i].square];
  return IndexOfMen(tableLayouts[table][p.toMove == White ? 0 : 1], men, NoEpSquare, false);
}

static void CountLongest(VerifyResult* r, int side, int stored) {
  if (IsWin(stored) && stored > r->longestWin[side][side]) r->longestWin[side][side] = stored;
  if (IsLoss(stored) && Distance(stored) > r->longestWin[side][side ^ 1])
    r->longestWin[side][side ^ 1] = Distance(stored);
}

// The table and side the workers check, their files' bytes and the result they add to.
static int checkTable, checkSide;
static const int8_t* checkBytes;
static VerifyResult checked;
// The entries with an en-passant right, derived through the published index once every other
// entry is spread.
static std::vector<uint32_t> epEntries[2];

static void AddLocal(const VerifyResult& local, int side) {
  WorkersLock lock;
  VerifyResult& r = checked;
  r.readable &= local.readable;
  r.broken[side] += local.broken[side];
  for (int winner = 0; winner < 2; winner++)
    if (local.longestWin[side][winner] > r.longestWin[side][winner])
      r.longestWin[side][winner] = local.longestWin[side][winner];
}

static VerifyResult NewLocal(int side) {
  VerifyResult local = {};
  local.readable = true;
  local.longestWin[side][0] = local.longestWin[side][1] = -1;
  return local;
}

// Every entry decoded once: broken ones counted, the others' values measured and put at the
// working index of their position, where two entries of one position must agree.
static void SpreadChunk(uint64_t begin, uint64_t end) {
  const int side = checkSide;
  VerifyResult local = NewLocal(side);
  std::vector<uint32_t> ep;
  for (uint64_t i = begin; i < end; i++) {
    const uint32_t index = uint32_t(i);
    const int8_t b = checkBytes[index];
    Men p;
    int epSquare;
    if (!Decode(checkTable, side, index, &p, &epSquare)) {
      local.broken[side]++;
      if (b != BrokenByte) Mismatch(&checked, checkTable, side, index, b, BrokenByte);
      continue;
    }
    if (b == BrokenByte) {
      Mismatch(&checked, checkTable, side, index, b, 0);
      continue;
    }
    CountLongest(&local, side, ValueOfByte(b));
    if (epSquare >= 0) {
      ep.push_back(index);
      continue;
    }
    const int8_t was = __atomic_exchange_n(&working[side][WorkIndex(p)], b, __ATOMIC_RELAXED);
    if (was != BrokenByte && was != b) Mismatch(&checked, checkTable, side, index, b, was);
  }
  AddLocal(local, side);
  WorkersLock lock;
  epEntries[side].insert(epEntries[side].end(), ep.begin(), ep.end());
}

// True when the value an entry holds is the one derived from its successors.
static bool Agrees(int8_t b, int derived) {
  const int stored = ValueOfByte(b);
  // A loss in 127 moves is stored as one in 126.
  return stored == derived || (stored == LossValue(126) && derived == LossValue(127));
}

// Positions lost in 127 moves, one more than a byte holds (only kppkp has them): the working
// indices found by the derivation, then every entry that holds one of them, to be named.
static const size_t LongLossesKept = 64;
static std::vector<uint64_t> longLossPositions[2], longLossEntries[2];

static void NoteLongLoss(std::vector<uint64_t>& list, uint64_t at) {
  WorkersLock lock;
  if (list.size() < LongLossesKept) list.push_back(at);
}

// Every position of the working layout derived from its successors, once however many entries
// hold it; a position no entry holds is a mismatch too.
static void DeriveChunk(uint64_t begin, uint64_t end) {
  const int side = checkSide;
  VerifyResult local = NewLocal(side);
  for (uint64_t index = begin; index < end && local.readable; index++) {
    Men p;
    if (!DecodeWork(index, side, &p)) continue;
    const int8_t b = working[side][index];
    int derived = 0;
    if (!DerivedInTable(p, &derived)) {
      local.readable = false;
      break;
    }
    if (b == BrokenByte || !Agrees(b, derived)) Mismatch(&checked, checkTable, side, EntryOf(checkTable, p), b, FileByte(derived));
    if (derived == LossValue(127)) NoteLongLoss(longLossPositions[side], index);
  }
  AddLocal(local, side);
}

// The placement and side to move of a position as FEN fields, to name it to a reader.
static void MenFen(const Men& p, int epSquare, char* out) {
  char board[64] = {};
  for (int i = 0; i < p.count; i++) board[p.man[i].square] = (p.man[i].side == White ? " PNBRQK" : " pnbrqk")[p.man[i].type];
  for (int rank = 7; rank >= 0; rank--) {
    for (int file = 0, empty = 0; file < 8; file++) {
      const char c = board[rank * 8 + file];
      if (!c) empty++;
      if (empty && (c || file == 7)) *out++ = char('0' + empty);
      if (c) *out++ = c, empty = 0;
    }
    if (rank) *out++ = '/';
  }
  if (epSquare < 0) snprintf(out, 16, " %c - -", p.toMove == White ? 'w' : 'b');
  else snprintf(out, 16, " %c - %c%c", p.toMove == White ? 'w' : 'b', 'a' + (epSquare & 7), '1' + (epSquare >> 3));
}

// The entries (without an en-passant right) that hold a position lost in 127 moves.
static void FindLongLossChunk(uint64_t begin, uint64_t end) {
  const int side = checkSide;
  const std::vector<uint64_t>& positions = longLossPositions[side];
  for (uint64_t i = begin; i < end; i++) {
    Men p;
    int epSquare;
    if (!Decode(checkTable, side, uint32_t(i), &p, &epSquare) || epSquare >= 0) continue;
    if (std::binary_search(positions.begin(), positions.end(), WorkIndex(p))) NoteLongLoss(longLossEntries[side], i);
  }
}

static void DeriveEpChunk(uint64_t begin, uint64_t end) {
  const int side = checkSide;
  VerifyResult local = NewLocal(side);
  for (uint64_t i = begin; i < end && local.readable; i++) {
    const uint32_t index = epEntries[side][i];
    Men p;
    int ep, derived = 0;
    Decode(checkTable, side, index, &p, &ep);
    local.readable = DerivedValue(p, ep, WorkingOrStored, &derived);
    if (local.readable && !Agrees(checkBytes[index], derived))
      Mismatch(&checked, checkTable, side, index, checkBytes[index], FileByte(derived));
    if (local.readable && derived == LossValue(127)) NoteLongLoss(longLossEntries[side], index);
  }
  AddLocal(local, side);
}

VerifyResult VerifyTable(int table) {
  VerifyResult& r = checked;
  r = {};
  r.readable = true;
  SetUpLayout(table);
  const int8_t* bytes[2];
  for (int side = 0; side < 2; side++) {
    r.longestWin[side][0] = r.longestWin[side][1] = -1;
    bytes[side] = LoadTableSide(table, side);
    working[side] = static_cast<int8_t*>(malloc(layout.size));
    if (!bytes[side] || !working[side]) r.readable = false;
    else memset(working[side], BrokenByte, layout.size);
  }
  checkTable = table;
  for (checkSide = 0; checkSide < 2 && r.readable; checkSide++) {
    checkBytes = bytes[checkSide];
    ForEachChunk(tableCatalogue[table].count[checkSide], SpreadChunk);
  }
  for (checkSide = 0; checkSide < 2 && r.readable; checkSide++) {
    checkBytes = bytes[checkSide];
    ForEachChunk(layout.size, DeriveChunk);
    ForEachChunk(epEntries[checkSide].size(), DeriveEpChunk);
  }
  for (checkSide = 0; checkSide < 2 && r.readable; checkSide++) {
    std::vector<uint64_t>& positions = longLossPositions[checkSide];
    std::vector<uint64_t>& entries = longLossEntries[checkSide];
    std::sort(positions.begin(), positions.end());
    if (!positions.empty()) ForEachChunk(tableCatalogue[table].count[checkSide], FindLongLossChunk);
    std::sort(entries.begin(), entries.end());
    for (uint64_t index : entries) {
      Men p;
      int epSquare;
      char fen[96] = "";
      if (Decode(table, checkSide, uint32_t(index), &p, &epSquare)) MenFen(p, epSquare, fen);
      fprintf(stderr, "%s: index %llu is lost in 127 moves (stored as 126): %s\n", TableFileName(table, checkSide),
              (unsigned long long)index, fen);
    }
    positions.clear();
    entries.clear();
  }
  for (std::vector<uint32_t>& list : epEntries) std::vector<uint32_t>().swap(list);
  for (int8_t*& w : working) {
    free(w);
    w = nullptr;
  }
  return r;
}
