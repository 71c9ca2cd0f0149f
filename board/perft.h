// Move-path enumeration for checking the move generator and make/unmake against known counts.
#pragma once

#include <cstdint>

// Leaf count of the legal tree of depth `depth` from the current position, walked the way the
// search walks it: captures and quiet moves, make, own-king test, recurse, unmake. No bulk
// counting at the last ply, so the figure measures make/unmake as well.
// `ply` is the first undo slot the walk may use; slots below it are left alone.
uint64_t Perft(int depth, int side, int ply = 0);
