#include "search/reset.h"

#include "search/hash.h"
#include "search/pawns.h"
#include "search/search.h"

// Each table the search keeps about a position adds its clear here, so that setting a position
// keeps a single reset point.
void ClearSearchState() {
  ClearHT();
  ClearPawnTable();
  ResetSearchHistory();
}

void AgeHistory() {
  uint32_t largest = 0;
  for (const auto& side : HistoryTable)
    for (uint32_t h : side)
      if (h > largest) largest = h;
  for (auto& side : HistoryTable)
    for (uint32_t& h : side) h -= largest;
}
