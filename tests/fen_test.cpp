// Decoding and writing positions, and the board drawing. GUIs, EPD suites and the book builder
// all feed us FEN text of varying quality, so the decoder's exact tolerance and messages matter
// as much as the happy path.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "board/display.h"
#include "board/fen.h"
#include "board/keys.h"
#include "board/position.h"
#include "search/psqtables.h"

namespace {

std::string Decode(const char* fen) {
  testing::internal::CaptureStdout();
  SetPosition(fen);
  return testing::internal::GetCapturedStdout();
}

std::vector<std::string> Fields(const std::string& text, size_t count) {
  std::istringstream in(text);
  std::vector<std::string> fields;
  std::string field;
  while (fields.size() < count && in >> field) fields.push_back(field);
  return fields;
}

// The counters and keys the decoder derives, recomputed here square by square.
void ExpectDerivedFromScratch(const char* what) {
  SCOPED_TRACE(what);
  int count[2][7] = {}, material = 0;
  uint64_t hash = pos.sideToMove == White ? whiteToMoveKey : blackToMoveKey, pawns = 0;
  for (int s = 0; s < 64; s++) {
    const int v = pos.board[s];
    if (!v) continue;
    const int side = v > 0 ? White : Black, type = v > 0 ? v : -v;
    count[side][type]++;
    if (type != King) material += (side == White ? 1 : -1) * pieceValue[type];
    hash ^= pieceKey[side][type][s];
    if (type == Pawn) pawns ^= pawnKey[side][s];
  }
  for (int side = Black; side <= White; side++) {
    EXPECT_EQ(count[side][Pawn], pos.pawnCount[side]);
    EXPECT_EQ(count[side][Knight] + count[side][Bishop] + count[side][Rook] + count[side][Queen], pos.pieceCount[side]);
    for (int type = Pawn; type <= Queen; type++) EXPECT_EQ(count[side][type], pos.typeCount[side][type]) << type;
  }
  EXPECT_EQ(material, pos.material);
  EXPECT_EQ(hash, pos.hashKey);
  EXPECT_EQ(pawns, pos.pawnKey);
  EXPECT_EQ(ComputePsqScore(), pos.psqScore);
  EXPECT_EQ(0, pos.ttAge);
}

const char kBorder[] = "+---+---+---+---+---+---+---+---+\n";

}  // namespace

TEST(FenDecode, EmptyBoardOnlyMissesItsKings) {
  EXPECT_EQ("Error in position : king not found\n", Decode("8/8/8/8/8/8/8/8 w - -"));
  EXPECT_EQ(0, pos.kingSquare[White]);
  EXPECT_EQ(0, pos.kingSquare[Black]);
  EXPECT_EQ(0ULL, pos.occupied);
  EXPECT_EQ(0, pos.material);
  EXPECT_EQ(White, pos.sideToMove);

  // One king is not enough either.
  EXPECT_EQ("Error in position : king not found\n", Decode("4k3/8/8/8/8/8/8/8 b - -"));
  EXPECT_EQ(60, pos.kingSquare[Black]);
  EXPECT_EQ(0, pos.kingSquare[White]);
}

TEST(FenDecode, SquareCounterErrors) {
  // "p8" describes nine squares: every later "/" arrives off a rank boundary, and the run ends
  // one square past the board.
  EXPECT_EQ("Error in epd decoding 9\nError in epd decoding 17\nError in epd decoding 25\n"
            "Error in epd decoding 33\nError in epd decoding 41\nError in epd decoding 49\n"
            "Error in epd decoding 57\nError in epd decoding 65\nError in position : king not found\n",
            Decode("p8/8/8/8/8/8/8/8 w - -"));
  EXPECT_EQ(-Pawn, pos.board[A8]);

  // Too short, and cut short by a blank: what was read is kept.
  EXPECT_EQ("Error in epd decoding 16\nError in position : king not found\n", Decode("4k3/8 w - -"));
  EXPECT_EQ(-King, pos.board[E8]);
  EXPECT_EQ("Error in epd decoding 61\n", Decode("4k3/8/8/8/8/8/8/4K b - -"));
  EXPECT_EQ(King, pos.board[E1]);
  EXPECT_EQ(Black, pos.sideToMove);

  // A "/" on a boundary is fine, even before the first rank.
  EXPECT_EQ("", Decode("/4k3/8/8/8/8/8/8/4K3 w - -"));
  EXPECT_EQ(60, pos.kingSquare[Black]);
  EXPECT_EQ(4, pos.kingSquare[White]);
}

