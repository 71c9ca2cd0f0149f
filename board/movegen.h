// Move generation, move validity and exchange evaluation on the global position.
#pragma once

#include "board/position.h"

// Each generator appends the moves of `side` at `list` and returns the new end. The list must
// have room for MaxMoves. Moves are pseudo-legal: the mover's king may be left attacked.
//
// Captures: knights, rooks, bishops, queens, king, then queen promotions by push, then pawn
// captures towards the a-file and towards the h-file (en passant included; a capture onto the
// last rank is a queen promotion). Lowest square first throughout.
Move* GenerateCaptures(Move* list, int side);
// Quiet moves: castling (king-side first), knights, rooks, bishops, queens and king to empty
// squares, pawn double then single steps, capture under-promotions (R, B, N), push
// under-promotions (N, R, B). SAN ties and book choices depend on this order.
Move* GenerateQuiet(Move* list, int side);
// The castling moves of `side`, king-side first: each is legal (the generators' first quiet moves).
Move* AddCastling(Move* list, int side);
// Only the moves that do not leave the mover's king attacked, captures first.
Move* GenerateLegal(Move* list, int side);
// Check evasions of `side`, which must be in check: king moves first, then (single check)
// captures of and interpositions against the checker by knights, bishops, rooks, queens, pawns.
// Every move returned is legal.
Move* GenerateEvasions(Move* list, int side);

// True when `m` is one of the moves the two generators would produce for `side` now.
bool IsValidMove(Move m, int side);

// Sorts moves and their scores together, highest first, by adjacent exchanges until a pass
// makes none: equal scores keep their order (the generator's, which ties are meant to follow).
void SortByScore(Move* moves, int* scores, int count);

// Material that `side` wins, in pieceValue units, by the exchange on `to` begun by the piece on
// `from`, both sides capturing with their least valuable piece and free to stop.
int StaticExchange(int from, int to, int side);
