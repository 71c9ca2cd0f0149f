// Decoding and writing positions: GUIs, EPD suites and the book builder all feed us FEN text of
// varying quality, so the exact tolerance and messages matter as much as the happy path.
#include <gtest/gtest.h>

#include <string>

#include "board/fen.h"
#include "tests/capture.h"
#include "tests/position_check.h"

namespace {
using ostrel_test::SetPositionQuietly;

// Catches a decoder that misreads the placement, side, rights or en-passant square, keeps a
// right without its king and rook, changes its messages, or leaves a derived field unset
// (every position decoded without complaint is audited from scratch).
TEST(FenDecode, MessagesSideCastlingAndEnPassant) {
  const std::string noKing = "Error in position : king not found\n";
  const struct { const char* fen; std::string messages; int side; uint32_t castle; int ep; } cases[] = {
    {"8/8/8/8/8/8/8/8 w - -", noKing, White, 0, 0},
    // "p8" describes nine squares: every later "/" arrives off a rank boundary, and the run ends
    // one square past the board.
    {"p8/8/8/8/8/8/8/8 w - -",
     "Error in epd decoding 9\nError in epd decoding 17\nError in epd decoding 25\nError in epd decoding 33\n"
     "Error in epd decoding 41\nError in epd decoding 49\nError in epd decoding 57\nError in epd decoding 65\n" + noKing,
     White, 0, 0},
    // Too short, and cut short by a blank: what was read is kept.
    {"4k3/8 w - -", "Error in epd decoding 16\n" + noKing, White, 0, 0},
    {"4k3/8/8/8/8/8/8/4K b - -", "Error in epd decoding 61\n", Black, 0, 0},
    // A "/" on a boundary is fine, even before the first rank.
    {"/4k3/8/8/8/8/8/8/4K3 w - -", "", White, 0, 0},
    // Anything but " b" is White, including no side field at all.
    {"4k3/8/8/8/8/8/8/4K3 x - -", "", White, 0, 0}, {"4k3/8/8/8/8/8/8/4K3", "", White, 0, 0},
    {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq -", "", Black, 15, 0}, {"r3k2r/8/8/8/8/8/8/R3K2R w Qk -", "", White, 9, 0},
    // Only the fixed order K, Q, k, q is read; the letter after a break is passed over.
    {"r3k2r/8/8/8/8/8/8/R3K2R w kK -", "", White, 8, 0}, {"r3k2r/8/8/8/8/8/8/R3K2R w qK -", "", White, 4, 0},
    // A right needs its own king and rook at home; having castled is never read from a FEN.
    {"r3k2r/8/8/8/8/8/8/R3K1R1 w KQkq -", "", White, 13, 0}, {"r3k2r/8/8/8/8/8/8/R4K1R w KQkq -", "", White, 12, 0},
    {"1r2k2r/8/8/8/8/8/8/R3K2R w KQkq -", "", White, 11, 0}, {"R3k2r/8/8/8/8/8/8/r3K2R w KQkq -", "", White, 10, 0},
    {"r3k2r/8/8/8/8/8/8/R3Q2R w KQkq -", noKing, White, 12, 0}, {"r4rk1/8/8/8/8/8/8/R4RK1 w KQkq -", "", White, 0, 0},
    // The en-passant square counts only on the rank the side to move can take on.
    {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", "", White, 0, D6}, {"4k3/8/8/8/3pP3/8/8/4K3 w - e3", "", White, 0, 0},
    {"4k3/8/8/8/3pP3/8/8/4K3 b - e3", "", Black, 0, E3}, {"4k3/8/8/8/8/8/8/4K3 w - a6", "", White, 0, A6},
    {"4k3/8/8/8/8/8/8/4K3 w - i6", "", White, 0, 0}, {"r3k2r/8/8/3pP3/8/8/8/R3K2R w KQkq d6", "", White, 15, D6},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.messages, SetPositionQuietly(c.fen)) << c.fen;
    EXPECT_EQ(c.side, pos.sideToMove) << c.fen;
    EXPECT_EQ(c.castle, pos.castleFlags) << c.fen;
    EXPECT_EQ(c.ep, pos.epSquare) << c.fen;
    if (c.messages.empty()) {
      EXPECT_STREQ("", PositionFault(pos.sideToMove)) << c.fen;
    }
  }
  // Unknown placement characters are skipped.
  EXPECT_EQ("", SetPositionQuietly("r0x3k3/89/8/8/8/8/8/4K2?R w - -"));
  EXPECT_STREQ("r3k3/8/8/8/8/8/8/4K2R w - - ", PositionToEpd());
  // A promoted army makes counts and material differ from anything a start position gives.
  EXPECT_EQ("", SetPositionQuietly("QQ2k3/1P6/8/8/8/8/3q1n2/RN2K2b b - -"));
  EXPECT_EQ(2 * 9000 + 1000 + 5000 + 3000 - 9000 - 3000 - 3000, pos.material);
  EXPECT_STREQ("", PositionFault(pos.sideToMove));
  pos.ttAge = 5;
  SetInitialPosition();
  EXPECT_EQ(0, pos.ttAge);
  EXPECT_STREQ("", PositionFault(pos.sideToMove));
}

// Catches wrong run lengths, letters, rights or en-passant text, and a having-castled flag
// written as a right. The en-passant square ends the text; otherwise a blank follows "-".
TEST(FenWrite, ExactTexts) {
  const struct { const char* fen; uint32_t castled; const char* written; } cases[] = {
    {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 0,
     "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - "},
    {"rnbqkbnr/pppp1ppp/8/8/4Pp2/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 3", 0,
     "rnbqkbnr/pppp1ppp/8/8/4Pp2/8/PPPP1PPP/RNBQKBNR b KQkq e3"},
    {"4k3/8/8/8/8/8/8/4K3 w - -", 0, "4k3/8/8/8/8/8/8/4K3 w - - "},
    {"r3k2r/8/8/8/8/8/8/R3K2R b Qk -", 0, "r3k2r/8/8/8/8/8/8/R3K2R b Qk - "},
    {"r3k2r/8/8/8/8/8/8/R3K2R b - -", WhiteCastled | BlackCastled, "r3k2r/8/8/8/8/8/8/R3K2R b - - "},
  };
  for (const auto& c : cases) {
    SetPositionQuietly(c.fen);
    pos.castleFlags |= c.castled;
    EXPECT_STREQ(c.written, PositionToEpd()) << c.fen;
  }
  // An unknown mailbox value is reported, and is neither a letter nor counted as empty.
  SetPositionQuietly("4k3/8/8/8/8/8/8/4K3 w - -");
  pos.board[A1] = 7;
  std::string epd;
  EXPECT_EQ("Print EPD : cannot identify piece on square 0\n", Captured([&] { epd = PositionToEpd(); }));
  EXPECT_EQ("4k3/8/8/8/8/8/8/3K3 w - - ", epd);
  pos.board[A1] = 0;
}
}  // namespace
