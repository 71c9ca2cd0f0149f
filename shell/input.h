// Console and pipe input, polled without blocking, and the queue of complete command lines.
#pragma once

// Reads what input is waiting, completes lines and screens each one (quit, ?, force, ... act at
// once; most lines are queued for the interpreter).
void PollInput();
