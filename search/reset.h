// Search state that belongs to one position and is dropped whenever a position is set.
#pragma once

// Zeroes the transposition and pawn tables (and the search's own tables as they arrive).
void ClearSearchState();
