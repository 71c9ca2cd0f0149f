// The two points where the search forgets: a new position and a new search. Whatever the search
// keeps between calls is reset in one of them or deliberately in neither.
#pragma once

// Called by whoever sets up a position for the engine to search (after SetPosition, and for UCI's
// "ucinewgame" and "Clear Hash"). Zeroes the transposition table, the pawn table and the history
// table, sets the lazy-evaluation margin back to 2000, and builds the piece-square tables and the
// castling-loss penalties for the position, restarting `psqScore` from them. The killer slots are
// left as they are: a node resets the next ply's counts before it reads them.
void ResetForNewPosition();

// Called by Think at the start of every search. Zeroes the counter-move table and its depths, and
// builds the piece-square tables afresh (the king's table follows the material now on the board,
// the castling penalty the game's length), restarting `psqScore` from them. The history table,
// the killer slots and the lazy-evaluation margin carry over from search to search.
void ResetForNewSearch();

// The history table learns move by move through a game; each opponent move lowers every entry by
// the largest, in the table's own 32-bit arithmetic.
void AgeHistory();
