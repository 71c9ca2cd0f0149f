// xboard's edit mode: the board is built up from an empty one, piece by piece.
#pragma once

// Shows the waiting lines, then takes lines from the queue (polling while it is empty) until
// ".", and sets the position up from what was placed.
void EditMode();
