// What the shell and the search share about the running search: its budget (which doubles as the
// stop signal), its node counters, and the engine's mode flags.
#pragma once

#include <cstdint>

// Hundredths of a second the running search may still use; below 1 means stop.
extern int32_t TimeLeft;
// Clock reading (hundredths) at which TimeLeft was last charged.
extern int32_t LastClock;
// While set, the periodic clock charge and input poll are skipped (the benchmark sets it so the
// tree does not depend on the clock).
extern int NoTimeCheck;
extern uint32_t NodeCount;   // full-width nodes of the current search
extern uint32_t QNodeCount;  // quiescence nodes of the current search
// The deepest ply a quiescence node has reached since the last reset (the UCI session reports
// and resets it; nothing else reads it).
extern int SelDepth;

// Engine mode flags, set by the protocol interpreter and the input screening, read by the search.
struct EngineFlags {
  int searching;  // any search is running (own move, ponder, analysis, hint)
  int pondering;  // searching on the opponent's time
  int analyze;    // analysis mode
  int force;      // force mode: play no moves of our own
  int bookUse;    // take moves from the opening book
  int post;       // print thinking lines
  int ponder;     // ponder when the opponent is to move (hard / easy)
  int edit;       // the board is being edited
};
extern EngineFlags engineFlags;

// Limits and clocks kept by the shell for EngineMove (hundredths of a second unless noted).
struct GameClock {
  int fixedDepth;      // plies, 0 = none
  int fixedTime;       // hundredths per move, 0 = none
  int engineTime;      // the engine's remaining clock
  int opponentTime;
  int increment;       // seconds
};
extern GameClock gameClock;

// Milliseconds since the program started, divided by 10.
int32_t ClockCentiseconds();

// Ends the running search at its next check (within 2,048 nodes); the best move found so far
// stands. Harmless when no search runs: each one sets its own budget when it starts.
void StopSearch();

// The shell's input poll. A command may stop or redirect a running search, so the search must
// listen; it cannot name the shell, which lies above it, so the shell installs its poll here at
// start-up. Left null where nobody talks to the search (tools, most tests).
typedef void (*InputPoll)();
extern InputPoll inputPoll;

// Charges the time since LastClock to TimeLeft and polls the input; called every 2,048 nodes.
// Returns true when the search must stop.
bool CheckTime();
