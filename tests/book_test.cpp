// The opening book's files byte by byte: the builder from PGN through temp.dat to book.bin,
// index.dat and stats.txt, the probe on files made here, and both books in a search.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/game.h"
#include "board/keys.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "book/book.h"
#include "book/builder.h"
#include "book/master.h"
#include "search/control.h"
#include "search/reset.h"
#include "search/think.h"
#include "tests/capture.h"
#include "tests/position_check.h"
#include "tests/scratch_dir.h"

namespace {
const char* const Start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
const char* const AfterE4 = "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3";

// The one little-endian writer and reader of the book's files.
void Put(std::string& out, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; i++) out += char(value >> (8 * i));
}
uint64_t Get(const std::string& s, size_t at, int bytes) {
  uint64_t v = 0;
  for (int i = 0; i < bytes; i++) v |= uint64_t((unsigned char)s[at + i]) << (8 * i);
  return v;
}

// A move's key: the top 16 bits of the position before it, the low 48 of the one after.
uint64_t MoveKey(uint64_t before, uint64_t after) {
  return (before & 0xFFFF000000000000ULL) | (after & 0xFFFFFFFFFFFFULL);
}

typedef std::pair<uint64_t, int> Temp;  // key, result
struct Game { std::vector<const char*> moves; int result; };  // the moves the builder should replay

// The records the games should leave, by replaying them here.
std::vector<Temp> Replay(const std::vector<Game>& games) {
  std::vector<Temp> records;
  for (const Game& g : games) {
    ostrel_test::SetPositionQuietly(Start);
    SaveUndo(0);
    for (size_t i = 0; i < g.moves.size(); i++) {
      const int side = i % 2 ? Black : White;
      const uint64_t before = pos.hashKey;
      Move m = 0;
      Captured([&] { m = ParseSan(g.moves[i], side); });
      if (!m) ADD_FAILURE() << "the test's own move " << g.moves[i] << " does not convert";
      MakeMove(m, 0, side);
      records.push_back({MoveKey(before, pos.hashKey), g.result});
    }
  }
  return records;
}

void WriteTemp(const std::vector<Temp>& records) {
  std::string bytes;
  for (const Temp& t : records) Put(bytes, t.first, 8), Put(bytes, uint8_t(t.second), 1), Put(bytes, 0, 7);
  WriteFile("temp.dat", bytes);
}

std::vector<Temp> ReadTemp() {
  const std::string s = ReadFile("temp.dat");
  std::vector<Temp> records;
  EXPECT_EQ(s.size() % 16, 0u);
  for (size_t at = 0; at + 16 <= s.size(); at += 16) {
    records.push_back({Get(s, at, 8), int(int8_t(s[at + 8]))});
    EXPECT_EQ(Get(s, at + 9, 7), 0u) << "padding of record " << at / 16;
  }
  return records;
}

struct Rec { uint64_t key; uint16_t whiteWins, blackWins, otherResults; };

// The two files as bytes, so tests can damage them before they are written.
struct BookImage {
  std::string book;
  std::vector<uint32_t> start = std::vector<uint32_t>(BookClusters);
  std::vector<int32_t> size = std::vector<int32_t>(BookClusters);
};

BookImage Image(std::vector<Rec> records) {
  std::sort(records.begin(), records.end(), [](const Rec& a, const Rec& b) { return a.key < b.key; });
  BookImage image;
  size_t next = 0;
  for (int c = 0; c < BookClusters; c++) {
    image.start[c] = uint32_t(image.book.size());
    for (; next < records.size() && int(records[next].key >> 48) == c; next++) {
      const Rec& r = records[next];
      Put(image.book, r.key, 8), Put(image.book, r.whiteWins, 2), Put(image.book, r.blackWins, 2);
      Put(image.book, r.otherResults, 2), Put(image.book, BookMarker, 4);
    }
    image.size[c] = int32_t(image.book.size() - image.start[c]);
  }
  return image;
}

