// The UCI session. Choices the protocol leaves to the engine:
// - One thread, as under xboard: the search polls the input every 2,048 nodes, the session's
//   screen acts at once on stop, ponderhit, isready (while searching) and quit, and every other
//   line waits in the queue and runs, in order, when the search is over.
// - A position that continues (or shortens) the game on the board only plays (or takes back) the
//   difference, so the transposition table and the repetition record carry over from move to
//   move; a different start position is set up afresh, which clears the search tables.
// - The clock is the real one in milliseconds (ucitime.h). Think gets no budget of its own: the
//   session stops it, by deadline and node count at its polls and by plan after each iteration.
// - Otherwise the engine searches as under xboard: the same books (OwnBook), the history table
//   aged once per move, the first iteration at 2 plies (`go depth 1` searches 2).
#include "shell/uci.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/bitboard.h"
#include "board/fen.h"
#include "board/game.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "book/book.h"
#include "platform/platform.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/reset.h"
#include "search/search.h"
#include "search/think.h"
#include "shell/input.h"
#include "shell/settings.h"
#include "shell/ucitime.h"
#include "tablebases/files.h"
#include "tablebases/registry.h"

namespace {

constexpr int32_t UnlimitedBudget = 1000000000;  // the session, not TimeLeft, ends its searches
constexpr int DeepestIteration = 59;             // as under xboard, whose searches stop below 60
constexpr int IdlePollMs = 1;                    // a command waits at most this long (plus the OS)

// The running `go`, from the command until its bestmove.
struct UciSearch {
  bool active;
  bool pondering;  // go ponder, and no ponderhit yet: no limit applies
  bool infinite;   // go infinite: bestmove waits for stop
  bool stopped;
  bool timed;      // `plan` applies
  MovePlan plan;
  uint32_t nodes;  // 0 = no limit
  int64_t goTime;  // when go arrived: the info lines' time
  int64_t start;   // when the plan's clock started: go, or ponderhit
  int64_t lastIterationEnd;
};
UciSearch search;

bool ownBook = true;
// The start of the game on the board ("startpos" or the FEN text); empty until one is set, so
// that the first position command and every one after ucinewgame set up afresh.
char gameBase[InputLineSize];
uint64_t initialPositionKey;

bool SameWord(const char* a, const char* b) {
  for (; *a && *b; a++, b++)
    if (tolower(static_cast<unsigned char>(*a)) != tolower(static_cast<unsigned char>(*b))) return false;
  return *a == *b;
}

int64_t Now() { return ClockMilliseconds(); }

void PrintIdentity() {
  printf("id name Ostrel 1.069 QX\n");
  printf("id author Brannock\n");
  printf("option name Hash type spin default %d min %d max %d\n", 1 << (hashBits - 16), 1 << (MinHashBits - 16),
         1 << (MaxHashBits - 16));
  printf("option name Clear Hash type button\n");
  printf("option name Ponder type check default false\n");
  printf("option name OwnBook type check default %s\n", ownBook ? "true" : "false");
  printf("option name TablebasePath type string default %s\n", *settings.tbDir ? settings.tbDir : "<empty>");
  printf("uciok\n");
}

void PrintScore(int score) {
  if (score >= MatingFrom) printf("mate %d", ((MateValue - score) / 10 + 1) / 2);
  else if (score <= MatedBelow) printf("mate %d", -(((MateValue + score) / 10 + 1) / 2));
  else printf("cp %d", score / 10);
}

// Think's reporter: one info line per new best move and per iteration; after an iteration, the
// plan decides whether another one starts.
void Report(int depth, int score, const Move* pv, int pvLength, bool completed) {
  const int64_t now = Now();
  const int64_t ms = now - search.goTime;
  const uint32_t nodes = NodeCount + QNodeCount;
  printf("info depth %d seldepth %d score ", depth, SelDepth > depth ? SelDepth : depth);
  PrintScore(score);
  printf(" nodes %u nps %u time %lld pv", nodes, unsigned(uint64_t(nodes) * 1000 / uint64_t(ms > 0 ? ms : 1)),
         static_cast<long long>(ms));
  for (int i = 0; i < pvLength; i++) printf(" %s", CoordinateText(pv[i]));
  printf("\n");
  if (!completed) return;
  SelDepth = 0;
  if (search.timed && !search.pondering &&
      !StartNextIteration(search.plan, now - search.start, now - search.lastIterationEnd))
    StopSearch();
  search.lastIterationEnd = now;
}

// Run at every poll: the deadline and the node limit.
void CheckLimits() {
  if (!search.active || search.pondering || TimeLeft < 1) return;
  if (search.nodes && NodeCount + QNodeCount >= search.nodes) StopSearch();
  if (search.timed && Now() - search.start >= search.plan.hardMs) StopSearch();
}

// What cannot wait for the search: stop, ponderhit, isready, quit. isready is answered at once
// only while searching; when idle it queues behind the commands it must follow.
void Screen(const char* line) {
  if (!strcmp(line, "quit")) exit(0);
  if (!search.active) {
    QueueLine(line);
  } else if (!strcmp(line, "stop")) {
    search.stopped = true;
    StopSearch();
  } else if (!strcmp(line, "ponderhit")) {
    if (!search.pondering) return;
    search.pondering = false;
    search.start = Now();
  } else if (!strcmp(line, "isready")) {
    printf("readyok\n");
  } else {
    QueueLine(line);
  }
}

// The legal move of the side to move that the coordinate text names, or 0.
Move LegalMove(const char* text) {
  int from, to, promotion;
  if (!ReadCoordinateMove(text, from, to, promotion) || (text[4] && !text[5] && promotion == NoPiece) ||
      strlen(text) > 5)
    return 0;
  Move legal[MaxMoves];
  const Move* end = GenerateLegal(legal, pos.sideToMove);
  for (const Move* m = legal; m < end; m++)
    if (MoveFrom(*m) == from && MoveTo(*m) == to && MovePromotion(*m) == promotion) return *m;
  return 0;
}

// A position lacking a king, or whose side not to move is in check, cannot be searched.
bool Searchable() {
  return PopCount(pos.pieces[White][KingSlot]) == 1 && PopCount(pos.pieces[Black][KingSlot]) == 1 &&
         !KingAttacked(pos.sideToMove ^ 1);
}

void SetGameBase(const char* base) {
  if (!strcmp(base, "startpos")) SetInitialPosition();
  else SetPosition(base);
  if (!Searchable()) {
    printf("info string invalid position, the initial one is set instead\n");
    SetInitialPosition();
  }
  ResetForNewPosition();
  NewGameRecord();
  snprintf(gameBase, sizeof gameBase, "%s", base);
  // The master book's lines start from the initial position and hold for no other start.
  engineFlags.edit = pos.hashKey != initialPositionKey;
}

void Position(char* args) {
  char base[InputLineSize] = "";
  char* word = strtok(args, " \t");
  if (word && !strcmp(word, "startpos")) {
    strcpy(base, "startpos");
    word = strtok(nullptr, " \t");
  } else if (word && !strcmp(word, "fen")) {
    while ((word = strtok(nullptr, " \t")) && strcmp(word, "moves")) {
      if (base[0]) strcat(base, " ");
      strncat(base, word, sizeof base - strlen(base) - 1);
    }
  }
  if (!base[0]) {
    printf("info string position needs startpos or fen\n");
    return;
  }
  if (strcmp(base, gameBase)) SetGameBase(base);
  if (word && !strcmp(word, "moves")) word = strtok(nullptr, " \t");

  // Moves already on the board are kept as long as the list agrees with them.
  int played = 0;
  for (; word; word = strtok(nullptr, " \t"), played++) {
    if (played < gameRecord.moveCount) {
      int from, to, promotion;
      const Move m = gameRecord.slots[played].move;
      if (ReadCoordinateMove(word, from, to, promotion) && from == MoveFrom(m) && to == MoveTo(m) &&
          promotion == MovePromotion(m))
        continue;
      while (gameRecord.moveCount > played) UndoMove();
    }
    const Move m = LegalMove(word);
    if (!m) {
      printf("info string illegal move %s: the position stops before it\n", word);
      break;
    }
    PlayGameMove(MoveFrom(m), MoveTo(m), MovePromotion(m));
  }
  while (gameRecord.moveCount > played) UndoMove();
}

// The reply to expect after `best`: the principal variation's second move, else what the
// transposition table holds for the position after `best`.
Move PonderMove(Move best) {
  if (thinkResult.pvLength >= 2 && thinkResult.pv[0] == best) return thinkResult.pv[1];
  if (!PlayGameMove(MoveFrom(best), MoveTo(best), MovePromotion(best))) return 0;
  Move stored = 0;
  int score;
  ProbeHash(pos.hashKey, MaxStoredDepth + 1, -Infinity, Infinity, 0, stored, score);
  Move legal[MaxMoves], reply = 0;
  const Move* end = GenerateLegal(legal, pos.sideToMove);
  for (const Move* m = legal; m < end; m++)
    if (*m == stored) reply = stored;
  UndoMove();
  return reply;
}

void Go(char* args) {
  int64_t times[2] = {0, 0}, increments[2] = {0, 0}, moveTime = 0;
  bool haveTime[2] = {false, false};
  int movesToGo = 0, depth = 0;
  search = UciSearch();
  for (char* word = strtok(args, " \t"); word; word = strtok(nullptr, " \t")) {
    int from, to, promotion;
    if (!strcmp(word, "infinite")) {
      search.infinite = true;
    } else if (!strcmp(word, "ponder")) {
      search.pondering = true;
    } else if (!strcmp(word, "searchmoves") || ReadCoordinateMove(word, from, to, promotion)) {
      // Restricting the root moves is not offered; the list is passed over.
    } else {
      const char* value = strtok(nullptr, " \t");
      if (!value) break;
      const long long n = atoll(value);
      if (!strcmp(word, "wtime") || !strcmp(word, "btime")) {
        const int side = word[0] == 'w' ? White : Black;
        times[side] = n;
        haveTime[side] = true;
      } else if (!strcmp(word, "winc") || !strcmp(word, "binc")) {
        increments[word[0] == 'w' ? White : Black] = n;
      } else if (!strcmp(word, "movestogo")) {
        movesToGo = int(n);
      } else if (!strcmp(word, "depth")) {
        depth = int(n);
      } else if (!strcmp(word, "nodes")) {
        search.nodes = uint32_t(n > 0xFFFFFFFFLL ? 0xFFFFFFFFLL : n);
      } else if (!strcmp(word, "movetime")) {
        moveTime = n;
      }
    }
  }
  const int side = pos.sideToMove;
  if (moveTime > 0) {
    search.timed = true;
    search.plan = PlanFixedMove(moveTime);
  } else if (haveTime[side] && !search.infinite) {
    search.timed = true;
    search.plan = PlanMove(times[side], increments[side], movesToGo);
  }
  if (depth > DeepestIteration) depth = DeepestIteration;
  const int maxDepth = depth > 0 ? (depth > 2 ? depth : 2) + 1 : DeepestIteration + 1;

  search.active = true;
  search.goTime = search.start = search.lastIterationEnd = Now();
  // Analysis wants the search's opinion, not the book's.
  engineFlags.bookUse = ownBook && !search.infinite;
  // Also makes Think search a lone legal move, which analysis wants to see scored.
  engineFlags.analyze = search.infinite;
  AgeHistory();
  SelDepth = 0;
  TimeLeft = UnlimitedBudget;
  Move best = Think(side, maxDepth);
  engineFlags.analyze = 0;
  const bool searched = NodeCount + QNodeCount > 0;
  // The protocol holds the answer to an infinite or ponder search until stop or ponderhit.
  while ((search.infinite || search.pondering) && !search.stopped) {
    SleepMilliseconds(IdlePollMs);
    PollInput();
  }
  search.active = false;

  Move legal[MaxMoves];
  const Move* end = GenerateLegal(legal, side);
  if (!best && end > legal) best = legal[0];  // Think plays nothing with bare kings
  if (!best) {
    printf("bestmove 0000\n");
    return;
  }
  if (!searched && end - legal > 1) printf("info string book move %s\n", CoordinateText(best));
  const Move reply = PonderMove(best);
  printf("bestmove %s", CoordinateText(best));
  if (reply) printf(" ponder %s", CoordinateText(reply));
  printf("\n");
}

// An empty path means no tables, which is what a GUI means when it clears the field (and sends
// "<empty>" or nothing); the working directory, which an empty list stands for under -tbdir, is
// still there as ".".
void SetTablebasePath(const char* directories) {
  int men = 0;
  if (*directories && !SameWord(directories, "<empty>")) men = InitTablebases(directories);
  else ClearTablebases();
  // Allocated once for the run, as at start-up, and never mid-search: setoption waits in the
  // queue while one runs.
  if (men && !TablebaseCacheReady()) SetTablebaseCache(malloc(TablebaseCacheBytes), TablebaseCacheBytes);
  if (!men) printf("info string no tablebases\n");
  else if (!TablebaseCacheReady()) printf("info string no memory for the tablebase cache: tables unread\n");
  else printf("info string tablebases of up to %d men\n", men);
}

void SetOption(const char* line) {
  const char* name = strstr(line, "name ");
  if (!name) return;
  name += 5;
  const char* valueMark = strstr(name, " value ");
  char option[InputLineSize];
  size_t length = valueMark ? size_t(valueMark - name) : strlen(name);
  // "value" with nothing after it: how some GUIs clear a string option.
  if (!valueMark && length > 6 && SameWord(name + length - 6, " value")) length -= 6;
  snprintf(option, sizeof option, "%.*s", int(length), name);
  const char* value = valueMark ? valueMark + 7 : "";

  if (SameWord(option, "Hash")) {
    const long megabytes = atol(value);
    int bits = MinHashBits;
    while (bits < MaxHashBits && (1L << (bits + 1 - 16)) <= megabytes) bits++;
    if (bits == hashBits) return;
    // The table says what it did in a line of its own; here that line is an info string.
    printf("info string ");
    InitHT(bits);
  } else if (SameWord(option, "Clear Hash")) {
    ResetForNewPosition();
  } else if (SameWord(option, "OwnBook")) {
    ownBook = SameWord(value, "true");
  } else if (SameWord(option, "TablebasePath")) {
    SetTablebasePath(value);
  } else if (SameWord(option, "Ponder")) {
    // Only tells that the GUI may send go ponder; the engine needs nothing else for it.
  } else {
    printf("info string no option %s\n", option);
  }
}

void Run(char* line) {
  char* args = line + strcspn(line, " \t");
  if (*args) *args++ = '\0';
  if (!strcmp(line, "uci")) {
    PrintIdentity();
  } else if (!strcmp(line, "isready")) {
    printf("readyok\n");
  } else if (!strcmp(line, "ucinewgame")) {
    ResetForNewPosition();
    gameBase[0] = '\0';
  } else if (!strcmp(line, "position")) {
    Position(args);
  } else if (!strcmp(line, "go")) {
    Go(args);
  } else if (!strcmp(line, "setoption")) {
    SetOption(args);
  } else if (!strcmp(line, "stop") || !strcmp(line, "ponderhit") || !strcmp(line, "debug") || !line[0]) {
    // Nothing is running to stop or to hit, and there is no debug output to switch.
  } else {
    printf("info string unknown command %s\n", line);
  }
}

}  // namespace

void UciLoop() {
  InstallInputHandlers(Screen, CheckLimits);
  thinkReporter = Report;
  bookListings = false;
  SetInitialPosition();
  ResetForNewPosition();
  initialPositionKey = pos.hashKey;
  PrintIdentity();
  for (;;) {
    static char line[LongLineSize];
    if (TakeQueuedLine(line, LongLineSize)) {
      Run(line);
      continue;
    }
    SleepMilliseconds(IdlePollMs);
    PollInput();
  }
}
