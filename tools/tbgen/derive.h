// A position's value derived from the values of its successors: the best of the negated values
// of every legal move, en passant included when the position has that right. This is the rule
// every entry of a table obeys; the generator uses it for positions with an en-passant right and
// the checker for every entry.
#pragma once

#include "tools/tbgen/men.h"

// The value of a position (`epSquare` its en-passant target or -1), or false when unknown.
typedef bool (*ValueLookup)(const Men& p, int epSquare, int* value);

// The men after a move, captures and promotions applied, side to move flipped.
Men MenAfterAny(const Men& p, const MenMove& m);

// False when `lookup` knows some successor's value not.
bool DerivedValue(const Men& p, int epSquare, ValueLookup lookup, int* value);