TEST(FenDecode, UnknownPlacementCharactersAreSkipped) {
  Decode("r3k3/8/8/8/8/8/8/4K2R w - -");
  const uint64_t clean = pos.hashKey;
  int board[64];
  std::copy(pos.board, pos.board + 64, board);

  EXPECT_EQ("", Decode("r0x3k3/89/8/8/8/8/8/4K2?R w - -"));
  EXPECT_EQ(clean, pos.hashKey);
  EXPECT_TRUE(std::equal(board, board + 64, pos.board));
}

TEST(FenDecode, SideToMove) {
  Decode("4k3/8/8/8/8/8/8/4K3 b - -");
  EXPECT_EQ(Black, pos.sideToMove);
  const uint64_t black = pos.hashKey;
  Decode("4k3/8/8/8/8/8/8/4K3 w - -");
  EXPECT_EQ(White, pos.sideToMove);
  EXPECT_EQ(sideKey, black ^ pos.hashKey);
  // Anything but " b" is White, including no side field at all.
  Decode("4k3/8/8/8/8/8/8/4K3 x - -");
  EXPECT_EQ(White, pos.sideToMove);
  Decode("4k3/8/8/8/8/8/8/4K3");
  EXPECT_EQ(White, pos.sideToMove);
}

TEST(FenDecode, CastlingField) {
  const struct { const char* fen; uint32_t flags; } cases[] = {
    {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", 15},
    {"r3k2r/8/8/8/8/8/8/R3K2R w - -", 0},
    {"r3k2r/8/8/8/8/8/8/R3K2R w Qk -", 9},
    // Only the fixed order K, Q, k, q is read; the letter after a break is passed over.
    {"r3k2r/8/8/8/8/8/8/R3K2R w kK -", 8},
    {"r3k2r/8/8/8/8/8/8/R3K2R w qK -", 4},
    // A right needs its own king and rook at home.
    {"r3k2r/8/8/8/8/8/8/R3K1R1 w KQkq -", 13},
    {"r3k2r/8/8/8/8/8/8/R4K1R w KQkq -", 12},
    {"1r2k2r/8/8/8/8/8/8/R3K2R w KQkq -", 11},
    {"R3k2r/8/8/8/8/8/8/r3K2R w KQkq -", 10},
    {"r3k2r/8/8/8/8/8/8/R3Q2R w KQkq -", 12},
    // Having castled is never read from a FEN.
    {"r4rk1/8/8/8/8/8/8/R4RK1 w KQkq -", 0},
  };
  for (const auto& c : cases) {
    Decode(c.fen);
    EXPECT_EQ(c.flags, pos.castleFlags) << c.fen;
  }
}

TEST(FenDecode, EnPassantNeedsTheRightRankForTheSide) {
  const struct { const char* fen; int ep; } cases[] = {
    {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", 43},
    {"4k3/8/8/4Pp2/8/8/8/4K3 w - e6", 44},
    {"4k3/8/8/8/3pP3/8/8/4K3 w - e3", 0},
    {"4k3/8/8/8/3pP3/8/8/4K3 b - e3", 20},
    {"4k3/8/8/3pP3/8/8/8/4K3 b - d6", 0},
    {"4k3/8/8/8/8/8/8/4K3 w - a6", 40},
    {"4k3/8/8/8/8/8/8/4K3 b - h3", 23},
    {"4k3/8/8/8/8/8/8/4K3 w - -", 0},
    {"4k3/8/8/8/8/8/8/4K3 w - e5", 0},
    {"4k3/8/8/8/8/8/8/4K3 w - i6", 0},
    {"r3k2r/8/8/3pP3/8/8/8/R3K2R w KQkq d6", 43},
  };
  for (const auto& c : cases) {
    Decode(c.fen);
    EXPECT_EQ(c.ep, pos.epSquare) << c.fen;
  }
}

TEST(FenDecode, CountsMaterialAndKeys) {
  // A promoted army makes counts and material differ from anything a start position gives.
  EXPECT_EQ("", Decode("QQ2k3/1P6/8/8/8/8/3q1n2/RN2K2b b - -"));
  EXPECT_EQ(4, pos.pieceCount[White]);
  EXPECT_EQ(2, pos.typeCount[White][Queen]);
  EXPECT_EQ(2 * 9000 + 1000 + 5000 + 3000 - 9000 - 3000 - 3000, pos.material);
  ExpectDerivedFromScratch("promoted army");
}

TEST(FenDecode, SetInitialPosition) {
  pos.ttAge = 5;
  testing::internal::CaptureStdout();
  SetInitialPosition();
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  EXPECT_EQ(15u, pos.castleFlags);
  EXPECT_EQ(0, pos.material);
  EXPECT_EQ(0, pos.psqScore);
  EXPECT_EQ(0, pos.epSquare);
  EXPECT_EQ(White, pos.sideToMove);
  EXPECT_EQ(E1, pos.kingSquare[White]);
  EXPECT_EQ(E8, pos.kingSquare[Black]);
  ExpectDerivedFromScratch("initial");
}

TEST(FenWrite, ExactTexts) {
  SetInitialPosition();
  EXPECT_STREQ("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ", PositionToEpd());

  Decode("rnbqkbnr/pppp1ppp/8/8/4Pp2/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 3");
  EXPECT_STREQ("rnbqkbnr/pppp1ppp/8/8/4Pp2/8/PPPP1PPP/RNBQKBNR b KQkq e3", PositionToEpd());

  Decode("4k3/8/8/8/8/8/8/4K3 w - -");
  EXPECT_STREQ("4k3/8/8/8/8/8/8/4K3 w - - ", PositionToEpd());

  Decode("r3k2r/8/8/8/8/8/8/R3K2R b Qk -");
  EXPECT_STREQ("r3k2r/8/8/8/8/8/8/R3K2R b Qk - ", PositionToEpd());

  // Having castled is not a right and writes nothing.
  pos.castleFlags = WhiteCastled | BlackCastled;
  EXPECT_STREQ("r3k2r/8/8/8/8/8/8/R3K2R b - - ", PositionToEpd());
}

TEST(FenWrite, UnknownMailboxValueIsReportedAndSkipped) {
  Decode("4k3/8/8/8/8/8/8/4K3 w - -");
  pos.board[A1] = 7;
  testing::internal::CaptureStdout();
  const std::string epd = PositionToEpd();
  EXPECT_EQ("Print EPD : cannot identify piece on square 0\n", testing::internal::GetCapturedStdout());
  // The square is neither a letter nor counted as empty.
  EXPECT_EQ("4k3/8/8/8/8/8/8/3K3 w - - ", epd);
  pos.board[A1] = 0;
}

TEST(FenWrite, RoundTripsEveryPerftPosition) {
  const std::string dir = std::string(OSTREL_TEST_DATA) + "/perft";
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(dir))
    if (entry.path().extension() == ".epd") files.push_back(entry.path().string());
  ASSERT_FALSE(files.empty());
  int positions = 0;
  std::string firstFailure;
  testing::internal::CaptureStdout();
  for (const std::string& file : files) {
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line) && firstFailure.empty()) {
      const std::vector<std::string> original = Fields(line, 4);
      if (original.size() < 4) continue;
      SetPosition(line.c_str());
      const std::string first = PositionToEpd();
      SetPosition(first.c_str());
      const std::string second = PositionToEpd();
      if (original != Fields(first, 4) || first != second) firstFailure = line + " -> [" + first + "] -> [" + second + "]";
      positions++;
    }
  }
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  EXPECT_EQ("", firstFailure);
  EXPECT_GT(positions, 7000);
}

