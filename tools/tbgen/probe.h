// Looking positions up in the tables of a directory, for users and tests.
#pragma once

// Writes one line per FEN: the FEN, a tab, and "draw", "win N" or "loss N" (N in moves; "loss 0"
// is checkmated), or "not in the tables" / "bad position". Returns 0 when every FEN was found.
int ProbePositions(int count, char** fens);
