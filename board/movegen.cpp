#include "board/movegen.h"

#include "board/bitboard.h"
#include "board/makemove.h"

// `captures` says whether the targets hold enemy pieces (or are all empty).
static inline Move* AddMoves(Move* list, int from, Bitboard targets, int piece, bool captures) {
  while (targets) {
    const int to = PopLowest(targets);
    const int captured = captures ? (pos.board[to] < 0 ? -pos.board[to] : pos.board[to]) : 0;
    *list++ = EncodeMove(from, to, piece, captured, 0);
  }
  return list;
}

// Knights, rooks, bishops, queens and king of `side`, onto `targets`.
static inline Move* AddPieceMoves(Move* list, int side, Bitboard targets, bool captures) {
  const Bitboard* p = pos.pieces[side];
  for (Bitboard b = p[KnightSlot]; b;) {
    const int from = PopLowest(b);
    list = AddMoves(list, from, knightAttacks[from] & targets, Knight, captures);
  }
  for (Bitboard b = p[RookSlot]; b;) {
    const int from = PopLowest(b);
    list = AddMoves(list, from, RookAttacks(from) & targets, Rook, captures);
  }
  for (Bitboard b = p[BishopSlot]; b;) {
    const int from = PopLowest(b);
    list = AddMoves(list, from, BishopAttacks(from) & targets, Bishop, captures);
  }
  for (Bitboard b = p[QueenSlot]; b;) {
    const int from = PopLowest(b);
    list = AddMoves(list, from, QueenAttacks(from) & targets, Queen, captures);
  }
  const int king = pos.kingSquare[side];
  // Only while the king stands there: a search from a board no game reaches can take it.
  if (p[KingSlot] & squareMask[king]) list = AddMoves(list, king, kingAttacks[king] & targets, King, captures);
  return list;
}

// Pawn pushes along one step `delta` (to = from + delta) onto every (empty) square in `targets`.
static inline Move* AddPawnMoves(Move* list, Bitboard targets, int delta, int promotion) {
  while (targets) {
    const int to = PopLowest(targets);
    *list++ = EncodeMove(to - delta, to, Pawn, 0, promotion);
  }
  return list;
}

static inline Move* AddPawnPromotions(Move* list, Bitboard targets, int delta, const int* order) {
  while (targets) {
    const int to = PopLowest(targets);
    const int captured = pos.board[to] < 0 ? -pos.board[to] : pos.board[to];
    for (int i = 0; i < 3; i++) *list++ = EncodeMove(to - delta, to, Pawn, captured, order[i]);
  }
  return list;
}

Move* GenerateCaptures(Move* list, int side) {
  const Bitboard enemy = pos.colourOcc[side ^ 1];
  list = AddPieceMoves(list, side, enemy, true);

  const Bitboard pawns = pos.pieces[side][PawnSlot];
  const int up = side == White ? 8 : -8;
  const int towardA = side == White ? 7 : -9, towardH = side == White ? 9 : -7;
  const Bitboard lastRank = side == White ? rankMask[7] : rankMask[0];
  const Bitboard empty = ~pos.occupied;

  list = AddPawnMoves(list, Shift(pawns, up) & empty & lastRank, up, Queen);

  const Bitboard targets = enemy | EnPassantTarget(side);
  const Bitboard towardATargets = Shift(pawns & notFileA, towardA) & targets;
  const Bitboard towardHTargets = Shift(pawns & notFileH, towardH) & targets;
  for (int pass = 0; pass < 2; pass++) {
    const int delta = pass == 0 ? towardA : towardH;
    Bitboard b = pass == 0 ? towardATargets : towardHTargets;
    while (b) {
      const int to = PopLowest(b);
      const int content = pos.board[to];
      const int captured = content ? (content < 0 ? -content : content) : Pawn;  // empty: en passant
      const int promotion = squareMask[to] & lastRank ? Queen : 0;
      *list++ = EncodeMove(to - delta, to, Pawn, captured, promotion);
    }
  }
  return list;
}

