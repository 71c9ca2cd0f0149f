// The command line: loose option matching, values, and the lines it writes. Unknown options and
// the echo of a hash size on the engine's own start-up are rows of the conformance table.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "shell/settings.h"
#include "tests/capture.h"

namespace {
// Parses a command line into fresh defaults and returns what was written.
std::string Parse(std::vector<const char*> arguments) {
  settings = Settings{};
  arguments.insert(arguments.begin(), "ostrel");
  return Captured([&] { ParseOptions(int(arguments.size()), const_cast<char**>(arguments.data())); });
}
}  // namespace

TEST(CommandLine, ValuesAndTheirConversions) {
  EXPECT_EQ(Parse({"-maxtime", "2.5", "-maxply", "12", "-outfile", "out.epd", "-epdmode"}), "");
  EXPECT_TRUE(settings.maxTime == 250 && settings.maxPly == 12 && settings.epdOutput);
  EXPECT_STREQ(settings.outFile, "out.epd");
  Parse({"-maxtime", "0.004"});
  EXPECT_EQ(settings.maxTime, 0);
  Parse({"-maxtime", "1e30"});  // held at the edge, not converted into nonsense
  EXPECT_EQ(settings.maxTime, 2147483647);
  // A value is consumed with its option, never read as one itself.
  Parse({"-outfile", "-xboard-results.txt"});
  EXPECT_STREQ(settings.outFile, "-xboard-results.txt");
}

TEST(CommandLine, ModesCancelEachOtherLastOneWins) {
  Parse({"-analyse", "wac.epd", "-xboard"});
  EXPECT_TRUE(settings.playMode && !settings.analyseMode);
  Parse({"-xboard", "-analyse", "wac.epd"});
  EXPECT_TRUE(!settings.playMode && settings.analyseMode);
  EXPECT_STREQ(settings.epdFile, "wac.epd");
  Parse({"-buildbook", "-analyse", "wac.epd", "-pgnsource", "games.pgn", "-max_book_moves", "15"});
  EXPECT_TRUE(settings.buildBook && settings.maxBookMoves == 15);
  EXPECT_STREQ(settings.pgnSource, "games.pgn");
}

TEST(CommandLine, MissingValueEndsTheScan) {
  EXPECT_EQ(Parse({"-hashsize"}), "hashsize : 18\n");
  EXPECT_EQ(settings.hashBits, 18);
  EXPECT_EQ(Parse({"-analyse"}), "");
  EXPECT_TRUE(settings.playMode && !settings.epdFile);
  EXPECT_EQ(Parse({"-tag", "x", "-maxply"}), "");
  EXPECT_EQ(settings.maxPly, 8);
}
