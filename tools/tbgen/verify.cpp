// The files are first read into the working layout, every entry at the position its index
// stands for, so that the successors inside the table are found without the published index
// function; captures, promotions and positions with an en-passant right are read through it.
// Two entries of one position (the symmetric placements the layout keeps) must agree.
#include "tools/tbgen/verify.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tablebases/catalogue.h"
#include "tablebases/index.h"
#include "tools/tbgen/derive.h"
#include "tools/tbgen/layout.h"
#include "tools/tbgen/store.h"
#include "tools/tbgen/values.h"

static const int MismatchesNamed = 5;

static int8_t* working[2];  // [side]: file bytes by working index; BrokenByte where none

static bool WorkingOrStored(const Men& p, int epSquare, int* value) {
  if (epSquare >= 0 || !InLayout(p)) return StoredValue(p, epSquare, value);
  const int8_t b = working[p.toMove == White ? 0 : 1][WorkIndex(p)];
  *value = ValueOfByte(b);
  return b != BrokenByte;
}

// Decodes an entry; false when it stands for no position.
static bool Decode(int table, int side, uint32_t index, Men* p, int* epSquare) {
  TablePosition t;
  if (!DecodeTableIndex(table, side, index, &t) || !MenOfTablePosition(t, side, p)) return false;
  *epSquare = t.epSquare == NoEpSquare ? -1 : t.epSquare;
  return true;
}

static void Mismatch(VerifyResult* r, int table, int side, uint32_t index, int stored, int derived) {
  if (r->mismatches[side]++ < MismatchesNamed)
    fprintf(stderr, "%s: index %u holds %d, its successors give %d\n", TableFileName(table, side), index, stored,
            derived);
}

static void CountLongest(VerifyResult* r, int side, int stored) {
  if (IsWin(stored) && stored > r->longestWin[side][side]) r->longestWin[side][side] = stored;
  if (IsLoss(stored) && Distance(stored) > r->longestWin[side][side ^ 1])
    r->longestWin[side][side ^ 1] = Distance(stored);
}

VerifyResult VerifyTable(int table) {
  VerifyResult r = {};
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
  for (int side = 0; side < 2 && r.readable; side++)
    for (uint32_t index = 0; index < tableCatalogue[table].count[side]; index++) {
      Men p;
      int ep;
      if (!Decode(table, side, index, &p, &ep) || ep >= 0) continue;
      int8_t& w = working[side][WorkIndex(p)];
      if (w != BrokenByte && w != bytes[side][index]) Mismatch(&r, table, side, index, bytes[side][index], w);
      w = bytes[side][index];
    }
  for (int side = 0; side < 2 && r.readable; side++)
    for (uint32_t index = 0; index < tableCatalogue[table].count[side]; index++) {
      Men p;
      int ep, derived = 0;
      const int8_t b = bytes[side][index];
      if (!Decode(table, side, index, &p, &ep)) {
        r.broken[side]++;
        if (b != BrokenByte) Mismatch(&r, table, side, index, b, BrokenByte);
        continue;
      }
      if (!DerivedValue(p, ep, WorkingOrStored, &derived)) {
        r.readable = false;
        break;
      }
      const int stored = ValueOfByte(b);
      // A loss in 127 moves is stored as one in 126.
      if (b == BrokenByte || (stored != derived && !(stored == LossValue(126) && derived == LossValue(127))))
        Mismatch(&r, table, side, index, b, FileByte(derived));
      CountLongest(&r, side, stored);
    }
  for (int8_t*& w : working) {
    free(w);
    w = nullptr;
  }
  return r;
}
