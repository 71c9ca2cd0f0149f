// FEN and EPD text of any kind. Decoding must stay inside its tables, what it builds must write
// out as text that decodes to the same, and on a board with one king a side every legal move
// must take back to the very same position.
#include <cstdlib>
#include <cstring>
#include <string>

#include "board/bitboard.h"
#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SetPosition(FuzzText(data, size));
  const std::string written = PositionToEpd();
  SetPosition(written.c_str());
  if (written != PositionToEpd()) abort();

  const int side = pos.sideToMove;
  if (PopCount(pos.pieces[White][KingSlot]) != 1 || PopCount(pos.pieces[Black][KingSlot]) != 1) return 0;
  if (KingAttacked(side ^ 1)) return 0;  // the king could be taken: no position of a game
  Move moves[MaxMoves];
  Move* end = GenerateLegal(moves, side);
  static Position before;
  memcpy(&before, &pos, sizeof pos);
  for (Move* m = moves; m < end; m++) {
    SaveUndo(0);
    MakeMove(*m, 0, side);
    UnmakeMove(*m, 0, side);
    if (memcmp(&before, &pos, sizeof pos) != 0) abort();
  }
  return 0;
}
