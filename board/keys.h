// Zobrist keys and the additive generator that draws them.
#pragma once

#include "board/types.h"

// Opening books store key bits, so the generator, its seed table and the draw order in InitKeys
// are fixed for good.
extern uint64_t pieceKey[2][7][64];  // [side][PieceType][square]; type 0 is drawn but unused
extern uint64_t whiteToMoveKey;
extern uint64_t blackToMoveKey;
extern uint64_t sideKey;  // whiteToMoveKey ^ blackToMoveKey: every move toggles it
extern uint64_t pawnKey[2][64];

// One step of the lagged-Fibonacci generator (x[n] = x[n-24] + x[n-55] mod 2^32).
uint32_t AdditiveRandom();
// Two steps, low word first.
uint64_t AdditiveRandom64();
// Puts the generator back to its seed state (the next step is the first ever drawn).
void ResetAdditiveRandom();

// Draws every key in its fixed order, starting from the seed state.
void InitKeys();
