// Move texts. The coordinate form is what GUIs parse; the display form and the SAN parser's
// reports are read by people going through book-building and analysis logs, so their exact
// wording is kept stable too.
#include <gtest/gtest.h>

#include <string>

#include "board/display.h"
#include "board/fen.h"
#include "board/notation.h"
#include "board/position.h"

namespace {

std::string Coordinate(Move m) {
  testing::internal::CaptureStdout();
  PrintCoordinateMove(m);
  return testing::internal::GetCapturedStdout();
}

std::string Display(Move m) {
  testing::internal::CaptureStdout();
  PrintMove(m);
  return testing::internal::GetCapturedStdout();
}

void Set(const char* fen) {
  testing::internal::CaptureStdout();
  SetPosition(fen);
  EXPECT_EQ("", testing::internal::GetCapturedStdout()) << fen;
}

struct Parsed {
  Move move;
  std::string output;
};

Parsed Parse(const char* token, int side) {
  testing::internal::CaptureStdout();
  const Move m = ParseSan(token, side);
  return {m, testing::internal::GetCapturedStdout()};
}

std::string Echo(const char* token) { return std::string("Test move : [") + token + "]\n"; }

// Parses a token that must resolve, with nothing printed but the echo.
Move Resolve(const char* token, int side) {
  const Parsed p = Parse(token, side);
  EXPECT_EQ(Echo(token), p.output);
  return p.move;
}

Move M(int from, int to, int piece, int captured = 0, int promotion = 0) {
  return EncodeMove(from, to, piece, captured, promotion);
}

}  // namespace

TEST(CoordinateMove, Texts) {
  EXPECT_EQ("move e2e4\n", Coordinate(M(E2, E4, Pawn)));
  EXPECT_EQ("move e7e8q\n", Coordinate(M(E7, E8, Pawn, 0, Queen)));
  EXPECT_EQ("move d7c8r\n", Coordinate(M(D7, C8, Pawn, Bishop, Rook)));
  EXPECT_EQ("move a2a1b\n", Coordinate(M(A2, A1, Pawn, 0, Bishop)));
  EXPECT_EQ("move h2g1n\n", Coordinate(M(H2, G1, Pawn, Rook, Knight)));
  // Castling goes out as the king's move.
  EXPECT_EQ("move e1g1\n", Coordinate(24964));
  EXPECT_EQ("move e8c8\n", Coordinate(28348));
}

TEST(DisplayMove, Texts) {
  EXPECT_EQ("Nxe5(p) ", Display(M(F3, E5, Knight, Pawn)));
  EXPECT_EQ("dxe8Q(R) ", Display(M(D7, E8, Pawn, Rook, Queen)));
  EXPECT_EQ("Kg1 ", Display(24964));
  EXPECT_EQ("e4 ", Display(M(E2, E4, Pawn)));
  EXPECT_EQ("a1N ", Display(M(A2, A1, Pawn, 0, Knight)));
  EXPECT_EQ("exd6(p) ", Display(M(E5, D6, Pawn, Pawn)));
  EXPECT_EQ("Bxh7(B) ", Display(M(D3, H7, Bishop, Bishop)));
  EXPECT_EQ("Rxa8(N) ", Display(M(A1, A8, Rook, Knight)));
  EXPECT_EQ("Qxd8(Q) ", Display(M(D1, D8, Queen, Queen)));
  EXPECT_EQ("Kxe2(K) ", Display(M(E1, E2, King, King)));
  EXPECT_EQ("gxh8B(R) ", Display(M(G7, H8, Pawn, Rook, Bishop)));

  // Codes outside the piece range are named as such rather than guessed.
  EXPECT_EQ("wrong piece typee4 ", Display(M(E2, E4, NoPiece)));
  EXPECT_EQ("wrong piece typexe4(p) ", Display(M(E2, E4, 7, Pawn)));
  EXPECT_EQ("Nxe5(wrong piece type) ", Display(M(F3, E5, Knight, 7)));
  EXPECT_EQ("e8wrong piece type to promote to ", Display(M(E7, E8, Pawn, 0, Pawn)));
  EXPECT_EQ("e8wrong piece type to promote to ", Display(M(E7, E8, Pawn, 0, King)));
  EXPECT_EQ("e8wrong piece type to promote to ", Display(M(E7, E8, Pawn, 0, 7)));
}

