#ifdef _WIN32

#include <conio.h>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "platform/platform.h"

static const std::chrono::steady_clock::time_point programStart = std::chrono::steady_clock::now();

int64_t ClockMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - programStart).count();
}

static HANDLE consoleHandle;
static DWORD savedMode;
static bool modeChanged = false;

void RestoreConsoleInput() {
  if (!modeChanged) return;
  SetConsoleMode(consoleHandle, savedMode);
  modeChanged = false;
}

bool SetUpConsoleInput() {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  DWORD mode;
  if (!GetConsoleMode(input, &mode)) {
    // The pipe count is of raw bytes; a text-mode read would fold CR LF into one character and
    // then wait for a byte that is not there.
    _setmode(_fileno(stdin), _O_BINARY);
    return false;
  }
  if (!modeChanged) {
    consoleHandle = input;
    savedMode = mode;
    static bool restoreRegistered = false;
    if (!restoreRegistered) {
      atexit(RestoreConsoleInput);
      restoreRegistered = true;
    }
  }
  // Window and mouse events would otherwise wake the key test with nothing to read.
  SetConsoleMode(input, mode & ~DWORD(ENABLE_WINDOW_INPUT | ENABLE_MOUSE_INPUT));
  modeChanged = true;
  FlushConsoleInputBuffer(input);
  return true;
}

bool ConsoleKeyWaiting() { return _kbhit() != 0; }

int ReadConsoleKey() { return _getch(); }

int PipeBytesWaiting() {
  DWORD waiting = 0;
  if (!PeekNamedPipe(GetStdHandle(STD_INPUT_HANDLE), nullptr, 0, nullptr, &waiting, nullptr)) return 0;
  return int(waiting);
}

int ReadInputByte() {
  unsigned char c;
  return _read(_fileno(stdin), &c, 1) == 1 ? c : -1;
}

void SleepMilliseconds(int milliseconds) { Sleep(DWORD(milliseconds)); }

// Large pages need a privilege that an engine is not given.
void AdviseHugePages(void*, size_t) {}

void DeleteFileQuietly(const char* name) { DeleteFileA(name); }

bool MoveFileIntoPlace(const char* from, const char* to) {
  return MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}

#endif
