// Inputs the fuzz harnesses (tests/fuzz/) found faults with, replayed through the real engine.
// The sanitizer build ends the engine at the first undefined operation, so each case only has to
// show that the engine is still there and answering afterwards.
#include <gtest/gtest.h>

#include <string>

#include "tests/engine_process.h"

namespace {

constexpr int ReplyMs = 15000;

TEST(FuzzRegression, ProtocolLinesEngineSurvives) {
  const char* const lines[] = {
    // Clock figures beyond 32 bits.
    "level 40 555555555555 0", "level 40 99999999:5999999999 99999999999", "time 99999999999",
    "time 4294967295", "st 99999999999", "level 1 1 4294967295", "go",
    // Two kings a side, where every root move scores -Infinity.
    "new", "sd 3", "edit", "#", "Ka2", "Ke1", "c", "Ke8", "Kh8", "Qb2", ".", "white", "go",
  };
  EngineProcess engine;
  ASSERT_TRUE(StartEngine(engine));
  Send(engine, "sd 3");
  Send(engine, "white");
  for (const char* line : lines) Send(engine, line);
  Send(engine, "print");
  ASSERT_TRUE(WaitForExact(engine, "Process Queue Line [print]", ReplyMs)) << Tail(engine);
  Send(engine, "quit");
  EXPECT_TRUE(WaitForExit(engine, ReplyMs));
}

}  // namespace
