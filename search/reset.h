// The two places where the search's tables are cleared: for a new position and for a new search.
#pragma once

// Called by whoever sets up a position for the engine to search (after SetPosition, and for UCI's
// "ucinewgame" and "Clear Hash"). Zeroes the transposition table, the pawn table and the history
// table, sets the lazy-evaluation margin back to 2000, and builds the piece-square tables and the
// castling-loss penalties for the position, restarting `psqScore` from them. The killer slots are
// cleared by neither reset: each node resets its children's counts, and a killer is played only
// after a validity test.
void ResetForNewPosition();

// Called by Think at the start of every search. Zeroes the counter-move table and its depths, and
// builds the piece-square tables afresh (the king's table follows the material now on the board,
// the castling penalty the game's length), restarting `psqScore` from them. The history table,
// the killer slots and the lazy-evaluation margin carry over from search to search.
void ResetForNewSearch();

// The history table learns move by move through a game; each opponent move lowers every entry by
// the largest, in the table's own 32-bit arithmetic.
void AgeHistory();
