// The checker: every entry of a table's files re-derived from its successors.
#pragma once

#include <cstdint>

struct VerifyResult {
  uint64_t broken[2];      // [side] entries that stand for no position
  uint64_t mismatches[2];  // [side] entries that differ from what their successors give
  int longestWin[2][2];    // [side][winner: 0 the stronger side, 1 the other]: moves, -1 when none
  bool readable;           // the files and every table they convert into could be read
};

// Checks both files of `table` in tableDirectory. Every mismatch up to a few is named on
// standard error.
VerifyResult VerifyTable(int table);
