// The piece-square tables' storage and the sum they give a position.
//
// MakeMove and UnmakeMove keep `psqScore` up to date move by move, so the board must read the
// tables; what goes into them is the evaluation's knowledge (search/psqtables.h fills them for
// each new position and before every search). Owning the storage here, rather than reaching the
// evaluation through a function pointer, keeps the incremental update a plain array read in the
// hottest code of the engine.
#pragma once

// [side][PieceType][square]; Black's value of a square is White's value of square ^ 56. All zero
// until the evaluation first fills them.
extern int pieceSquareTables[2][7][64];

// The piece-square sum of the position from scratch (White's view).
int ComputePsqScore();
