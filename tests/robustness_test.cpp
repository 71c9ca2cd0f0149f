// Hostile input: position text and move tokens that are garbage, truncated, huge or merely
// odd. Nothing may crash or read outside a table (the sanitizer build watches for that), and
// whatever the decoder builds must still be a position whose parts agree with each other.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "tests/position_check.h"

namespace {

using ostrel_test::CheckPosition;
using ostrel_test::DiffPositions;
using ostrel_test::MoveText;
using ostrel_test::PseudoLegalMoves;
using ostrel_test::RandomGame;
using ostrel_test::SnapshotPosition;
using ostrel_test::TestRandom;

#ifdef OSTREL_SANITIZE
constexpr int Scale = 3;
#else
constexpr int Scale = 8;
#endif

const std::string fenAlphabet = "pnbrqkPNBRQK0123456789/ -wbKQkqabcdefgh36\t";
const std::string sanAlphabet = "abcdefghNBRQKOoxX12345678909=+#-/ !?";

std::string RandomText(TestRandom& random, const std::string& alphabet, size_t length) {
  std::string text(length, ' ');
  for (char& c : text) c = alphabet[random.Below(uint32_t(alphabet.size()))];
  return text;
}

std::string RandomBytes(TestRandom& random, size_t length) {
  std::string text(length, ' ');
  for (char& c : text) c = char(1 + random.Below(255));  // no terminator inside
  return text;
}

// Decodes text (diagnostics discarded) and checks what came out; on failure says what the
// input was, shortened.
void DecodeAndAudit(const std::string& text) {
  ostrel_test::SetPositionQuietly(text);
  const std::string shown = text.size() > 80 ? text.substr(0, 80) + "... (" + std::to_string(text.size()) + " chars)" : text;
  ASSERT_EQ(CheckPosition(), "") << "decoding [" << shown << "]";

  // Whatever was decoded writes out as text that decodes to the very same record.
  const Position decoded = SnapshotPosition();
  const std::string written = PositionToEpd();
  const std::string noise = ostrel_test::SetPositionQuietly(written);
  ASSERT_EQ(DiffPositions(decoded, pos), "") << "[" << shown << "] written as [" << written << "]";
  if (pos.pieces[White][KingSlot] && pos.pieces[Black][KingSlot]) {
    EXPECT_EQ(noise, "") << written;
  }
}

TEST(Robustness, DecoderSurvivesGarbage) {
  TestRandom random(0xBAD);
  for (int i = 0; i < 250 * Scale; i++) {
    DecodeAndAudit(RandomBytes(random, random.Below(200)));
    DecodeAndAudit(RandomText(random, fenAlphabet, random.Below(120)));
    if (HasFatalFailure()) return;
  }
}

TEST(Robustness, DecoderSurvivesDamagedPositions) {
  const std::vector<std::string> good = {
      "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1",
      "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
      "rnb1k2r/pp1p1p1p/1q1P4/2pnpPp1/6P1/2N5/PP1BP2P/R2QKBNR w KQkq e6 0 1"};
  TestRandom random(0xFE11);
  for (int i = 0; i < 250 * Scale; i++) {
    std::string text = good[random.Below(uint32_t(good.size()))];
    for (int edits = 1 + random.Below(4); edits > 0 && !text.empty(); edits--) {
      const size_t at = random.Below(uint32_t(text.size()));
      const char c = fenAlphabet[random.Below(uint32_t(fenAlphabet.size()))];
      switch (random.Below(3)) {
        case 0: text[at] = c; break;
        case 1: text.insert(text.begin() + at, c); break;
        default: text.erase(at, 1); break;
      }
    }
    DecodeAndAudit(text);
    if (HasFatalFailure()) return;
  }

  // Every prefix, down to the empty text.
  const std::string full = good[0];
  for (size_t n = 0; n <= full.size(); n++) {
    DecodeAndAudit(full.substr(0, n));
    if (HasFatalFailure()) return;
  }
  for (const char* text : {"", "8", "rnbqkbnr w KQkq e6", "rnbqkbnr/pppppppp w", "/", "k", "K", "Kk", " b"})
    DecodeAndAudit(text);
}

TEST(Robustness, DecoderSurvivesHugeAndMonotonousText) {
  constexpr size_t Huge = 100 * 1024;
  TestRandom random(0x100);
  std::vector<std::string> texts = {
      std::string(Huge, 'x'), std::string(Huge, '/'), std::string(Huge, '1'), std::string(Huge, '9'),
      std::string(Huge, '0'), std::string(Huge, 'P'), std::string(Huge, 'k'), std::string(Huge, ' '),
      std::string(Huge, '-'), RandomText(random, fenAlphabet, Huge),
      RandomText(random, "0123456789", Huge), RandomText(random, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ", Huge),
      RandomBytes(random, Huge)};
  std::string ranks;
  while (ranks.size() < Huge) ranks += "8/";
  texts.push_back(ranks);
  texts.push_back("8/8/8/8/8/8/8/8 w " + std::string(Huge, 'K'));
  texts.push_back("4k3/8/8/8/8/8/8/4K3 b KQkq " + std::string(Huge, 'e'));
  for (const std::string& text : texts) {
    DecodeAndAudit(text);
    if (HasFatalFailure()) return;
  }
}

// Positions that are wrong but bounded: standard material at most, pawns on any rank, a king
// possibly missing, the side not to move possibly in check, stray castling and en-passant
// fields. Generation, validity, make/unmake and SAN lookup must all cope; move lists stay
// within their room because the material does.
std::string BoundedOddPosition(TestRandom& random) {
  char board[64];
  std::fill(board, board + 64, '.');
  const char* const sets[2] = {"qrrbbnnpppppppp", "QRRBBNNPPPPPPPP"};
  for (int side = 0; side < 2; side++) {
    if (random.Below(8)) {
      int s;
      do s = random.Below(64); while (board[s] != '.');
      board[s] = side ? 'K' : 'k';
    }
    for (const char* p = sets[side]; *p; p++) {
      if (random.Below(3) == 0) continue;
      int s;
      do s = random.Below(64); while (board[s] != '.');
      board[s] = *p;
    }
  }
  // Kings and rooks at home now and then, so that castling rights survive decoding. A king
  // moved home leaves no second king behind.
  const struct { char king, rook; int kingHome, rookA, rookH; } homes[2] = {{'K', 'R', E1, A1, H1}, {'k', 'r', E8, A8, H8}};
  for (const auto& h : homes) {
    if (random.Below(2)) continue;
    std::replace(board, board + 64, h.king, '.');
    board[h.kingHome] = h.king, board[h.rookA] = h.rook, board[h.rookH] = h.rook;
  }

  std::string fen;
  for (int rank = 7; rank >= 0; rank--) {
    for (int file = 0; file < 8; file++) fen += board[rank * 8 + file] == '.' ? '1' : board[rank * 8 + file];
    if (rank) fen += '/';
  }
  fen += random.Below(2) ? " w " : " b ";
  fen += random.Below(2) ? "KQkq " : "- ";
  fen += std::string(1, char('a' + random.Below(8))) + (random.Below(2) ? "6" : "3");
  return fen;
}

TEST(Robustness, OddPositionsMoveAndUnmakeCleanly) {
  TestRandom random(0x0DD);
  for (int i = 0; i < 60 * Scale; i++) {
    const std::string fen = BoundedOddPosition(random);
    testing::internal::CaptureStdout();
    SetPosition(fen.c_str());
    const Position start = SnapshotPosition();
    std::string fault = CheckPosition();
    for (int side = Black; side <= White && fault.empty(); side++) {
      const std::vector<Move> moves = PseudoLegalMoves(side);
      if (moves.size() > size_t(MaxMoves)) fault = "more moves than a list holds";
      SaveUndo(1);
      for (Move m : moves) {
        if (fault.empty() && !IsValidMove(m, side)) fault = "generated but not valid: " + MoveText(m);
        MakeMove(m, 1, side);
        UnmakeMove(m, 1, side);
        const std::string diff = DiffPositions(start, pos);
        if (!diff.empty() && fault.empty()) fault = "unmaking " + MoveText(m) + " left " + diff;
      }
      Move legal[MaxMoves];
      GenerateLegal(legal, side);
      for (int t = 0; t < 10; t++) {
        const std::string token = RandomText(random, sanAlphabet, random.Below(8));
        ParseSan(token.c_str(), side);
      }
      for (int t = 0; t < 50; t++) IsValidMove(Move(random.Next() & 0x1FFFFF), side);
      if (fault.empty()) fault = DiffPositions(start, pos);
    }
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(fault, "") << fen;
  }
}

TEST(Robustness, SanParserSurvivesAnyToken) {
  std::vector<std::string> tokens = {"",    "O-O+", "Z5",    "1-0", "0-1", "1/2-1/2", "Nxx", "e",   "e9",  "a0",
                                     "hx",  "x",    "O-O-O", "o-o", "O",   "o-o-o-o", "Kx",  "Nb",  "N1",  "R1x",
                                     "Qh9", "B0a",  "exd",   "e8=", "a",   "h",       "ex",  "N1x", "Nbx", "b\t"};
  TestRandom random(0x5A4);
  for (int i = 0; i < 30 * Scale; i++) tokens.push_back(RandomText(random, sanAlphabet, random.Below(10)));
  const std::vector<std::string> huge = {std::string(100 * 1024, 'N'), "e4" + std::string(100 * 1024, '+'),
                                         RandomText(random, sanAlphabet, 100 * 1024), "O-O" + std::string(100 * 1024, 'O')};
  const char* const fens[] = {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -",
                              "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
                              "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N w - -",
                              "rnb1k2r/pp1p1p1p/1q1P4/2pnpPp1/6P1/2N5/PP1BP2P/R2QKBNR w KQkq e6"};
  for (const char* fen : fens) {
    RandomGame game(fen, 9);
    std::string fault;
    for (int ply = 0; ply < 6 && fault.empty(); ply++) {
      const int side = game.Side();
      Move legal[MaxMoves];
      const Move* end = GenerateLegal(legal, side);
      const Position before = SnapshotPosition();
      auto parse = [&](const std::string& token) {
        const Move m = ParseSan(token.c_str(), side);
        if (m && std::find(static_cast<const Move*>(legal), end, m) == end)
          fault = "[" + token.substr(0, 20) + "] gave the illegal " + MoveText(m);
        const std::string diff = DiffPositions(before, pos);
        if (!diff.empty() && fault.empty()) fault = "[" + token.substr(0, 20) + "] changed " + diff;
      };
      testing::internal::CaptureStdout();
      for (const std::string& token : tokens) parse(token);
      if (ply == 0)
        for (const std::string& token : huge) parse(token);
      testing::internal::GetCapturedStdout();
      if (!game.Play()) break;
    }
    ASSERT_EQ(fault, "") << fen;
  }
}

}  // namespace

TEST(Robustness, PositionsCrowdedWithQueensFitTheMoveLists) {
  // Far more moves than any real game allows (279 for White here); every list must hold them.
  const char* fen = "QQQQQQQk/Q111111Q/Q1111Q1Q/Q111111Q/Q111111Q/Q111111Q/Q111111Q/KQQQQQQQ w - -";
  testing::internal::CaptureStdout();
  SetPosition(fen);
  const Move move = ParseSan("Qd4", White);
  Move legal[MaxMoves];
  const Move* end = GenerateLegal(legal, White);
  testing::internal::GetCapturedStdout();
  EXPECT_NE(move, 0u);
  EXPECT_GT(end - legal, 256);
  EXPECT_EQ(CheckPosition(), "");
}
