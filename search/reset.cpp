#include "search/reset.h"

#include <cstring>

#include "board/position.h"
#include "search/hash.h"
#include "search/pawns.h"
#include "search/psqtables.h"
#include "search/search.h"

static void RebuildPieceSquareTables() {
  BuildPieceSquareTables();
  pos.psqScore = ComputePsqScore();
}

void ResetForNewPosition() {
  ClearHT();
  ClearPawnTable();
  memset(HistoryTable, 0, sizeof HistoryTable);
  LazyMargin = InitialLazyMargin;
  RebuildPieceSquareTables();
}

void ResetForNewSearch() {
  RebuildPieceSquareTables();
  memset(CounterMoveTable, 0, sizeof CounterMoveTable);
  memset(CounterMoveDepth, 0, sizeof CounterMoveDepth);
}

void AgeHistory() {
  uint32_t largest = 0;
  for (const auto& side : HistoryTable)
    for (uint32_t h : side)
      if (h > largest) largest = h;
  for (auto& side : HistoryTable)
    for (uint32_t& h : side) h -= largest;
}
