// Search state that belongs to one position and is dropped whenever a position is set.
#pragma once

// Zeroes the transposition, pawn and history tables and resets the lazy-evaluation margin.
void ClearSearchState();
