// Move text against a position: the first line is a FEN (empty for the initial position), each
// further line a move in SAN or, when it starts like one, a coordinate move played as the GUI's
// would be (force mode, so no search). SAN must name a legal move or none.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "board/fen.h"
#include "board/game.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "search/control.h"
#include "shell/interpreter.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  char* text = const_cast<char*>(FuzzText(data, size));
  char* line = strtok(text, "\n");
  if (!line) return 0;
  if (line[0]) SetPosition(line);
  else SetInitialPosition();
  NewGameRecord();
  interpreter.sideToMove = pos.sideToMove;
  engineFlags = EngineFlags{};
  engineFlags.force = 1;
  while ((line = strtok(nullptr, "\n"))) {
    if (strlen(line) >= 4 && line[0] >= 'a' && line[0] <= 'h' && line[1] >= '1' && line[1] <= '8') {
      // The interpreter reads at most 255 characters, as the input queue hands it no more.
      line[std::min<size_t>(strlen(line), 255)] = '\0';
      Interpret(line);
      continue;
    }
    const Move m = ParseSan(line, pos.sideToMove);
    if (!m) continue;
    Move legal[MaxMoves];
    Move* end = GenerateLegal(legal, pos.sideToMove);
    if (std::find(legal, end, m) == end) abort();
    PlayGameMove(MoveFrom(m), MoveTo(m), MovePromotion(m));
  }
  return 0;
}
