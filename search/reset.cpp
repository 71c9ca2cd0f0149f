#include "search/reset.h"

// The tables this clears arrive with the transposition table, the pawn table and the search;
// each adds its clear here so that setting a position keeps a single reset point.
void ClearSearchState() {}
