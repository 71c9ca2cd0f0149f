// Registration, the block cache and the probe, on fabricated sparse table files with chosen bytes at chosen entries,
// read through substituted index functions so that what the probe passes them can be checked.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/position.h"
#include "search/reset.h"
#include "search/search.h"
#include "tablebases/blockcode.h"
#include "tablebases/catalogue.h"
#include "tablebases/files.h"
#include "tablebases/probe.h"
#include "tablebases/registry.h"
#include "tests/capture.h"
#include "tests/engine_process.h"
#include "tests/position_check.h"
#include "tests/scratch_dir.h"

namespace {
constexpr int Kpk = 1, Kqk = 5, Kpkp = 6, Kppkp = 36;

// What the probe last handed an index function, and the index it is to return.
struct IndexCall { int strong[64], weak[64], epSquare, invert, calls; uint32_t answer; } indexCall;

uint32_t RecordingIndex(const int* strong, const int* weak, int epSquare, int invert) {
  for (int s = 0; s < 64; s++) indexCall.strong[s] = strong[s], indexCall.weak[s] = weak[s];
  indexCall.epSquare = epSquare, indexCall.invert = invert, indexCall.calls++;
  return indexCall.answer;
}

// Writes a file of `size` bytes, zero except the given (offset, byte) pairs.
void WriteSparse(const std::string& name, uint32_t size,
                 const std::vector<std::pair<uint32_t, int>>& bytes = {}) {
  const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ASSERT_GE(fd, 0) << name;
  ASSERT_EQ(ftruncate(fd, off_t(size)), 0);
  for (const auto& b : bytes) {
    const char c = char(b.second);
    ASSERT_EQ(pwrite(fd, &c, 1, off_t(b.first)), 1);
  }
  close(fd);
}

void Put32(std::string& out, size_t at, uint32_t v) {
  for (int i = 0; i < 4; i++) out[at + i] = char(v >> (8 * i));
}

// A compressed file of `entries`, each block coded by the generator's coder and checked.
std::string Compress(const std::string& entries) {
  const uint32_t blocks = uint32_t((entries.size() + TableBlockBytes - 1) / TableBlockBytes);
  std::string out(24 + 4 * (blocks + 1), '\0');
  out.replace(0, 8, "OSTRLEMD");
  Put32(out, 8, EmdVersion);
  Put32(out, 12, TableBlockBytes);
  Put32(out, 16, uint32_t(entries.size()));
  Put32(out, 20, blocks);
  for (uint32_t b = 0; b < blocks; b++) {
    Put32(out, 24 + 4 * b, uint32_t(out.size()));
    const size_t start = size_t(b) * TableBlockBytes, end = std::min(entries.size(), start + TableBlockBytes);
    uint8_t coded[TableBlockBytes];
    const uint32_t length = EncodeTableBlock(reinterpret_cast<const uint8_t*>(&entries[start]), uint32_t(end - start), coded);
    out.append(reinterpret_cast<const char*>(coded), length);
    out.append(4, '\0');
    Put32(out, out.size() - 4, BlockChecksum(reinterpret_cast<const uint8_t*>(&entries[start]), uint32_t(end - start)));
  }
  Put32(out, 24 + 4 * blocks, uint32_t(out.size()));
  return out;
}

std::string TableFile(const std::string& dir, int table, int side) {
  return dir + "/" + tableCatalogue[table].name + (side == 0 ? ".nbw" : ".nbb");
}

class TablebaseProbeTest : public testing::Test {
 protected:
  ScratchDirectory scratch;
  TableIndexFunction saved[TableCount][2];
  std::vector<uint8_t> cache = std::vector<uint8_t>(TablebaseCacheBytes);
  void SetUp() override {
    ASSERT_TRUE(scratch.Enter());
    for (int t = 1; t < TableCount; t++)
      for (int side = 0; side < 2; side++) {
        saved[t][side] = tableCatalogue[t].index[side];
        tableCatalogue[t].index[side] = RecordingIndex;
      }
    indexCall = IndexCall{};
    mkdir("a", 0755), mkdir("b", 0755);
  }
  void TearDown() override {
    Init("none");
    SetTablebaseCache(nullptr, 0);
    for (int t = 1; t < TableCount; t++)
      for (int side = 0; side < 2; side++) tableCatalogue[t].index[side] = saved[t][side];
    EXPECT_TRUE(scratch.Leave());
  }
  // Registers and returns what registration wrote; `men` gets the result.
  std::string Init(const char* directories, int* men = nullptr) {
    int result = 0;
    const std::string out = Captured([&] { result = InitTablebases(directories); });
    SetTablebaseCache(cache.data(), cache.size());
    if (men) *men = result;
    return out;
  }
  static bool Probe(const char* fen, int* score) {
    ostrel_test::SetPositionQuietly(fen);
    ResetForNewPosition();
    return ProbeTablebase(pos.sideToMove, score);
  }
};

// Catches registration counting the men of another table than the largest, and lists with empty,
// missing or tableless directories registering or probing anything.
TEST_F(TablebaseProbeTest, ResultCountsTheLargestTable) {
  const struct { const char* list; int table, side, men; } cases[] = {  // table 0: no file at all
{"", 0, 0, 0},        {"a", 0, 0, 0},     {"a;b,c", 0, 0, 0},  {"missing,;", 0, 0, 0},
               {"a;b", Kpk, 1, 3},   {"a;b", Kqk, 0, 3}, {"a;b", Kpkp, 0, 4}, {"a;b", 35, 1, 4},
               {"a;b", Kppkp, 1, 5}, {"a;b", 145, 0, 5}};
  for (const auto& c : cases) {
    ASSERT_EQ(system("rm -f a/* b/*"), 0);
    if (c.table) WriteSparse(TableFile("b", c.table, c.side), tableCatalogue[c.table].count[c.side]);
    int men = -1, score = 12345;
    EXPECT_EQ(Init(c.list, &men), "") << c.list;
    EXPECT_EQ(men, c.men) << c.list << " " << tableCatalogue[c.table].name;
    EXPECT_EQ(Probe("8/8/8/4k3/8/8/3QK3/8 w - -", &score), c.table == Kqk && c.side == 0);
    EXPECT_EQ(score, c.table == Kqk && c.side == 0 ? 0 : 12345);
  }
}

// Catches a side taken from a later directory than the first holding a good file of it (a later
// one is not even looked at for a side already registered), or a damaged file registered.
TEST_F(TablebaseProbeTest, EachSideComesFromTheFirstDirectoryWithAGoodFile) {
  const uint32_t w = tableCatalogue[Kqk].count[0], b = tableCatalogue[Kqk].count[1];
  WriteSparse("a/kqk.nbw", w - 1);
  WriteSparse("a/kqk.nbb", b, {{3, -5}});
  WriteSparse("b/kqk.nbw", w, {{3, 110}});
  WriteSparse("b/kqk.nbb", b, {{3, -7}});
  const int None = 1;  // the side is not registered; otherwise the stored byte read
  const struct { const char* list; const char* message; int white, black; } cases[] = {
      {"a", "*** a/kqk.nbw corrupted\n", None, -5}, {"a;b", "*** a/kqk.nbw corrupted\n", 110, -5},
      {"b,a", "", 110, -7}};
  indexCall.answer = 3;
  for (const auto& c : cases) {
    int men = 0;
    EXPECT_EQ(Init(c.list, &men), c.message) << c.list;
    EXPECT_EQ(men, 3);
    for (int side = 0; side < 2; side++) {
      const int stored = side == 0 ? c.white : c.black;
      int score = None;
      const char* fen = side == 0 ? "8/8/8/4k3/8/8/3QK3/8 w - -" : "8/8/8/4k3/8/8/3QK3/8 b - -";
      EXPECT_EQ(Probe(fen, &score), stored != None) << c.list << " side " << side;
      EXPECT_EQ(score, stored == None ? None : TableValue(Kqk, side, 3, stored) * 10) << c.list;
    }
  }
}

// Catches the table handed the men in the wrong order or colours: the stronger side's men go first,
// and a Black stronger side reads the other file, turned over.
TEST_F(TablebaseProbeTest, ProbePassesTheTableItsView) {
  for (int t : {Kpk, Kpkp})
    for (int side = 0; side < 2; side++) WriteSparse(TableFile("a", t, side), tableCatalogue[t].count[side]);
  Init("a");
  const struct { const char* fen; int strongKing, strongMan, weakKing, weakMan, epSquare, invert; } cases[] = {
      {"8/8/8/4k3/8/8/3PK3/8 w - -", E2, D2, E5, -1, NoEpSquare, 0},  // -1: no weak man
      {"8/3pk3/8/8/8/8/4K3/8 b - -", E7, D7, E2, -1, NoEpSquare, 1},  // a Black pawn: colours swapped
      {"8/3pk3/8/8/8/8/4K3/8 w - -", E7, D7, E2, -1, NoEpSquare, 1},
      {"8/8/8/8/3pP3/8/8/K1k5 b - e3", A1, E4, C1, D4, E3, 0},
  };
  for (const auto& c : cases) {
    indexCall = IndexCall{};
    int score = 1;
    ASSERT_TRUE(Probe(c.fen, &score)) << c.fen;
    EXPECT_EQ(score, 0) << c.fen;
    EXPECT_EQ(indexCall.calls, 1);
    int expectedStrong[64] = {}, expectedWeak[64] = {};
    expectedStrong[c.strongKing] = expectedWeak[c.weakKing] = 6;
    expectedStrong[c.strongMan] = 1;
    if (c.weakMan >= 0) expectedWeak[c.weakMan] = 1;
    for (int s = 0; s < 64; s++)
      EXPECT_TRUE(indexCall.strong[s] == expectedStrong[s] && indexCall.weak[s] == expectedWeak[s]) << c.fen << s;
    EXPECT_TRUE(indexCall.epSquare == c.epSquare && indexCall.invert == c.invert) << c.fen;
  }
}

// Catches stored bytes converted to the wrong distance or sign, and the broken entries the
// published tables get wrong not corrected.
TEST_F(TablebaseProbeTest, ValueConversion) {
  const struct { int table, side; uint32_t index; int stored, value; } cases[] = {
      {Kqk, 0, 0, 0, 0},           {Kqk, 0, 0, 126, 32766},      {Kqk, 0, 0, 1, 32641},
      {Kqk, 1, 0, -1, -32641},     {Kqk, 1, 0, -126, -32766},    {Kqk, 1, 0, -127, -32640},
      {Kqk, 0, 0, -128, 32640},    {Kqk, 0, 0, 127, 32767},
      {Kppkp, 1, 71071628, 0, -32639}, {Kppkp, 1, 56802428, 5, -32639},  // corrected whatever is stored
      {Kppkp, 1, 56802429, 0, 0},  {Kppkp, 0, 71071628, 0, 0},   {37, 1, 71071628, 0, 0}};
  for (const auto& c : cases)
    EXPECT_EQ(TableValue(c.table, c.side, c.index, c.stored), c.value) << c.table << " " << c.index << " " << c.stored;
}

// Catches compressed blocks read wrongly: kqk with White to move spans four blocks, the first two
// coded, the others stored. Past the last entry there is nothing to read: no answer.
TEST_F(TablebaseProbeTest, CompressedFileReadsLikeThePlainOne) {
  std::string entries(tableCatalogue[Kqk].count[0], '\0');
  for (size_t i = 2 * TableBlockBytes; i < entries.size(); i++) entries[i] = char(uint32_t(i) * 2654435761u >> 24);
  entries[5] = 100, entries[9000] = -3;
  WriteFile("a/kqk.nbw.emd", Compress(entries));
  EXPECT_EQ(Init("a"), "");
  const uint32_t size = uint32_t(entries.size());
  for (uint32_t index : {0u, 5u, 9000u, 9001u, 20000u, size - 1, size}) {
    indexCall.answer = index;
    int score = -1;
    ASSERT_EQ(Probe("8/8/8/4k3/8/8/3QK3/8 w - -", &score), index < entries.size()) << index;
    if (index < entries.size()) {
      EXPECT_EQ(score, TableValue(Kqk, 0, index, int8_t(entries[index])) * 10) << index;
    }
  }
}

// Catches a file that is not Ostrel's container, or is damaged, registered: each is refused
// before anything is read from it.
TEST_F(TablebaseProbeTest, DamagedCompressedFilesAreRefused) {
  const std::string good = Compress(std::string(tableCatalogue[Kqk].count[0], '\0'));
  const std::string broken = "*** Unable to read a/kqk.nbw.emd - file broken\n";
  const struct { size_t at; uint32_t value; std::string message; } cases[] = {
      {0, 0x4C525453, broken}, {8, 1, "*** Unable to read a/kqk.nbw.emd - error 1\n"},
      {12, 4096, "*** a/kqk.nbw.emd: Unsupported block size 4096\n"}, {16, 25630, "*** a/kqk.nbw.emd corrupted\n"},
      {20, 5, broken}, {28, 200, broken}, {40, 100000, broken}, {good.size(), 0, broken}};  // last: bytes past the end
  for (const auto& c : cases) {
    std::string bad = good;
    if (c.at + 4 > bad.size()) bad.resize(c.at + 4);
    Put32(bad, c.at, c.value);
    WriteFile("a/kqk.nbw.emd", bad);
    EXPECT_EQ(Init("a"), c.message + "*** Unable to register a/kqk.nbw.emd\n");
  }
  WriteFile("a/kqk.nbw.emd", good.substr(0, 10));
  EXPECT_EQ(Init("a"), "*** Unable to read a/kqk.nbw.emd - read error\n*** Unable to register a/kqk.nbw.emd\n");
}

// Catches the search ignoring a table's answer below the root or counting its mates from there.
TEST_F(TablebaseProbeTest, SearchReturnsTheTableScoreFromTheRoot) {
  WriteSparse("a/kqk.nbw", tableCatalogue[Kqk].count[0], {{0, 126}, {1, 0}, {2, 60}});
  WriteSparse("a/kqk.nbb", tableCatalogue[Kqk].count[1], {{0, -125}});
  Init("a");
  const struct { const char* fen; uint32_t index; int ply, score; } cases[] = {
      {"8/8/8/4k3/8/8/3QK3/8 w - -", 0, 2, (126 + 32640) * 10 - 20},  // mate in 1, 2 plies down
      {"8/8/8/4k3/8/8/3QK3/8 w - -", 1, 5, 0}, {"8/8/8/4k3/8/8/3QK3/8 w - -", 2, 4, (60 + 32640) * 10 - 40},
      {"8/8/8/4k3/8/8/3QK3/8 b - -", 0, 3, (-125 - 32640) * 10 + 30}};  // mated in 1
  for (const auto& c : cases) {
    indexCall.answer = c.index;
    int unused;
    Probe(c.fen, &unused);
    EXPECT_EQ(Search(-Infinity, Infinity, 300, c.ply, pos.sideToMove, 1), c.score) << c.fen << " " << c.index;
  }
}

// Catches the -tbdir list not reaching registration at start-up, or its outcome not reported: a
// damaged file in the first directory, a good one in the second.
TEST_F(TablebaseProbeTest, EngineStartsWithTheTablesOfItsDirectories) {
  WriteSparse("a/kqk.nbw", tableCatalogue[Kqk].count[0] + 1);
  WriteSparse("b/kpkp.nbb", tableCatalogue[Kpkp].count[1]);
  const std::string a = scratch.path + "/a";
  EngineProcess engine;
  ASSERT_TRUE(StartEngine(engine, {"-tbdir", a + ";" + scratch.path + "/b"}));
  EXPECT_TRUE(WaitForExact(engine, "*** " + a + "/kqk.nbw corrupted", 15000)) << Tail(engine);
  EXPECT_TRUE(WaitForExact(engine, "Initialized tablebases : 4", 15000)) << Tail(engine);
  Send(engine, "quit");
  EXPECT_TRUE(WaitForExit(engine, 15000));
}
}  // namespace
