#include "board/psqscore.h"

#include "board/position.h"

int pieceSquareTables[2][7][64];

int ComputePsqScore() {
  int score = 0;
  for (int s = 0; s < 64; s++) {
    const int v = pos.board[s];
    if (v > 0) score += pieceSquareTables[White][v][s];
    else if (v < 0) score -= pieceSquareTables[Black][-v][s];
  }
  return score;
}
