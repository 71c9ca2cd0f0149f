// Moves as text: coordinate output for the GUI, display notation, and SAN input.
#pragma once

#include "board/types.h"

// Coordinate form, as the GUI reads it: "e2e4", "e7e8q". A static buffer the next call overwrites.
const char* CoordinateText(Move m);

// Reads a coordinate move ("e2e4", "e7e8q"; the promotion letter in either case) from the start of
// `text` into squares and a promotion PieceType (NoPiece when the fifth character names none).
// False, with nothing set, when the text does not begin with two squares.
bool ReadCoordinateMove(const char* text, int& from, int& to, int& promotion);
// "move e7e8q" and a line end.
void PrintCoordinateMove(Move m);

// Display notation without the blank, in a static buffer the next call overwrites.
const char* MoveText(Move m);

// Display notation followed by one blank: Nxe5(p), dxe8Q(R), Kg1. No disambiguation or check
// marks: it is for people reading diagnostics and analysis lines.
void PrintMove(Move m);

// Display notation of every move of a zero-terminated list.
void PrintMoveList(const Move* list);

// The move of `side` that the SAN token names, or 0. Ambiguities resolve to the first match in
// generation order; "=Q", "+" and "#" suffixes are not read. Result tokens return 0 quietly.
Move ParseSan(const char* token, int side);

// First candidate (zero-terminated list) with this to-square, piece type and from-square
// (-1: any), from-file or from-rank; 0 and a report when there is none.
Move FindMove(const Move* candidates, int from, int to, int piece);
Move FindMoveFile(const Move* candidates, int file, int to, int piece);
Move FindMoveRank(const Move* candidates, int rank, int to, int piece);
