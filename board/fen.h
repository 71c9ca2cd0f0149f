// Setting the position from FEN/EPD text and writing it back.
#pragma once

#include "board/types.h"

// Decodes the first four FEN fields (placement, side, castling, en passant) into the global
// position; the rest of the text is ignored. Faults are reported on standard output and
// decoding goes on with what was read, so a caller needing a sound position checks it itself.
// Board work only: `psqScore` is summed from the piece-square tables as they stand, and a
// position meant for the engine to search is followed by the search's ResetForNewPosition.
void SetPosition(const char* text);

// The signed piece a FEN letter names: +PieceType for "PNBRQK", -PieceType for "pnbrqk", 0 for
// any other character.
int PieceOfLetter(char c);

// The initial position with all four castling rights.
void SetInitialPosition();

// The four fields of the current position, "-" followed by a blank when there is no en-passant
// square. Returns a static buffer that the next call overwrites.
const char* PositionToEpd();

// Squares in the order FEN and the board drawing list them: a8..h8, a7..h7, ..., a1..h1.
extern const int displayOrder[64];
