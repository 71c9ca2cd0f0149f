// Index functions of every table side and their inverse. The layout, and every choice the
// published description leaves open, is written down in index.cpp.
#pragma once

#include <cstdint>

#include "tablebases/catalogue.h"

// A position as a table sees it: the stronger side plays White, never inverted.
struct TablePosition {
  int strong[64];  // piece codes as for TableIndexFunction
  int weak[64];
  int epSquare;    // NoEpSquare when the position has no en-passant right
};

// The position an index of one table side stands for. Returns false when the index stands for no
// position that the layout can place (two men on one square, a vacated e.p. square occupied, an
// e.p. entry whose position another entry holds, an index beyond the count); a position it
// returns may still be broken by having the king of the
// side not to move in check, which the caller tests. For every legal position p,
// DecodeTableIndex(t, s, Index(p)) gives p or its image under the layout's symmetry.
bool DecodeTableIndex(int table, int side, uint32_t index, TablePosition* out);
