#include "tools/tbgen/verify.h"

#include <cstdio>

#include "tablebases/catalogue.h"
#include "tablebases/index.h"
#include "tools/tbgen/derive.h"
#include "tools/tbgen/layout.h"
#include "tools/tbgen/store.h"
#include "tools/tbgen/values.h"

static const int MismatchesNamed = 5;

VerifyResult VerifyTable(int table) {
  VerifyResult r = {};
  r.readable = true;
  SetUpLayout(table);
  for (int side = 0; side < 2; side++) {
    r.longestWin[side][0] = r.longestWin[side][1] = -1;
    const int8_t* bytes = LoadTableSide(table, side);
    if (!bytes) {
      r.readable = false;
      continue;
    }
    for (uint32_t index = 0; index < tableCatalogue[table].count[side]; index++) {
      TablePosition t;
      Men p;
      const bool legal = DecodeTableIndex(table, side, index, &t) && MenOfTablePosition(t, side, &p);
      int derived = 0;
      if (legal && !DerivedValue(p, t.epSquare == NoEpSquare ? -1 : t.epSquare, StoredValue, &derived)) {
        r.readable = false;
        return r;
      }
      const int stored = ValueOfByte(bytes[index]);
      // A loss in 127 moves is stored as one in 126.
      const bool agrees = legal ? bytes[index] != BrokenByte &&
                                      (stored == derived || (stored == LossValue(126) && derived == LossValue(127)))
                                : bytes[index] == BrokenByte;
      if (!legal) r.broken[side]++;
      if (!agrees && r.mismatches[side]++ < MismatchesNamed)
        fprintf(stderr, "%s: index %u holds %d, its successors give %d\n", TableFileName(table, side), index,
                bytes[index], legal ? FileByte(derived) : BrokenByte);
      if (legal && IsWin(stored)) {
        int& longest = r.longestWin[side][side];
        if (stored > longest) longest = stored;
      } else if (legal && IsLoss(stored) && Distance(stored) > 0) {
        int& longest = r.longestWin[side][side ^ 1];
        if (Distance(stored) > longest) longest = Distance(stored);
      } else if (legal && stored == LossValue(0) && r.longestWin[side][side ^ 1] < 0) {
        r.longestWin[side][side ^ 1] = 0;
      }
    }
  }
  return r;
}
