// Move-path enumeration for checking the move generator and make/unmake against known counts.
#pragma once

#include <cstdint>

// Leaf count of the legal tree of depth `depth` from the current position, walked the way the
// search walks it: captures and quiet moves, make, own-king test where a pin or a check makes
// one necessary, recurse, unmake. Every leaf is made and unmade, so the figure measures
// make/unmake as well; with `bulk`, the last ply's legal moves are counted without making them.
// `ply` is the first undo slot the walk may use; slots below it are left alone.
uint64_t Perft(int depth, int side, int ply = 0, bool bulk = false);
