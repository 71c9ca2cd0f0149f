// Book building end to end, in a directory of its own: PGN text written here -> temp.dat ->
// book.bin, index.dat and stats.txt. Expected records come from replaying the same games in the
// test and counting keys in a std::map; the files are decoded byte by byte.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/notation.h"
#include "book/book.h"
#include "book/builder.h"
#include "tests/scratch_dir.h"

namespace {

typedef std::pair<uint64_t, int> Temp;  // key, result
struct Game {
  std::vector<const char*> moves;  // what the builder should replay, no more
  int result;
};

uint64_t Le(const std::string& s, size_t at, int bytes) {
  uint64_t v = 0;
  for (int i = 0; i < bytes; i++) v |= uint64_t((unsigned char)s[at + i]) << (8 * i);
  return v;
}

void WriteTemp(const std::vector<Temp>& records) {
  std::string bytes;
  for (const Temp& t : records) {
    std::string r(16, '\0');
    for (int i = 0; i < 8; i++) r[i] = char(t.first >> (8 * i));
    r[8] = char(t.second);
    bytes += r;
  }
  WriteFile("temp.dat", bytes);
}

// The records the games should leave, by replaying them here.
std::vector<Temp> Replay(const std::vector<Game>& games) {
  std::vector<Temp> records;
  testing::internal::CaptureStdout();
  for (const Game& g : games) {
    SetInitialPosition();
    SaveUndo(0);
    for (size_t i = 0; i < g.moves.size(); i++) {
      const int side = i % 2 ? Black : White;
      const uint64_t before = pos.hashKey;
      const Move m = ParseSan(g.moves[i], side);
      if (!m) ADD_FAILURE() << "the test's own move " << g.moves[i] << " does not convert";
      MakeMove(m, 0, side);
      records.push_back({(before & 0xFFFF000000000000ULL) | (pos.hashKey & 0xFFFFFFFFFFFFULL), g.result});
    }
  }
  testing::internal::GetCapturedStdout();
  return records;
}

std::vector<Temp> ReadTemp() {
  const std::string s = ReadFile("temp.dat");
  std::vector<Temp> records;
  EXPECT_EQ(s.size() % 16, 0u);
  for (size_t at = 0; at + 16 <= s.size(); at += 16) {
    records.push_back({Le(s, at, 8), int(int8_t(s[at + 8]))});
    EXPECT_EQ(Le(s, at + 9, 7), 0u) << "padding of record " << at / 16;
  }
  return records;
}

class BookBuilder : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(scratch.Enter());
  }
  void TearDown() override {
    ASSERT_TRUE(scratch.Leave());
  }
  static std::string ToTemp(const char* pgn, int limit) {
    testing::internal::CaptureStdout();
    PgnToTemp(pgn, "temp.dat", limit);
    return testing::internal::GetCapturedStdout();
  }
  static std::string ToBook(const char* book = "book.bin", const char* index = "index.dat") {
    testing::internal::CaptureStdout();
    BuildBook("temp.dat", book, index);
    return testing::internal::GetCapturedStdout();
  }

  // book.bin, index.dat and stats.txt against counts made from the records directly (any
  // result but 1 and -1 is another result).
  static void CheckBook(const std::vector<Temp>& records) {
    std::map<uint64_t, std::array<uint64_t, 3>> expected;  // in key order: the book's order
    for (const Temp& t : records) {
      uint64_t& n = expected[t.first][t.second == 1 ? 0 : t.second == -1 ? 1 : 2];
      n = std::min<uint64_t>(n + 1, 65535);
    }
    std::vector<int> clusterSize(BookClusters, 0);
    for (const auto& e : expected) clusterSize[e.first >> 48]++;

    const std::string book = ReadFile("book.bin"), index = ReadFile("index.dat");
    ASSERT_EQ(index.size(), size_t(BookClusters) * 8);
    ASSERT_EQ(book.size(), expected.size() * 18);
    auto e = expected.begin();
    for (size_t at = 0; at < book.size(); at += 18, ++e) {
      ASSERT_EQ(Le(book, at, 8), e->first) << "record " << at / 18;
      EXPECT_EQ((std::array<uint64_t, 3>{Le(book, at + 8, 2), Le(book, at + 10, 2), Le(book, at + 12, 2)}), e->second);
      EXPECT_EQ(Le(book, at + 14, 4), BookMarker);
    }
    std::ostringstream stats;
    stats << "INDEX :\n";
    uint64_t start = 0;
    for (int c = 0; c < BookClusters; c++) {
      ASSERT_EQ(Le(index, c * 8, 4), start) << "cluster " << c;
      ASSERT_EQ(Le(index, c * 8 + 4, 4), clusterSize[c] * 18u) << "cluster " << c;
      stats << "\t" << c << " start = " << start << " size = " << clusterSize[c] << "\n";
      start += clusterSize[c] * 18;
    }
    stats << expected.size() << " unique positions\n"
          << *std::max_element(clusterSize.begin(), clusterSize.end()) << " max cluster size\n\n\n";
    EXPECT_EQ(ReadFile("stats.txt"), stats.str());
  }

  ScratchDirectory scratch;
};

