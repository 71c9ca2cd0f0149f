// The xboard interpreter: one queued line at a time, and the main loop that feeds it.
#pragma once

// Interpreter state beside the game record and the engine flags.
struct InterpreterState {
  int sideToMove;     // flipped by every move made through the interpreter, found or not
  int colour;         // the side `go` plays: set by white / black, Black after new
  int movesPerControl;
  int baseSeconds;
  int increment2;     // filled only by the minutes:seconds form of level; read by time
};
extern InterpreterState interpreter;

// Acts on one line (at most 255 characters); replies go to standard output.
void Interpret(const char* line);

// Play mode: sets the defaults, interprets "new", then polls and interprets forever. Only quit
// and exit end the process.
[[noreturn]] void MainLoop();