class Book : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(scratch.Enter());
    saved = engineFlags;
    engineFlags = EngineFlags{};
    engineFlags.edit = 1;  // keeps the master book out of tests about the statistics
    gameClock = GameClock{};
    SetFen(Start);
  }
  void TearDown() override {
    if (openingBook.bookFile) fclose(openingBook.bookFile);
    openingBook.bookFile = nullptr;
    ClearMasterBook();
    engineFlags = saved;
    ASSERT_TRUE(scratch.Leave());
  }
  void SetFen(const char* fen) {
    EXPECT_EQ(ostrel_test::SetPositionQuietly(fen), "");
    side = pos.sideToMove;
  }
  // The legal move with this coordinate text.
  Move Legal(const std::string& text) {
    Move list[MaxMoves];
    for (Move* m = list; m < GenerateLegal(list, side); m++)
      if (CoordinateText(*m) == text) return *m;
    ADD_FAILURE() << "no legal move " << text;
    return 0;
  }
  Rec Record(const std::string& move, uint16_t whiteWins, uint16_t blackWins = 0, uint16_t others = 0) {
    const uint64_t before = pos.hashKey;
    const Move m = Legal(move);
    SaveUndo(1);
    MakeMove(m, 1, side);
    const uint64_t after = pos.hashKey;
    UnmakeMove(m, 1, side);
    return {MoveKey(before, after), whiteWins, blackWins, others};
  }
  // Writes the image (index.dat cut or padded to `indexBytes`) and opens it; returns the output.
  static std::string Open(const BookImage& image, size_t indexBytes = 8 * BookClusters) {
    std::string index;
    for (int c = 0; c < BookClusters; c++) Put(index, image.start[c], 4), Put(index, uint32_t(image.size[c]), 4);
    index.resize(indexBytes);
    WriteFile("index.dat", index);
    WriteFile("book.bin", image.book);
    return OpenQuietly();
  }
  static std::string OpenQuietly() { return Captured([] { OpenBook("book.bin", "index.dat"); }); }
  Move Probe(std::string& output) {
    Move m = 0;
    output = Captured([&] { m = ProbeBook(side, engineFlags.edit, engineFlags.analyze); });
    return m;
  }
  static std::string ToTemp(const char* pgn, int limit) { return Captured([&] { PgnToTemp(pgn, "temp.dat", limit); }); }
  static std::string ToBook(const char* book = "book.bin", const char* index = "index.dat") {
    return Captured([&] { BuildBook("temp.dat", book, index); });
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
      ASSERT_EQ(Get(book, at, 8), e->first) << "record " << at / 18;
      const std::array<uint64_t, 3> counts = {Get(book, at + 8, 2), Get(book, at + 10, 2),
                                              Get(book, at + 12, 2)};
      EXPECT_EQ(counts, e->second) << "record " << at / 18;
      EXPECT_EQ(Get(book, at + 14, 4), BookMarker);
    }
    std::ostringstream stats;
    stats << "INDEX :\n";
    uint64_t start = 0;
    for (int c = 0; c < BookClusters; c++) {
      ASSERT_EQ(Get(index, c * 8, 4), start) << "cluster " << c;
      ASSERT_EQ(Get(index, c * 8 + 4, 4), clusterSize[c] * 18u) << "cluster " << c;
      stats << "\t" << c << " start = " << start << " size = " << clusterSize[c] << "\n";
      start += clusterSize[c] * 18;
    }
    stats << expected.size() << " unique positions\n"
          << *std::max_element(clusterSize.begin(), clusterSize.end()) << " max cluster size\n\n\n";
    EXPECT_EQ(ReadFile("stats.txt"), stats.str());
  }
  ScratchDirectory scratch;
  EngineFlags saved;
  int side = White;
};

// Starts with a game without tags; the split tag only parses with the escaped-quote rule; the
// last game's "[" inside a comment ends it before its result, and the rest is an open tag.
const char* const pgn =
    "1. Nf3 Nf6 2. g3 1-0\n\n[Event \"tags never reach the movetext\"]\n[White \"Player 1-0\"]\n\n"
    "1. e4 c5 2. Nf3 d6 0-1\n[Event \"first\"]\n1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 1-0\n"
    "[Annotator \"someone \\\"quoted\n name\\\"]\n1. d4 d5 2.\nc4 e6 1/2-1/2\n"
    "[Event \"unfinished\"]\n1. c4 c5 *\n[Event \"bad move\"]\n1. e4 e5 2. Nf3 Nxe4 3. Nc3 1-0\n"
    "[Event \"bracket in a comment\"]\n1. d4 Nf6 2. c4 {a [\nbracket} e6 3. Nc3 0-1\n";

