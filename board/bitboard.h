// Bit scans. Compilers lower these to the processor's own instructions.
#pragma once

#include "board/types.h"

#if defined(_MSC_VER)
#include <intrin.h>
inline int LowestBit(Bitboard b) { unsigned long i; _BitScanForward64(&i, b); return int(i); }
inline int PopCount(Bitboard b) { return int(__popcnt64(b)); }
#else
// The bitboard must not be empty.
inline int LowestBit(Bitboard b) { return __builtin_ctzll(b); }
inline int PopCount(Bitboard b) { return __builtin_popcountll(b); }
#endif

// Removes and returns the lowest set square; the bitboard must not be empty.
inline int PopLowest(Bitboard& b) {
  int s = LowestBit(b);
  b &= b - 1;
  return s;
}

// Shifts a bitboard by a signed amount (positive is towards h8).
inline Bitboard Shift(Bitboard b, int delta) { return delta > 0 ? b << delta : b >> -delta; }
