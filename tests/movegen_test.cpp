// Generation order matters: SAN ties, the promotion piece a bare "e8" gets,
// game-move matching and book choices all take the first fitting move. These tests pin it.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "board/fen.h"
#include "board/movegen.h"

namespace {

typedef std::vector<Move> Moves;

void Set(const char* fen) {
  testing::internal::CaptureStdout();
  SetPosition(fen);
  EXPECT_EQ("", testing::internal::GetCapturedStdout()) << fen;
}

Moves Captures(int side) {
  Move list[MaxMoves];
  return Moves(list, GenerateCaptures(list, side));
}

Moves Quiet(int side) {
  Move list[MaxMoves];
  return Moves(list, GenerateQuiet(list, side));
}

Moves Legal(int side) {
  Move list[MaxMoves];
  return Moves(list, GenerateLegal(list, side));
}

Moves Tail(const Moves& moves, size_t n) { return Moves(moves.end() - std::min(n, moves.size()), moves.end()); }

bool Contains(const Moves& moves, Move m) { return std::find(moves.begin(), moves.end(), m) != moves.end(); }

Move M(int from, int to, int piece, int captured = 0, int promotion = 0) {
  return EncodeMove(from, to, piece, captured, promotion);
}

const Move WhiteKingSideCastle = 24964, WhiteQueenSideCastle = 24708;
const Move BlackKingSideCastle = 28604, BlackQueenSideCastle = 28348;

}  // namespace

TEST(MoveGeneration, InitialPositionOrder) {
  SetInitialPosition();
  EXPECT_TRUE(Captures(White).empty());
  EXPECT_TRUE(Captures(Black).empty());

  Moves white = {M(B1, A3, Knight), M(B1, C3, Knight), M(G1, F3, Knight), M(G1, H3, Knight)};
  for (int f = 0; f < 8; f++) white.push_back(M(A2 + f, A4 + f, Pawn));
  for (int f = 0; f < 8; f++) white.push_back(M(A2 + f, A3 + f, Pawn));
  EXPECT_EQ(white, Quiet(White));

  Moves black = {M(B8, A6, Knight), M(B8, C6, Knight), M(G8, F6, Knight), M(G8, H6, Knight)};
  for (int f = 0; f < 8; f++) black.push_back(M(A7 + f, A5 + f, Pawn));
  for (int f = 0; f < 8; f++) black.push_back(M(A7 + f, A6 + f, Pawn));
  EXPECT_EQ(black, Quiet(Black));

  EXPECT_EQ(white, Legal(White));
}

TEST(MoveGeneration, CaptureOrderAndPromotionsForWhite) {
  // Every piece type has a capture; two pawns capture both ways, one of them onto the last rank.
  Set("3r1n1k/4P3/8/p1p4p/1P1p1p2/6N1/p7/K1BQ3R w - -");
  const Moves expected = {
      M(G3, H5, Knight, Pawn),
      M(H1, H5, Rook, Pawn),
      M(C1, F4, Bishop, Pawn),
      M(D1, D4, Queen, Pawn), M(D1, H5, Queen, Pawn),
      M(A1, A2, King, Pawn),
      M(E7, E8, Pawn, 0, Queen),
      // towards the a-file, lowest destination first, then towards the h-file
      M(B4, A5, Pawn, Pawn), M(E7, D8, Pawn, Rook, Queen),
      M(B4, C5, Pawn, Pawn), M(E7, F8, Pawn, Knight, Queen),
  };
  EXPECT_EQ(expected, Captures(White));

  const Moves underPromotions = {
      M(E7, D8, Pawn, Rook, Rook), M(E7, D8, Pawn, Rook, Bishop), M(E7, D8, Pawn, Rook, Knight),
      M(E7, F8, Pawn, Knight, Rook), M(E7, F8, Pawn, Knight, Bishop), M(E7, F8, Pawn, Knight, Knight),
      M(E7, E8, Pawn, 0, Knight), M(E7, E8, Pawn, 0, Rook), M(E7, E8, Pawn, 0, Bishop),
  };
  const Moves quiet = Quiet(White);
  EXPECT_EQ(underPromotions, Tail(quiet, 9));
  for (Move m : quiet) EXPECT_NE(Queen, MovePromotion(m)) << m;
}

