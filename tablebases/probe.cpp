#include "tablebases/probe.h"

#include "board/bitboard.h"
#include "board/position.h"
#include "tablebases/catalogue.h"
#include "tablebases/files.h"

namespace {

constexpr int Kppkp = 36;
// Entries of kppkp with Black to move known to be stored wrongly: each is a loss in 127 moves,
// one more than a byte can hold.
constexpr uint32_t kppkpLossIn127[] = {71071628, 67775659, 59592489, 56858640, 56849992, 56811076, 56802428};
constexpr int LossIn127 = -32639;
constexpr int BrokenEntry = 127;

// Fixed rather than on the stack of every probe: the index functions read them by pointer.
int whiteSquares[64];
int blackSquares[64];

}  // namespace

int TableValue(int table, int side, uint32_t index, int stored) {
  if (table == Kppkp && side == 1)
    for (uint32_t corrected : kppkpLossIn127)
      if (index == corrected) return LossIn127;
  if (stored == 0) return 0;
  if (stored == 127) return 32767;
  if (stored == -127) return -32640;
  if (stored == -128) return 32640;
  return stored > 0 ? stored + 32640 : stored - 32640;
}

bool ProbeTablebase(int side, int* score) {
  // Step 1: the men of each kind, White's then Black's, pawn to queen.
  int counts[SignatureCounts];
  for (int colour = 0; colour < 2; colour++)
    for (int type = Pawn; type <= Queen; type++)
      counts[colour * 5 + type - 1] = PopCount(pos.pieces[colour == 0 ? White : Black][pieceSlot[type]]);

  // Step 2
  int table = LookupSignature(counts);
  if (table == 0) return false;

  // Steps 3 and 4: the side named first in the table is passed first, and a table whose stronger
  // side is Black on the board is read with the colours swapped and the board turned over.
  int tableSide = side == White ? 0 : 1;
  int invert = 0;
  const int* strong = whiteSquares;
  const int* weak = blackSquares;
  if (table < 0) {
    table = -table;
    invert = 1;
    tableSide ^= 1;
    strong = blackSquares;
    weak = whiteSquares;
  }

  // Step 5
  const TableDescriptor& t = tableCatalogue[table];
  if (!t.file[tableSide]) return false;

  for (int s = 0; s < 64; s++) {
    const int piece = pos.board[s];
    whiteSquares[s] = piece > 0 ? piece : 0;
    blackSquares[s] = piece < 0 ? -piece : 0;
  }

  // Steps 6 and 7
  const int epSquare = pos.epSquare ? pos.epSquare : NoEpSquare;
  const uint32_t index = t.index[tableSide](strong, weak, epSquare, invert);

  // Steps 8 and 9
  int8_t stored;
  if (!ReadTableEntry(table, tableSide, index, &stored)) return false;
  const int value = TableValue(table, tableSide, index, stored);
  if (value == BrokenEntry) return false;  // never true: no byte converts to 127
  *score = value * 10;
  return true;
}