// Starts with a game without tags; the split tag only parses with the escaped-quote rule; the
// last game's "[" inside a comment ends it before its result, and the rest is an open tag.
const char* const pgn =
    "1. Nf3 Nf6 2. g3 1-0\n"
    "\n"
    "[Event \"tags never reach the movetext\"]\n"
    "[White \"Player 1-0\"]\n"
    "\n"
    "1. e4 c5 2. Nf3 d6 0-1\n"
    "[Event \"first\"]\n"
    "1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 1-0\n"
    "[Annotator \"someone \\\"quoted\n"
    " name\\\"]\n"
    "1. d4 d5 2.\nc4 e6 1/2-1/2\n"
    "[Event \"unfinished\"]\n"
    "1. c4 c5 *\n"
    "[Event \"bad move\"]\n"
    "1. e4 e5 2. Nf3 Nxe4 3. Nc3 1-0\n"
    "[Event \"bracket in a comment\"]\n"
    "1. d4 Nf6 2. c4 {a [\n"
    "bracket} e6 3. Nc3 0-1\n";

const std::vector<Game> games = {{{"Nf3", "Nf6", "g3"}, 1},
                                 {{"e4", "c5", "Nf3", "d6"}, -1},
                                 {{"e4", "e5", "Nf3", "Nc6", "Bb5", "a6"}, 1},
                                 {{"d4", "d5", "c4", "e6"}, 0},
                                 {{"e4", "e5", "Nf3"}, 1}};

TEST_F(BookBuilder, GamesToTempToBook) {
  WriteFile("games.pgn", pgn);
  const std::string out = ToTemp("games.pgn", 12);
  EXPECT_EQ(ReadTemp(), Replay(games));
  // Every line echoed, in order; one report, for the one move that does not convert.
  std::istringstream lines(pgn);
  size_t at = 0;
  for (std::string line; std::getline(lines, line);) ASSERT_NE(at = out.find(line + "\n", at), std::string::npos) << line;
  EXPECT_NE(out.find("ParsePgn : move Nxe4 couldn't be converted\n"), std::string::npos);
  EXPECT_EQ(out.find("couldn't"), out.rfind("couldn't"));

  EXPECT_EQ(ToBook().find("20 positions so far ( max count = "), 0u);
  CheckBook(Replay(games));

  // The limit counts full moves: one gives each game its first two records.
  ToTemp("games.pgn", 1);
  std::vector<Game> firstMoves = games;
  for (Game& g : firstMoves) g.moves.resize(2);
  EXPECT_EQ(ReadTemp(), Replay(firstMoves));
  ToTemp("games.pgn", 0);
  EXPECT_EQ(ReadFile("temp.dat"), "");
}

// Text past the game buffer is dropped without harm, a runaway quote is shown, and a game
// without a result is still counted.
TEST_F(BookBuilder, LongTextAndGameCount) {
  std::string text = "[Event \"x\"]\n1. e4 e5 1-0 {";
  for (int i = 0; i < 40; i++) text += std::string(500, 'x') + "\n";
  text += "}\n[Annotator \"";
  for (int i = 0; i < 33; i++) text += std::string(500, 'y') + "\n";
  text += "\"]\n1. d4 d5 0-1\n";
  for (int i = 0; i < 47; i++) text += "[Event \"x\"]\n1. c4 *\n";
  WriteFile("games.pgn", text);
  std::string out = ToTemp("games.pgn", 12);
  EXPECT_NE(out.find("buf = {\n["), std::string::npos);
  EXPECT_EQ(out.find("so far"), std::string::npos);
  EXPECT_EQ(ReadTemp(), Replay({{{"e4", "e5"}, 1}, {{"d4", "d5"}, -1}}));
  WriteFile("games.pgn", text + "[Event \"x\"]\n1. c4 *\n");
  EXPECT_NE(ToTemp("games.pgn", 12).find("\n50 so far\n"), std::string::npos);
}

// Saturation across chunks, a result byte of 2, keys arriving in descending order within a
// cluster, and a cluster-0 key that the console figure leaves out.
TEST_F(BookBuilder, CountsSaturateAndSort) {
  std::vector<Temp> records(70000, Temp{0x1234000000000001ULL, 1});
  for (uint64_t k = 9; k > 1; k--) records.push_back({0x1234000000000000ULL | k * 1000, -1});
  records.push_back({0x0000000000000005ULL, 2});
  records.push_back({0xFFFF000000000000ULL, 0});
  WriteTemp(records);
  EXPECT_NE(ToBook().find("\n70010 positions so far ( max count = 9)\n10 unique positions\n"), std::string::npos);
  CheckBook(records);
  EXPECT_EQ(Le(ReadFile("book.bin"), 18 + 8, 2), 65535u);
}

TEST_F(BookBuilder, ChunkEdgeAndFileFailures) {
  std::vector<Temp> records;
  for (int i = 0; i < 5000; i++) records.push_back({0xABCD000000000000ULL + i % 7, i % 3 - 1});
  WriteTemp(records);
  EXPECT_EQ(ToBook(), "5000 positions so far ( max count = 7)\n5000 positions so far ( max count = 7)\n7 unique positions\n");

  EXPECT_EQ(ToTemp("absent.pgn", 12), "");
  EXPECT_EQ(ReadFile("temp.dat"), "");
  EXPECT_EQ(ToBook("book.bin", "no/dir/index.dat"),
            "0 positions so far ( max count = 0)\n0 unique positions\nCannot open index for opening book no/dir/index.dat\n");
  EXPECT_NE(ToBook("no/dir/book.bin").find("Cannot open opening book no/dir/book.bin for writing\n"), std::string::npos);
  const std::string stats = ReadFile("stats.txt");  // closed without its two final line ends
  EXPECT_EQ(stats.substr(stats.size() - 19), "0 max cluster size\n");
  std::remove("temp.dat");
  EXPECT_EQ(ToBook(), "Cannot open temp file temp.dat\n");
}

}  // namespace
