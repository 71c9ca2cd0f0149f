#include "board/legality.h"

#include "board/bitboard.h"
#include "board/makemove.h"
#include "board/movegen.h"

Bitboard Checkers(int side) {
  const int king = pos.kingSquare[side];
  const Bitboard* theirs = pos.pieces[side ^ 1];
  const Bitboard enemyOcc = pos.colourOcc[side ^ 1];
  return (theirs[PawnSlot] & pawnAttacks[side][king]) | (theirs[KnightSlot] & knightAttacks[king]) |
         (pos.bishopsQueens & enemyOcc & BishopAttacks(king)) | (pos.rooksQueens & enemyOcc & RookAttacks(king));
}

// Enemy sliders that would attack the king of `side` on an empty board.
static inline Bitboard PotentialPinners(int side, int king) {
  const Bitboard enemyOcc = pos.colourOcc[side ^ 1];
  return (pos.rooksQueens & enemyOcc & (rankAttacks[king][0] | fileAttacks[king][0])) |
         (pos.bishopsQueens & enemyOcc & (diagonalAttacks[king].attacksA1H8[0] | diagonalAttacks[king].attacksH1A8[0]));
}

// The single own piece between the king and `pinner`, or 0.
static inline Bitboard PinnedBy(int side, int king, int pinner) {
  const Bitboard between = betweenMask[king][pinner] & pos.occupied;
  return between && !(between & (between - 1)) ? between & pos.colourOcc[side] : 0;
}

Bitboard PinnedPieces(int side) {
  const int king = pos.kingSquare[side];
  Bitboard pinned = 0;
  for (Bitboard b = PotentialPinners(side, king); b;) pinned |= PinnedBy(side, king, PopLowest(b));
  return pinned;
}

static inline bool KingOnItsSquare(int side) { return pos.pieces[side][KingSlot] & squareMask[pos.kingSquare[side]]; }

Bitboard MoversToTest(int side) {
  if (!KingOnItsSquare(side) || Checkers(side)) return ~Bitboard(0);
  const Bitboard ep = EnPassantTarget(side);
  const Bitboard epTakers = ep ? pos.pieces[side][PawnSlot] & pawnAttacks[side ^ 1][LowestBit(ep)] : 0;
  return PinnedPieces(side) | squareMask[pos.kingSquare[side]] | epTakers;
}

bool EnPassantLegal(Move m, int side) {
  SaveUndo(ScratchPly);
  MakeMove(m, ScratchPly, side);
  const bool legal = !KingAttacked(side);
  UnmakeMove(m, ScratchPly, side);
  return legal;
}

// Pawn moves of `pawns` onto `allowed`, en passant left out; each arrival on the last rank is
// four moves, one per promotion piece.
static inline int PawnMoveCount(Bitboard pawns, int side, Bitboard allowed) {
  const int up = side == White ? 8 : -8;
  const int towardA = side == White ? 7 : -9, towardH = side == White ? 9 : -7;
  const Bitboard lastRank = side == White ? rankMask[7] : rankMask[0];
  const Bitboard doubleStepRank = side == White ? rankMask[3] : rankMask[4];
  const Bitboard empty = ~pos.occupied, enemyOcc = pos.colourOcc[side ^ 1];
  const Bitboard singles = Shift(pawns, up) & empty;
  const Bitboard doubles = Shift(singles, up) & empty & doubleStepRank & allowed;
  const Bitboard steps = singles & allowed;
  const Bitboard towardATargets = Shift(pawns & notFileA, towardA) & enemyOcc & allowed;
  const Bitboard towardHTargets = Shift(pawns & notFileH, towardH) & enemyOcc & allowed;
  return PopCount(doubles) + PopCount(steps) + PopCount(towardATargets) + PopCount(towardHTargets) +
         3 * (PopCount(steps & lastRank) + PopCount(towardATargets & lastRank) + PopCount(towardHTargets & lastRank));
}

// Moves of the piece on `from` onto `allowed`, en passant left out.
static inline int PieceMoveCount(int from, int side, Bitboard allowed) {
  switch (pos.board[from] < 0 ? -pos.board[from] : pos.board[from]) {
    case Pawn: return PawnMoveCount(squareMask[from], side, allowed);
    case Knight: return PopCount(knightAttacks[from] & allowed);
    case Bishop: return PopCount(BishopAttacks(from) & allowed);
    case Rook: return PopCount(RookAttacks(from) & allowed);
    case Queen: return PopCount(QueenAttacks(from) & allowed);
  }
  return 0;
}

// Kept apart so that the common case does not carry a move list in its frame.
static int __attribute__((noinline)) CountByList(int side) {
  Move moves[MaxMoves];
  return int((KingOnItsSquare(side) ? GenerateEvasions(moves, side) : GenerateLegal(moves, side)) - moves);
}

int CountLegalMoves(int side) {
  if (!KingOnItsSquare(side) || Checkers(side)) return CountByList(side);
  const int king = pos.kingSquare[side], enemy = side ^ 1;
  const Bitboard* mine = pos.pieces[side];
  const Bitboard targets = ~pos.colourOcc[side];
  int count = 0;

  // A pinned piece moves only along its line, up to the pinner and onto it.
  Bitboard pinned = 0;
  for (Bitboard b = PotentialPinners(side, king); b;) {
    const int pinner = PopLowest(b);
    const Bitboard piece = PinnedBy(side, king, pinner);
    if (!piece) continue;
    pinned |= piece;
    count += PieceMoveCount(LowestBit(piece), side, betweenMask[king][pinner] | squareMask[pinner]);
  }

  for (Bitboard b = mine[KnightSlot] & ~pinned; b;) count += PopCount(knightAttacks[PopLowest(b)] & targets);
  for (Bitboard b = mine[BishopSlot] & ~pinned; b;) count += PopCount(BishopAttacks(PopLowest(b)) & targets);
  for (Bitboard b = mine[RookSlot] & ~pinned; b;) count += PopCount(RookAttacks(PopLowest(b)) & targets);
  for (Bitboard b = mine[QueenSlot] & ~pinned; b;) count += PopCount(QueenAttacks(PopLowest(b)) & targets);
  count += PawnMoveCount(mine[PawnSlot] & ~pinned, side, targets);

  // Out of check the king's own square blocks no line that reaches a square next to it, so the
  // board as it stands tells which of them are safe.
  for (Bitboard b = kingAttacks[king] & targets; b;) count += !SquareAttacked(PopLowest(b), enemy);
  Move castling[2];
  count += int(AddCastling(castling, side) - castling);

  if (const Bitboard ep = EnPassantTarget(side)) {
    const int to = LowestBit(ep);
    for (Bitboard b = mine[PawnSlot] & pawnAttacks[enemy][to]; b;)
      count += EnPassantLegal(EncodeMove(PopLowest(b), to, Pawn, Pawn, 0), side);
  }
  return count;
}
