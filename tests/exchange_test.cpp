// Exchange evaluation decides which captures the search tries first and which the quiescence
// search drops, so a wrong sign or a missed x-ray silently weakens play.
#include <gtest/gtest.h>

#include <string>

#include "board/movegen.h"
#include "tests/position_check.h"

namespace {
int Exchange(const std::string& fen, int from, int to, int side) {
  EXPECT_EQ("", ostrel_test::SetPositionQuietly(fen)) << fen;
  return StaticExchange(from, to, side);
}

// Catches wrong piece values, a colour-dependent slip (each case is also played with colours
// swapped, where the result must be the same), a missed x-ray and a king recapturing into check.
TEST(StaticExchange, GainsAsGivenAndMirrored) {
  const struct { const char* why; const char* fen; int from, to, side, gain; } cases[] = {
    {"undefended knight", "4k3/8/8/4n3/8/8/8/4RK2 w - -", E1, E5, White, 3000},
    {"undefended queen by a pawn", "4k3/8/8/3q4/4P3/8/8/4K3 w - -", E4, D5, White, 9000},
    {"pawn takes defended knight", "4k3/8/3p4/4n3/3P4/8/8/4K3 w - -", D4, E5, White, 2000},
    {"queen takes defended pawn", "4k3/8/4p3/3p4/8/8/8/3QK3 w - -", D1, D5, White, -8000},
    {"rook takes rook defended by a pawn", "4k3/8/3p4/4r3/8/8/8/4RK2 w - -", E1, E5, White, 0},
    {"knight takes a pawn defended by a pawn", "4k3/8/5p2/4p3/8/3N4/8/3RK3 w - -", D3, E5, White, -2000},
    {"rook takes a pawn defended by a rook", "4k3/8/8/3r4/4P3/8/8/4RK2 b - -", D5, E4, Black, -4000},
    {"capture onto an empty square", "4k3/8/8/8/8/8/8/4RK2 w - -", E1, E5, White, 0},
    // Hidden attackers join as the front piece leaves.
    {"doubled rooks", "k3r3/8/8/4n3/8/8/4R3/4RK2 w - -", E2, E5, White, 3000},
    {"queen behind bishop", "4k3/8/5p2/4n3/8/2B5/1Q6/4K3 w - -", C3, E5, White, 1000},
    // NxP, RxN, RxR, QxR loses, so White keeps the pawn's worth only by stopping after RxN.
    {"defender's queen behind its rook", "4q1k1/4r3/8/4p3/8/5N2/8/4R1K1 w - -", F3, E5, White, -2000},
    {"bishop behind pawn", "4k3/8/5p2/4n3/3P4/2B5/8/4K3 w - -", D4, E5, White, 3000},
    // The king only captures onto a square nothing guards.
    {"king would be recaptured", "4r1k1/8/3p4/4n3/5K2/8/8/4R3 w - -", E1, E5, White, -2000},
    {"king recaptures safely", "6k1/8/3p4/4n3/5K2/8/8/4R3 w - -", E1, E5, White, -1000},
    {"king takes an undefended knight", "6k1/8/8/4n3/5K2/8/8/8 w - -", F4, E5, White, 3000},
    {"king takes a defended knight", "6k1/8/3p4/4n3/5K2/8/8/8 w - -", F4, E5, White, -96000},
    // from == to asks what the piece there risks: the opponent moves first.
    {"unattacked knight", "4k3/8/8/8/4N3/8/8/4K3 w - -", E4, E4, White, 0},
    {"hanging knight", "4k3/8/8/3p4/4N3/8/8/4K3 w - -", E4, E4, White, -3000},
    {"knight defended by a pawn", "4k3/8/8/3p4/4N3/5P2/8/4K3 w - -", E4, E4, White, -2000},
    {"knight attacked only by a rook, defended", "4k3/4r3/8/8/4N3/5P2/8/4K3 w - -", E4, E4, White, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.gain, Exchange(c.fen, c.from, c.to, c.side)) << c.why << ": " << c.fen;
    const std::string mirrored = ostrel_test::MirroredFen();
    EXPECT_EQ(c.gain, Exchange(mirrored, c.from ^ 56, c.to ^ 56, c.side ^ 1)) << c.why << " (mirrored)";
  }
}
}  // namespace
