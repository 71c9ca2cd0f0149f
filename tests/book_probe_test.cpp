// Book probing against small book files written here byte by byte, independently of the
// builder: what is read, how moves are scored and listed, which moves are candidates, and how
// damaged or missing files are met.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "board/keys.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "book/book.h"
#include "search/control.h"
#include "tests/position_check.h"
#include "tests/scratch_dir.h"

namespace {

struct Rec {
  uint64_t key;
  uint16_t whiteWins, blackWins, otherResults;
};

// The two files as bytes, so tests can damage them before they are written.
struct BookImage {
  std::string book;
  std::vector<uint32_t> start = std::vector<uint32_t>(BookClusters);
  std::vector<int32_t> size = std::vector<int32_t>(BookClusters);
};

void Put(std::string& out, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; i++) out += char(value >> (8 * i));
}

BookImage Image(std::vector<Rec> records) {
  std::sort(records.begin(), records.end(), [](const Rec& a, const Rec& b) { return a.key < b.key; });
  BookImage image;
  size_t next = 0;
  for (int c = 0; c < BookClusters; c++) {
    image.start[c] = uint32_t(image.book.size());
    for (; next < records.size() && int(records[next].key >> 48) == c; next++) {
      const Rec& r = records[next];
      Put(image.book, r.key, 8);
      Put(image.book, r.whiteWins, 2);
      Put(image.book, r.blackWins, 2);
      Put(image.book, r.otherResults, 2);
      Put(image.book, BookMarker, 4);
    }
    image.size[c] = int32_t(image.book.size() - image.start[c]);
  }
  return image;
}

class BookProbe : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(scratch.Enter());
    saved = engineFlags;
    engineFlags = EngineFlags{};
    engineFlags.edit = 1;  // keep the master book out: these tests are about the statistics
    SetFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -");
  }
  void TearDown() override {
    if (openingBook.bookFile) fclose(openingBook.bookFile);
    openingBook.bookFile = nullptr;
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
    return {(before & 0xFFFF000000000000ULL) | (after & 0x0000FFFFFFFFFFFFULL), whiteWins, blackWins, others};
  }

  // Writes the image (index.dat cut or padded to `indexBytes`) and opens it; returns the output.
  std::string Open(const BookImage& image, size_t indexBytes = 8 * BookClusters) {
    std::string index;
    for (int c = 0; c < BookClusters; c++) Put(index, image.start[c], 4), Put(index, uint32_t(image.size[c]), 4);
    index.resize(indexBytes);
    WriteFile("index.dat", index);
    WriteFile("book.bin", image.book);
    return OpenQuietly();
  }
  std::string OpenQuietly() {
    testing::internal::CaptureStdout();
    OpenBook("book.bin", "index.dat");
    return testing::internal::GetCapturedStdout();
  }
  Move Probe(std::string& output) {
    testing::internal::CaptureStdout();
    const Move m = ProbeBook(side, engineFlags.edit, engineFlags.analyze);
    output = testing::internal::GetCapturedStdout();
    return m;
  }
  // The moves chosen over many probes.
  std::set<std::string> Choices(int probes = 300) {
    std::set<std::string> chosen;
    std::string output;
    for (int i = 0; i < probes; i++) chosen.insert(CoordinateText(Probe(output)));
    return chosen;
  }

  ScratchDirectory scratch;
  EngineFlags saved;
  int side = White;
};

TEST_F(BookProbe, ScoresOnlyRepeatedWinsOfTheSideToMove) {
  ASSERT_EQ(Open(Image({Record("e2e4", 412), Record("d2d4", 388), Record("g1f3", 97), Record("a2a3", 2),
                        Record("c2c4", 1), Record("b1c3", 0, 50, 30)})), "");
  const Position before = ostrel_test::SnapshotPosition();
  std::string output;
  const Move m = Probe(output);
  EXPECT_EQ(output, "Best book moves in this position : e4 (412) d4 (388) Nf3 (97) a3 (2) \n");
  EXPECT_TRUE(m == Legal("e2e4") || m == Legal("d2d4")) << MoveText(m);
  EXPECT_EQ(ostrel_test::DiffPositions(before, ostrel_test::SnapshotPosition()), "");

  // Black's wins count for Black, read as unsigned; draws never count.
  SetFen("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3");
  ASSERT_EQ(Open(Image({Record("e7e5", 900, 65535), Record("c7c5", 0, 7, 1000), Record("d7d5", 800, 1)})), "");
  engineFlags.analyze = 1;
  EXPECT_EQ(Probe(output), Legal("e7e5"));
  EXPECT_EQ(output, "1.\t0\t0\t0\t0 Book moves : e5 (65535) c5 (7) \n");
}

// Knights are generated before pawns and d2 before e2, whatever order the records are stored in.
TEST_F(BookProbe, EqualScoresKeepGeneratorOrder) {
  ASSERT_EQ(Open(Image({Record("e2e4", 40), Record("d2d4", 40), Record("c2c4", 200), Record("g1f3", 40)})), "");
  std::string output;
  EXPECT_EQ(Probe(output), Legal("c2c4"));  // the only candidate
  EXPECT_EQ(output, "Best book moves in this position : c4 (200) Nf3 (40) d4 (40) e4 (40) \n");

  ASSERT_EQ(Open(Image({Record("e2e4", 40), Record("d2d4", 40), Record("g1f3", 40)})), "");
  engineFlags.analyze = 1;
  ResetAdditiveRandom();
  const uint32_t firstDraw = AdditiveRandom();
  ResetAdditiveRandom();
  EXPECT_EQ(Probe(output), Legal("g1f3"));
  EXPECT_EQ(output, "1.\t0\t0\t0\t0 Book moves : Nf3 (40) d4 (40) e4 (40) \n");
  EXPECT_EQ(AdditiveRandom(), firstDraw) << "analysis mode must not draw";
}

