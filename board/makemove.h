// Making and unmaking moves on the global position.
#pragma once

#include "board/position.h"

// Deepest ply the per-ply arrays hold. Ply LegalFilterPly is kept free for GenerateLegal.
constexpr int MaxPly = 256;
constexpr int LegalFilterPly = 100;

// What MakeMove cannot undo by itself. The caller fills the first four fields before the make.
struct UndoRecord {
  int epSquare;
  uint32_t castleFlags;
  uint64_t hashKey;
  uint64_t pawnKey;
  int repetition;  // set by the search when the node's position is a repetition
};

extern UndoRecord undoStack[MaxPly];
extern int epCapture[MaxPly];   // 1 when the move made at that ply took en passant
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
