#include "shell/edit.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "board/display.h"
#include "board/fen.h"
#include "board/game.h"
#include "board/position.h"
#include "board/notation.h"
#include "search/control.h"
#include "search/reset.h"
#include "shell/input.h"
#include "shell/interpreter.h"

namespace {

// The square named by a file letter and a rank digit, or -1 when they name none: such a
// placement is ignored.
int SquareAt(const char* p) { return IsFileLetter(p[0]) && IsRankDigit(p[1]) ? SquareOf(p[0], p[1]) : -1; }

}  // namespace

void EditMode() {
  printf("Entering Edit Mode\n");
  printf("The Queue looks like : \n");
  PrintQueuedLines();
  printf("\n");

  char board[64];  // FEN letters, 0 for empty
  memset(board, 0, sizeof board);
  bool white = true;
  char line[InputLineSize];
  for (;;) {
    while (!TakeQueuedLine(line)) PollInput();
    printf("Edit mode : got [%s]\n", line);
    const char c = char(tolower(static_cast<unsigned char>(line[0])));
    if (c == '.') break;
    if (c == '#') {
      memset(board, 0, sizeof board);
    } else if (c == 'c') {
      white = !white;
    } else if (c == 'x') {
      const int square = SquareAt(line + 1);
      if (square >= 0) board[square] = 0;
    } else if (const int piece = -PieceOfLetter(c)) {  // c is lower case: a Black piece's letter
      const int square = SquareAt(line + 1);
      if (square >= 0) board[square] = white ? "PNBRQK"[piece - 1] : "pnbrqk"[piece - 1];
    }
  }

  // Empty squares are written one "1" each: the decoder adds them up all the same.
  char fen[64 + 8 + 3 + 1];
  char* out = fen;
  for (int rank = 7; rank >= 0; rank--) {
    for (int file = 0; file < 8; file++) {
      const char piece = board[rank * 8 + file];
      *out++ = piece ? piece : '1';
    }
    if (rank) *out++ = '/';
  }
  sprintf(out, " %c", interpreter.sideToMove == White ? 'w' : 'b');
  printf("EDIT MODE : wtm = %d\n", interpreter.sideToMove);
  printf("str = %s\n", fen);
  SetPosition(fen);
  ResetForNewPosition();
  NewGameRecord();
  gameClock.engineTime = gameClock.opponentTime = 6000;
  engineFlags.force = 0;
  engineFlags.edit = 1;
  printf("Board : \n");
  PrintBoard(pos.pieces);
}
