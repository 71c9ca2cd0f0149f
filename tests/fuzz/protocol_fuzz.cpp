// Protocol lines of any kind through the input screening, the queue and the interpreter, edit
// mode included, with the engine's own main-loop steps. This file stands in for the platform
// layer: standard input is the fuzzer's bytes, handed over in bursts as a GUI writes them, and
// once they run out it answers ".\n" for ever, so that an edit session left open still ends.
// Every search is held to two plies through the fixed depth that `sd` sets, restored before
// each line is interpreted.
#include <chrono>
#include <cstdio>
#include <vector>

#include "platform/platform.h"
#include "search/control.h"
#include "shell/input.h"
#include "shell/interpreter.h"
#include "tests/fuzz/fuzz.h"

namespace {

std::vector<uint8_t> script;
size_t scriptAt = 0;
unsigned tailAt = 0;
constexpr size_t Burst = 200;
constexpr int ShallowDepth = 3;  // sd 3 searches two plies

}  // namespace

int64_t ClockMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}
bool SetUpConsoleInput() { return false; }
void RestoreConsoleInput() {}
bool ConsoleKeyWaiting() { return false; }
int ReadConsoleKey() { return -1; }
int PipeBytesWaiting() { return scriptAt < script.size() ? int(std::min(Burst, script.size() - scriptAt)) : 2; }
int ReadInputByte() { return scriptAt < script.size() ? script[scriptAt++] : ".\n"[tailAt++ % 2]; }
void SleepMilliseconds(int) {}
void DeleteFileQuietly(const char* name) { remove(name); }
bool MoveFileIntoPlace(const char* from, const char* to) { return rename(from, to) == 0; }
void AdviseHugePages(void*, size_t) {}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  inputPoll = PollInput;
  // quit and exit end the process by design; without a q or an x no line can spell them.
  // (Edit mode and promotions read their letters in either case.)
  script.assign(data, data + size);
  for (uint8_t& c : script)
    if (c == 'q' || c == 'x') c = uint8_t(c - 'a' + 'A');
  script.push_back('\n');  // the next input must not find half a line waiting
  scriptAt = 0;
  tailAt = 0;

  engineFlags = EngineFlags{};
  engineFlags.bookUse = 1;
  gameClock = GameClock{};
  interpreter = InterpreterState{};
  Interpret("new");
  while (scriptAt < script.size()) {
    PollInput();
    while (const char* line = DispatchQueuedLine()) {
      gameClock.fixedDepth = ShallowDepth;
      Interpret(line);
    }
  }
  return 0;
}
