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

// Characters of coordinate and SAN moves.
inline bool IsFileLetter(char c) { return c >= 'a' && c <= 'h'; }
inline bool IsRankDigit(char c) { return c >= '1' && c <= '8'; }
// Square from a file character and a rank character, unchecked: a square outside the board
// simply matches no move.
inline int SquareOf(char file, char rank) { return (rank - '1') * 8 + (file - 'a'); }

// The piece type a SAN move begins with: B, K (O and o too, for castling), N, Q, R, or a file
// letter for a pawn; NoPiece for anything else.
int PieceOfSanLetter(char c);
// The piece type a promotion letter names, either case (n, b, r, q), or NoPiece.
int PromotionOfLetter(char c);

// The game result a token holds anywhere in it: 1 for "1-0", -1 for "0-1", 0 for "1/2-1/2", and
// NoResult for none. "1-0" is looked for first.
constexpr int NoResult = 2;
int ResultOfToken(const char* token);

// The move of `side` that the SAN token names, or 0. Ambiguities resolve to the first match in
// generation order; "=Q", "+" and "#" suffixes are not read. Result tokens return 0 quietly.
Move ParseSan(const char* token, int side);

// First candidate (zero-terminated list) with this to-square, piece type and from-square
// (-1: any), from-file or from-rank; 0 and a report when there is none.
Move FindMove(const Move* candidates, int from, int to, int piece);
Move FindMoveFile(const Move* candidates, int file, int to, int piece);
Move FindMoveRank(const Move* candidates, int rank, int to, int piece);
