// The few services that differ between operating systems.
#pragma once

#include <cstddef>
#include <cstdint>

// Milliseconds since the program started (a monotonic clock).
int64_t ClockMilliseconds();

// Decides whether standard input is a keyboard (true) or a pipe or file (false). For a keyboard
// it turns off echo and line editing, so each key can be taken as it is pressed, and discards
// whatever was typed before. The terminal's own mode comes back at exit or through
// RestoreConsoleInput. May be called again; the mode saved the first time is kept.
bool SetUpConsoleInput();
// Gives a keyboard back its mode from before SetUpConsoleInput; does nothing if it was not changed.
void RestoreConsoleInput();

// Keyboard: whether a key is waiting, and the next key without echo.
bool ConsoleKeyWaiting();
int ReadConsoleKey();

// Pipe: how many bytes can be read without blocking (0 when the question fails).
int PipeBytesWaiting();

// One byte of standard input, waiting for it if need be; -1 at end of input or on error. It
// bypasses the C library's buffer, so PipeBytesWaiting stays true to what is left.
int ReadInputByte();

void SleepMilliseconds(int milliseconds);

// Asks for the whole huge pages inside a large table read at random, which spares most of its
// address-translation misses. Only a hint: where there are none, nothing happens.
constexpr size_t HugePageBytes = size_t(1) << 21;
void AdviseHugePages(void* start, size_t bytes);

// Removes a file; a missing file or any other failure is ignored.
void DeleteFileQuietly(const char* name);

// What joins a directory and a file name.
#ifdef _WIN32
constexpr char PathSeparator = '\\';
#else
constexpr char PathSeparator = '/';
#endif

// Puts the finished file `from` in the place of `to` in one step, replacing what was there, so
// that a reader finds the old file or the new one and never half of one. False when it fails.
bool MoveFileIntoPlace(const char* from, const char* to);
