#include "board/game.h"

#include <cstdio>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/output.h"
#include "board/repetition.h"

GameRecord gameRecord;

void NewGameRecord() {
  gameRecord.moveCount = 0;
  gameRecord.sideToMove = pos.sideToMove;
  ClearRepetitions();
}

bool PlayGameMove(int from, int to, int promotion) {
  const int n = gameRecord.moveCount;
  const int side = gameRecord.sideToMove;
  if (n >= MaxGameMoves) {
    Print("Make move : game record full\n");
    return false;
  }

  Move moves[MaxMoves];
  Move* end = GenerateQuiet(GenerateCaptures(moves, side), side);
  Move found = 0;
  for (Move* m = moves; m < end && !found; m++)
    if (MoveFrom(*m) == from && MoveTo(*m) == to && MovePromotion(*m) == promotion) found = *m;
  if (!found) {
    Print("Make move : cannot find move %d %d %d\n", from, to, promotion);
    return false;
  }
  PushRepetition();
  SaveUndo(0);
  MakeMove(found, 0, side);
  GameSlot& slot = gameRecord.slots[n];
  slot.undo = undoStack[0];
  slot.undo.repetition = 0;  // the search's mark of ply 0 means nothing to a take-back
  slot.move = found;
  gameRecord.moveCount = n + 1;
  gameRecord.sideToMove = side ^ 1;
  pos.sideToMove = side ^ 1;
  pos.ttAge = (pos.ttAge + 1) & 7;
  return true;
}

void UndoMove() {
  const int n = gameRecord.moveCount;
  if (n < 1) {
    Print("UndoMove : cannot undo\n");
    return;
  }
  const GameSlot& slot = gameRecord.slots[n - 1];
  undoStack[0] = slot.undo;
  gameRecord.sideToMove ^= 1;
  pos.sideToMove = gameRecord.sideToMove;
  UnmakeMove(slot.move, 0, gameRecord.sideToMove);
  pos.ttAge = (pos.ttAge + 7) & 7;
  gameRecord.moveCount = n - 1;
  PopRepetition();
}