TEST_F(BookProbe, RandomChoiceStaysAmongCandidates) {
  struct Case {
    std::vector<uint16_t> scores;
    std::set<std::string> candidates;
  };
  const char* moves[] = {"e2e4", "d2d4", "c2c4", "g1f3"};
  const Case cases[] = {{{500, 450, 401, 400}, {"e2e4", "d2d4", "c2c4"}},
                        {{9, 3}, {"e2e4"}},
                        {{50, 4}, {"e2e4", "d2d4"}},
                        {{150, 51}, {"e2e4", "d2d4"}},
                        {{150, 50}, {"e2e4"}}};
  for (const Case& c : cases) {
    std::vector<Rec> records;
    for (size_t i = 0; i < c.scores.size(); i++) records.push_back(Record(moves[i], c.scores[i]));
    ASSERT_EQ(Open(Image(records)), "");
    EXPECT_EQ(Choices(), c.candidates) << c.scores[0] << " " << c.scores[1];
  }
  // One step of the additive generator per choice.
  ResetAdditiveRandom();
  AdditiveRandom();
  const uint32_t secondDraw = AdditiveRandom();
  ResetAdditiveRandom();
  Choices(1);
  EXPECT_EQ(AdditiveRandom(), secondDraw);
}

TEST_F(BookProbe, NothingToSayWithoutAScoringRecord) {
  const Rec draws = Record("e2e4", 0, 0, 40);
  const Rec stray = {pos.hashKey, 500, 500, 0};  // the position's cluster, but no move leads there
  SetFen("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3");
  const Rec elsewhere = Record("e7e5", 0, 90);
  SetFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -");
  std::string output;
  for (const BookImage& image : {Image({elsewhere}), Image({draws, stray, elsewhere})}) {
    ASSERT_EQ(Open(image), "");
    EXPECT_EQ(Probe(output), 0u);
    EXPECT_EQ(output, "");
  }
}

// 180 records are read; anything the buffer cannot hold, negative sizes included, is refused
// without a read (the sanitizer build checks the "without").
TEST_F(BookProbe, ClusterSizeLimit) {
  const Rec e4 = Record("e2e4", 20);
  std::vector<Rec> records = {e4};
  // Fillers of the same cluster that no move leads to, all sorting before e4's record.
  for (uint64_t i = 0; i < MaxClusterRecords - 1; i++) records.push_back({(e4.key & ~0xFFFFFFFFFFFFULL) | i, 99, 99, 0});
  std::string output;
  ASSERT_EQ(Open(Image(records)), "");
  EXPECT_EQ(Probe(output), Legal("e2e4"));
  EXPECT_EQ(output, "Best book moves in this position : e4 (20) \n");

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
}

TEST_F(BookProbe, ShortReadGoesOnWithWhatWasRead) {
  const char* moves[] = {"e2e4", "d2d4", "g1f3"};
  std::vector<Rec> records;
  for (const char* m : moves) records.push_back(Record(m, 30));
  BookImage image = Image(records);
  // Only the record stored first survives: the last is gone and the second cut in half.
  image.book.resize(image.book.size() - 18 - 9);
  const int first = int(std::min_element(records.begin(), records.end(),
                                         [](const Rec& a, const Rec& b) { return a.key < b.key; }) - records.begin());
  ASSERT_EQ(Open(image), "");
  engineFlags.analyze = 1;
  std::string output;
  EXPECT_EQ(Probe(output), Legal(moves[first]));
  EXPECT_EQ(output, "there was some error reading an opening book cluster\n1.\t0\t0\t0\t0 Book moves : " +
                        std::string(MoveText(Legal(moves[first]))) + " (30) \n");

  image.start[BookCluster(pos.hashKey)] = 0xFFFFFFF0u;  // beyond the end of the file
  ASSERT_EQ(Open(image), "");
  EXPECT_EQ(Probe(output), 0u);
  EXPECT_EQ(output, "there was some error reading an opening book cluster\n");
}

TEST_F(BookProbe, MissingOrDamagedFiles) {
  const BookImage image = Image({Record("e2e4", 30)});
  std::string output;
  EXPECT_EQ(OpenQuietly(), "Cannot open index file\n");
  EXPECT_EQ(openingBook.bookFile, nullptr);
  EXPECT_EQ(Open(image, 8 * BookClusters - 1), "Index file size isn't right\n");
  EXPECT_EQ(openingBook.bookFile, nullptr);
  EXPECT_EQ(Probe(output), 0u);
  EXPECT_EQ(output, "");

  EXPECT_EQ(Open(image, 8 * BookClusters + 100), "");
  EXPECT_EQ(Probe(output), Legal("e2e4"));

  ASSERT_EQ(remove("book.bin"), 0);
  EXPECT_EQ(OpenQuietly(), "Cannot open index book \n");
  EXPECT_EQ(openingBook.bookFile, nullptr);
  EXPECT_EQ(Probe(output), 0u);
  EXPECT_EQ(output, "");
}

}  // namespace
