#include "search/control.h"

#include "platform/platform.h"
#include "shell/input.h"

int32_t TimeLeft = 0;
int32_t LastClock = 0;
int NoTimeCheck = 0;
uint32_t NodeCount = 0;
uint32_t QNodeCount = 0;
EngineFlags engineFlags = {};
GameClock gameClock = {};

int32_t ClockCentiseconds() { return int32_t(ClockMilliseconds() / 10); }

bool CheckTime() {
  int32_t now = ClockCentiseconds();
  TimeLeft -= now - LastClock;
  LastClock = now;
  if (TimeLeft < 1) return true;
  PollInput();
  return TimeLeft < 1;
}
