#include "board/makemove.h"

#include <cstdio>

#include "board/keys.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "board/output.h"
#include "board/positionok.h"
#include "board/psqscore.h"

UndoRecord undoStack[MaxPly];
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

// ---- Piece helpers. Every change MakeMove makes to the position (the keys apart, which
// UnmakeMove restores from the undo record) goes through these four, and UnmakeMove calls
// them in the opposite order with the squares swapped.

static inline int SignedPiece(int side, int type) { return side == White ? type : -type; }

static inline void ToggleOccupancy(int s) {
  pos.occupied ^= squareMask[s];
  pos.occupiedR90 ^= maskR90[s];
  pos.occupiedA1H8 ^= maskA1H8[s];
  pos.occupiedH1A8 ^= maskH1A8[s];
}

// The piece bitboard of `type` and the slider sets, not the occupancies.
static inline void ToggleBitboards(int side, int type, Bitboard b) {
  pos.pieces[side][pieceSlot[type]] ^= b;
  if (type == Rook || type == Queen) pos.rooksQueens ^= b;
  if (type == Bishop || type == Queen) pos.bishopsQueens ^= b;
}

// Counters, material and piece-square sum for a piece arriving (+1) or leaving (-1).
static inline void CountPiece(int side, int type, int s, int delta) {
  const int sign = side == White ? delta : -delta;
  pos.typeCount[side][type] += delta;
  (type == Pawn ? pos.pawnCount : pos.pieceCount)[side] += delta;
  pos.material += sign * pieceValue[type];
  pos.psqScore += sign * pieceSquareTables[side][type][s];
}

static inline void AddPiece(int side, int type, int s) {
  pos.board[s] = SignedPiece(side, type);
  ToggleBitboards(side, type, squareMask[s]);
  pos.colourOcc[side] ^= squareMask[s];
  ToggleOccupancy(s);
  CountPiece(side, type, s, +1);
}

static inline void RemovePiece(int side, int type, int s) {
  pos.board[s] = 0;
  ToggleBitboards(side, type, squareMask[s]);
  pos.colourOcc[side] ^= squareMask[s];
  ToggleOccupancy(s);
  CountPiece(side, type, s, -1);
}

static inline void MoveOnePiece(int side, int type, int from, int to) {
  const Bitboard b = squareMask[from] | squareMask[to];
  pos.board[to] = SignedPiece(side, type);
  pos.board[from] = 0;
  ToggleBitboards(side, type, b);
  pos.colourOcc[side] ^= b;
  ToggleOccupancy(from);
  ToggleOccupancy(to);
  const int* psq = pieceSquareTables[side][type];
  pos.psqScore += (side == White ? 1 : -1) * (psq[to] - psq[from]);
  if (type == King) pos.kingSquare[side] = to;
}

// A promotion and its undoing: the square stays occupied by the same side.
static inline void ChangePiece(int side, int oldType, int newType, int s) {
  pos.board[s] = SignedPiece(side, newType);
  ToggleBitboards(side, oldType, squareMask[s]);
  CountPiece(side, oldType, s, -1);
  ToggleBitboards(side, newType, squareMask[s]);
  CountPiece(side, newType, s, +1);
}

// ---- Make and unmake

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

// Callers never pass a last-rank pawn move without a piece to become, so the state is left as
// the diagnostic finds it: the pawn gone from its bitboard, the mailbox holding the bad code,
// the occupancies keeping the square, the type counts changed as for a promotion.
static void ReportInvalidPromotion(Move m, int side, int to, int q) {
  pos.pieces[side][PawnSlot] ^= squareMask[to];
  pos.board[to] = SignedPiece(side, q);
  if (q && q <= King) {
    pos.typeCount[side][q]++;
    pos.typeCount[side][Pawn]--;
  }
  Print("MakeMove : invalid promotion ");
  PrintMove(m);
  Print("valid %d\n", IsValidMove(m, side) ? 1 : 0);
}

void MakeMove(Move m, int ply, int s) {
  const int from = MoveFrom(m), to = MoveTo(m), p = MovePiece(m), c = MoveCaptured(m), q = MovePromotion(m);
  const int o = s ^ 1;
  const int forward = s == White ? 8 : -8;
  const bool enPassant = c && pos.board[to] == 0;
  const int capSquare = enPassant ? to - forward : to;
  undoStack[ply].epCapture = enPassant;

  // The keys and rights only here: UnmakeMove restores them from the undo record.
  pos.hashKey ^= pieceKey[s][p][from] ^ pieceKey[s][q ? q : p][to] ^ sideKey;
  if (q) pos.pawnKey ^= pawnKey[s][from];
  else if (p == Pawn) pos.pawnKey ^= pawnKey[s][from] ^ pawnKey[s][to];
  if (c) {
    pos.hashKey ^= pieceKey[o][c][capSquare];
    if (c == Pawn) pos.pawnKey ^= pawnKey[o][capSquare];
  }
  pos.castleFlags &= castleKeep[from] & castleKeep[to];
  pos.epSquare = 0;

  if (c) {
    if (c == King) ReportCapturedKing(ply);
    RemovePiece(o, c, capSquare);
  }
  MoveOnePiece(s, p, from, to);
  if (p == Pawn) {
    if (to - from == 2 * forward) {
      pos.epSquare = from + forward;
    } else if (RankOf(to) == (s == White ? 7 : 0)) {
      if (q >= Knight && q <= Queen) ChangePiece(s, Pawn, q, to);
      else ReportInvalidPromotion(m, s, to, q);
    }
  } else if (int rookFrom, rookTo; p == King && CastlingRookSquares(s, from, to, rookFrom, rookTo)) {
    MoveOnePiece(s, Rook, rookFrom, rookTo);
    pos.hashKey ^= pieceKey[s][Rook][rookFrom] ^ pieceKey[s][Rook][rookTo];
    pos.castleFlags |= s == White ? WhiteCastled : BlackCastled;
  }
  OSTREL_CHECK_POSITION();
}

void UnmakeMove(Move m, int ply, int s) {
  const int from = MoveFrom(m), to = MoveTo(m), p = MovePiece(m), c = MoveCaptured(m), q = MovePromotion(m);
  const int forward = s == White ? 8 : -8;
  const UndoRecord& u = undoStack[ply];
  const int capSquare = u.epCapture ? to - forward : to;

  if (q) {
    ChangePiece(s, q, Pawn, to);
  } else if (int rookFrom, rookTo; p == King && CastlingRookSquares(s, from, to, rookFrom, rookTo)) {
    MoveOnePiece(s, Rook, rookTo, rookFrom);
  }
  MoveOnePiece(s, p, to, from);
  if (c) AddPiece(s ^ 1, c, capSquare);

  pos.epSquare = u.epSquare;
  pos.castleFlags = u.castleFlags;
  pos.hashKey = u.hashKey;
  pos.pawnKey = u.pawnKey;
  OSTREL_CHECK_POSITION();
}
