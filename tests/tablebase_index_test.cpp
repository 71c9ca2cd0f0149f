// The tables' index functions against the published sizes and broken-entry counts, and index and decode against
// each other. (The generator's tests check up to four men; these reach the five-man tables.)
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "board/bitboard.h"
#include "board/tables.h"
#include "tablebases/index.h"
#include "tablebases/layout.h"

namespace {
class TablebaseIndex : public testing::Test {
 protected:
  static void SetUpTestSuite() { BuildSignatureTree(); }
};

// The men of `strong` (0) or `weak` (1) of the side to move attack the other king.
bool OtherKingAttacked(const TableMen& p, int side) {
  const int colour = side == 0 ? White : Black;
  const int king = LowestBit(p.men[side ^ 1][King]);
  Bitboard occupied = 0;
  for (int s = 0; s < 2; s++)
    for (int t = Pawn; t <= King; t++) occupied |= p.men[s][t];
  const Bitboard* m = p.men[side];
  if ((m[Pawn] & pawnAttacks[colour ^ 1][king]) || (m[Knight] & knightAttacks[king]) ||
      (m[King] & kingAttacks[king]))
    return true;
  for (Bitboard b = m[Bishop] | m[Rook] | m[Queen]; b;) {
    const int s = PopLowest(b);
    const int d = std::abs(direction[s][king]);
    const bool straight = d == 1 || d == 8;
    if (!d || (betweenMask[s][king] & occupied)) continue;
    if ((m[Queen] >> s & 1) || (straight ? m[Rook] >> s & 1 : m[Bishop] >> s & 1)) return true;
  }
  return false;
}

// Whether entry `i` of a table side stands for no position, or for one with the king of the side
// not to move in check.
bool Broken(const TableLayout& layout, uint32_t i, int side, TableMen* p, int* ep) {
  return !DecodeMen(layout, i, p, ep) || OtherKingAttacked(*p, side);
}

// Catches a table side whose range differs from the published one, before or after the broken
// entries at its end are trimmed.
TEST_F(TablebaseIndex, RangesAreThePublishedCounts) {
  std::ifstream in(OSTREL_TEST_DATA "/tablebases/counts.tsv");
  std::string line, name;
  std::getline(in, line);
  int tables = 0;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    uint32_t published[2];
    fields >> name >> published[0] >> published[1];
    const int t = ++tables;
    ASSERT_STREQ(tableCatalogue[t].name, name.c_str());
    for (int side = 0; side < 2; side++) {
      EXPECT_EQ(tableCatalogue[t].count[side], published[side]) << name << " side " << side;
      TableLayout untrimmed = tableLayouts[t][side];
      uint32_t end = untrimmed.count = untrimmed.size;
      TableMen p;
      int ep;
      while (end > 0 && Broken(untrimmed, end - 1, side, &p, &ep)) end--;
      EXPECT_EQ(end, published[side]) << name << " side " << side;
    }
  }
  EXPECT_EQ(tables, TableCount - 1);
}

int SquareOf(const char* name) { return (name[1] - '1') * 8 + (name[0] - 'a'); }

