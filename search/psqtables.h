// Piece-square tables. They are rebuilt from the material on the board before every search so
// that the king's table follows the phase of the game.
#pragma once

#include "board/types.h"

// [side][PieceType][square]; Black's value of a square is White's value of square ^ 56.
extern int pieceSquareTables[2][7][64];

// 0 or -300 per side: what not castling costs while the game is young.
extern int castlingLossPenalty[2];

// Fills the tables for the position on the board and the game's length so far.
void BuildPieceSquareTables();

// The piece-square sum of the position from scratch (White's view).
int ComputePsqScore();
