// The xboard interpreter. Commands are tried in a fixed order: a coordinate move first, then the
// table below, prefix commands matching the start of the line and whole commands the whole line.
// Lines that match nothing are ignored without a reply, as the protocol asks.
#include "shell/interpreter.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/display.h"
#include "board/fen.h"
#include "board/game.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "platform/platform.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/reset.h"
#include "search/search.h"
#include "search/think.h"
#include "shell/edit.h"
#include "shell/input.h"
#include "shell/uci.h"

InterpreterState interpreter;

constexpr int32_t OpenEndedSearch = 6000000;  // analysis and pondering run until input stops them
constexpr int NewGameClock = 6000;

namespace {

bool Prefix(const char* line, const char* word) { return strncmp(line, word, strlen(word)) == 0; }

void SetClocks(int hundredths) { gameClock.engineTime = gameClock.opponentTime = hundredths; }

// Analysis and pondering: searches until a command sets TimeLeft below 1.
void OpenEndedThink() {
  TimeLeft = OpenEndedSearch;
  engineFlags.searching = 1;
  Think(interpreter.sideToMove, 60);
  engineFlags.searching = 0;
}

// The engine moves; then the result if the opponent has no reply, else pondering if asked.
void ThinkAndMove() {
  if (EngineMove(interpreter.sideToMove)) interpreter.sideToMove ^= 1;
  Move moves[MaxMoves];
  if (GenerateLegal(moves, interpreter.sideToMove) == moves) {
    PrintResult(interpreter.sideToMove);
    return;
  }
  if (engineFlags.ponder) {
    printf("\nStarting pondering :\n\n");
    PrintBoard(pos.pieces);
    TimeLeft = OpenEndedSearch;
    engineFlags.searching = 1;
    engineFlags.pondering = 1;
    Think(interpreter.sideToMove, 60);
    engineFlags.pondering = 0;
    engineFlags.searching = 0;
  }
}

void OpponentMove(int from, int to, int promotion) {
  printf("The board looks like this :\n");
  PrintBoard(pos.pieces);
  if (PlayGameMove(from, to, promotion)) AgeHistory();
  // Flipped even when the move was not found: the engine has always done so.
  interpreter.sideToMove ^= 1;
  if (engineFlags.analyze) {
    OpenEndedThink();
    return;
  }
  if (engineFlags.force) return;
  ThinkAndMove();
}

// Clock figures are 32-bit and wrap as such arithmetic does: no GUI sends numbers that large,
// but a person may type them.
int32_t Wrap(int64_t value) { return int32_t(uint32_t(uint64_t(value))); }

// The first run of decimal digits after `p`; `found` tells whether there was one before the end.
int ReadNumber(const char*& p, bool& found) {
  while (*p && (*p < '0' || *p > '9')) p++;
  found = *p != 0;
  uint32_t n = 0;
  for (; *p >= '0' && *p <= '9'; p++) n = n * 10 + uint32_t(*p - '0');
  return int32_t(n);
}

void Level(const char* line) {
  const char* p = line + 5;
  bool found;
  if (strchr(p, ':')) {
    // Minutes, then the digits of the seconds appended one by one (5:30 gives 30030 seconds):
    // the engine has always read it so.
    interpreter.movesPerControl = ReadNumber(p, found);
    int base = Wrap(int64_t(ReadNumber(p, found)) * 60);
    if (*p == ':')
      for (p++; *p >= '0' && *p <= '9'; p++) base = Wrap(int64_t(base) * 10 + (*p - '0'));
    interpreter.baseSeconds = base;
    const int increment = ReadNumber(p, found);
    gameClock.increment = interpreter.increment2 = increment;
  } else {
    const int moves = ReadNumber(p, found);
    if (found) interpreter.movesPerControl = moves;
    const int minutes = found ? ReadNumber(p, found) : 0;
    if (found) interpreter.baseSeconds = Wrap(int64_t(minutes) * 60);
    const int increment = found ? ReadNumber(p, found) : 0;
    if (found) gameClock.increment = increment;
  }
  SetClocks(Wrap(int64_t(interpreter.baseSeconds) * 100));
  gameClock.fixedDepth = gameClock.fixedTime = 0;
}

void NewGame() {
  SetInitialPosition();
  ResetForNewPosition();
  interpreter.colour = Black;
  engineFlags.post = 1;
  interpreter.sideToMove = White;
  SetClocks(NewGameClock);
  engineFlags.pondering = 0;
  engineFlags.force = 0;
  engineFlags.edit = 0;
  NewGameRecord();
}

void Protover() {
  static const char* const features[] = {
    "feature colors=1", "feature myname=\"Ostrel 1.069 QX by Brannock\"", "feature time=1", "feature pause=0",
    "feature variants=\"normal,nocastle\"", "feature sigint=0", "feature sigterm=0", "feature name=1",
    "feature playother=1", "feature setboard=1", "feature draw=1", "feature reuse=0", "feature time=1",
    "feature san=0", "feature done=1"};
  for (const char* f : features) printf("%s\n", f);
}

void Hint() {
  TimeLeft = MoveBudget();
  engineFlags.searching = 1;
  const Move m = Think(interpreter.sideToMove, 60);
  engineFlags.searching = 0;
  if (!m) return;
  printf("Hint: %s\n", CoordinateText(m));
}

void TakeBack(int halfMoves) {
  if (gameRecord.moveCount < halfMoves) return;
  for (int i = 0; i < halfMoves; i++) UndoMove();
  if (halfMoves == 1) interpreter.sideToMove ^= 1;
  if (engineFlags.analyze) OpenEndedThink();
}

}  // namespace

