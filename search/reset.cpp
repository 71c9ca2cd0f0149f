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
