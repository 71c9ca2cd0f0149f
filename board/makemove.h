// Making and unmaking moves on the global position.
#pragma once

#include "board/keys.h"
#include "board/position.h"
#include "board/positionok.h"
#include "board/psqscore.h"

// Deepest ply the per-ply arrays hold. Ply LegalFilterPly is kept free for GenerateLegal, and
// ScratchPly, beyond the deepest ply the search reaches, for a make/unmake pair at any other time.
constexpr int MaxPly = 256;
constexpr int LegalFilterPly = 100;
constexpr int ScratchPly = MaxPly - 1;

// What UnmakeMove cannot work out by itself. The caller fills the first four fields before the
// make (SaveUndo); MakeMove sets epCapture.
struct UndoRecord {
  int epSquare;
  uint32_t castleFlags;
  uint64_t hashKey;
  uint64_t pawnKey;
  int repetition;  // set by the search when the node's position is a repetition
  int epCapture;   // 1 when the move made at this ply took en passant
};
static_assert(sizeof(UndoRecord) == 32, "undo records are 32 bytes");

extern UndoRecord undoStack[MaxPly];
extern Move currentLine[MaxPly];  // the move being searched at each ply

// Copies the restorable fields of the position into the undo record of `ply`.
inline void SaveUndo(int ply) {
  UndoRecord& u = undoStack[ply];
  u.epSquare = pos.epSquare;
  u.castleFlags = pos.castleFlags;
  u.hashKey = pos.hashKey;
  u.pawnKey = pos.pawnKey;
}

// MakeMove's diagnostics, out of line.
void ReportCapturedKing(int ply);
void ReportInvalidPromotion(Move m, int side, int to, int q);

// MakeMove and UnmakeMove are defined below, with their helpers, so that the loops that make and
// unmake at every node (the search, perft) can inline them.

// Castling rights that survive a move touching a square (as origin or destination). A right is
// only ever held while its king and rook stand at home, so clearing by square is the same as
// clearing by "the king moved", "this rook moved" or "this rook was captured".
inline constexpr uint32_t castleKeep[64] = {
  ~1u, ~0u, ~0u, ~0u, ~3u, ~0u, ~0u, ~2u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u, ~0u,
  ~4u, ~0u, ~0u, ~0u, ~12u, ~0u, ~0u, ~8u};

// ---- Piece helpers. Every change MakeMove makes to the position (the keys apart, which
// UnmakeMove restores from the undo record) goes through these, and UnmakeMove calls them in the
// opposite order with the squares swapped. The occupancies are the caller's: a capture that
// lands on the taken piece's square leaves that square occupied, so only the origin changes.

static inline int SignedPiece(int side, int type) { return side == White ? type : -type; }

static inline void ToggleOccupancy(const OccupancyMasks& m) {
  pos.occupied ^= m.normal;
  pos.occupiedR90 ^= m.r90;
  pos.occupiedA1H8 ^= m.a1h8;
  pos.occupiedH1A8 ^= m.h1a8;
}

static inline OccupancyMasks BothSquares(int a, int b) {
  const OccupancyMasks& x = occupancyMask[a];
  const OccupancyMasks& y = occupancyMask[b];
  return {x.normal ^ y.normal, x.r90 ^ y.r90, x.a1h8 ^ y.a1h8, x.h1a8 ^ y.h1a8};
}

// By PieceType: all ones where the type belongs in rooksQueens, then in bishopsQueens. A table,
// not tests, because the type of the moving piece is different at every move; one record, in
// the order of the two fields, so that both are updated as one pair.
struct SliderSets {
  Bitboard rooksQueens, bishopsQueens;
};
inline constexpr SliderSets inSliderSets[7] = {{0, 0}, {0, 0}, {0, 0}, {0, ~0ULL}, {~0ULL, 0}, {~0ULL, ~0ULL}, {0, 0}};

// The piece bitboard of `type` and the slider sets, not the occupancies.
static inline void ToggleBitboards(int side, int type, Bitboard b) {
  pos.pieces[side][pieceSlot[type]] ^= b;
  // Always one 16-byte store: left to itself the compiler mixes two 8-byte stores with a 16-byte
  // read of the pair, which cannot be forwarded from them and waits for the cache (a tenth of
  // perft's time with captures about).
  typedef Bitboard Pair __attribute__((vector_size(16)));
  Pair sets, in;
  memcpy(&sets, &pos.rooksQueens, sizeof sets);
  memcpy(&in, &inSliderSets[type], sizeof in);
  sets ^= in & b;
  memcpy(&pos.rooksQueens, &sets, sizeof sets);
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
  CountPiece(side, type, s, +1);
}