void Interpret(const char* line) {
  int from, to, promotion;
  if (ReadCoordinateMove(line, from, to, promotion)) {
    OpponentMove(from, to, promotion);
    return;
  }
  if (Prefix(line, "protover")) {
    Protover();
  } else if (Prefix(line, "variant")) {
    // Only standard chess is played; the announced variants are turned down all the same.
    printf("Error: unsupported variant.\n");
  } else if (Prefix(line, "result")) {
  } else if (Prefix(line, "time")) {
    const char* p = line + 4;
    bool found;
    const int n = ReadNumber(p, found);
    SetClocks(Wrap(int64_t(interpreter.increment2) * 1000 + int64_t(n / 6) * 10));
  } else if (Prefix(line, "otim")) {
  } else if (Prefix(line, "level")) {
    Level(line);
  } else if (!strcmp(line, "new")) {
    NewGame();
  } else if (Prefix(line, "hash")) {
    ResizeHashMegabytes(int(atol(line + 4)));
  } else if (Prefix(line, "draw")) {
    printf(thinkResult.depth != 0 && thinkResult.score == 0 ? "I accept\n" : "I decline\n");
  } else if (!strcmp(line, "books on")) {
    engineFlags.bookUse = 1;
  } else if (!strcmp(line, "books off")) {
    engineFlags.bookUse = 0;
  } else if (Prefix(line, "sd")) {
    const int depth = int(atol(line + 2));
    printf("search depth mode sd = %d\n", depth);
    gameClock.fixedDepth = depth;
    gameClock.fixedTime = 0;
  } else if (Prefix(line, "st")) {
    // xboard gives seconds; the search counts hundredths.
    const int seconds = int(atol(line + 2));
    printf("search time mode st = %d\n", seconds);
    gameClock.fixedTime = Wrap(int64_t(seconds) * 100);
    gameClock.fixedDepth = 0;
  } else if (!strcmp(line, "post")) {
    engineFlags.post = 1;
  } else if (!strcmp(line, "nopost")) {
    engineFlags.post = 0;
  } else if (!strcmp(line, "force")) {
    engineFlags.force = 1;
  } else if (!strcmp(line, "white")) {
    interpreter.colour = White;
  } else if (!strcmp(line, "black")) {
    interpreter.colour = Black;
  } else if (!strcmp(line, "hard")) {
    engineFlags.ponder = 1;
  } else if (!strcmp(line, "easy")) {
    engineFlags.ponder = 0;
  } else if (!strcmp(line, "go")) {
    engineFlags.force = 0;
    if (interpreter.sideToMove == interpreter.colour) ThinkAndMove();
  } else if (!strcmp(line, "hint")) {
    engineFlags.force = 0;
    Hint();
  } else if (!strcmp(line, "edit")) {
    EditMode();
    if (engineFlags.analyze) OpenEndedThink();
  } else if (!strcmp(line, "undo")) {
    TakeBack(1);
  } else if (!strcmp(line, "remove")) {
    TakeBack(2);
  } else if (!strcmp(line, "print")) {
    PrintBoard(pos.pieces);
  } else if (!strcmp(line, "analyze")) {
    engineFlags.analyze = 1;
    OpenEndedThink();
  } else if (!strcmp(line, "exit")) {
    engineFlags.analyze = 0;
  }
}

void MainLoop() {
  engineFlags.bookUse = 1;
  engineFlags.searching = engineFlags.analyze = engineFlags.force = 0;
  gameClock.fixedDepth = gameClock.fixedTime = 0;
  SetUpConsole();
  Interpret("new");
  for (;;) {
    SleepMilliseconds(100);
    PollInput();
    if (UciRequested()) UciLoop();
    while (const char* line = DispatchQueuedLine()) Interpret(line);
  }
}
