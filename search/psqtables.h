// What goes into the piece-square tables (the board owns their storage and the sum). They are
// rebuilt for every new position and before every search so that the king's table follows the
// phase of the game.
#pragma once

#include "board/psqscore.h"

// 0 or -300 per side: what not castling costs while the game is young.
extern int castlingLossPenalty[2];

// Fills the tables for the position on the board and the game's length so far.
void BuildPieceSquareTables();
