// Move generation beyond what perft counts can see: the order of captures and promotions (SAN ties and game-move
// matching take the first fitting move), and the validity test for hash and killer moves from other positions.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "board/fen.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "tests/position_check.h"

namespace {
using Moves = std::vector<Move>;
using ostrel_test::M;

Moves Captures(int side) {
  Move list[MaxMoves];
  return Moves(list, GenerateCaptures(list, side));
}

Moves Quiet(int side) {
  Move list[MaxMoves];
  return Moves(list, GenerateQuiet(list, side));
}

// Catches a change in capture order (by piece, then pawns by direction) and in which
// promotions come with the captures and which, in which order, with the quiet moves.
TEST(MoveGeneration, CaptureOrderAndPromotions) {
  // Every piece type has a capture; two pawns capture both ways, one of them onto the last rank.
  ASSERT_EQ("", ostrel_test::SetPositionQuietly("3r1n1k/4P3/8/p1p4p/1P1p1p2/6N1/p7/K1BQ3R w - -"));
  EXPECT_EQ(Moves({M(G3, H5, Knight, Pawn), M(H1, H5, Rook, Pawn), M(C1, F4, Bishop, Pawn),
                   M(D1, D4, Queen, Pawn), M(D1, H5, Queen, Pawn), M(A1, A2, King, Pawn),
                   M(E7, E8, Pawn, 0, Queen),
                   // towards the a-file, lowest destination first, then towards the h-file
                   M(B4, A5, Pawn, Pawn), M(E7, D8, Pawn, Rook, Queen), M(B4, C5, Pawn, Pawn),
                   M(E7, F8, Pawn, Knight, Queen)}),
            Captures(White));
  Moves quiet = Quiet(White);
  EXPECT_EQ(Moves({M(E7, D8, Pawn, Rook, Rook), M(E7, D8, Pawn, Rook, Bishop), M(E7, D8, Pawn, Rook, Knight),
                   M(E7, F8, Pawn, Knight, Rook), M(E7, F8, Pawn, Knight, Bishop),
                   M(E7, F8, Pawn, Knight, Knight), M(E7, E8, Pawn, 0, Knight), M(E7, E8, Pawn, 0, Rook),
                   M(E7, E8, Pawn, 0, Bishop)}),
            Moves(quiet.end() - std::min<size_t>(9, quiet.size()), quiet.end()));
  // Black's a-file direction is -9, so d2xc1 comes before b5xa4, and d2xe1 before b5xc4.
  ASSERT_EQ("", ostrel_test::SetPositionQuietly("7k/8/8/1p6/P1P5/8/3p4/2R1R2K b - -"));
  EXPECT_EQ(Moves({M(D2, D1, Pawn, 0, Queen), M(D2, C1, Pawn, Rook, Queen), M(B5, A4, Pawn, Pawn),
                   M(D2, E1, Pawn, Rook, Queen), M(B5, C4, Pawn, Pawn)}),
            Captures(Black));
}

// "" when IsValidMove agrees with the generators on every probe for `side`, else the first probe it gets wrong.
std::string ValidityFault(const Moves& probes, int side) {
  const Moves generated = ostrel_test::PseudoLegalMoves(side);
  const std::set<Move> listed(generated.begin(), generated.end());
  for (Move m : probes)
    if (IsValidMove(m, side) != (listed.count(m) > 0))
      return std::string(listed.count(m) ? "rejects " : "accepts ") + CoordinateText(m) + " = " + std::to_string(m) +
             " for side " + std::to_string(side) + " in " + PositionToEpd();
  return "";
}

// Moves near the generated ones: each field of each generated move set to every value it can
// hold, and the unused high bits set.
Moves AlteredMoves(int side) {
  Moves probes;
  for (Move m : ostrel_test::PseudoLegalMoves(side)) {
    for (Move v = 0; v < 64; v++) probes.insert(probes.end(), {(m & ~(63u << 6)) | v << 6, (m & ~63u) | v});
    for (Move v = 0; v < 8; v++) {
      probes.insert(probes.end(), {(m & ~(7u << 12)) | v << 12, (m & ~(7u << 15)) | v << 15});
      probes.push_back((m & ~(7u << 18)) | v << 18);
    }
    probes.insert(probes.end(), {m | 1u << 21, m | 1u << 31});
  }
  return probes;
}

// Catches a validity test that accepts a move the generators would not make (so the search
// plays a hash or killer move from another position) or rejects one they would.
TEST(ValidMove, AcceptsExactlyTheGeneratedMoves) {
  // Positions built for the corner cases (castling through or out of attack, blocked double steps, en passant for the
  // wrong side, promotions), then positions of the perft suite; a random game is played from each.
  std::vector<std::string> starts = {
      "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", "r3k2r/8/8/8/8/5b2/8/R3K2R w KQkq -", "r3k2r/8/8/8/2q5/8/8/R3K2R w KQkq -",
      "rn2k1nr/8/8/8/8/8/8/RN2K1NR w KQkq -", "4k3/8/8/8/4r3/8/8/R3K2R w KQ -", "4k3/8/8/3pP3/8/8/8/4K3 w - d6",
      "4k3/8/8/3pP3/8/8/8/4K3 b - -", "4k3/8/8/8/3Pp3/8/8/4K3 b - d3", "4k3/8/8/8/8/4p3/4P3/4K3 w - -",
      "4k3/8/8/8/4p3/8/4P3/4K3 w - -", "1n2k1n1/P6P/8/8/8/8/p6p/1N2K1N1 w - -", "8/8/8/8/k1p4R/8/3P4/3K4 w - -",
  };
  const std::vector<std::string> suite = ostrel_test::ReadEpdPositions("perft/perftsuite.epd");
  ASSERT_FALSE(suite.empty());
  for (size_t game = 0; game < (OSTREL_SANITIZED ? 12 : 24); game++) starts.push_back(suite[(game * 7) % suite.size()]);
  ostrel_test::TestRandom random(11);
  Moves elsewhere;  // moves of earlier positions, as killers and hash moves are
  for (size_t game = 0; game < starts.size(); game++) {
    ostrel_test::RandomGame g(starts[game].c_str(), 500 + game);
    for (int ply = 0; ply < 80; ply++) {
      for (int side = Black; side <= White; side++) {
        Moves probes = AlteredMoves(side);
        probes.insert(probes.end(), elsewhere.begin(), elsewhere.end());
        probes.push_back(0);
        for (int i = 0; i < 200; i++) probes.push_back(Move(random.Next() & 0x1FFFFF));
        ASSERT_EQ("", ValidityFault(probes, side));
      }
      const Moves mine = ostrel_test::PseudoLegalMoves(g.Side());
      for (int i = 0; i < 6 && !mine.empty(); i++) elsewhere.push_back(mine[random.Below(uint32_t(mine.size()))]);
      if (elsewhere.size() > 400) elsewhere.erase(elsewhere.begin(), elsewhere.begin() + 100);
      if (!g.Play()) break;
    }
  }
}
}  // namespace
