// Move-tree counts against published figures by three paths: the search's walk (every leaf made and unmade), the
// same walk counting the last ply in bulk, and the legal generators (evasions in check) counting the last ply.
// Each position is counted at the deepest listed depth that fits a node budget: deep for the few, broad for many.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "board/fen.h"
#include "board/movegen.h"
#include "board/perft.h"
#include "tests/position_check.h"

namespace {
constexpr uint64_t BudgetDivisor = OSTREL_SANITIZED ? 8 : 1;

uint64_t LegalCount(int depth, int ply, int side) {
  Move moves[MaxMoves];
  Move* end = KingAttacked(side) ? GenerateEvasions(moves, side) : GenerateLegal(moves, side);
  if (depth == 1) return uint64_t(end - moves);
  SaveUndo(ply);
  uint64_t nodes = 0;
  for (Move* m = moves; m < end; m++) {
    MakeMove(*m, ply, side);
    nodes += LegalCount(depth - 1, ply + 1, side ^ 1);
    UnmakeMove(*m, ply, side);
  }
  return nodes;
}

// The first four blank-separated fields: placement, side, castling, en passant.
std::string FenFields(const std::string& text) {
  std::string fields, field;
  std::istringstream in(text);
  for (int i = 0; i < 4 && in >> field; i++) fields += (i ? " " : "") + field;
  return fields;
}

// Counts each line "FEN ;D1 n ;D2 n ..." of the file by Perft at the deepest listed depth whose
// count fits `searchBudget` (with and without bulk counting), and by LegalCount likewise within
// `legalBudget`. Positions no listed depth fits are left out.
void CheckFile(const char* name, uint64_t searchBudget, uint64_t legalBudget) {
  static const char* const pathNames[3] = {" Perft", " LegalCount", " bulk Perft"};
  const uint64_t budgets[3] = {searchBudget / BudgetDivisor, legalBudget / BudgetDivisor, searchBudget / BudgetDivisor};
  std::ifstream in(std::string(OSTREL_TEST_DATA) + "/perft/" + name);
  int counted = 0, mismatched = 0;
  std::string text;
  for (int number = 1; std::getline(in, text); number++) {
    const size_t semicolon = text.find(';');
    if (semicolon == std::string::npos) continue;
    const std::string fen = text.substr(0, semicolon);
    const std::string where = std::string(name) + ":" + std::to_string(number) + " " + fen;
    int depth[3] = {0, 0, 0};
    uint64_t listed[3] = {0, 0, 0};
    for (size_t at = text.find(";D", semicolon); at != std::string::npos; at = text.find(";D", at + 2)) {
      char* end = nullptr;
      const int d = int(strtol(text.c_str() + at + 2, &end, 10));
      const uint64_t count = strtoull(end, nullptr, 10);
      for (int path = 0; path < 3; path++)
        if (count <= budgets[path] && d > depth[path]) depth[path] = d, listed[path] = count;
    }
    if (depth[0] == 0) continue;
    counted++;
    EXPECT_EQ("", ostrel_test::SetPositionQuietly(fen)) << where;
    // A FEN that did not decode as written would give a count for some other position.
    ASSERT_EQ(FenFields(PositionToEpd()), FenFields(fen)) << where;
    const Position before = ostrel_test::SnapshotPosition();
    bool wrong = false;
    for (int path = 0; path < 3 && depth[path]; path++) {
      const uint64_t found =
          path == 1 ? LegalCount(depth[1], 0, pos.sideToMove) : Perft(depth[path], pos.sideToMove, 0, path == 2);
      wrong |= found != listed[path];
      EXPECT_EQ(found, listed[path]) << where << pathNames[path] << " depth " << depth[path];
      ASSERT_EQ(ostrel_test::DiffPositions(before, pos), "") << where << " after counting";
    }
    // One generator fault shows up in thousands of positions; the first few say enough.
    if (wrong && ++mismatched == 10) FAIL() << "stopped after 10 positions with wrong counts";
  }
  EXPECT_GT(counted, 0) << "no position of " << name << " read within the budget";
}
}  // namespace

TEST(Perft, StandardPositions) { CheckFile("standard_positions.epd", 20'000'000, 5'000'000); }
TEST(Perft, Suite) { CheckFile("perftsuite.epd", 5'000'000, 1'000'000); }
TEST(Perft, EdgeCases) { CheckFile("perft_tricky.epd", 5'000'000, 1'000'000); }
// Single depth-4 counts of about 300,000 at most, kept whole in every build.
TEST(Perft, DoubleChecks) { CheckFile("perft_double_checks.epd", 400'000 * BudgetDivisor, 400'000 * BudgetDivisor); }
TEST(Perft, ManyPositions) { CheckFile("perft_marcel.epd", 200'000, 30'000); }
