#ifndef _WIN32

#include <poll.h>
#include <sys/mman.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "platform/platform.h"

static const std::chrono::steady_clock::time_point programStart = std::chrono::steady_clock::now();

int64_t ClockMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - programStart).count();
}

static termios savedTerminal;
static bool terminalChanged = false;

void RestoreConsoleInput() {
  if (!terminalChanged) return;
  tcsetattr(STDIN_FILENO, TCSANOW, &savedTerminal);
  terminalChanged = false;
}

bool SetUpConsoleInput() {
  if (!isatty(STDIN_FILENO)) return false;
  if (!terminalChanged) {
    if (tcgetattr(STDIN_FILENO, &savedTerminal) != 0) return false;
    static bool restoreRegistered = false;
    if (!restoreRegistered) {
      // quit ends the process with exit(0) from deep inside a search; the user's shell must not
      // be left without echo.
      atexit(RestoreConsoleInput);
      restoreRegistered = true;
    }
  }
  termios raw = savedTerminal;
  // Keys one at a time and unechoed; ISIG stays on so Ctrl-C still interrupts.
  raw.c_lflag &= ~tcflag_t(ICANON | ECHO);
  raw.c_cc[VMIN] = 1;
  raw.c_cc[VTIME] = 0;
  if (tcsetattr(STDIN_FILENO, TCSANOW, &raw) != 0) return false;
  terminalChanged = true;
  tcflush(STDIN_FILENO, TCIFLUSH);
  return true;
}

bool ConsoleKeyWaiting() {
  pollfd p = {STDIN_FILENO, POLLIN, 0};
  return poll(&p, 1, 0) > 0 && (p.revents & POLLIN);
}

int ReadConsoleKey() {
  const int c = ReadInputByte();
  // Most terminals send DEL for the Backspace key; the line editor knows backspace as 8.
  return c == 127 ? 8 : c;
}

int PipeBytesWaiting() {
  int waiting = 0;
  if (ioctl(STDIN_FILENO, FIONREAD, &waiting) != 0) return 0;
  return waiting;
}

int ReadInputByte() {
  unsigned char c;
  for (;;) {
    const ssize_t n = read(STDIN_FILENO, &c, 1);
    if (n == 1) return c;
    if (n < 0 && errno == EINTR) continue;
    return -1;
  }
}

void SleepMilliseconds(int milliseconds) {
  timespec wait = {milliseconds / 1000, long(milliseconds % 1000) * 1000000L};
  while (nanosleep(&wait, &wait) != 0 && errno == EINTR) {
  }
}

void AdviseHugePages(void* start, size_t bytes) {
#ifdef MADV_HUGEPAGE
  const uintptr_t first = (uintptr_t(start) + HugePageBytes - 1) & ~uintptr_t(HugePageBytes - 1);
  const uintptr_t end = (uintptr_t(start) + bytes) & ~uintptr_t(HugePageBytes - 1);
  if (end > first) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#else
  (void)start;
  (void)bytes;
#endif
}

void DeleteFileQuietly(const char* name) { unlink(name); }

bool MoveFileIntoPlace(const char* from, const char* to) { return rename(from, to) == 0; }

#endif