// The one published check of the ordering: the seven kppkp positions with Black to move that are
// lost in 127 moves (the probe corrects their entries, since a byte cannot hold the value) must
// stand at exactly these indices. Catches a wrong board orientation for Black to move, king-pair
// order or ranking of either side's pawns.
TEST_F(TablebaseIndex, KppkpLossesIn127AreAtThePublishedIndices) {
  struct Case {
    const char *whiteKing, *blackKing, *blackPawn;
    uint32_t index;
  };
  const Case cases[] = {
      {"c3", "a3", "b7", 56802428}, {"c3", "a3", "b6", 56811076}, {"d3", "a3", "b7", 56849992},
      {"d3", "a3", "b6", 56858640}, {"d3", "b3", "b5", 59592489}, {"c3", "a2", "b5", 67775659},
      {"d1", "b2", "b5", 71071628},
  };
  const int kppkp = 36;
  ASSERT_STREQ(tableCatalogue[kppkp].name, "kppkp");
  const TableLayout& layout = tableLayouts[kppkp][1];
  for (const Case& c : cases) {
    TableMen p = {};
    p.men[0][King] = Bitboard(1) << SquareOf(c.whiteKing);
    p.men[0][Pawn] = Bitboard(1) << SquareOf("e3") | Bitboard(1) << SquareOf("e4");
    p.men[1][King] = Bitboard(1) << SquareOf(c.blackKing);
    p.men[1][Pawn] = Bitboard(1) << SquareOf(c.blackPawn);
    EXPECT_EQ(IndexOfMen(layout, p, NoEpSquare, 0), c.index) << c.whiteKing << c.blackKing << c.blackPawn;
    TableMen back;
    int ep;
    ASSERT_TRUE(DecodeMen(layout, c.index, &back, &ep));
    EXPECT_EQ(0, memcmp(&back, &p, sizeof p)) << c.index;
    EXPECT_EQ(ep, NoEpSquare);
  }
}

// Catches an entry that decodes to a position indexed elsewhere, and broken entries miscounted:
// every entry of the three-man tables, and the e.p. zones of kpkp and of kppkp, where capturers
// can stand on both sides of the pawn that moved.
TEST_F(TablebaseIndex, EveryEntryIndexesBackAndBrokenOnesAreThePublishedCounts) {
  std::ifstream in(OSTREL_TEST_DATA "/tablebases/broken.tsv");
  std::string line, name;
  std::getline(in, line);
  for (int t = 0; std::getline(in, line) && t <= 36; t++) {
    std::istringstream fields(line);
    uint32_t published[2];
    double percent;
    fields >> name >> published[0] >> percent >> published[1];
    ASSERT_STREQ(tableCatalogue[t].name, name.c_str());
    const bool epZone = t == 6 || t == 36;
    if (t < 1 || (t > 5 && !epZone)) continue;
    for (int side = 0; side < 2; side++) {
      const TableLayout& layout = tableLayouts[t][side];
      uint32_t broken = 0;
      for (uint32_t i = epZone ? layout.mainSize : 0; i < layout.count; i++) {
        TableMen p;
        int ep;
        if (Broken(layout, i, side, &p, &ep)) {
          broken++;
        } else if (IndexOfMen(layout, p, ep, 0) != i) {
          FAIL() << name << " side " << side << ": " << i << " indexes back to " << IndexOfMen(layout, p, ep, 0);
        }
      }
      if (!epZone) {
        EXPECT_EQ(broken, published[side]) << name << " side " << side;
      }
    }
  }
}

// A square under the board symmetry `symmetry`: bit 0 mirrors the files, bit 1 the ranks, bit 2 the diagonal.
int Mapped(int square, int symmetry) {
  int f = FileOf(square), r = RankOf(square);
  if (symmetry & 1) f = 7 - f;
  if (symmetry & 2) r = 7 - r;
  if (symmetry & 4) std::swap(f, r);
  return r * 8 + f;
}

TableMen Transformed(const TableMen& p, int symmetry) {
  TableMen m = {};
  for (int s = 0; s < 2; s++)
    for (int type = Pawn; type <= King; type++)
      for (Bitboard b = p.men[s][type]; b;) m.men[s][type] |= Bitboard(1) << Mapped(PopLowest(b), symmetry);
  return m;
}

bool SameMen(const TableMen& a, const TableMen& b) {
  for (int s = 0; s < 2; s++)
    for (int type = Pawn; type <= King; type++)
      if (a.men[s][type] != b.men[s][type]) return false;
  return true;
}

// The catalogue's index function of a table side on these men; `invert` hands it the board
// turned over, as the probe does for a Black stronger side.
uint32_t CatalogueIndex(int table, int side, const TableMen& p, int ep, int invert) {
  int strong[64] = {}, weak[64] = {};
  const int turn = invert ? 56 : 0;
  for (int s = 0; s < 2; s++)
    for (int type = Pawn; type <= King; type++)
      for (Bitboard b = p.men[s][type]; b;) (s ? weak : strong)[PopLowest(b) ^ turn] = type;
  return tableCatalogue[table].index[side](strong, weak, ep == NoEpSquare ? ep : ep ^ turn, invert);
}

