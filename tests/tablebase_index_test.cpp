// The tables' index functions against the published sizes, index and decode against each other, and
// the material-signature lookup.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "board/bitboard.h"
#include "board/tables.h"
#include "tablebases/index.h"
#include "tablebases/layout.h"

namespace {

#ifdef OSTREL_SANITIZE
constexpr int WorkDivisor = 16;
#else
constexpr int WorkDivisor = 1;
#endif

class TablebaseIndex : public testing::Test {
 protected:
  static void SetUpTestSuite() { BuildSignatureTree(); }
};

// The men of `strong` (0) or `weak` (1) of the side to move attack the other king.
bool OtherKingAttacked(const TableMen& p, int side) {
  const int stm = side, colour = side == 0 ? White : Black;
  const int king = LowestBit(p.men[stm ^ 1][King]);
  Bitboard occupied = 0;
  for (int s = 0; s < 2; s++)
    for (int t = Pawn; t <= King; t++) occupied |= p.men[s][t];
  const Bitboard* m = p.men[stm];
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
      // The range before trimming, then the broken entries at its end cut off.
      TableLayout untrimmed = tableLayouts[t][side];
      untrimmed.count = untrimmed.size;
      uint32_t end = untrimmed.size;
      for (; end > 0; end--) {
        TableMen p;
        int ep;
        if (DecodeMen(untrimmed, end - 1, &p, &ep) && !OtherKingAttacked(p, side)) break;
      }
      EXPECT_EQ(end, published[side]) << name << " side " << side;
    }
  }
  EXPECT_EQ(tables, TableCount - 1);
}

// Entries first..end-1 of a table side that are broken (no position, or the king of the side not
// to move in check); every other entry must index back to itself.
uint32_t CountBroken(int table, int side, uint32_t first, uint32_t end) {
  const TableLayout& layout = tableLayouts[table][side];
  uint32_t broken = 0;
  for (uint32_t i = first; i < end; i++) {
    TableMen p;
    int ep;
    if (!DecodeMen(layout, i, &p, &ep) || OtherKingAttacked(p, side)) {
      broken++;
    } else if (IndexOfMen(layout, p, ep, 0) != i) {
      ADD_FAILURE() << tableCatalogue[table].name << " side " << side << ": " << i << " indexes back to "
                    << IndexOfMen(layout, p, ep, 0);
      break;
    }
  }
  return broken;
}

// Every index of the tables chosen to cover every rule of the layout, and the broken ones as many
// as published: all three-man tables, the e.p. zone (kpkp), men of both sides (knkp, kbkb), a pair
// (kppk) and stm men that may share a square (kbnk).
TEST_F(TablebaseIndex, BrokenEntriesAreThePublishedCounts) {
  const char* const checked[] = {"kpk", "knk", "kbk", "krk", "kqk",
#ifndef OSTREL_SANITIZE
                                 "kpkp", "knkp", "kbkb", "kppk", "kbnk",
#endif
  };
  std::ifstream in(OSTREL_TEST_DATA "/tablebases/broken.tsv");
  std::string line, name;
  std::getline(in, line);
  int tested = 0;
  for (int t = 0; std::getline(in, line); t++) {
    std::istringstream fields(line);
    uint32_t published[2];
    double percent;
    fields >> name >> published[0] >> percent >> published[1];
    ASSERT_STREQ(tableCatalogue[t].name, name.c_str());
    if (std::find(std::begin(checked), std::end(checked), name) == std::end(checked)) continue;
    tested++;
    for (int side = 0; side < 2; side++)
      EXPECT_EQ(CountBroken(t, side, 0, tableCatalogue[t].count[side]), published[side]) << name << " side " << side;
  }
  EXPECT_EQ(tested, int(std::size(checked)));
}

// The e.p. zone of kppkp, where capturers can stand on both sides of the pawn that moved.
TEST_F(TablebaseIndex, EpZoneWithTwoCapturersIndexesBack) {
  const TableLayout& layout = tableLayouts[36][0];
  CountBroken(36, 0, layout.mainSize, layout.count);
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
  const char* name = tableCatalogue[table].name;
  int side = -1;
  for (const char* c = name; *c; c++) {
    if (*c == 'k') side++;
    p.side[p.count] = side;
    p.type[p.count++] = int(strchr(" pnbrqk", *c) - " pnbrqk");
  }
  return p;
}

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

bool SameMen(const TableMen& a, const TableMen& b) {
  for (int s = 0; s < 2; s++)
    for (int t = Pawn; t <= King; t++)
      if (a.men[s][t] != b.men[s][t]) return false;
  return true;
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
      const int rank = side == 0 ? 5 : 2;
      if (RankOf(epSquare) != rank || !(men.men[side ^ 1][Pawn] >> moved & 1)) continue;
      const Bitboard beside = (FileOf(moved) > 0 ? Bitboard(1) << (moved - 1) : 0) |
                              (FileOf(moved) < 7 ? Bitboard(1) << (moved + 1) : 0);
      if (men.men[side][Pawn] & beside) ep = epSquare;
    }
    legalSides++;
    const TableIndexFunction index = tableCatalogue[p.table].index[side];
    const uint32_t i = index(strong, weak, epSquare, 0);
    const int turnedEp = epSquare == NoEpSquare ? NoEpSquare : epSquare ^ 56;
    EXPECT_EQ(index(strongTurned, weakTurned, turnedEp, 1), i);
    EXPECT_LT(i, tableCatalogue[p.table].count[side]) << tableCatalogue[p.table].name << " side " << side;
    TableMen decoded;
    int decodedEp;
    const bool decodes = DecodeMen(tableLayouts[p.table][side], i, &decoded, &decodedEp);
    const int symmetries = pawns ? 2 : 8;
    int symmetry = 0;
    for (; decodes && symmetry < symmetries; symmetry++) {
      const int mappedEp = ep == NoEpSquare ? NoEpSquare : symmetry ? ep ^ 7 : ep;
      if (SameMen(MenOf(p, symmetry), decoded) && decodedEp == mappedEp) break;
    }
    const bool found = decodes && symmetry < symmetries;
    EXPECT_TRUE(found) << tableCatalogue[p.table].name << " side " << side << " index " << i;
    if (!found) return legalSides;
  }
  return legalSides;
}