static inline void RemovePiece(int side, int type, int s) {
  pos.board[s] = 0;
  ToggleBitboards(side, type, squareMask[s]);
  pos.colourOcc[side] ^= squareMask[s];
  CountPiece(side, type, s, -1);
}

static inline void MoveOnePiece(int side, int type, int from, int to) {
  const Bitboard b = squareMask[from] | squareMask[to];
  pos.board[to] = SignedPiece(side, type);
  pos.board[from] = 0;
  ToggleBitboards(side, type, b);
  pos.colourOcc[side] ^= b;
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

// The hash key once `side` has played `m`, the castling rook's move apart (MakeMove adds it).
// The captured piece stands on `capSquare`: the destination, or beside it for en passant. The
// search calls it too, to fetch the child's table entry before the move is made.
inline uint64_t KeyAfterMove(Move m, int side, int capSquare) {
  const int p = MovePiece(m), q = MovePromotion(m), c = MoveCaptured(m);
  uint64_t key = pos.hashKey ^ sideKey ^ pieceKey[side][p][MoveFrom(m)] ^ pieceKey[side][q ? q : p][MoveTo(m)];
  if (c) key ^= pieceKey[side ^ 1][c][capSquare];
  return key;
}

// The rook's squares when a king move is a castling; false for any other king move.
static inline bool CastlingRookSquares(int side, int from, int to, int& rookFrom, int& rookTo) {
  if (from != (side == White ? E1 : E8) || (to != from + 2 && to != from - 2)) return false;
  rookFrom = to > from ? from + 3 : from - 4;
  rookTo = to > from ? from + 1 : from - 1;
  return true;
}

// Plays a pseudo-legal move of side `s`. The mover's king may be left attacked; callers test it.
inline void MakeMove(Move m, int ply, int s) {
  const int from = MoveFrom(m), to = MoveTo(m), p = MovePiece(m), c = MoveCaptured(m), q = MovePromotion(m);
  const int o = s ^ 1;
  const int forward = s == White ? 8 : -8;
  const bool enPassant = c && pos.board[to] == 0;
  const int capSquare = enPassant ? to - forward : to;
  undoStack[ply].epCapture = enPassant;

  // The keys and rights only here: UnmakeMove restores them from the undo record.
  pos.hashKey = KeyAfterMove(m, s, capSquare);
  if (q) pos.pawnKey ^= pawnKey[s][from];
  else if (p == Pawn) pos.pawnKey ^= pawnKey[s][from] ^ pawnKey[s][to];
  if (c == Pawn) pos.pawnKey ^= pawnKey[o][capSquare];
  pos.castleFlags &= castleKeep[from] & castleKeep[to];
  pos.epSquare = 0;

  if (c) {
    if (c == King) ReportCapturedKing(ply);
    RemovePiece(o, c, capSquare);
  }
  ToggleOccupancy(c && !enPassant ? occupancyMask[from] : BothSquares(from, to));
  if (enPassant) ToggleOccupancy(occupancyMask[capSquare]);
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
    ToggleOccupancy(BothSquares(rookFrom, rookTo));
    pos.hashKey ^= pieceKey[s][Rook][rookFrom] ^ pieceKey[s][Rook][rookTo];
    pos.castleFlags |= s == White ? WhiteCastled : BlackCastled;
  }
  OSTREL_CHECK_POSITION();
}

// Exact inverse of MakeMove with the same arguments; restores the saved fields from undoStack[ply].
inline void UnmakeMove(Move m, int ply, int s) {
  const int from = MoveFrom(m), to = MoveTo(m), p = MovePiece(m), c = MoveCaptured(m), q = MovePromotion(m);
  const int forward = s == White ? 8 : -8;
  const UndoRecord& u = undoStack[ply];
  const int capSquare = u.epCapture ? to - forward : to;

  if (q) {
    ChangePiece(s, q, Pawn, to);
  } else if (int rookFrom, rookTo; p == King && CastlingRookSquares(s, from, to, rookFrom, rookTo)) {
    MoveOnePiece(s, Rook, rookTo, rookFrom);
    ToggleOccupancy(BothSquares(rookFrom, rookTo));
  }
  MoveOnePiece(s, p, to, from);
  ToggleOccupancy(c && !u.epCapture ? occupancyMask[from] : BothSquares(from, to));
  if (u.epCapture) ToggleOccupancy(occupancyMask[capSquare]);
  if (c) AddPiece(s ^ 1, c, capSquare);

  pos.epSquare = u.epSquare;
  pos.castleFlags = u.castleFlags;
  pos.hashKey = u.hashKey;
  pos.pawnKey = u.pawnKey;
  OSTREL_CHECK_POSITION();
}