// The men of a table on random squares (kings apart, pawns off the back ranks); false when the
// side to move could take the other king.
bool RandomMen(int table, int side, std::mt19937& random, TableMen* men) {
  *men = {};
  Bitboard used = 0;
  int owner = -1, firstKing = -1;
  for (const char* c = tableCatalogue[table].name; *c; c++) {
    owner += *c == 'k';
    const int type = int(strchr(" pnbrqk", *c) - " pnbrqk");
    int s;
    do s = int(random() % 64);
    while ((used >> s & 1) || (type == Pawn && (s < 8 || s >= 56)) ||
           (type == King && firstKing >= 0 && (kingAttacks[firstKing] >> s & 1)));
    if (type == King && firstKing < 0) firstKing = s;
    used |= Bitboard(1) << s;
    men->men[owner][type] |= Bitboard(1) << s;
  }
  return !OtherKingAttacked(*men, side);
}

// Catches an index that leaves the table's range, lands on an entry standing for another position
// (or for none of its images under the board's symmetries), or changes when the board is turned
// over with the invert flag: random entries and random positions of every table side.
TEST_F(TablebaseIndex, IndexAndDecodeAgree) {
  std::mt19937 random(2026);
  for (int t = 1; t < TableCount; t++) {
    const int symmetries = strchr(tableCatalogue[t].name, 'p') ? 2 : 8;
    for (int side = 0; side < 2; side++) {
      const TableLayout& layout = tableLayouts[t][side];
      const std::string label = tableCatalogue[t].name + std::string(" side ") + std::to_string(side);
      for (int n = 0; n < 1000; n++) {
        TableMen p, q;
        int ep, qEp;
        const uint32_t i = uint32_t(random() % layout.count);
        if (!Broken(layout, i, side, &p, &ep)) {
          ASSERT_EQ(CatalogueIndex(t, side, p, ep, 0), i) << label;
          ASSERT_EQ(CatalogueIndex(t, side, p, ep, 1), i) << label << " turned over";
        }
        if (!RandomMen(t, side, random, &p)) continue;
        // Where a pawn of the side not to move may just have made a double step, the e.p. square
        // behind it goes with the position; the index keeps it only where a pawn can take.
        Bitboard all = 0;
        for (int o = 0; o < 2; o++)
          for (int type = Pawn; type <= King; type++) all |= p.men[o][type];
        const int up = side == 1 ? 8 : -8;  // the way the pawns of the side not to move go
        int epSquare = NoEpSquare, keptEp = NoEpSquare;
        for (Bitboard b = p.men[side ^ 1][Pawn]; b && epSquare == NoEpSquare;) {
          const int square = PopLowest(b);
          if (RankOf(square) != (side == 1 ? 3 : 4)) continue;
          if ((all >> (square - up) & 1) || (all >> (square - 2 * up) & 1)) continue;  // no room to step
          epSquare = square - up;
          const Bitboard beside = (FileOf(square) > 0 ? Bitboard(1) << (square - 1) : 0) |
                                  (FileOf(square) < 7 ? Bitboard(1) << (square + 1) : 0);
          if (p.men[side][Pawn] & beside) keptEp = epSquare;
        }
        const uint32_t j = CatalogueIndex(t, side, p, epSquare, 0);
        ASSERT_LT(j, layout.count) << label;
        const bool decodes = DecodeMen(layout, j, &q, &qEp);
        const auto isImage = [&](int s) {
          return SameMen(Transformed(p, s), q) && qEp == (keptEp == NoEpSquare ? keptEp : Mapped(keptEp, s));
        };
        int s = 0;
        while (decodes && s < symmetries && !isImage(s)) s++;
        ASSERT_TRUE(decodes && s < symmetries) << label << ": a position indexed to " << j
                                               << " decodes to another";
      }
    }
  }
}

}  // namespace