const std::vector<Game> games = {{{"Nf3", "Nf6", "g3"}, 1}, {{"e4", "c5", "Nf3", "d6"}, -1},
                                 {{"e4", "e5", "Nf3", "Nc6", "Bb5", "a6"}, 1}, {{"d4", "d5", "c4", "e6"}, 0},
                                 {{"e4", "e5", "Nf3"}, 1}};
}  // namespace

// Catches PGN text misread (tags, comments, results, move numbers), results credited to the
// wrong side, the move limit miscounted, and book records or index entries misplaced.
TEST_F(Book, GamesToTempToBook) {
  WriteFile("games.pgn", pgn);
  const std::string out = ToTemp("games.pgn", 12);
  EXPECT_EQ(ReadTemp(), Replay(games));
  // Every line echoed, in order; one report, for the one move that does not convert.
  std::istringstream lines(pgn);
  size_t at = 0;
  for (std::string line; std::getline(lines, line);)
    ASSERT_NE(at = out.find(line + "\n", at), std::string::npos) << line;
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

// Catches text past the game buffer overrunning it, a runaway quote not shown, and games without
// a result left out of the count.
TEST_F(Book, LongTextAndGameCount) {
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

// Catches counts that wrap instead of saturating (also across chunks), a result byte of 2 not
// counted as another result, keys left unsorted, and the files' failures not reported.
TEST_F(Book, CountsSaturateSortAndFilesFail) {
  std::vector<Temp> records(70000, Temp{0x1234000000000001ULL, 1});
  for (uint64_t k = 9; k > 1; k--) records.push_back({0x1234000000000000ULL | k * 1000, -1});
  records.push_back({0x0000000000000005ULL, 2});  // in cluster 0, which the console figure leaves out
  records.push_back({0xFFFF000000000000ULL, 0});
  WriteTemp(records);
  EXPECT_NE(ToBook().find("\n70010 positions so far ( max count = 9)\n10 unique positions\n"),
            std::string::npos);
  CheckBook(records);
  EXPECT_EQ(Get(ReadFile("book.bin"), 18 + 8, 2), 65535u);
  records.clear();
  for (int i = 0; i < 5000; i++) records.push_back({0xABCD000000000000ULL + i % 7, i % 3 - 1});
  WriteTemp(records);
  EXPECT_EQ(ToBook(), "5000 positions so far ( max count = 7)\n5000 positions so far ( max count = 7)\n"
                      "7 unique positions\n");
  EXPECT_EQ(ToTemp("absent.pgn", 12), "");
  EXPECT_EQ(ReadFile("temp.dat"), "");
  EXPECT_EQ(ToBook("book.bin", "no/dir/index.dat"),
            "0 positions so far ( max count = 0)\n0 unique positions\n"
            "Cannot open index for opening book no/dir/index.dat\n");
  const std::string stats = ReadFile("stats.txt");  // closed without its two final line ends
  EXPECT_EQ(stats.substr(stats.size() - 19), "0 max cluster size\n");
  std::remove("temp.dat");
  EXPECT_EQ(ToBook(), "Cannot open temp file temp.dat\n");
}

// Catches the other side's wins, draws or single wins counted, counts read as signed, the
// listing's order or figures wrong, analysis drawing at random, choices outside the candidates,
// and records of other positions or of no move taken for this one's.
TEST_F(Book, ProbeScoresListsAndChooses) {
  struct Entry { const char* move; uint16_t whiteWins, blackWins = 0, others = 0; };
  // The listing of the first probe (nullptr: not checked), and the choices over many probes.
  const struct { const char* fen; std::vector<Entry> entries; bool analyze; const char* listing;
                 std::set<std::string> choices; } cases[] = {
      {Start, {{"e2e4", 412}, {"d2d4", 388}, {"g1f3", 97}, {"a2a3", 2}, {"c2c4", 1}, {"b1c3", 0, 50, 30}}, false,
       "Best book moves in this position : e4 (412) d4 (388) Nf3 (97) a3 (2) \n", {"e2e4", "d2d4"}},
      {AfterE4, {{"e7e5", 900, 65535}, {"c7c5", 0, 7, 1000}, {"d7d5", 800, 1}}, true,
       "1.\t0\t0\t0\t0 Book moves : e5 (65535) c5 (7) \n", {"e7e5"}},
      // Equal scores keep the generator's order, knights before pawns and d2 before e2.
      {Start, {{"e2e4", 40}, {"d2d4", 40}, {"c2c4", 200}, {"g1f3", 40}}, false,
       "Best book moves in this position : c4 (200) Nf3 (40) d4 (40) e4 (40) \n", {"c2c4"}},
      {Start, {{"e2e4", 40}, {"d2d4", 40}, {"g1f3", 40}}, true,
       "1.\t0\t0\t0\t0 Book moves : Nf3 (40) d4 (40) e4 (40) \n", {"g1f3"}},
      // Which moves are candidates for the random choice.
      {Start, {{"e2e4", 500}, {"d2d4", 450}, {"c2c4", 401}, {"g1f3", 400}}, false, nullptr,
       {"e2e4", "d2d4", "c2c4"}},
      {Start, {{"e2e4", 9}, {"d2d4", 3}}, false, nullptr, {"e2e4"}},
      {Start, {{"e2e4", 50}, {"d2d4", 4}}, false, nullptr, {"e2e4", "d2d4"}},
      {Start, {{"e2e4", 150}, {"d2d4", 51}}, false, nullptr, {"e2e4", "d2d4"}},
      {Start, {{"e2e4", 150}, {"d2d4", 50}}, false, nullptr, {"e2e4"}},
      // Nothing to say: draws never score, and the other records are not this position's moves.
      {Start, {{"e2e4", 0, 0, 40}}, false, "", {}},
      {AfterE4, {}, false, "", {}},  // an empty book
  };
  ResetAdditiveRandom();
  const uint32_t firstDraw = AdditiveRandom(), secondDraw = AdditiveRandom();
  for (const auto& c : cases) {
    const std::string label = std::string(c.fen) + " row " + std::to_string(&c - cases);
    std::vector<Rec> records;
    if (c.fen == Start) {  // a record of another position, and one of this cluster no move leads to
      SetFen(AfterE4);
      records.push_back(Record("e7e5", 0, 90));
      SetFen(Start);
      records.push_back({pos.hashKey, 500, 500, 0});
    }
    SetFen(c.fen);
    for (const Entry& e : c.entries) records.push_back(Record(e.move, e.whiteWins, e.blackWins, e.others));
    ASSERT_EQ(Open(Image(records)), "");
    engineFlags.analyze = c.analyze;
    std::string output;
    ResetAdditiveRandom();
    const Move first = Probe(output);
    EXPECT_EQ(output, c.listing ? c.listing : output) << label;
    // One step of the additive generator per choice, none in analysis.
    if (first) {
      EXPECT_EQ(AdditiveRandom(), c.analyze ? firstDraw : secondDraw) << label;
    }
    std::set<std::string> chosen;
    for (int i = 0; i < (c.analyze ? 1 : 300); i++)
      if (const Move m = i ? Probe(output) : first) chosen.insert(CoordinateText(m));
    EXPECT_EQ(chosen, c.choices) << label;
  }
  engineFlags.analyze = 0;
}

// Catches a probe that changes the position, a cluster larger than the buffer (negative sizes included) read at all,
// a short read not reported or its records lost, and missing or damaged files taken for a book.
TEST_F(Book, ProbeMeetsDamagedFiles) {
  const Rec e4 = Record("e2e4", 20);
  std::vector<Rec> records = {e4};
  // Fillers of the same cluster that no move leads to, all sorting before e4's record.
  for (uint64_t i = 0; i < MaxClusterRecords - 1; i++)
    records.push_back({(e4.key & ~0xFFFFFFFFFFFFULL) | i, 99, 99, 0});
  std::string output;
  ASSERT_EQ(Open(Image(records)), "");
  const Position before = ostrel_test::SnapshotPosition();
  EXPECT_EQ(Probe(output), Legal("e2e4"));
  EXPECT_EQ(output, "Best book moves in this position : e4 (20) \n");
  EXPECT_EQ(ostrel_test::DiffPositions(before, ostrel_test::SnapshotPosition()), "");
  records.push_back({(e4.key & ~0xFFFFFFFFFFFFULL) | (MaxClusterRecords - 1), 99, 99, 0});
  BookImage image = Image(records);
  const int c = BookCluster(pos.hashKey);
  ASSERT_EQ(image.size[c], 18 * 181);
  for (int32_t size : {18 * 181, -18, INT32_MIN}) {
    image.size[c] = size;
    ASSERT_EQ(Open(image), "");
    EXPECT_EQ(Probe(output), 0u) << size;
    EXPECT_EQ(output, "Too big opening book cluster\n") << size;
  }
  // Only the record stored first survives: the last is gone and the second cut in half.
  image = Image({Record("e2e4", 30), Record("d2d4", 30), Record("g1f3", 30)});
  const uint64_t firstKey = Get(image.book, 0, 8);
  image.book.resize(image.book.size() - 18 - 9);
  ASSERT_EQ(Open(image), "");
  engineFlags.analyze = 1;
  const Move first = Probe(output);
  EXPECT_EQ(Record(CoordinateText(first), 0).key, firstKey);
  EXPECT_EQ(output, "there was some error reading an opening book cluster\n1.\t0\t0\t0\t0 Book moves : " +
                        std::string(MoveText(first)) + " (30) \n");
  image.start[c] = 0xFFFFFFF0u;  // beyond the end of the file
  ASSERT_EQ(Open(image), "");
  EXPECT_EQ(Probe(output), 0u);
  EXPECT_EQ(output, "there was some error reading an opening book cluster\n");
  // Files that are missing or the wrong size leave no book, and the probe silent.
  ASSERT_EQ(remove("index.dat"), 0);
  EXPECT_EQ(OpenQuietly(), "Cannot open index file\n");
  EXPECT_EQ(openingBook.bookFile, nullptr);
  EXPECT_EQ(Open(image, 8 * BookClusters - 1), "Index file size isn't right\n");
  EXPECT_TRUE(!openingBook.bookFile && !Probe(output) && output.empty());
  EXPECT_EQ(Open(Image({e4}), 8 * BookClusters + 100), "");
  EXPECT_EQ(Probe(output), Legal("e2e4"));
  ASSERT_EQ(remove("book.bin"), 0);
  EXPECT_EQ(OpenQuietly(), "Cannot open index book \n");
  EXPECT_TRUE(!openingBook.bookFile && !Probe(output) && output.empty());
}

// Catches the two books not working together as the engine uses them: a book built by the
// engine's own two steps, the master book loaded beside it, and the probe at the start of a
// search; a marked master move outweighs the statistics, and after edit mode it keeps silent.
TEST_F(Book, BothBooksInASearch) {
  // Three White wins with 1.e4 e5 2.Nf3 and two with 1.e4 e5 2.Bc4: the statistics prefer Nf3.
  std::string games;
  for (const char* game : {"Nf3 Nc6", "Nf3 Nf6", "Nf3 d6", "Bc4 Nf6", "Bc4 Bc5"})
    games += std::string("[Result \"1-0\"]\n1. e4 e5 2. ") + game + " 1-0\n\n";
  WriteFile("games.pgn", games);
  ToTemp("games.pgn", 12);
  ToBook();
  const struct { const char* learn; bool edit; const char* move; const char* found; } cases[] = {
      {"d4 d5 c4\n", false, "g1f3", "1.\t0\t0\t0\t0 Book moves : Nf3 (3) "},
      {"e4 e5 Bc4!\n", false, "f1c4", "Bc4 (20000002) "}, {"e4 e5 Bc4!\n", true, "g1f3", "Nf3 (3) "}};
  for (const auto& c : cases) {
    WriteFile("learn.txt", c.learn);
    Captured([] {
      ClearMasterBook();
      OpenBook("book.bin", "index.dat");
      LoadMasterBook("learn.txt", "learn.bin");
      SetInitialPosition();
      ResetForNewPosition();
      NewGameRecord();
      PlayGameMove(E2, E4, 0);
      PlayGameMove(E7, E5, 0);
    });
    engineFlags = EngineFlags{};
    engineFlags.edit = c.edit, engineFlags.analyze = 1, engineFlags.bookUse = 1;  // analysis: no random choice
    TimeLeft = 100;
    Move m = 0;
    const std::string out = Captured([&] { m = Think(White, 60); });
    EXPECT_STREQ(CoordinateText(m), c.move) << c.learn << out;
    EXPECT_NE(out.find(c.found), std::string::npos) << out;
    EXPECT_EQ(out.find("epd diagram"), out.rfind("epd diagram")) << "no search after the book move";
    EXPECT_EQ(c.edit, out.find("Score Moves :") == std::string::npos) << out;
    ASSERT_TRUE(openingBook.bookFile);
    fclose(openingBook.bookFile), openingBook.bookFile = nullptr;
  }
}
