// The tablebase probe the search calls: the current position to a table, side and index, and the
// stored byte to a score.
#pragma once

#include <cstdint>

// Probes the global position with `side` to move (1 White, 0 Black). True when a registered table
// has the position's material and its entry could be read, with `*score` from the side to move's
// view in the engine's units: 0 a draw, about +327670 a win and -327670 a loss, counted from the
// position probed, so a caller deeper in a tree moves mate scores by its ply. False otherwise,
// leaving `*score` alone. Needs InitTablebases and SetTablebaseCache first. The position is
// assumed legal; nothing is allocated.
bool ProbeTablebase(int side, int* score);

// The value of the stored byte `stored` at `index` of table side (`table`, `side`), before the
// probe multiplies it by 10: 0 a draw, 32767 - n a win in n moves, -(32767 - n) a loss in n - 1
// moves, with the fixed correction of seven entries of kppkp.
int TableValue(int table, int side, uint32_t index, int stored);
