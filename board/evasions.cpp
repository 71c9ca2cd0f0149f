// GenerateEvasions: only moves that get the king out of check, so the search can skip its own
// legality test after making them.
#include "board/bitboard.h"
#include "board/legality.h"
#include "board/makemove.h"
#include "board/movegen.h"

static inline int Captured(int to) { return pos.board[to] < 0 ? -pos.board[to] : pos.board[to]; }

static inline Move* AddPawnEvasion(Move* list, int from, int to, int captured) {
  if (RankOf(to) == 0 || RankOf(to) == 7) {
    static const int order[4] = {Queen, Rook, Bishop, Knight};
    for (int q : order) *list++ = EncodeMove(from, to, Pawn, captured, q);
  } else {
    *list++ = EncodeMove(from, to, Pawn, captured, 0);
  }
  return list;
}

Move* GenerateEvasions(Move* list, int side) {
  const int enemy = side ^ 1;
  const int king = pos.kingSquare[side];
  // A king taken in the search (possible only from a board no game reaches) leaves its square
  // to the taker: there is nothing to evade with, and moving "the king" from there would move
  // the taker's piece.
  if (!(pos.pieces[side][KingSlot] & squareMask[king])) return list;
  const Bitboard enemyOcc = pos.colourOcc[enemy];
  const Bitboard checkers = Checkers(side);

  // King moves. A slider's line runs on through the king's square, which the occupancy still
  // shows as blocked, so the square behind the king on a checking line is ruled out by direction.
  int sliderLines[2] = {0, 0};
  int lines = 0;
  for (Bitboard b = checkers & (pos.rooksQueens | pos.bishopsQueens); b && lines < 2;)
    sliderLines[lines++] = direction[PopLowest(b)][king];
  for (Bitboard b = kingAttacks[king] & ~pos.colourOcc[side]; b;) {
    const int to = PopLowest(b);
    const int step = direction[king][to];
    if (step == sliderLines[0] || step == sliderLines[1]) continue;
    if (SquareAttacked(to, enemy)) continue;
    *list++ = EncodeMove(king, to, King, Captured(to), 0);
  }
  if (!checkers || (checkers & (checkers - 1))) return list;

  const int checker = LowestBit(checkers);
  const bool sliding = (pos.rooksQueens | pos.bishopsQueens) & checkers;
  const Bitboard target = checkers | (sliding ? betweenMask[checker][king] : 0);
  const Bitboard pinned = PinnedPieces(side);
  const Bitboard* mine = pos.pieces[side];

  for (Bitboard b = mine[KnightSlot] & ~pinned; b;) {
    const int from = PopLowest(b);
    for (Bitboard t = knightAttacks[from] & target; t;) {
      const int to = PopLowest(t);
      *list++ = EncodeMove(from, to, Knight, Captured(to), 0);
    }
  }
  for (Bitboard b = mine[BishopSlot] & ~pinned; b;) {
    const int from = PopLowest(b);
    for (Bitboard t = BishopAttacks(from) & target; t;) {
      const int to = PopLowest(t);
      *list++ = EncodeMove(from, to, Bishop, Captured(to), 0);
    }
  }
  for (Bitboard b = mine[RookSlot] & ~pinned; b;) {
    const int from = PopLowest(b);
    for (Bitboard t = RookAttacks(from) & target; t;) {
      const int to = PopLowest(t);
      *list++ = EncodeMove(from, to, Rook, Captured(to), 0);
    }
  }
  for (Bitboard b = mine[QueenSlot] & ~pinned; b;) {
    const int from = PopLowest(b);
    for (Bitboard t = QueenAttacks(from) & target; t;) {
      const int to = PopLowest(t);
      *list++ = EncodeMove(from, to, Queen, Captured(to), 0);
    }
  }

  const Bitboard pawns = mine[PawnSlot] & ~pinned;
  const Bitboard empty = ~pos.occupied;
  const int up = side == White ? 8 : -8;
  const Bitboard singles = (side == White ? pawns << 8 : pawns >> 8) & empty;
  const Bitboard doubles = (side == White ? (singles & rankMask[2]) << 8 : (singles & rankMask[5]) >> 8) & empty & target;
  for (Bitboard t = doubles; t;) {
    const int to = PopLowest(t);
    *list++ = EncodeMove(to - 2 * up, to, Pawn, 0, 0);
  }
  for (Bitboard t = singles & target; t;) {
    const int to = PopLowest(t);
    list = AddPawnEvasion(list, to - up, to, 0);
  }

  // The checker may be the pawn that has just stepped past an en-passant capture.
  Bitboard captureTargets = target & enemyOcc;
  const Bitboard epTarget = EnPassantTarget(side);
  if (epTarget && checker == LowestBit(epTarget) - up) captureTargets |= epTarget;
  const int towardA = side == White ? 7 : -9, towardH = side == White ? 9 : -7;
  for (int pass = 0; pass < 2; pass++) {
    const int delta = pass == 0 ? towardA : towardH;
    const Bitboard from = pass == 0 ? pawns & notFileA : pawns & notFileH;
    for (Bitboard t = (delta > 0 ? from << delta : from >> -delta) & captureTargets; t;) {
      const int to = PopLowest(t);
      if (squareMask[to] & epTarget) {
        const Move m = EncodeMove(to - delta, to, Pawn, Pawn, 0);
        if (EnPassantLegal(m, side)) *list++ = m;
      } else {
        list = AddPawnEvasion(list, to - delta, to, Captured(to));
      }
    }
  }
  return list;
}
