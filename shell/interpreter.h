// The xboard interpreter: one queued line at a time, and the main loop that feeds it.
#pragma once

#include <cstdint>

// Interpreter state beside the game record and the engine flags.
struct InterpreterState {
  int sideToMove;     // flipped by every move made through the interpreter, found or not
  int colour;         // the side `go` plays: set by white / black, Black after new
  int movesPerControl;
  int baseSeconds;
  int increment2;     // filled only by the minutes:seconds form of level; read by time
};
extern InterpreterState interpreter;

// How the interpreter matches a command: the line begins with the name (so `time 3000` is
// `time`), or the line is the name and nothing else.
enum class Match : uint8_t { Prefix, Whole };

// What the input poll does with a line that is exactly a command's name (the poll compares whole
// lines only, whatever the interpreter's match: a bare `time` stops a search, `time 3000` waits).
// Everything that is queued runs in the interpreter once the search is over.
enum class Arrival : uint8_t {
  Waits,         // queued; a running search goes on
  Stops,         // stops a running search, and is queued
  StopsOrForces, // force: stops a running search and is dropped (the interface wants its move);
                 // when idle sets force mode at once and is queued too
  StopsAnalyzes, // analyze: stops a running search, sets analysis mode at once, and is queued
  MovesNow,      // ?: stops a running search; never queued
  Quits,         // ends the process at once, mid-search or not
  ShowsHelp,     // the paged help, at once; never queued
  ShowsVersion,  // the banner, at once; never queued
  ShowsAbout,    // the paged about text, at once; never queued
  ShowsStatus,   // .: while a search other than analysis runs, the status line instead of queuing
};

struct XboardCommand {
  const char* name;
  Match match;
  Arrival arrival;
  void (*handler)(const char* line);  // nullptr: the input poll alone acts on it
};

// The command whose name is the whole line, for the input poll; nullptr when there is none. The
// interpreter reads the same table, in its order: the first match wins.
const XboardCommand* CommandNamed(const char* line);

// Acts on one line (at most 255 characters): a coordinate move, else the first command of the
// table that matches; a line that matches nothing is ignored without a reply, as the protocol
// asks. Replies go to standard output.
void Interpret(const char* line);

// Play mode: sets the defaults, interprets "new", then polls and interprets forever. Only quit
// and exit end the process.
[[noreturn]] void MainLoop();
