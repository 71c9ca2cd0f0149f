#include "shell/input.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/types.h"
#include "board/notation.h"
#include "platform/platform.h"
#include "search/control.h"
#include "search/think.h"
#include "shell/info.h"
#include "shell/interpreter.h"

// The partial line survives between polls, so a line may arrive over many polls, some from the
// idle loop and some from inside a search.
static char lineBuffer[LongLineSize];
static uint32_t lineFill = 0;

static bool consoleInput = false;

// A ring: taking a line moves no other line, and a line costs only its own length to queue.
static char lineQueue[InputQueueSlots][LongLineSize];
static uint32_t queueHead = 0;
static uint32_t queuedLines = 0;

static char* QueuedLine(uint32_t i) { return lineQueue[(queueHead + i) % InputQueueSlots]; }

// Copies at most size - 1 bytes of a line and terminates it.
static void CopyLine(char* to, const char* from, size_t size) {
  const size_t length = strnlen(from, size - 1);
  memcpy(to, from, length);
  to[length] = '\0';
}
// The interpreter reads its line from here, not from the queue, because it may poll while it
// works (a search does) and the queue shifts under it.
static char dispatchBuffer[InputLineSize];

void SetUpConsole() {
  PrintVersionBanner();
  consoleInput = SetUpConsoleInput();
}

void WaitForEnter() {
  for (;;) {
    const int c = ReadInputByte();
    if (c < 0 || c == '\n') return;
  }
}

// Answer to "." while thinking: depth, score, nodes and the line the search currently holds.
static void PrintStatusLine() {
  printf("%d.\t%d\t0\t%u\t%u\t", thinkResult.depth, thinkResult.score, unsigned(NodeCount), unsigned(QNodeCount));
  int length = thinkResult.pvLength;
  if (length > MaxSearchPly) length = MaxSearchPly;
  for (int i = 0; i < length; i++) printf("%s ", CoordinateText(thinkResult.pv[i]));
  printf("\n");
}

// Acts at once on what cannot wait for the search to finish (the command table says what), then
// queues the rest for the interpreter.
static void ScreenLine(const char* line) {
  printf("AddTo Queue [%s]\n", line);
  const XboardCommand* command = CommandNamed(line);
  switch (command ? command->arrival : Arrival::Waits) {
    case Arrival::Waits:
      break;
    case Arrival::Stops:
      StopSearch();
      break;
    case Arrival::StopsOrForces:
      StopSearch();
      // Forced to move now, not into force mode: the interface wants the move it is waiting for.
      if (engineFlags.searching || engineFlags.pondering) return;
      engineFlags.force = 1;
      break;
    case Arrival::StopsAnalyzes:
      StopSearch();
      engineFlags.analyze = 1;
      break;
    case Arrival::MovesNow:
      StopSearch();
      return;
    case Arrival::Quits:
      exit(0);
    case Arrival::ShowsHelp:
      PrintHelpText();
      SetUpConsole();
      return;
    case Arrival::ShowsVersion:
      SetUpConsole();
      return;
    case Arrival::ShowsAbout:
      PrintAboutText();
      SetUpConsole();
      return;
    case Arrival::ShowsStatus:
      if (!engineFlags.searching || engineFlags.analyze) break;
      PrintStatusLine();
      return;
  }

  // The opponent's move ends a ponder or analysis search so the interpreter can play it; while
  // thinking on its own move the engine finishes first.
  int from, to, promotion;
  if (engineFlags.searching && (engineFlags.analyze || engineFlags.pondering) &&
      ReadCoordinateMove(line, from, to, promotion))
    StopSearch();

  QueueLine(line);
}

static LineScreen screenLine = ScreenLine;
static PollCheck pollCheck = nullptr;
static bool firstLineRead = false;
static bool uciRequested = false;

void InstallInputHandlers(LineScreen screen, PollCheck check) {
  screenLine = screen;
  pollCheck = check;
}

bool UciRequested() { return uciRequested; }

void QueueLine(const char* line) {
  if (queuedLines >= uint32_t(InputQueueSlots)) return;
  CopyLine(QueuedLine(queuedLines), line, LongLineSize);
  queuedLines++;
}

// Returns false for a backspace, which ends a pipe poll, and for a first line "uci".
static bool TakeCharacter(int c) {
  if (c == 8) {
    if (lineFill > 0) lineFill--;
    lineBuffer[lineFill] = '\0';
    return false;
  }
  if (c == '\r' || c == '\n') {
    lineBuffer[lineFill] = '\0';
    lineFill = 0;
    if (!firstLineRead) {
      firstLineRead = true;
      uciRequested = strcmp(lineBuffer, "uci") == 0;
      if (uciRequested) return false;
    }
    screenLine(lineBuffer);
    return true;
  }
  // Characters past the room are dropped until the line ends.
  const uint32_t room = uciRequested ? LongLineSize : InputLineSize;
  if (lineFill < room - 1) lineBuffer[lineFill++] = char(c);
  return true;
}

void PollInput() {
  if (pollCheck) pollCheck();
  if (consoleInput) {
    // One key per poll paces typing at the idle loop's rate; that is deliberate.
    if (ConsoleKeyWaiting()) TakeCharacter(ReadConsoleKey());
    return;
  }
  int waiting = PipeBytesWaiting();
  while (waiting > 0) {
    const int c = ReadInputByte();
    if (c < 0) return;
    waiting--;
    if (!TakeCharacter(c)) return;
    // The help and about pauses read from this same input, so a completed line may have eaten
    // bytes counted above; reading them again would block.
    if (c == '\r' || c == '\n') {
      const int left = PipeBytesWaiting();
      if (left < waiting) waiting = left;
    }
  }
}

bool TakeQueuedLine(char* line, int size) {
  if (queuedLines == 0) return false;
  CopyLine(line, QueuedLine(0), size_t(size));
  queueHead = (queueHead + 1) % InputQueueSlots;
  queuedLines--;
  return true;
}

const char* DispatchQueuedLine() {
  if (queuedLines == 0) return nullptr;
  printf("Process Queue Line [%s]\n", QueuedLine(0));
  TakeQueuedLine(dispatchBuffer);
  return dispatchBuffer;
}

void PrintQueuedLines() {
  for (uint32_t i = 0; i < queuedLines; i++) printf("%s\n", QueuedLine(i));
}
