// The book probe over any index.dat and book.bin. Input: a byte choosing the index file's length
// and the analysis flag, eight bytes repeated to fill the index (so the fuzzer controls the entry
// of whichever cluster is probed), a byte of plies and one byte per ply choosing the game's moves,
// then book.bin. The book is refused or read safely, and a move it gives is legal.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "board/fen.h"
#include "board/game.h"
#include "board/movegen.h"
#include "book/book.h"
#include "search/control.h"
#include "tests/fuzz/fuzz.h"

namespace {

// Whole, one byte short, one entry short, one byte over, empty, and a few entries only.
const size_t indexLengths[] = {BookClusters * 8, BookClusters * 8 - 1, BookClusters * 8 - 8, BookClusters * 8 + 1, 0, 64};
constexpr size_t HeaderBytes = 10;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < HeaderBytes) return 0;
  static std::vector<uint8_t> index;
  index.resize(indexLengths[data[0] % 6] + 8);
  // Doubling copies: a byte loop here would spend the run in the fuzzer's comparison hooks.
  memcpy(index.data(), data + 1, 8);
  for (size_t filled = 8; filled < index.size(); filled *= 2)
    memcpy(index.data() + filled, index.data(), std::min(filled, index.size() - filled));
  index.resize(index.size() - 8);
  WriteFuzzFile("index.dat", index.data(), index.size());
  const size_t plies = std::min<size_t>(data[9] % 8, size - HeaderBytes);
  WriteFuzzFile("book.bin", data + HeaderBytes + plies, size - HeaderBytes - plies);

  SetInitialPosition();
  NewGameRecord();
  Move moves[MaxMoves];
  for (size_t i = 0; i < plies; i++) {
    const int n = int(GenerateLegal(moves, pos.sideToMove) - moves);
    if (n == 0) break;
    const Move m = moves[data[HeaderBytes + i] % n];
    PlayGameMove(MoveFrom(m), MoveTo(m), MovePromotion(m));
  }
  engineFlags = EngineFlags{};
  engineFlags.bookUse = 1;
  engineFlags.analyze = data[0] / 6 % 2;
  OpenBook("book.bin", "index.dat");
  const Move m = ProbeBook(pos.sideToMove, engineFlags.edit, engineFlags.analyze);
  Move* end = GenerateLegal(moves, pos.sideToMove);
  if (m && std::find(moves, end, m) == end) abort();
  return 0;
}
