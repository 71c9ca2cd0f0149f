// The tables' index functions against the published sizes and broken-entry counts, index and
// decode against each other, and the material-signature lookup. (The generator's tests check the
// tables of up to four men entry by entry against other tables; these reach the five-man ones.)
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
  if ((m[Pawn] & pawnAttacks[colour ^ 1][king]) || (m[Knight] & knightAttacks[king]) || (m[King] & kingAttacks[king]))
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
      untrimmed.count = untrimmed.size;
      uint32_t end = untrimmed.size;
      TableMen p;
      int ep;
      while (end > 0 && Broken(untrimmed, end - 1, side, &p, &ep)) end--;
      EXPECT_EQ(end, published[side]) << name << " side " << side;
    }
  }
  EXPECT_EQ(tables, TableCount - 1);
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

// One position of a table's material, as the men's squares in catalogue-name order.
struct Placement {
  int table;
  int count;
  int side[5];  // 0 strong, 1 weak
  int type[5];
  int square[5];
};

Placement MenOf(int table) {
  Placement p = {table, 0, {}, {}, {}};
  int side = -1;
  for (const char* c = tableCatalogue[table].name; *c; c++) {
    if (*c == 'k') side++;
    p.side[p.count] = side;
    p.type[p.count++] = int(strchr(" pnbrqk", *c) - " pnbrqk");
  }
  return p;
}

// The men on the board, mirrored by the bits of `symmetry`: files, ranks, the diagonal.
TableMen MenOf(const Placement& p, int symmetry) {
  TableMen m = {};
  for (int i = 0; i < p.count; i++) {
    int f = FileOf(p.square[i]), r = RankOf(p.square[i]);
    if (symmetry & 1) f = 7 - f;
    if (symmetry & 2) r = 7 - r;
    if (symmetry & 4) std::swap(f, r);
    m.men[p.side[i]][p.type[i]] |= Bitboard(1) << (r * 8 + f);
  }
  return m;
}

// Checks one placement for both sides to move, through the catalogue's index functions (also with
// the board turned over and the invert flag set) and the decoder. Returns the sides it was legal for.
int CheckRoundTrip(const Placement& p, int epSquare) {
  int strong[64] = {}, weak[64] = {}, strongTurned[64] = {}, weakTurned[64] = {};
  for (int i = 0; i < p.count; i++) {
    (p.side[i] ? weak : strong)[p.square[i]] = p.type[i];
    (p.side[i] ? weakTurned : strongTurned)[p.square[i] ^ 56] = p.type[i];
  }
  const TableMen men = MenOf(p, 0);
  const bool pawns = strchr(tableCatalogue[p.table].name, 'p') != nullptr;
  int legalSides = 0;
  for (int side = 0; side < 2; side++) {
    if (OtherKingAttacked(men, side)) continue;
    // The e.p. right counts only where a pawn of the side to move can take.
    int ep = NoEpSquare;
    if (epSquare != NoEpSquare) {
      const int moved = epSquare + (side == 0 ? -8 : 8);
      if (RankOf(epSquare) != (side == 0 ? 5 : 2) || !(men.men[side ^ 1][Pawn] >> moved & 1)) continue;
      const Bitboard beside = (FileOf(moved) > 0 ? Bitboard(1) << (moved - 1) : 0) |
                              (FileOf(moved) < 7 ? Bitboard(1) << (moved + 1) : 0);
      if (men.men[side][Pawn] & beside) ep = epSquare;
    }
    legalSides++;
    const TableIndexFunction index = tableCatalogue[p.table].index[side];
    const uint32_t i = index(strong, weak, epSquare, 0);
    const int turnedEp = epSquare == NoEpSquare ? NoEpSquare : epSquare ^ 56;
    const std::string label = std::string(tableCatalogue[p.table].name) + " side " + std::to_string(side);
    EXPECT_EQ(index(strongTurned, weakTurned, turnedEp, 1), i) << label;
    EXPECT_LT(i, tableCatalogue[p.table].count[side]) << label;
    TableMen decoded;
    int decodedEp;
    bool found = DecodeMen(tableLayouts[p.table][side], i, &decoded, &decodedEp);
    int symmetry = 0;
    for (; found && symmetry < (pawns ? 2 : 8); symmetry++) {
      const int mappedEp = ep == NoEpSquare ? NoEpSquare : symmetry ? ep ^ 7 : ep;
      const TableMen mirrored = MenOf(p, symmetry);
      if (!memcmp(mirrored.men, decoded.men, sizeof decoded.men) && decodedEp == mappedEp) break;
    }
    found &= symmetry < (pawns ? 2 : 8);
    EXPECT_TRUE(found) << label << " index " << i;
  }
  return legalSides;
}

