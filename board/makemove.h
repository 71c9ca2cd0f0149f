// Making and unmaking moves on the global position.
#pragma once

#include "board/position.h"

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

// Plays a pseudo-legal move of `side`. The mover's king may be left attacked; callers test it.
void MakeMove(Move m, int ply, int side);
// Exact inverse of MakeMove with the same arguments; restores the saved fields from undoStack[ply].
void UnmakeMove(Move m, int ply, int side);
