#include "tools/tbgen/derive.h"

#include "tools/tbgen/values.h"

Men MenAfterAny(const Men& p, const MenMove& m) {
  Men after = p;
  after.man[m.man].square = m.to;
  if (m.promotion) after.man[m.man].type = m.promotion;
  if (m.captured >= 0) {
    for (int i = m.captured; i + 1 < after.count; i++) after.man[i] = after.man[i + 1];
    after.count--;
  }
  after.toMove ^= 1;
  return after;
}

bool DerivedValue(const Men& p, int epSquare, ValueLookup lookup, int* value) {
  MenMove moves[MaxMenMoves];
  int n = GenerateMenMoves(p, moves);
  if (epSquare >= 0) n += GenerateMenEpCaptures(p, epSquare, moves + n);
  if (n == 0) {
    *value = MenInCheck(p) ? LossValue(0) : 0;
    return true;
  }
  int best = LossValue(0);
  for (int i = 0; i < n; i++) {
    int successor;
    if (!lookup(MenAfterAny(p, moves[i]), EpRightAfter(p, moves[i]), &successor)) return false;
    best = Better(best, Negate(successor));
  }
  *value = best;
  return true;
}
