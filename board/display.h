// The board drawn as text, from the twelve piece bitboards.
#pragma once

#include "board/types.h"

// Writes the drawing to standard output, followed by an empty line.
void PrintBoard(const Bitboard pieces[2][6]);

// The same drawing in a static buffer that the next call overwrites.
const char* BoardText(const Bitboard pieces[2][6]);
