#include "board/makemove.h"

#include <cstdio>

#include "board/movegen.h"
#include "board/notation.h"
#include "board/output.h"

UndoRecord undoStack[MaxPly];
Move currentLine[MaxPly];

void ReportCapturedKing(int ply) {
  Print("Captured king !\n");
  for (int i = 0; i <= ply && i < MaxPly; i++) PrintMove(currentLine[i]);
  Print("\n");
}

// Callers never pass a last-rank pawn move without a piece to become, so the state is left as
// the diagnostic finds it: the pawn gone from its bitboard, the mailbox holding the bad code,
// the occupancies keeping the square, the type counts changed as for a promotion.
void ReportInvalidPromotion(Move m, int side, int to, int q) {
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

