#include "tools/tbgen/probe.h"

#include <cstdio>

#include "board/fen.h"
#include "board/position.h"
#include "tools/tbgen/men.h"
#include "tools/tbgen/store.h"
#include "tools/tbgen/values.h"

int ProbePositions(int count, char** fens) {
  int status = 0;
  for (int i = 0; i < count; i++) {
    SetPosition(fens[i]);
    // Kings first, White's then Black's, as the men of a table stand.
    Men p = {};
    p.toMove = pos.sideToMove;
    p.count = 2;
    int kings = 0;
    bool fits = true;
    for (int s = 0; s < 64; s++) {
      const int piece = pos.board[s];
      if (piece == King || piece == -King) {
        p.man[piece > 0 ? 0 : 1] = {s, King, piece > 0 ? White : Black};
        kings += piece > 0 ? 1 : 16;
      } else if (piece && p.count == MaxMen) {
        fits = false;
      } else if (piece) {
        p.man[p.count++] = {s, piece > 0 ? piece : -piece, piece > 0 ? White : Black};
      }
    }
    fits &= kings == 17;
    int v;
    const int ep = EnPassantTarget(pos.sideToMove) ? pos.epSquare : -1;
    if (!fits || MenIllegal(p)) {
      printf("%s\tbad position\n", fens[i]);
      status = 1;
    } else if (!StoredValue(p, ep, &v)) {
      printf("%s\tnot in the tables\n", fens[i]);
      status = 1;
    } else {
      if (v) printf("%s\t%s %d\n", fens[i], IsWin(v) ? "win" : "loss", Distance(v));
      else printf("%s\tdraw\n", fens[i]);
    }
  }
  return status;
}
