#include "board/makemove.h"

#include <cstdio>

#include "board/bitboard.h"
#include "board/keys.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "board/output.h"
#include "board/psqscore.h"

UndoRecord undoStack[MaxPly];
int epCapture[MaxPly];
Move currentLine[MaxPly];

// Castling rights that survive a move touching a square (as origin or destination). A right is
// only ever held while its king and rook stand at home, so clearing by square is the same as
// clearing by "the king moved", "this rook moved" or "this rook was captured".
static const uint32_t castleKeep[64] = {
  ~1u, ~0u, ~0u, ~0u, ~3u, ~0u, ~0u, ~2u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~4u, ~0u, ~0u, ~0u, ~12u, ~0u, ~0u, ~8u};

static inline void ToggleOccupancy(int s) {
  pos.occupied ^= squareMask[s];
  pos.occupiedR90 ^= maskR90[s];
  pos.occupiedA1H8 ^= maskA1H8[s];
  pos.occupiedH1A8 ^= maskH1A8[s];
}

// Adds or removes a piece of `type` on `s` in the piece bitboards (not in the occupancies).
static inline void TogglePiece(int side, int type, int s) {
  const Bitboard b = squareMask[s];
  pos.pieces[side][pieceSlot[type]] ^= b;
  if (type == Rook || type == Queen) pos.rooksQueens ^= b;
  if (type == Bishop || type == Queen) pos.bishopsQueens ^= b;
}

// Moves the castling rook in everything but the keys (the caller handles those).
static inline void MoveCastlingRook(int side, int rookFrom, int rookTo) {
  const Bitboard b = squareMask[rookFrom] | squareMask[rookTo];
  ToggleOccupancy(rookFrom);
  ToggleOccupancy(rookTo);
  pos.pieces[side][RookSlot] ^= b;
  pos.rooksQueens ^= b;
  pos.colourOcc[side] ^= b;
  pos.board[rookTo] = pos.board[rookFrom];
  pos.board[rookFrom] = 0;
}

// The rook's squares when a king move is a castling; false for any other king move.
static inline bool CastlingRookSquares(int side, int from, int to, int& rookFrom, int& rookTo) {
  if (from != (side == White ? E1 : E8) || (to != from + 2 && to != from - 2)) return false;
  rookFrom = to > from ? from + 3 : from - 4;
  rookTo = to > from ? from + 1 : from - 1;
  return true;
}

static void ReportCapturedKing(int ply) {
  Print("Captured king !\n");
  for (int i = 0; i <= ply && i < MaxPly; i++) PrintMove(currentLine[i]);
  Print("\n");
}

void MakeMove(Move m, int ply, int s) {
  const int from = MoveFrom(m), to = MoveTo(m), p = MovePiece(m), c = MoveCaptured(m), q = MovePromotion(m);
  const int o = s ^ 1;
  const int forward = s == White ? 8 : -8;
  const int sign = s == White ? 1 : -1;
  const int (*ownPsq)[64] = pieceSquareTables[s];
  const int (*enemyPsq)[64] = pieceSquareTables[o];
  const bool enPassant = c && pos.board[to] == 0;

  if (c) pos.typeCount[o][c]--;
  if (q) {
    pos.typeCount[s][q]++;
    pos.typeCount[s][Pawn]--;
  }
  epCapture[ply] = enPassant;

  pos.hashKey ^= pieceKey[s][p][from] ^ pieceKey[s][q ? q : p][to] ^ sideKey;
  if (q) pos.pawnKey ^= pawnKey[s][from];
  else if (p == Pawn) pos.pawnKey ^= pawnKey[s][from] ^ pawnKey[s][to];

  pos.castleFlags &= castleKeep[from] & castleKeep[to];
  pos.epSquare = 0;
  int psqDelta = ownPsq[p][to] - ownPsq[p][from];

  if (c) {
    const int capSquare = enPassant ? to - forward : to;
    pos.hashKey ^= pieceKey[o][c][capSquare];
    if (c == Pawn) {
      pos.pawnKey ^= pawnKey[o][capSquare];
      pos.pawnCount[o]--;
    } else {
      pos.pieceCount[o]--;
    }
    pos.material += sign * pieceValue[c];
    psqDelta += enemyPsq[c][capSquare];
    if (c == King) ReportCapturedKing(ply);
    TogglePiece(o, c, capSquare);
    pos.colourOcc[o] ^= squareMask[capSquare];
    if (enPassant) {
      ToggleOccupancy(capSquare);
      pos.board[capSquare] = 0;
    }
  }

  ToggleOccupancy(from);
  if (!(pos.occupied & squareMask[to])) ToggleOccupancy(to);
  pos.colourOcc[s] ^= squareMask[from] | squareMask[to];
  pos.board[to] = sign * p;
  pos.board[from] = 0;

  switch (p) {
    case Pawn:
      pos.pieces[s][PawnSlot] ^= squareMask[from] | squareMask[to];
      if (to - from == 2 * forward) {
        pos.epSquare = from + forward;
      } else if (RankOf(to) == (s == White ? 7 : 0)) {
        pos.pieces[s][PawnSlot] ^= squareMask[to];
        pos.board[to] = sign * q;
        if (q >= Knight && q <= Queen) {
          TogglePiece(s, q, to);
          pos.pawnCount[s]--;
          pos.pieceCount[s]++;
          pos.material += sign * (pieceValue[q] - pieceValue[Pawn]);
          psqDelta += ownPsq[q][to] - ownPsq[Pawn][to];
        } else {
          Print("MakeMove : invalid promotion ");
          PrintMove(m);
          Print("valid %d\n", IsValidMove(m, s) ? 1 : 0);
        }
      }
      break;
    case King:
      pos.pieces[s][KingSlot] ^= squareMask[from] | squareMask[to];
      pos.kingSquare[s] = to;
      if (int rookFrom, rookTo; CastlingRookSquares(s, from, to, rookFrom, rookTo)) {
        MoveCastlingRook(s, rookFrom, rookTo);
        pos.hashKey ^= pieceKey[s][Rook][rookFrom] ^ pieceKey[s][Rook][rookTo];
        psqDelta += ownPsq[Rook][rookTo] - ownPsq[Rook][rookFrom];
        pos.castleFlags |= s == White ? WhiteCastled : BlackCastled;
      }
      break;
    default:
      TogglePiece(s, p, from);
      TogglePiece(s, p, to);
      break;
  }
  pos.psqScore += sign * psqDelta;
}

