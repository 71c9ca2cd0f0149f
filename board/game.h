// The game record: moves played on the game board, with what is needed to take them back.
#pragma once

#include "board/makemove.h"

// Longer than any game a GUI will play with us; a move beyond it is refused with a message.
constexpr int MaxGameMoves = 2048;

// One game move and the undo record it was made with (the state before it, and whether it took
// en passant).
struct GameSlot {
  UndoRecord undo;
  Move move;
};

struct GameRecord {
  int moveCount;   // half-moves played
  int sideToMove;
  GameSlot slots[MaxGameMoves];  // slots[i]: the position before move i + 1
};

extern GameRecord gameRecord;

// Starts an empty record from the position on the board and forgets all repetitions.
void NewGameRecord();

// Plays the first generated move of the game's side to move with these squares and promotion
// type. When there is none, says "Make move : cannot find move ..." and returns false.
bool PlayGameMove(int from, int to, int promotion);

// Takes back the last game move, or says "UndoMove : cannot undo".
void UndoMove();
