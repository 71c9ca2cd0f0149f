// Registration over any table file, then probes of that table. Input: a byte choosing the table
// (one of the five with a single man besides the kings), the side and the form, a byte for the
// square of that man, then the file. A plain file is either the bytes repeated to the side's
// exact size (so that it registers and the probes read what the fuzzer wrote) or the bytes as
// they are; an ".emd" file is the bytes as they are.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/position.h"
#include "board/types.h"
#include "tablebases/catalogue.h"
#include "tablebases/files.h"
#include "tablebases/probe.h"
#include "tablebases/registry.h"
#include "tests/fuzz/fuzz.h"

namespace {

constexpr size_t HeaderBytes = 2;
const char pieceLetters[] = "pnbrq";

// The man on `square` (0 a8 .. 63 h1), the white king on a1 and the black one on h8, as White's
// man or turned over as Black's (the side to move is the probe's to choose); null when the square
// is taken or a pawn would stand on an end rank.
const char* Placement(int piece, int square, bool black) {
  static std::string fen;
  const int rank = black ? 7 - square / 8 : square / 8, file = square % 8;
  if (piece == 0 && (rank == 0 || rank == 7)) return nullptr;
  std::string board(64, '1');  // a run of ones reads as the empty squares they stand for
  board[56] = black ? 'k' : 'K';
  board[7] = black ? 'K' : 'k';
  char& man = board[rank * 8 + file];
  if (man != '1') return nullptr;
  man = black ? pieceLetters[piece] : char(pieceLetters[piece] - 'a' + 'A');
  fen.clear();
  for (int r = 0; r < 8; r++) fen += board.substr(r * 8, 8) + (r < 7 ? "/" : " ");
  fen += black ? "w - -" : "b - -";
  return fen.c_str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < HeaderBytes) return 0;
  static std::vector<uint8_t> cache(TablebaseCacheBytes);
  SetTablebaseCache(cache.data(), cache.size());
  const int piece = data[0] % 5, side = data[0] / 5 % 2, form = data[0] / 10 % 3;
  const TableDescriptor& t = tableCatalogue[piece + 1];
  std::string name = std::string(t.name) + (side == 0 ? ".nbw" : ".nbb");
  const uint8_t* body = data + HeaderBytes;
  const size_t length = size - HeaderBytes;
  if (form == 0 && length) {
    static std::vector<uint8_t> whole;
    whole.resize(std::max<size_t>(t.count[side], length));
    memcpy(whole.data(), body, length);
    for (size_t filled = length; filled < whole.size(); filled *= 2)
      memcpy(whole.data() + filled, whole.data(), std::min(filled, whole.size() - filled));
    WriteFuzzFile(name.c_str(), whole.data(), t.count[side]);
  } else {
    if (form == 2) name += ".emd";
    WriteFuzzFile(name.c_str(), body, length);
  }
  InitTablebases("");

  // The man on the fuzzer's square and on a fixed one, as White's and as Black's, with either side
  // to move where the position is legal.
  int score;
  for (int square : {data[1] % 64, 27})
    for (bool black : {false, true})
      if (const char* fen = Placement(piece, square, black)) {
        SetPosition(fen);
        for (int toMove : {White, Black})
          if (!KingAttacked(toMove ^ 1)) ProbeTablebase(toMove, &score);
      }
  remove(name.c_str());  // the next registration closes it
  return 0;
}
