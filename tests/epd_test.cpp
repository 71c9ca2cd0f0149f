// EPD analysis on small suites written for the test: the counters, "notfound.epd", the result
// file in both forms, and the report.
#include <gtest/gtest.h>

#include <unistd.h>

#include <sstream>
#include <string>

#include "search/control.h"
#include "search/hash.h"
#include "shell/epd.h"
#include "shell/settings.h"
#include "tests/capture.h"
#include "tests/scratch_dir.h"

namespace {
// Each test runs in a directory of its own, where "notfound.epd" lands.
class EpdAnalysis : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(scratch.Enter());
    Captured([] { if (!hashTable) InitHT(MinHashBits); });
    settings = Settings{}, engineFlags = EngineFlags{}, gameClock = GameClock{};
  }
  void TearDown() override {
    engineFlags.analyze = 0;
    ASSERT_TRUE(scratch.Leave());
  }
  std::string Run(const char* suite, const char* result, int depth = 4) {
    return Captured([&] { Analyse(suite, result, 1000, depth, "test engine"); });
  }
  ScratchDirectory scratch;
};

// A listed "best move" that is a poor one the engine does not play, copied as read when missed.
const char* const missedLine = "r3k3/8/8/8/8/8/5N2/4K3 w - - bm Nd3; id \"not a best move\";\n";

// Two easy tactics with bm, a quiet position without bm, an unreadable bm, a miss, then an
// empty line and a position that is never reached.
const std::string suite =
    "r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq - bm Qxf7#; id \"mate\";\n"
    "6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - bm Rd8#; id \"back rank\";\n"
    "4k3/8/8/8/8/8/4P3/4K3 w - - id \"no bm\";\n"
    "4k3/8/8/8/8/8/4P3/4K3 w - - bm Zz9; id \"unreadable\";\n" +
    std::string(missedLine) + "\n"
    "r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq - bm Qxf7#; id \"after the gap\";\n";
}  // namespace

TEST_F(EpdAnalysis, CountsFilesAndReport) {
  WriteFile("suite.epd", suite);
  const std::string out = Run("suite.epd", "results.txt");
  EXPECT_NE(out.find("Best move converted Qxf7#\nTest move : [Qxf7#]\n"), std::string::npos);
  EXPECT_NE(out.find("move Zz9 is not valid\n"), std::string::npos);
  EXPECT_EQ(out.find("after the gap"), std::string::npos);
  // The unreadable bm (expected move 0, but the search found one) is no miss, and the position
  // without bm counts as not found either: only the real miss is listed.
  EXPECT_EQ(ReadFile("notfound.epd"), missedLine);
  const std::string results = ReadFile("results.txt");
  EXPECT_EQ(results.rfind("Description : test engine\n\nAnalysing position : r1bqkb1r", 0), 0u) << results;
  for (const char* text :
       {"Best move found !\npawn hashtable full : ", "\n\nRESULTS :\n\nnodes  = ",
        "positiones searched = 5\n", "best moves identified = 4\n", "  of which were not recognized = 1\n",
        "  from the rest, best moves found = 2 (66.6667%)\n", "\nhash probes = ",
        "\npawn scores computed : "})
    EXPECT_NE(results.find(text), std::string::npos) << text;
}

TEST_F(EpdAnalysis, EpdModeWritesOnlyTheOperations) {
  settings.epdOutput = true;
  WriteFile("suite.epd", suite);
  Run("suite.epd", "results.epd");
  std::istringstream lines(ReadFile("results.epd"));
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) {
    count++;
    for (const char* operation : {" acd ", "; acn ", "; bm ", "; ce ", "; pv "})
      EXPECT_NE(line.find(operation), std::string::npos) << line;
  }
  EXPECT_EQ(count, 5);
  EXPECT_EQ(ReadFile("results.epd")
                .rfind("r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq -  acd ", 0),
            0u);
}

TEST_F(EpdAnalysis, MissingSuiteUnwritableResultAndBrokenPositions) {
  EXPECT_EQ(Run("no-such-suite.epd", "results.txt"), "Cannot open file no-such-suite.epd\n");
  EXPECT_TRUE(access("notfound.epd", F_OK) == -1 && access("results.txt", F_OK) == -1);
  WriteFile("broken.epd",
        std::string(5000, '7') + "\n" +  // longer than a line can be: read in pieces
        "this is no position at all, bm e4;\n"
        "8/8/8/8/8/8/8/8 w - - bm e4;\n"
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - bm e4;\n");
  const std::string out = Run("broken.epd", "/no/such/dir/results.txt", 3);
  EXPECT_EQ(out.rfind("Cannot open output file /no/such/dir/results.txtAnalysing position : 7777", 0), 0u);
  EXPECT_NE(out.find("Analysing position : this is no position"), std::string::npos);
  EXPECT_NE(out.find("Error in position : king not found\n"), std::string::npos);
  EXPECT_NE(out.find("Analysing position : rnbqkbnr"), std::string::npos);
}
