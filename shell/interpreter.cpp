// The xboard interpreter and its command table.
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

void SetClocks(int hundredths) { gameClock.engineTime = gameClock.opponentTime = hundredths; }

// Analysis and pondering: searches until a command stops it.
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
  // Flipped even when the move was not found: a deliberate rule of this interpreter. The game
  // record's own side flips only for a move played, so the two then disagree.
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
    // Minutes, then the digits of the seconds appended one by one: 5:30 gives 30030 seconds, not
    // 330. A deliberate quirk of this reader, kept.
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

void NewGame(const char*) {
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

void Protover(const char*) {
  static const char* const features[] = {
    "feature colors=1", "feature myname=\"Ostrel 1.069 QX by Brannock\"", "feature time=1", "feature pause=0",
    "feature variants=\"normal,nocastle\"", "feature sigint=0", "feature sigterm=0", "feature name=1",
    "feature playother=1", "feature setboard=1", "feature draw=1", "feature reuse=0", "feature time=1",
    "feature san=0", "feature done=1"};
  for (const char* f : features) printf("%s\n", f);
}

void Hint(const char*) {
  engineFlags.force = 0;
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

void Time(const char* line) {
  const char* p = line + 4;
  bool found;
  const int n = ReadNumber(p, found);
  SetClocks(Wrap(int64_t(interpreter.increment2) * 1000 + int64_t(n / 6) * 10));
}

// xboard gives seconds; the search counts hundredths.
void SearchTime(const char* line) {
  const int seconds = int(atol(line + 2));
  printf("search time mode st = %d\n", seconds);
  gameClock.fixedTime = Wrap(int64_t(seconds) * 100);
  gameClock.fixedDepth = 0;
}

void SearchDepth(const char* line) {
  const int depth = int(atol(line + 2));
  printf("search depth mode sd = %d\n", depth);
  gameClock.fixedDepth = depth;
  gameClock.fixedTime = 0;
}

void Ignore(const char*) {}

}  // namespace

// Every xboard command, in the interpreter's order of tests. Those that only the input poll acts
// on (quit, help, ...) sit at the end: the interpreter passes over them, and none begins with a
// prefix command's name, so where they stand does not change what the interpreter matches.
static const XboardCommand xboardCommands[] = {
  // name, interpreter's match, on arrival at the input poll, interpreter's handler
  {"protover", Match::Prefix, Arrival::Waits, Protover},
  // Only standard chess is played; the announced variants are turned down all the same.
  {"variant", Match::Prefix, Arrival::Waits, [](const char*) { printf("Error: unsupported variant.\n"); }},
  {"result", Match::Prefix, Arrival::Waits, Ignore},
  {"time", Match::Prefix, Arrival::Stops, Time},
  {"otim", Match::Prefix, Arrival::Stops, Ignore},
  {"level", Match::Prefix, Arrival::Waits, Level},
  {"new", Match::Whole, Arrival::Waits, NewGame},
  {"hash", Match::Prefix, Arrival::Waits, [](const char* line) { ResizeHashMegabytes(int(atol(line + 4))); }},
  {"draw", Match::Prefix, Arrival::Waits,
   [](const char*) { printf(thinkResult.depth != 0 && thinkResult.score == 0 ? "I accept\n" : "I decline\n"); }},
  {"books on", Match::Whole, Arrival::Waits, [](const char*) { engineFlags.bookUse = 1; }},
  {"books off", Match::Whole, Arrival::Waits, [](const char*) { engineFlags.bookUse = 0; }},
  {"sd", Match::Prefix, Arrival::Waits, SearchDepth},
  {"st", Match::Prefix, Arrival::Waits, SearchTime},
  {"post", Match::Whole, Arrival::Waits, [](const char*) { engineFlags.post = 1; }},
  {"nopost", Match::Whole, Arrival::Waits, [](const char*) { engineFlags.post = 0; }},
  {"force", Match::Whole, Arrival::StopsOrForces, [](const char*) { engineFlags.force = 1; }},
  {"white", Match::Whole, Arrival::Stops, [](const char*) { interpreter.colour = White; }},
  {"black", Match::Whole, Arrival::Stops, [](const char*) { interpreter.colour = Black; }},
  {"hard", Match::Whole, Arrival::Waits, [](const char*) { engineFlags.ponder = 1; }},
  {"easy", Match::Whole, Arrival::Waits, [](const char*) { engineFlags.ponder = 0; }},
  {"go", Match::Whole, Arrival::Waits,
   [](const char*) {
     engineFlags.force = 0;
     if (interpreter.sideToMove == interpreter.colour) ThinkAndMove();
   }},
  {"hint", Match::Whole, Arrival::Waits, Hint},
  {"edit", Match::Whole, Arrival::Stops,
   [](const char*) {
     EditMode();
     if (engineFlags.analyze) OpenEndedThink();
   }},
  {"undo", Match::Whole, Arrival::Stops, [](const char*) { TakeBack(1); }},
  {"remove", Match::Whole, Arrival::Stops, [](const char*) { TakeBack(2); }},
  {"print", Match::Whole, Arrival::Waits, [](const char*) { PrintBoard(pos.pieces); }},
  {"analyze", Match::Whole, Arrival::StopsAnalyzes,
   [](const char*) {
     engineFlags.analyze = 1;
     OpenEndedThink();
   }},
  // Unreachable in practice: the input poll ends the process on exit before it is queued.
  {"exit", Match::Whole, Arrival::Quits, [](const char*) { engineFlags.analyze = 0; }},
  {"quit", Match::Whole, Arrival::Quits, nullptr},
  {"?", Match::Whole, Arrival::MovesNow, nullptr},
  {".", Match::Whole, Arrival::ShowsStatus, nullptr},
  {"help", Match::Whole, Arrival::ShowsHelp, nullptr},
  {"version", Match::Whole, Arrival::ShowsVersion, nullptr},
  {"about", Match::Whole, Arrival::ShowsAbout, nullptr},
  {"info", Match::Whole, Arrival::ShowsAbout, nullptr},
};

const XboardCommand* CommandNamed(const char* line) {
  for (const XboardCommand& command : xboardCommands)
    if (!strcmp(line, command.name)) return &command;
  return nullptr;
}

void Interpret(const char* line) {
  int from, to, promotion;
  if (ReadCoordinateMove(line, from, to, promotion)) {
    OpponentMove(from, to, promotion);
    return;
  }
  for (const XboardCommand& command : xboardCommands) {
    if (!command.handler) continue;
    const bool matches = command.match == Match::Prefix ? !strncmp(line, command.name, strlen(command.name))
                                                        : !strcmp(line, command.name);
    if (!matches) continue;
    command.handler(line);
    return;
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