TEST(BoardDrawing, InitialPosition) {
  SetInitialPosition();
  std::string expected = kBorder;
  const char* rows[8] = {"rnbqkbnr", "pppppppp", "        ", "        ",
                         "        ", "        ", "PPPPPPPP", "RNBQKBNR"};
  for (const char* row : rows) {
    expected += "|";
    for (int f = 0; f < 8; f++) expected += std::string(" ") + row[f] + " |";
    expected += "\n";
    expected += kBorder;
  }
  expected += "\n";
  EXPECT_EQ(expected, BoardText(pos.pieces));

  testing::internal::CaptureStdout();
  PrintBoard(pos.pieces);
  EXPECT_EQ(expected, testing::internal::GetCapturedStdout());
}

TEST(BoardDrawing, DrawsFromTheBitboardsNotTheMailbox) {
  Bitboard pieces[2][6] = {};
  pieces[White][QueenSlot] = 1ULL << H8;
  pieces[Black][KnightSlot] = 1ULL << A1;
  const std::string text = BoardText(pieces);
  const std::string empty = "|   |   |   |   |   |   |   |   |\n";
  std::string expected = kBorder;
  expected += std::string("|   |   |   |   |   |   |   | Q |\n") + kBorder;
  for (int r = 0; r < 6; r++) expected += empty + kBorder;
  expected += std::string("| n |   |   |   |   |   |   |   |\n") + kBorder + "\n";
  EXPECT_EQ(expected, text);
}