bool EmptyBefore(const Placement& p, int man, int square) {
  for (int i = 0; i < man; i++)
    if (p.square[i] == square) return false;
  return true;
}

bool PlaceableAt(const Placement& p, int man, int square) {
  if (p.type[man] == Pawn && (square < 8 || square >= 56)) return false;
  if (!EmptyBefore(p, man, square)) return false;
  return man != 1 || std::max(std::abs(FileOf(square) - FileOf(p.square[0])),
                              std::abs(RankOf(square) - RankOf(p.square[0]))) > 1;
}

// Checks placements of men `man` onward: every `every`-th of all placements in which the last man
// takes every `stride`-th square, from an offset that moves on with each call so that it visits
// every square in turn.
int64_t Enumerate(Placement& p, int man, int stride, int every) {
  static int offset = 0, sample = 0;
  if (man == p.count) {
    if (++sample % every) return 0;
    int64_t checked = CheckRoundTrip(p, NoEpSquare);
    // The same men with an e.p. square behind every pawn that may just have made a double step.
    for (int i = 0; i < p.count; i++)
      if (p.type[i] == Pawn && RankOf(p.square[i]) == (p.side[i] ? 4 : 3)) {
        const int behind = p.side[i] ? p.square[i] + 8 : p.square[i] - 8;
        const int origin = p.side[i] ? p.square[i] + 16 : p.square[i] - 16;
        if (EmptyBefore(p, p.count, behind) && EmptyBefore(p, p.count, origin)) checked += CheckRoundTrip(p, behind);
      }
    return checked;
  }
  int64_t checked = 0;
  const int step = man == p.count - 1 ? stride : 1;
  const int first = man == p.count - 1 ? offset++ % stride : 0;
  for (int s = first; s < 64; s += step)
    if (PlaceableAt(p, man, s)) {
      p.square[man] = s;
      checked += Enumerate(p, man + 1, stride, every);
      if (testing::Test::HasFailure()) return checked;
    }
  return checked;
}

// Three-man tables: every position. Four-man tables: every king pair with the other two men
// spread over the board (the decoder side of these tables is checked index by index above).
TEST_F(TablebaseIndex, ThreeAndFourManPositionsDecodeToThemselves) {
  for (int t = 1; t < 36; t++) {
    Placement p = MenOf(t);
    EXPECT_GT(p.count == 3 ? Enumerate(p, 0, 1, WorkDivisor) : Enumerate(p, 0, 64, 4 * WorkDivisor), 0);
    if (HasFailure()) return;
  }
}

TEST_F(TablebaseIndex, SampledFiveManPositionsDecodeToThemselves) {
  std::mt19937 random(2026);
  for (int t = 36; t < TableCount; t++) {
    Placement p = MenOf(t);
    for (int n = 0; n < 4000;) {
      for (int man = 0; man < p.count;) {
        const int s = int(random() % 64);
        if (PlaceableAt(p, man, s)) p.square[man++] = s;
      }
      n += Enumerate(p, p.count, 1, WorkDivisor);
      if (HasFailure()) return;
    }
  }
}

// Not a test: nanoseconds of processor time per call of the index functions and the decoder over
// random entries of a few tables. Run with --gtest_also_run_disabled_tests --gtest_filter='*Speed*'.
TEST_F(TablebaseIndex, DISABLED_Speed) {
  for (const char* name : {"kqkr", "kppkp", "krbkp", "kqqqk"}) {
    int t = 1;
    while (strcmp(tableCatalogue[t].name, name) != 0) t++;
    for (int side = 0; side < 2; side++) {
      static TablePosition positions[4096];
      static uint32_t indices[4096];
      std::mt19937 random(1);
      for (int n = 0; n < 4096;) {
        indices[n] = random() % tableCatalogue[t].count[side];
        if (DecodeTableIndex(t, side, indices[n], &positions[n])) n++;
      }
      const int rounds = 200;
      uint64_t sum = 0;
      const std::clock_t start = std::clock();
      for (int r = 0; r < rounds; r++)
        for (const TablePosition& p : positions) sum += tableCatalogue[t].index[side](p.strong, p.weak, p.epSquare, 0);
      const std::clock_t middle = std::clock();
      TableMen men;
      int ep;
      for (int r = 0; r < rounds; r++)
        for (uint32_t i : indices) sum += DecodeMen(tableLayouts[t][side], i, &men, &ep);
      const std::clock_t end = std::clock();
      const double nanoseconds = 1e9 / CLOCKS_PER_SEC / (4096.0 * rounds);
      printf("%-6s side %d: index %.1f ns, decode %.1f ns (%llu)\n", name, side,
             double(middle - start) * nanoseconds, double(end - middle) * nanoseconds, (unsigned long long)(sum & 1));
    }
  }
}

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
    if (memcmp(counts, counts + 5, 5 * sizeof(int)) != 0) {
      EXPECT_EQ(LookupSignature(swapped), -t) << name;
    }
  }
}

}  // namespace
