// Search state that belongs to one position and is dropped whenever a position is set.
#pragma once

// Zeroes the transposition, pawn and history tables and resets the lazy-evaluation margin.
void ClearSearchState();

// The history table learns move by move through a game; each opponent move lowers every entry by
// the largest, in the table's own 32-bit arithmetic.
void AgeHistory();
