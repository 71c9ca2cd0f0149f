// The generated tables, checked against what was not made here: Gaviota's three-man tables
// position by position, and the published longest wins and broken-entry counts of every table
// of up to four men, with every entry re-derived from its successors besides.
#include <gtb-probe.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "board/startup.h"
#include "tablebases/catalogue.h"
#include "tools/tbgen/layout.h"
#include "tools/tbgen/store.h"
#include "tools/tbgen/values.h"
#include "tools/tbgen/verify.h"

// Gaviota's distance for the side to move, in our working value.
static int GaviotaValue(const Men& p) {
  unsigned squares[2][MaxMen + 1], info = 0, plies = 0;
  unsigned char pieces[2][MaxMen + 1];
  int n[2] = {};
  for (int i = 0; i < p.count; i++) {
    const int side = p.man[i].side == White ? 0 : 1;
    squares[side][n[side]] = unsigned(p.man[i].square);
    pieces[side][n[side]++] = (unsigned char)p.man[i].type;
  }
  for (int side = 0; side < 2; side++) {
    squares[side][n[side]] = tb_NOSQUARE;
    pieces[side][n[side]] = tb_NOPIECE;
  }
  const unsigned toMove = p.toMove == White ? tb_WHITE_TO_MOVE : tb_BLACK_TO_MOVE;
  if (!tb_probe_hard(toMove, tb_NOSQUARE, tb_NOCASTLE, squares[0], squares[1], pieces[0], pieces[1], &info,
                     &plies))
    return -1;
  if (info == tb_DRAW) return 0;
  const bool moverWins = (info == tb_WMATE) == (p.toMove == White);
  return moverWins ? WinValue(int(plies + 1) / 2) : LossValue(int(plies) / 2);
}

TEST(GeneratedTables, AgreeWithGaviotaOnEveryThreeManPosition) {
  const char* paths[] = {OSTREL_GAVIOTA_DIR, nullptr};
  tb_init(0, tb_CP1, paths);
  tbcache_init(1 << 22, 0);
  ASSERT_EQ(tb_availability() & 1u, 1u) << "Gaviota's three-man tables in " << OSTREL_GAVIOTA_DIR;
  for (int table = 1; table <= 5; table++) {
    const char* name = tableCatalogue[table].name;
    ASSERT_TRUE(TableFilesPresent(table)) << name << " in " << tableDirectory;
    Men p;
    ASSERT_TRUE(MenOfName(name, &p));
    long compared = 0, differ = 0;
    for (int s = 0; s < 2 * 64 * 64 * 64; s++) {
      p.toMove = s & 1 ? Black : White;
      for (int i = 0; i < 3; i++) p.man[i].square = (s >> (1 + 6 * i)) & 63;
      const int a = p.man[0].square, b = p.man[1].square, c = p.man[2].square;
      if (a == b || a == c || b == c || (p.man[2].type == Pawn && (c < 8 || c >= 56)) || MenIllegal(p))
        continue;
      int ours = -1;
      const bool found = StoredValue(p, -1, &ours);
      const int theirs = GaviotaValue(p);
      compared++;
      if ((!found || ours != theirs) && differ++ < 5)
        ADD_FAILURE() << name << " squares " << a << " " << b << " " << c << (p.toMove == White ? " w" : " b")
                      << ": ours " << ours << ", Gaviota " << theirs;
    }
    EXPECT_EQ(differ, 0) << name << " of " << compared;
    ReleaseTables();
  }
  tb_done();
}

// Rows of a published table: name -> the columns after it ("" where empty).
static std::map<std::string, std::vector<std::string>> ReadRows(const char* file) {
  std::map<std::string, std::vector<std::string>> rows;
  std::ifstream in(std::string(OSTREL_TEST_DATA) + "/tablebases/" + file);
  std::string line;
  while (std::getline(in, line)) {
    std::vector<std::string> cells;
    std::stringstream cellStream(line);
    for (std::string cell; std::getline(cellStream, cell, '\t');) cells.push_back(cell);
    if (!cells.empty()) rows[cells[0]] = std::vector<std::string>(cells.begin() + 1, cells.end());
  }
  return rows;
}

static std::string LongestText(int moves) { return moves < 0 ? "" : std::to_string(moves); }

// Checks the tables present of numbers `first`, `first` + 2, ...; returns how many.
static int CheckFigures(int first) {
  const auto longest = ReadRows("maxdtm.tsv"), broken = ReadRows("broken.tsv");
  EXPECT_FALSE(longest.empty());
  int checked = 0;
  for (int t = first; t < TableCount; t += 2) {
    const std::string name = tableCatalogue[t].name;
    if (name.size() > 4 || !TableFilesPresent(t)) continue;
    const VerifyResult r = VerifyTable(t);
    ReleaseTables();
    checked++;
    EXPECT_TRUE(r.readable) << name;
    EXPECT_EQ(r.mismatches[0] + r.mismatches[1], 0u) << name;
    const std::vector<std::string>& b = broken.at(name);
    EXPECT_EQ(std::to_string(r.broken[0]) + " " + std::to_string(r.broken[1]), b[0] + " " + b[2]) << name;
    const std::vector<std::string>& w = longest.at(name);
    EXPECT_EQ(LongestText(r.longestWin[0][0]) + "," + LongestText(r.longestWin[1][0]) + "," +
                  LongestText(r.longestWin[0][1]) + "," + LongestText(r.longestWin[1][1]),
              w[0] + "," + w[1] + "," + w[2] + "," + w[3])
        << name;
  }
  return checked;
}

// In two halves, which the test driver runs side by side; each knows how many tables it expects.
TEST(GeneratedTables, OddNumberedOnesReproduceThePublishedFiguresAndTheirSuccessors) {
  EXPECT_EQ(CheckFigures(1), OSTREL_TB_ODD_TABLES);
}
TEST(GeneratedTables, EvenNumberedOnesReproduceThePublishedFiguresAndTheirSuccessors) {
  EXPECT_EQ(CheckFigures(2), OSTREL_TB_EVEN_TABLES);
}

int main(int argc, char** argv) {
  InitBoardTables();
  BuildSignatureTree();
  tableDirectory = OSTREL_TB_DIR;
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
