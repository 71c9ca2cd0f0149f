// Console and pipe input, polled without blocking, and the queue of complete command lines.
#pragma once

// Room for one line and its terminating NUL; longer lines keep their first 255 characters.
constexpr int InputLineSize = 256;
// A UCI session's lines may be this long: its position command carries the whole game.
constexpr int LongLineSize = 16384;
// Lines that can wait for the interpreter; further lines are dropped until one is taken.
constexpr int InputQueueSlots = 60;

// Writes the version banner, then decides whether input is a keyboard or a pipe and prepares it.
// Run at the start of play and again after each help, version, about or info command.
void SetUpConsole();

// Reads what input is waiting, completes lines and screens each one: the xboard command table
// (interpreter.h) says what acts at once (quit, ?, force, ...); most lines are queued for the
// interpreter.
void PollInput();

// How a session treats its input. The xboard screen is the default. A UCI session installs its
// own screen, and a check that runs at every poll (the search polls every 2,048 nodes), when it
// starts.
typedef void (*LineScreen)(const char* line);
typedef void (*PollCheck)();
void InstallInputHandlers(LineScreen screen, PollCheck check);

// Whether the session's first line was exactly "uci". That line is neither screened nor queued,
// and the poll that read it ends there, so whatever follows reaches the UCI screen.
bool UciRequested();

// Appends a line (at most LongLineSize bytes with its NUL) to the queue; dropped when it is full.
void QueueLine(const char* line);

// Reads and discards input up to and including the next newline (or the end of input), waiting
// for it: the pause between pages of the help and about texts.
void WaitForEnter();

// The main loop's step: writes "Process Queue Line [...]" and moves the oldest line into the
// dispatch buffer, which it returns; nullptr when the queue is empty. The buffer stays valid
// while the interpreter polls, until the next call.
const char* DispatchQueuedLine();

// Edit mode's step: copies the oldest line into `line` and removes it, without the trace line.
// Returns false when the queue is empty.
// A UCI session takes its lines with `size` LongLineSize.
bool TakeQueuedLine(char* line, int size = InputLineSize);

// Writes every waiting line, oldest first, one per line.
void PrintQueuedLines();