// Catches an index that leaves the table's range, lands on an entry standing for another position,
// or changes when the board is turned over with the invert flag: random placements of every table,
// each also with an e.p. square behind every pawn that may just have made a double step.
TEST_F(TablebaseIndex, RandomPositionsDecodeToThemselves) {
  std::mt19937 random(2026);
  for (int t = 1; t < TableCount; t++) {
    Placement p = MenOf(t);
    for (int checked = 0; checked < 2000 && !HasFailure();) {
      for (int man = 0; man < p.count;) {
        const int s = int(random() % 64);
        bool free = !(p.type[man] == Pawn && (s < 8 || s >= 56));
        for (int i = 0; i < man; i++) free &= p.square[i] != s;
        const int kingDistance =
            std::max(std::abs(FileOf(s) - FileOf(p.square[0])), std::abs(RankOf(s) - RankOf(p.square[0])));
        if (man == 1) free &= kingDistance > 1;
        if (free) p.square[man++] = s;
      }
      checked += CheckRoundTrip(p, NoEpSquare);
      for (int i = 0; i < p.count; i++) {
        if (p.type[i] != Pawn || RankOf(p.square[i]) != (p.side[i] ? 4 : 3)) continue;
        const int behind = p.square[i] + (p.side[i] ? 8 : -8), origin = p.square[i] + (p.side[i] ? 16 : -16);
        bool empty = true;
        for (int j = 0; j < p.count; j++) empty &= p.square[j] != behind && p.square[j] != origin;
        if (empty) checked += CheckRoundTrip(p, behind);
      }
    }
  }
}

// Catches a material signature that finds the wrong table, or the right one with the wrong colours.
TEST_F(TablebaseIndex, SignatureLookup) {
  struct Case {
    int counts[SignatureCounts];  // White P N B R Q, Black P N B R Q
    int table;
  } cases[] = {
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 0},  // kk has no table
      {{0, 0, 0, 0, 4, 0, 0, 0, 0, 0}, 0},  // beyond the largest count of its level
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 4}, 0},
      {{2, 1, 1, 0, 0, 0, 0, 0, 0, 0}, 0},  // six men
      {{0, 0, 0, 0, 0, 0, 0, 0, 2, 1}, -140},  // kqrrk with the colours swapped
  };
  for (const Case& c : cases) EXPECT_EQ(LookupSignature(c.counts), c.table) << c.table;
  // Every table's own material and its colour swap find it; equal sides are never swapped.
  for (int t = 1; t < TableCount; t++) {
    int counts[SignatureCounts] = {}, swapped[SignatureCounts] = {};
    const char* name = tableCatalogue[t].name;
    const char* second = strchr(name + 1, 'k');
    for (const char* c = name + 1; *c; c++)
      if (c != second) {
        const int slot = int(strchr("pnbrq", *c) - "pnbrq");
        counts[slot + (c > second ? 5 : 0)]++;
        swapped[slot + (c > second ? 0 : 5)]++;
      }
    EXPECT_EQ(LookupSignature(counts), t) << name;
    EXPECT_EQ(LookupSignature(swapped), memcmp(counts, counts + 5, 5 * sizeof(int)) ? -t : t) << name;
  }
}

}  // namespace
