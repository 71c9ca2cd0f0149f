// UCI sessions with the built engine over pipes: the moves, the traces left out, and the clocks kept.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/game.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "tablebases/catalogue.h"
#include "tests/engine_process.h"

namespace {
// What "stop answers within 50 ms" is held to; the sanitizers slow the search tenfold.
constexpr double StopMs = OSTREL_SANITIZED ? 250 : 50;

// Timings are taken as the best of a few tries: on a loaded machine any single one may stall.
constexpr int Tries = 3;

typedef std::chrono::steady_clock Clock;
double MsSince(Clock::time_point t) {
  return std::chrono::duration<double, std::milli>(Clock::now() - t).count();
}

class Uci : public testing::Test {
 protected:
  EngineProcess engine;
  void SetUp() override {
    ASSERT_TRUE(StartEngine(engine));
    Send("uci");
    ASSERT_TRUE(WaitForExact(engine, "uciok", EngineReplyMs)) << Tail(engine);
  }
  void TearDown() override {
    Send("quit");
    EXPECT_TRUE(ExitedWith(engine, 0)) << "quit did not end the session with status 0";
    if (HasFailure()) printf("Engine's last lines:\n%s", Tail(engine).c_str());
  }
  void Send(const std::string& line) { EXPECT_TRUE(::Send(engine, line)) << "engine stopped reading at " << line; }
  // The move of "bestmove M [ponder P]" that answers `go`, with the lines before it.
  std::string BestMove(const std::string& go, std::vector<std::string>* before = nullptr) {
    Send(go);
    std::string line;
    EXPECT_TRUE(WaitForPrefix(engine, "bestmove ", EngineReplyMs, &line, before)) << "no bestmove for " << go;
    return line.substr(9, line.find(' ', 9) - 9);
  }
  bool Wrote(const std::vector<std::string>& lines, const std::string& text) {
    for (const std::string& l : lines)
      if (l.find(text) != std::string::npos) return true;
    return false;
  }
};

TEST_F(Uci, SessionWritesNoXboardTraces) {
  // A table file of the right size in the engine's directory is all registration looks at.
  const std::string kpk = engine.scratchDir + "/" + tableCatalogue[1].name + ".nbw";
  ASSERT_TRUE(fclose(fopen(kpk.c_str(), "w")) == 0 && truncate(kpk.c_str(), tableCatalogue[1].count[0]) == 0);
  for (const char* line : {"setoption name TablebasePath value .", "setoption name TablebasePath value <empty>",
                           "setoption name Hash value 64", "position startpos moves e2e4"})
    Send(line);
  BestMove("go depth 4");
  Send("isready");
  ASSERT_TRUE(WaitForExact(engine, "readyok", EngineReplyMs));
  std::vector<std::string> session;
  bool started = false;
  for (const std::string& l : engine.lines) {
    if (l == "id name Ostrel 1.069 QX") started = true;
    if (started) session.push_back(l);
  }
  for (const char* line : {"info string InitHT [22]", "option name TablebasePath type string default ",
                           "info string tablebases of up to 3 men", "info string no tablebases"})
    EXPECT_TRUE(Wrote(session, line)) << line;
  EXPECT_TRUE(Wrote(session, "info depth 3 seldepth "));
  for (const char* trace : {"AddTo Queue", "Process Queue", "epd diagram", "The board", "+---"})
    EXPECT_FALSE(Wrote(session, trace)) << trace;
}

TEST_F(Uci, FindsTheMoveEachPositionCallsFor) {
  std::string shuffles;  // a position line far longer than an xboard line may be
  for (int i = 0; i < 30; i++) shuffles += "g1f3 g8f6 f3g1 f6g8 ";
  // The best move ("" for any) and a line written on the way ("" for none).
  struct Case { std::string position; const char* best; const char* info; } cases[] = {
      {"fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1", "a1a8", "score mate 1"},
      {"fen 8/P7/8/8/8/8/k7/4K3 w - - 0 1", "a7a8q", ""}, {"fen R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1", "0000", ""},
      {"fen 8/8/4k3/8/8/4K3/8/8 w - - 0 1", "", ""}, {"startpos moves e2e5", "", "info string illegal move e2e5"},
      {"fen 8/8/8/8/8/8/8/8 w - - 0 1", "", "info string invalid position"},
      // The game grows, shrinks and changes its mind: only the difference is played each time.
      {"startpos moves f2f3 e7e5 g2g4", "d8h4", "score mate 1"}, {"startpos moves f2f3 e7e5", "", ""},
      {"startpos moves f2f3 e7e6 g2g4", "d8h4", ""}, {"startpos moves f2f3 e7e6 g2g4 d8h4", "0000", ""},
      {"startpos moves " + shuffles + "f2f3 e7e5 g2g4", "d8h4", "score mate 1"},
  };
  for (const Case& c : cases) {
    Send("position " + c.position);
    std::vector<std::string> before;
    const std::string best = BestMove("go depth 3", &before);
    EXPECT_TRUE(*c.best ? best == c.best : best.size() >= 4 && best != "0000") << c.position << ": " << best;
    EXPECT_TRUE(!*c.info || Wrote(before, c.info)) << c.position;
  }
}

TEST_F(Uci, StopPonderhitAndIsreadyActWhileSearching) {
  Send("position startpos moves e2e4 e7e5");
  for (const char* go : {"go infinite", "go ponder wtime 600000 btime 600000"}) {
    double fastest = 1e9;
    for (int i = 0; i < Tries; i++) {
      Send(go);
      ASSERT_TRUE(WaitForPrefix(engine, "info depth 6", EngineReplyMs)) << go;
      Send("isready");
      ASSERT_TRUE(WaitForExact(engine, "readyok", EngineReplyMs)) << go;
      const auto sent = Clock::now();
      Send("stop");
      ASSERT_TRUE(WaitForPrefix(engine, "bestmove ", EngineReplyMs)) << go;
      fastest = std::min(fastest, MsSince(sent));
    }
    EXPECT_LT(fastest, StopMs) << go;
  }
  // A ponder search answers only at ponderhit, and then within the plan of its clock.
  Send("go ponder wtime 3000 btime 3000");
  std::vector<std::string> before;
  EXPECT_FALSE(WaitForPrefix(engine, "bestmove ", 500, nullptr, &before));
  const auto hit = Clock::now();
  Send("ponderhit");
  ASSERT_TRUE(WaitForPrefix(engine, "bestmove ", EngineReplyMs));
  EXPECT_LT(MsSince(hit), 1000);
}

TEST_F(Uci, MovesWithinEvenTheShortestClocks) {
  struct Case { const char* go; double limitMs; } cases[] = {
      {"go wtime 50 btime 50", 50},          {"go wtime 50 btime 50 winc 50 binc 50", 50},
      {"go wtime 200 btime 200 movestogo 1", 200}, {"go wtime 2000 btime 2000 winc 50 binc 50", 500},
      {"go movetime 300", 400},  // a fixed time is no clock: a stall past it loses nothing
  };
  Send("position startpos moves d2d4 d7d5 c2c4");
  for (const Case& c : cases) {
    double fastest = 1e9;
    for (int i = 0; i < Tries; i++) {
      const auto sent = Clock::now();
      BestMove(c.go);
      fastest = std::min(fastest, MsSince(sent));
    }
    EXPECT_LT(fastest, c.limitMs) << c.go;
  }
}
}  // namespace
