// Checks and pins on the global position: what lets a caller know a move is legal without
// making it, and count the legal moves without generating them.
#pragma once

#include "board/position.h"

// Enemy pieces that attack the king of `side`.
Bitboard Checkers(int side);
// Own pieces of `side` that stand alone between their king and an enemy slider on the same line.
Bitboard PinnedPieces(int side);

// The pieces of `side` whose pseudo-legal moves may leave their own king attacked: the king, the
// pinned pieces and the pawns that can take en passant (which lifts two pawns off one line), or
// every piece when in check or when the king is missing from its square. Any other move is
// legal once made.
Bitboard MoversToTest(int side);

// Whether the en-passant capture `m` of `side` keeps its king safe, settled by playing it.
bool EnPassantLegal(Move m, int side);

// The number of legal moves of `side`, the length of GenerateLegal's list. Only en-passant
// captures are made to be counted.
int CountLegalMoves(int side);