TEST(MoveGeneration, CaptureOrderAndPromotionsForBlack) {
  // Black's a-file direction is -9, so d2xc1 comes before b5xa4, and d2xe1 before b5xc4.
  Set("7k/8/8/1p6/P1P5/8/3p4/2R1R2K b - -");
  const Moves expected = {
      M(D2, D1, Pawn, 0, Queen),
      M(D2, C1, Pawn, Rook, Queen), M(B5, A4, Pawn, Pawn),
      M(D2, E1, Pawn, Rook, Queen), M(B5, C4, Pawn, Pawn),
  };
  EXPECT_EQ(expected, Captures(Black));
  const Moves underPromotions = {
      M(D2, C1, Pawn, Rook, Rook), M(D2, C1, Pawn, Rook, Bishop), M(D2, C1, Pawn, Rook, Knight),
      M(D2, E1, Pawn, Rook, Rook), M(D2, E1, Pawn, Rook, Bishop), M(D2, E1, Pawn, Rook, Knight),
      M(D2, D1, Pawn, 0, Knight), M(D2, D1, Pawn, 0, Rook), M(D2, D1, Pawn, 0, Bishop),
  };
  EXPECT_EQ(underPromotions, Tail(Quiet(Black), 9));
}

TEST(MoveGeneration, EnPassant) {
  Set("4k3/8/8/3pP3/8/8/8/4K3 w - d6");
  EXPECT_EQ(Moves({M(E5, D6, Pawn, Pawn)}), Captures(White));
  EXPECT_TRUE(Contains(Legal(White), M(E5, D6, Pawn, Pawn)));

  Set("4k3/8/8/8/2PpP3/8/8/4K3 b - e3");
  EXPECT_EQ(Moves({M(D4, E3, Pawn, Pawn)}), Captures(Black));

  // Without the square there is nothing to take.
  Set("4k3/8/8/3pP3/8/8/8/4K3 w - -");
  EXPECT_TRUE(Captures(White).empty());
}

TEST(MoveGeneration, Castling) {
  Set("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");
  Moves white = Quiet(White), black = Quiet(Black);
  ASSERT_GE(white.size(), 2u);
  EXPECT_EQ(WhiteKingSideCastle, white[0]);
  EXPECT_EQ(WhiteQueenSideCastle, white[1]);
  EXPECT_EQ(BlackKingSideCastle, black[0]);
  EXPECT_EQ(BlackQueenSideCastle, black[1]);

  const struct { const char* fen; bool kingSide, queenSide; } cases[] = {
    {"r3k2r/8/8/8/8/8/8/R3K2R w Qkq -", false, true},       // no right
    {"4k3/4r3/8/8/8/8/8/R3K2R w KQ -", false, false},       // in check
    {"4kr2/8/8/8/8/8/8/R3K2R w KQ -", false, true},         // passes an attacked f1
    {"4k1r1/8/8/8/8/8/8/R3K2R w KQ -", false, true},        // lands on an attacked g1
    {"2r1k3/8/8/8/8/8/8/R3K2R w KQ -", true, false},        // lands on an attacked c1
    {"1r2k3/8/8/8/8/8/8/R3K2R w KQ -", true, true},         // b1 is attacked but not crossed
    {"4k3/8/8/8/8/8/8/RN2K1NR w KQ -", false, false},       // pieces between, b1 included
    {"4k3/8/8/8/8/8/6p1/R3K2R w KQ -", false, true},        // pawn on f1
    {"4k3/8/8/8/8/4n3/8/R3K2R w KQ -", false, false},       // knight on d1 and f1
    {"4k3/8/8/8/8/b7/8/R3K2R w KQ -", true, false},         // bishop on c1
  };
  for (const auto& c : cases) {
    Set(c.fen);
    const Moves quiet = Quiet(White);
    EXPECT_EQ(c.kingSide, Contains(quiet, WhiteKingSideCastle)) << c.fen;
    EXPECT_EQ(c.queenSide, Contains(quiet, WhiteQueenSideCastle)) << c.fen;
  }

  // Black's squares are tested the same way: a knight on h6 covers g8 only.
  Set("r3k2r/8/7N/8/8/8/8/4K3 b kq -");
  black = Quiet(Black);
  EXPECT_FALSE(Contains(black, BlackKingSideCastle));
  EXPECT_TRUE(Contains(black, BlackQueenSideCastle));
  // An enemy king next to the path counts as an attacker.
  Set("r3k2r/8/8/8/8/8/8/4K3 b kq -");
  EXPECT_TRUE(Contains(Quiet(Black), BlackKingSideCastle));
  Set("r3k2r/6K1/8/8/8/8/8/8 b kq -");
  black = Quiet(Black);
  EXPECT_FALSE(Contains(black, BlackKingSideCastle));
  EXPECT_TRUE(Contains(black, BlackQueenSideCastle));
}

TEST(MoveGeneration, LegalOnMateAndStalemate) {
  Move list[MaxMoves];
  Set("rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq -");
  const uint64_t key = pos.hashKey;
  EXPECT_EQ(list, GenerateLegal(list, White));
  EXPECT_EQ(key, pos.hashKey);

  Set("7k/5Q2/6K1/8/8/8/8/8 b - -");
  EXPECT_EQ(list, GenerateLegal(list, Black));
}
