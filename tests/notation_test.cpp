// Move texts and SAN. The coordinate form is what GUIs parse; the display form is read by people going through
// book-building and analysis logs, so its exact wording is kept stable too.
#include <gtest/gtest.h>

#include <string>

#include "board/display.h"
#include "board/notation.h"
#include "tests/capture.h"
#include "tests/position_check.h"

namespace {
using ostrel_test::M;

void Set(const char* fen) { EXPECT_EQ("", ostrel_test::SetPositionQuietly(fen)) << fen; }

std::string Echo(const char* token) { return std::string("Test move : [") + token + "]\n"; }

// Catches a wrong square, promotion letter, capture mark or piece letter in either form, and
// guesses made for codes outside the piece range.
TEST(MoveText, CoordinateAndDisplayForms) {
  const struct { Move move; const char* coordinate; const char* display; } cases[] = {
    {M(E2, E4, Pawn), "e2e4", "e4 "}, {M(E7, E8, Pawn, 0, Queen), "e7e8q", "e8Q "},
    {M(D7, C8, Pawn, Bishop, Rook), "d7c8r", "dxc8R(B) "}, {M(A2, A1, Pawn, 0, Bishop), "a2a1b", "a1B "},
    {M(H2, G1, Pawn, Rook, Knight), "h2g1n", "hxg1N(R) "},
    // Castling goes out as the king's move.
    {M(E1, G1, King), "e1g1", "Kg1 "}, {M(E8, C8, King), "e8c8", "Kc8 "},
    {M(F3, E5, Knight, Pawn), "f3e5", "Nxe5(p) "}, {M(E5, D6, Pawn, Pawn), "e5d6", "exd6(p) "},
    {M(D3, H7, Bishop, Bishop), "d3h7", "Bxh7(B) "}, {M(A1, A8, Rook, Knight), "a1a8", "Rxa8(N) "},
    {M(E2, E4, NoPiece), "e2e4", "wrong piece typee4 "}, {M(E2, E4, 7, Pawn), "e2e4", "wrong piece typexe4(p) "},
    {M(F3, E5, Knight, 7), "f3e5", "Nxe5(wrong piece type) "},
    {M(E7, E8, Pawn, 0, King), nullptr, "e8wrong piece type to promote to "},
    {M(E7, E8, Pawn, 0, 7), nullptr, "e8wrong piece type to promote to "},
  };
  for (const auto& c : cases) {
    if (c.coordinate) {
      EXPECT_EQ(std::string("move ") + c.coordinate + "\n", Captured([&] { PrintCoordinateMove(c.move); }));
    }
    EXPECT_EQ(c.display, Captured([&] { PrintMove(c.move); })) << c.display;
  }
  const Move list[] = {M(E2, E4, Pawn), M(G1, F3, Knight), M(F3, E5, Knight, Pawn), 0};
  EXPECT_EQ("e4 Nf3 Nxe5(p) ", Captured([&] { PrintMoveList(list); }));
  EXPECT_EQ("", Captured([&] { PrintMoveList(list + 3); }));
}
}  // namespace

// Catches a wrong square, file or rank read from the token, castling on the wrong wing, and
// ties resolved other than to the first legal move generated.
TEST(ParseSan, ResolvesToTheFirstFittingLegalMove) {
  const char* const start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
  const char* const corners = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
  const char* const knights = "4k3/8/8/8/8/5N2/8/1N2K3 w - -";
  const char* const rooksOnAFile = "7k/3R4/8/8/3p4/8/8/3R3K w - -";
  const char* const rooksOnARank = "4k3/8/8/8/8/R2p3R/8/4K3 w - -";
  const char* const queens = "4k3/8/8/8/8/8/2Q5/4K2Q w - -";
  const struct { const char* fen; int side; const char* token; Move move; } cases[] = {
    {start, White, "e4", M(E2, E4, Pawn)}, {start, Black, "d5", M(D7, D5, Pawn)},
    {"rnbqkbnr/ppp1pppp/8/3p4/4P3/8/PPPP1PPP/RNBQKBNR w KQkq d6", White, "exd5", M(E4, D5, Pawn, Pawn)},
    {"rnbqkbnr/ppp1pppp/8/3p4/4P3/8/PPPP1PPP/RNBQKBNR w KQkq d6", White, "ed5", M(E4, D5, Pawn, Pawn)},
    {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", White, "exd6", M(E5, D6, Pawn, Pawn)},
    // The promotion suffix is not read: the queen promotion is generated first (with the
    // captures), so it wins whatever is asked.
    {"k7/4P3/8/8/8/8/8/4K3 w - -", White, "e8=N", M(E7, E8, Pawn, 0, Queen)},
    {"3rk3/4P3/8/8/8/8/8/4K3 w - -", White, "exd8=B+", M(E7, D8, Pawn, Rook, Queen)},
    {corners, White, "O-O", M(E1, G1, King)}, {corners, White, "o-o", M(E1, G1, King)},
    {corners, White, "O-O-O", M(E1, C1, King)}, {corners, Black, "O-O", M(E8, G8, King)},
    {corners, Black, "O-O-O", M(E8, C8, King)}, {knights, White, "Nbd2", M(B1, D2, Knight)},
    {knights, White, "Nfd2", M(F3, D2, Knight)},
    {knights, White, "Nd2", M(B1, D2, Knight)},  // first generated: lowest square first
    {knights, White, "N3d2", M(F3, D2, Knight)}, {knights, White, "Ng5+", M(F3, G5, Knight)},
    {knights, White, "Nxg5", M(F3, G5, Knight)},  // an "x" is not checked against the board
    // Only legal moves are candidates: a pinned knight gives way to the free one.
    {"4k3/8/8/8/8/5N2/8/KN1r4 w - -", White, "Nd2", M(F3, D2, Knight)},
    {rooksOnAFile, White, "Rxd4", M(D1, D4, Rook, Pawn)}, {rooksOnAFile, White, "R1xd4", M(D1, D4, Rook, Pawn)},
    {rooksOnAFile, White, "R7xd4", M(D7, D4, Rook, Pawn)}, {rooksOnAFile, White, "R1d3", M(D1, D3, Rook)},
    {rooksOnAFile, White, "Kg2", M(H1, G2, King)}, {rooksOnARank, White, "Rxd3", M(A3, D3, Rook, Pawn)},
    {rooksOnARank, White, "Rhxd3", M(H3, D3, Rook, Pawn)}, {rooksOnARank, White, "Rhe3", M(H3, E3, Rook)},
    // h1 is a lower square than c2, so that queen is generated first.
    {queens, White, "Qe4", M(H1, E4, Queen)}, {queens, White, "Qce4", M(C2, E4, Queen)},
    {queens, White, "Q2e4", M(C2, E4, Queen)},
  };
  for (const auto& c : cases) {
    Set(c.fen);
    Move m = 0;
    EXPECT_EQ(Echo(c.token), Captured([&] { m = ParseSan(c.token, c.side); })) << c.token << " in " << c.fen;
    EXPECT_EQ(c.move, m) << c.token << " in " << c.fen;
  }
}
