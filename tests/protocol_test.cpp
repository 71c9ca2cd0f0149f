// How long the engine thinks under xboard's clock commands, and the commands that end a think
// early, timed on the real engine over pipes.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "tests/engine_process.h"

namespace {

constexpr int ReplyMs = 15000;

typedef std::chrono::steady_clock Clock;
double SecondsSince(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

bool IsMoveLine(const std::string& line) { return StartsWith(line, "move "); }

// The clock conversions, caught through the time the first move takes: 5 s of a clock are kept in
// reserve, the rest is spread over 40 moves, and an increment of n seconds is added to a share of
// more than 3n + 1 seconds. A think runs to its budget whatever the machine's load, so a slow
// start is the only error, and a late answer is tried again.
TEST(ProtocolTiming, ClockCommandsSetTheThinkingTime) {
  const struct {
    std::vector<std::string> setUp;
    double fromSeconds, toSeconds;
  } cases[] = {
      {{"new"}, 1.0, 3.0},                  // a new game's minute: 55 s over 40 moves
      {{"new", "level 40 2 0"}, 2.4, 4.5},  // two minutes: 2.9 s
      // The GUI's hundredths read as 8400 / 6 * 10, that is 140 s: 3.4 s, too short to add the second.
      {{"new", "level 40 1 1", "time 8400"}, 3.0, 4.5},
  };
  EngineProcess engine;
  ASSERT_TRUE(StartEngine(engine));
  for (const auto& c : cases) {
    double fastest = 1e9;
    for (int tries = 0; tries < 3 && fastest > c.toSeconds; tries++) {
      for (const std::string& line : c.setUp) Send(engine, line);
      Send(engine, "white");
      Send(engine, "variant sync");
      ASSERT_TRUE(WaitForExact(engine, "Error: unsupported variant.", ReplyMs)) << Tail(engine);
      const Clock::time_point start = Clock::now();
      Send(engine, "go");
      ASSERT_TRUE(WaitForLine(engine, IsMoveLine, ReplyMs)) << Tail(engine);
      fastest = std::min(fastest, SecondsSince(start));
    }
    EXPECT_GT(fastest, c.fromSeconds) << c.setUp.back();
    EXPECT_LT(fastest, c.toSeconds) << c.setUp.back();
  }
}

// "?" ends a think at once with a move; quit ends the process at once, without one.
TEST(ProtocolTiming, MoveNowAndQuitEndALongThink) {
  EngineProcess engine;
  ASSERT_TRUE(StartEngine(engine));
  // 1:30 reads as 6030 seconds (the digits of the seconds are appended), 150 s for this move.
  for (const char* line : {"new", "level 40 1:30 0", "white", "go"}) Send(engine, line);
  ASSERT_TRUE(WaitForPrefix(engine, "epd diagram : ", ReplyMs)) << Tail(engine);
  ASSERT_FALSE(WaitForLine(engine, IsMoveLine, 1000)) << "moved within a second of a 150 s budget";
  Clock::time_point start = Clock::now();
  Send(engine, "?");
  ASSERT_TRUE(WaitForLine(engine, IsMoveLine, 5000)) << Tail(engine);
  EXPECT_LT(SecondsSince(start), 2.0);

  Send(engine, "e7e5");  // legal after any first move
  ASSERT_TRUE(WaitForPrefix(engine, "epd diagram : ", ReplyMs)) << Tail(engine);
  usleep(300000);
  start = Clock::now();
  Send(engine, "quit");
  ASSERT_TRUE(WaitForExit(engine, 5000)) << "still running 5 s after quit";
  EXPECT_LT(SecondsSince(start), 2.0);
  EXPECT_TRUE(WIFEXITED(engine.waitStatus) && WEXITSTATUS(engine.waitStatus) == 0) << engine.waitStatus;
  EXPECT_FALSE(WaitForLine(engine, IsMoveLine, 0)) << Tail(engine);
}

}  // namespace
