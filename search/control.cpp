#include "search/control.h"

#include "platform/platform.h"

int32_t TimeLeft;
int32_t LastClock;
int NoTimeCheck;
uint32_t NodeCount;
uint32_t QNodeCount;
int SelDepth;
EngineFlags engineFlags;
GameClock gameClock;
InputPoll inputPoll;

int32_t ClockCentiseconds() { return int32_t(ClockMilliseconds() / 10); }

void StopSearch() { TimeLeft = -1; }

bool CheckTime() {
  const int32_t now = ClockCentiseconds();
  TimeLeft -= now - LastClock;
  LastClock = now;
  if (TimeLeft < 1) return true;
  if (inputPoll) inputPoll();
  return TimeLeft < 1;
}
