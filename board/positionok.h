// The consistency check of the global position: everything make and unmake keep incrementally,
// rebuilt from the mailbox and compared.
#pragma once

// In place of a side to move: the hash key may hold either side key and the en-passant square
// may lie on either side's capture rank.
constexpr int AnySide = -1;

// The first disagreement between the position and a rebuild from the mailbox, as "field: have
// X, want Y", or "" when all agree. Rebuilt are the piece and colour bitboards, the plain and
// rotated occupancies, the slider sets, the king squares, the counters, material, type counts,
// the piece-square sum and both keys (with the side key of `sideToMove`); checked besides are
// castling rights (only with king and rook at home) and the en-passant square (on the rank
// `sideToMove` takes on). Returns a static buffer that the next call overwrites.
const char* PositionFault(int sideToMove);

inline bool PositionOk(int sideToMove) { return !*PositionFault(sideToMove); }

// Aborts with the fault on standard error when the position fails PositionOk(AnySide),
// provided each side has exactly one king: without that (a board set from odd text, the line
// below a captured king) the counters legitimately drift from a rebuild. The side is left open
// because make and unmake cannot know it: the game flips its side to move even when a move
// text names no move, and a search may be started for either side.
void AssertPositionOk();

// Whether the position was consistent, with one king a side, when it was last set from text.
// Make and unmake are held to keeping such a position consistent. A board decoded from broken
// text, which the decoder takes as best it can, is not theirs to repair; nor is one with two
// kings of a colour, whose king square goes stale when the search captures one of them.
extern bool positionTrusted;
void NotePositionSet();

// Debug and sanitizer builds (the fuzz build among them) check the position after every make and
// unmake; Release pays nothing for it.
#if !defined(NDEBUG) || defined(OSTREL_SANITIZE)
#define OSTREL_CHECK_POSITION() AssertPositionOk()
#define OSTREL_NOTE_POSITION_SET() NotePositionSet()
#else
#define OSTREL_CHECK_POSITION() ((void)0)
#define OSTREL_NOTE_POSITION_SET() ((void)0)
#endif
