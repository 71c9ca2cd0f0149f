// How long the engine thinks under xboard's clock commands, timed on the real engine over pipes.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "tests/engine_process.h"

// The clock conversions, caught through the time the first move takes: 5 s of a clock are kept in
// reserve, the rest is spread over 40 moves, and an increment of n seconds is added to a share of
// more than 3n + 1 seconds. A think runs to its budget whatever the machine's load, so a slow
// start is the only error, and a late answer is tried again.
TEST(ProtocolTiming, ClockCommandsSetTheThinkingTime) {
  const struct { std::vector<std::string> setUp; double fromSeconds, toSeconds; } cases[] = {
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
      Send(engine, "variant sync");  // its answer says the lines before it are done
      ASSERT_TRUE(WaitForExact(engine, "Error: unsupported variant.", EngineReplyMs)) << Tail(engine);
      const auto start = std::chrono::steady_clock::now();
      Send(engine, "go");
      ASSERT_TRUE(WaitForPrefix(engine, "move ", EngineReplyMs)) << Tail(engine);
      fastest = std::min(fastest, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    EXPECT_GT(fastest, c.fromSeconds) << c.setUp.back();
    EXPECT_LT(fastest, c.toSeconds) << c.setUp.back();
  }
}
