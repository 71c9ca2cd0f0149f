#include "board/display.h"

#include <cstdio>
#include <cstring>

#include "board/fen.h"
#include "board/output.h"

static const char border[] = "+---+---+---+---+---+---+---+---+";

static char LetterOn(const Bitboard pieces[2][6], int square) {
  static const char letters[6] = {'P', 'R', 'N', 'B', 'Q', 'K'};  // in PieceSlot order
  for (int side = Black; side <= White; side++)
    for (int slot = 0; slot < 6; slot++)
      if (pieces[side][slot] >> square & 1) return side == White ? letters[slot] : char(letters[slot] + ('a' - 'A'));
  return ' ';
}

const char* BoardText(const Bitboard pieces[2][6]) {
  // 17 lines of 34 characters, line ends and the final empty line.
  static char text[17 * 35 + 8];
  char* out = text;
  out += sprintf(out, "%s\n|", border);
  for (int i = 0; i < 64; i++) {
    out += sprintf(out, " %c |", LetterOn(pieces, displayOrder[i]));
    if (i % 8 == 7) out += sprintf(out, i < 63 ? "\n%s\n|" : "\n%s\n", border);
  }
  strcpy(out, "\n");
  return text;
}

void PrintBoard(const Bitboard pieces[2][6]) { PrintText(BoardText(pieces)); }