void UnmakeMove(Move m, int ply, int s) {
  const int from = MoveFrom(m), to = MoveTo(m), p = MovePiece(m), c = MoveCaptured(m), q = MovePromotion(m);
  const int o = s ^ 1;
  const int forward = s == White ? 8 : -8;
  const int sign = s == White ? 1 : -1;
  const int (*ownPsq)[64] = pieceSquareTables[s];
  const int (*enemyPsq)[64] = pieceSquareTables[o];
  const bool enPassant = epCapture[ply] != 0;
  int psqDelta = ownPsq[p][to] - ownPsq[p][from];

  if (c) pos.typeCount[o][c]++;
  if (q) {
    pos.typeCount[s][q]--;
    pos.typeCount[s][Pawn]++;
  }

  switch (p) {
    case Pawn:
      if (q) {
        TogglePiece(s, q, to);
        pos.pieces[s][PawnSlot] ^= squareMask[to];
        pos.pawnCount[s]++;
        pos.pieceCount[s]--;
        pos.material -= sign * (pieceValue[q] - pieceValue[Pawn]);
        psqDelta += ownPsq[q][to] - ownPsq[Pawn][to];
      }
      pos.pieces[s][PawnSlot] ^= squareMask[from] | squareMask[to];
      break;
    case King:
      pos.pieces[s][KingSlot] ^= squareMask[from] | squareMask[to];
      pos.kingSquare[s] = from;
      if (int rookFrom, rookTo; CastlingRookSquares(s, from, to, rookFrom, rookTo)) {
        MoveCastlingRook(s, rookTo, rookFrom);
        psqDelta += ownPsq[Rook][rookTo] - ownPsq[Rook][rookFrom];
      }
      break;
    default:
      TogglePiece(s, p, from);
      TogglePiece(s, p, to);
      break;
  }

  pos.board[from] = sign * p;
  pos.board[to] = 0;
  ToggleOccupancy(from);
  pos.colourOcc[s] ^= squareMask[from] | squareMask[to];

  if (c) {
    const int capSquare = enPassant ? to - forward : to;
    if (c == Pawn) pos.pawnCount[o]++;
    else pos.pieceCount[o]++;
    pos.material -= sign * pieceValue[c];
    psqDelta += enemyPsq[c][capSquare];
    TogglePiece(o, c, capSquare);
    pos.colourOcc[o] ^= squareMask[capSquare];
    pos.board[capSquare] = -sign * c;
    if (enPassant) {
      ToggleOccupancy(capSquare);
      ToggleOccupancy(to);
    }
  } else {
    ToggleOccupancy(to);
  }
  pos.psqScore -= sign * psqDelta;

  const UndoRecord& u = undoStack[ply];
  pos.epSquare = u.epSquare;
  pos.castleFlags = u.castleFlags;
  pos.hashKey = u.hashKey;
  pos.pawnKey = u.pawnKey;
}