TEST(DisplayMove, List) {
  const Move list[] = {M(E2, E4, Pawn), M(G1, F3, Knight), M(F3, E5, Knight, Pawn), 0};
  testing::internal::CaptureStdout();
  PrintMoveList(list);
  EXPECT_EQ("e4 Nf3 Nxe5(p) ", testing::internal::GetCapturedStdout());
  const Move empty[] = {0};
  testing::internal::CaptureStdout();
  PrintMoveList(empty);
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

TEST(ParseSan, ResolvesToTheFirstFittingLegalMove) {
  const char* const start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
  const char* const corners = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
  const char* const knights = "4k3/8/8/8/8/5N2/8/1N2K3 w - -";
  const char* const rooksOnAFile = "7k/3R4/8/8/3p4/8/8/3R3K w - -";
  const char* const rooksOnARank = "4k3/8/8/8/8/R2p3R/8/4K3 w - -";
  const char* const queens = "4k3/8/8/8/8/8/2Q5/4K2Q w - -";
  const struct { const char* fen; int side; const char* token; Move move; } cases[] = {
    {start, White, "e4", M(E2, E4, Pawn)},
    {start, White, "e3", M(E2, E3, Pawn)},
    {start, Black, "d5", M(D7, D5, Pawn)},
    {"rnbqkbnr/ppp1pppp/8/3p4/4P3/8/PPPP1PPP/RNBQKBNR w KQkq d6", White, "exd5", M(E4, D5, Pawn, Pawn)},
    {"rnbqkbnr/ppp1pppp/8/3p4/4P3/8/PPPP1PPP/RNBQKBNR w KQkq d6", White, "ed5", M(E4, D5, Pawn, Pawn)},
    {"rnbqkbnr/ppp1pppp/8/3p4/4P3/8/PPPP1PPP/RNBQKBNR w KQkq d6", White, "exd5+", M(E4, D5, Pawn, Pawn)},
    {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", White, "exd6", M(E5, D6, Pawn, Pawn)},
    // The promotion suffix is not read: the queen promotion is generated first (with the
    // captures), so it wins whatever is asked.
    {"k7/4P3/8/8/8/8/8/4K3 w - -", White, "e8=N", M(E7, E8, Pawn, 0, Queen)},
    {"k7/4P3/8/8/8/8/8/4K3 w - -", White, "e8R", M(E7, E8, Pawn, 0, Queen)},
    {"3rk3/4P3/8/8/8/8/8/4K3 w - -", White, "exd8=B+", M(E7, D8, Pawn, Rook, Queen)},
    {corners, White, "O-O", 24964},
    {corners, White, "o-o", 24964},
    {corners, White, "O-O-O", 24708},
    {corners, White, "o-O-o", 24708},
    {corners, Black, "O-O", 28604},
    {corners, Black, "O-O-O", 28348},
    {knights, White, "Nbd2", M(B1, D2, Knight)},
    {knights, White, "Nfd2", M(F3, D2, Knight)},
    {knights, White, "Nd2", M(B1, D2, Knight)},  // first generated: lowest square first
    {knights, White, "N3d2", M(F3, D2, Knight)},
    {knights, White, "N1d2", M(B1, D2, Knight)},
    {knights, White, "Ng5+", M(F3, G5, Knight)},
    {knights, White, "Nxg5", M(F3, G5, Knight)},  // an "x" is not checked against the board
    // Only legal moves are candidates: a pinned knight gives way to the free one.
    {"4k3/8/8/8/8/5N2/8/KN1r4 w - -", White, "Nd2", M(F3, D2, Knight)},
    {rooksOnAFile, White, "Rxd4", M(D1, D4, Rook, Pawn)},
    {rooksOnAFile, White, "R1xd4", M(D1, D4, Rook, Pawn)},
    {rooksOnAFile, White, "R7xd4", M(D7, D4, Rook, Pawn)},
    {rooksOnAFile, White, "R1d3", M(D1, D3, Rook)},
    {rooksOnAFile, White, "R7d5", M(D7, D5, Rook)},
    {rooksOnAFile, White, "Kg2", M(H1, G2, King)},
    {rooksOnARank, White, "Rxd3", M(A3, D3, Rook, Pawn)},
    {rooksOnARank, White, "Raxd3", M(A3, D3, Rook, Pawn)},
    {rooksOnARank, White, "Rhxd3", M(H3, D3, Rook, Pawn)},
    {rooksOnARank, White, "Rhe3", M(H3, E3, Rook)},
    // h1 is a lower square than c2, so that queen is generated first.
    {queens, White, "Qe4", M(H1, E4, Queen)},
    {queens, White, "Qce4", M(C2, E4, Queen)},
    {queens, White, "Q2e4", M(C2, E4, Queen)},
    {queens, White, "Qh7", M(H1, H7, Queen)},
    {queens, White, "Qch7", M(C2, H7, Queen)},
  };
  for (const auto& c : cases) {
    Set(c.fen);
    EXPECT_EQ(c.move, Resolve(c.token, c.side)) << c.token << " in " << c.fen;
  }
}

TEST(ParseSan, CastlingWithCheckMarkFailsAsAKingMove) {
  Set("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");
  const std::string board = BoardText(pos.pieces);
  const Parsed p = Parse("O-O+", White);
  EXPECT_EQ(0u, p.move);
  // "-O" is read as a square: ('O' - '1') * 8 + ('-' - 'a') = 188, unchecked.
  EXPECT_EQ(Echo("O-O+") + board + "Find move : can't find -1\n188\n6\n" +
                "Kg1 Kc1 Kd1 Kf1 Kd2 Ke2 Kf2 \n",
            p.output);
}

TEST(ParseSan, ResultsAndInvalidTokens) {
  SetInitialPosition();
  for (const char* result : {"1-0", "0-1", "1/2-1/2"}) {
    const Parsed p = Parse(result, White);
    EXPECT_EQ(0u, p.move);
    EXPECT_EQ(Echo(result), p.output);
  }
  for (const char* token : {"Z5", "*", "0-0", "Ae4", "Pe4", "p4", "xe4"}) {
    const Parsed p = Parse(token, White);
    EXPECT_EQ(0u, p.move) << token;
    EXPECT_EQ(Echo(token) + "move " + token + " is not valid\n", p.output);
  }
}

TEST(ParseSan, FailureReports) {
  SetInitialPosition();
  const std::string initial = BoardText(pos.pieces);

  Parsed p = Parse("e5", White);
  EXPECT_EQ(0u, p.move);
  EXPECT_EQ(Echo("e5") + initial + "Find move : can't find -1\n36\n1\n" +
                "a4 b4 c4 d4 e4 f4 g4 h4 a3 b3 c3 d3 e3 f3 g3 h3 \n",
            p.output);

  p = Parse("exd5", White);
  EXPECT_EQ(0u, p.move);
  EXPECT_EQ(Echo("exd5") + initial + "Find move file : can't find 4\n35\n1\n" +
                "a4 b4 c4 d4 e4 f4 g4 h4 a3 b3 c3 d3 e3 f3 g3 h3 \n",
            p.output);

  Set("7k/8/8/8/8/8/8/R6K w - -");
  const std::string board = BoardText(pos.pieces);
  p = Parse("R2a5", White);
  EXPECT_EQ(0u, p.move);
  EXPECT_EQ(Echo("R2a5") + board + "Find move rank : can't find 1\n32\n4\n" +
                "Rb1 Rc1 Rd1 Re1 Rf1 Rg1 Ra2 Ra3 Ra4 Ra5 Ra6 Ra7 Ra8 \n",
            p.output);

  // No piece of the type at all: the list is empty but the line end still comes.
  p = Parse("Qd4", White);
  EXPECT_EQ(0u, p.move);
  EXPECT_EQ(Echo("Qd4") + board + "Find move : can't find -1\n27\n5\n\n", p.output);
}

TEST(ParseSan, CastlingThatIsNotAvailable) {
  // The king is fixed on its home square, so the report names it as the from-square.
  Set("r3k2r/8/8/8/8/8/8/R3K1NR w KQkq -");
  const std::string board = BoardText(pos.pieces);
  const Parsed p = Parse("O-O", White);
  EXPECT_EQ(0u, p.move);
  EXPECT_EQ(Echo("O-O") + board + "Find move : can't find 4\n6\n6\n" + "Kc1 Kd1 Kf1 Kd2 Ke2 Kf2 \n", p.output);
}
