// The generator's own position: the few men of one table as a list, with moves and un-moves.
//
// The engine's board lives in one global record that is set up from scratch at a cost far above
// what a generator can pay for every entry, and that a second worker thread could not share. Up
// to five men fit in a small value that is copied freely; the attack tables of the board layer
// are read-only and shared.
#pragma once

#include "board/tables.h"

constexpr int MaxMen = 5;

struct Man {
  int square;
  int type;  // PieceType
  int side;  // White is the table's stronger side
};

// man[0] is White's king, man[1] Black's, then the table's other men in the order of its name
// (White's, then Black's), so that like men stand next to each other.
struct Men {
  int count;
  int toMove;
  Man man[MaxMen];
};

// A move of the generator: `man` goes to `to`; `captured` is the index of the man taken or -1;
// `promotion` the new PieceType or 0; `doubleStep` marks a pawn's two-square advance.
struct MenMove {
  int man;
  int to;
  int captured;
  int promotion;
  bool doubleStep;
};

// Room for the moves of five men: a queen has at most 27, a king 8, a pawn 12 with promotions.
constexpr int MaxMenMoves = 128;

Bitboard Occupancy(const Men& p);
// True when `square` is attacked by a man of `bySide`, the man `ignore` (an index, or -1) left out.
bool MenAttacked(const Men& p, int square, int bySide, Bitboard occupied, int ignore = -1);
// The mover's king is not attacked after the move.
bool MenMoveLegal(const Men& p, const MenMove& m);
// True when the side not to move stands in check: no such position can arise.
bool MenIllegal(const Men& p);
bool MenInCheck(const Men& p);

// Legal moves of the side to move, en passant left out (a position of the table has no
// en-passant right); returns their number.
int GenerateMenMoves(const Men& p, MenMove* list);

// The same moves in two parts: the quiet moves of each piece (no capture, no pawn) as the set of
// squares it may go to, and the rest (captures, pawn moves) listed. Most moves are quiet piece
// moves, and the retrograde loops need of them only their number or their successors' indices,
// which a set yields square by square without a move record each.
struct MenMoveSets {
  Bitboard quiet[MaxMen];  // per man; 0 for the side not to move
  int count;
  MenMove list[MaxMenMoves];
};
// False when the side to move has no legal move.
bool GenerateMenMoveSets(const Men& p, MenMoveSets* sets);
// The legal en-passant captures when the side to move may take on `epSquare`.
int GenerateMenEpCaptures(const Men& p, int epSquare, MenMove* list);
// The position after a legal move that neither captures nor promotes (its side to move flipped).
Men MenAfter(const Men& p, const MenMove& m);

// Moves that lead back to `p` without a capture or promotion: the man of the side not to move in
// `p` returns to `from`. Only un-moves whose position is legal are produced.
struct MenUnmove {
  int man;
  int from;
  bool doubleStep;
};
int GenerateMenUnmoves(const Men& p, MenUnmove* list);
Men MenBefore(const Men& p, const MenUnmove& u);

// The square a pawn passed over with its double step `m` when an enemy pawn stands beside its
// destination (the en-passant right the move gives), or -1.
int EpRightAfter(const Men& p, const MenMove& m);
