// IsValidMove: moves from the transposition table and the killer slots were generated in some
// other position, so they are checked against this one before they are made.
#include "board/movegen.h"

static bool CastlingValid(int from, int to, int side) {
  const int enemy = side ^ 1;
  auto safe = [enemy](int a, int b, int c) {
    return !SquareAttacked(a, enemy) && !SquareAttacked(b, enemy) && !SquareAttacked(c, enemy);
  };
  if (side == White && from == E1) {
    if (to == G1) return (pos.castleFlags & WhiteKingSide) && !(pos.occupied & whiteKingSidePath) && safe(E1, F1, G1);
    if (to == C1) return (pos.castleFlags & WhiteQueenSide) && !(pos.occupied & whiteQueenSidePath) && safe(E1, D1, C1);
  }
  if (side == Black && from == E8) {
    if (to == G8) return (pos.castleFlags & BlackKingSide) && !(pos.occupied & blackKingSidePath) && safe(E8, F8, G8);
    if (to == C8) return (pos.castleFlags & BlackQueenSide) && !(pos.occupied & blackQueenSidePath) && safe(E8, D8, C8);
  }
  return false;
}

static bool PawnMoveValid(int from, int to, int captured, int promotion, int side) {
  const int up = side == White ? 8 : -8;
  const bool lastRank = RankOf(to) == (side == White ? 7 : 0);
  if (lastRank ? (promotion < Knight || promotion > Queen) : promotion != 0) return false;
  const Bitboard empty = ~pos.occupied;
  if (to == from + up) return captured == 0 && (empty & squareMask[to]);
  if (to == from + 2 * up)
    return captured == 0 && RankOf(from) == (side == White ? 1 : 6) && (empty & squareMask[from + up]) &&
           (empty & squareMask[to]);
  if (!(pawnAttacks[side][from] & squareMask[to])) return false;
  return captured != 0 && ((pos.colourOcc[side ^ 1] & squareMask[to]) || (EnPassantTarget(side) & squareMask[to]));
}

bool IsValidMove(Move m, int side) {
  if (m == 0 || m >> 21) return false;
  const int from = MoveFrom(m), to = MoveTo(m), piece = MovePiece(m), captured = MoveCaptured(m);
  const int sign = side == White ? 1 : -1;
  if (piece < Pawn || piece > King || pos.board[from] != sign * piece) return false;
  if (pos.colourOcc[side] & squareMask[to]) return false;
  const int content = pos.board[to] * -sign;  // positive for an enemy piece
  const bool enPassant = piece == Pawn && content == 0 && captured == Pawn && (EnPassantTarget(side) & squareMask[to]);
  if (content != captured && !enPassant) return false;
  if (piece == Pawn) return PawnMoveValid(from, to, captured, MovePromotion(m), side);
  if (MovePromotion(m)) return false;
  switch (piece) {
    case Knight: return knightAttacks[from] & squareMask[to];
    case Bishop: return BishopAttacks(from) & squareMask[to];
    case Rook: return RookAttacks(from) & squareMask[to];
    case Queen: return QueenAttacks(from) & squareMask[to];
    default: return (kingAttacks[from] & squareMask[to]) || (captured == 0 && CastlingValid(from, to, side));
  }
}