// The castling squares the king stands on, crosses or lands on must not be attacked.
static inline bool CastlingSquaresSafe(int a, int b, int c, int enemy) {
  return !SquareAttacked(a, enemy) && !SquareAttacked(b, enemy) && !SquareAttacked(c, enemy);
}

Move* AddCastling(Move* list, int side) {
  const int enemy = side ^ 1;
  if (side == White) {
    if ((pos.castleFlags & WhiteKingSide) && !(pos.occupied & whiteKingSidePath) && CastlingSquaresSafe(E1, F1, G1, enemy))
      *list++ = EncodeMove(E1, G1, King, 0, 0);
    if ((pos.castleFlags & WhiteQueenSide) && !(pos.occupied & whiteQueenSidePath) && CastlingSquaresSafe(E1, D1, C1, enemy))
      *list++ = EncodeMove(E1, C1, King, 0, 0);
  } else {
    if ((pos.castleFlags & BlackKingSide) && !(pos.occupied & blackKingSidePath) && CastlingSquaresSafe(E8, F8, G8, enemy))
      *list++ = EncodeMove(E8, G8, King, 0, 0);
    if ((pos.castleFlags & BlackQueenSide) && !(pos.occupied & blackQueenSidePath) && CastlingSquaresSafe(E8, D8, C8, enemy))
      *list++ = EncodeMove(E8, C8, King, 0, 0);
  }
  return list;
}

Move* GenerateQuiet(Move* list, int side) {
  const int enemy = side ^ 1;
  list = AddCastling(list, side);

  const Bitboard empty = ~pos.occupied;
  list = AddPieceMoves(list, side, empty, false);

  const Bitboard pawns = pos.pieces[side][PawnSlot];
  const int up = side == White ? 8 : -8;
  const Bitboard lastRank = side == White ? rankMask[7] : rankMask[0];
  const Bitboard doubleStepRank = side == White ? rankMask[3] : rankMask[4];
  const Bitboard singles = Shift(pawns, up) & empty;
  list = AddPawnMoves(list, Shift(singles, up) & empty & doubleStepRank, 2 * up, 0);
  list = AddPawnMoves(list, singles & ~lastRank, up, 0);

  static const int captureOrder[3] = {Rook, Bishop, Knight};
  static const int pushOrder[3] = {Knight, Rook, Bishop};
  const Bitboard enemyOcc = pos.colourOcc[enemy];
  const int towardA = side == White ? 7 : -9, towardH = side == White ? 9 : -7;
  list = AddPawnPromotions(list, Shift(pawns & notFileA, towardA) & enemyOcc & lastRank, towardA, captureOrder);
  list = AddPawnPromotions(list, Shift(pawns & notFileH, towardH) & enemyOcc & lastRank, towardH, captureOrder);
  list = AddPawnPromotions(list, singles & lastRank, up, pushOrder);
  return list;
}

Move* GenerateLegal(Move* list, int side) {
  Move scratch[MaxMoves];
  SaveUndo(LegalFilterPly);
  Move* end = GenerateQuiet(GenerateCaptures(scratch, side), side);
  for (Move* m = scratch; m < end; m++) {
    MakeMove(*m, LegalFilterPly, side);
    if (!KingAttacked(side)) *list++ = *m;
    UnmakeMove(*m, LegalFilterPly, side);
  }
  return list;
}

void SortByScore(Move* moves, int* scores, int count) {
  for (bool swapped = true; swapped;) {
    swapped = false;
    for (int i = 0; i + 1 < count; i++)
      if (scores[i] < scores[i + 1]) {
        const Move m = moves[i];
        moves[i] = moves[i + 1];
        moves[i + 1] = m;
        const int s = scores[i];
        scores[i] = scores[i + 1];
        scores[i + 1] = s;
        swapped = true;
      }
  }
}
