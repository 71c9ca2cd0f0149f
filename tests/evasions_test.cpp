// The check-evasion generator against plain legality, and the validity test for moves that come
// from other positions (hash and killer moves) against the generators themselves.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "board/bitboard.h"
#include "board/fen.h"
#include "board/movegen.h"
#include "tests/position_check.h"

namespace {

using ostrel_test::CheckPosition;
using ostrel_test::DiffPositions;
using ostrel_test::LegalMovesByPlaying;
using ostrel_test::MoveText;
using ostrel_test::PseudoLegalMoves;
using ostrel_test::RandomGame;
using ostrel_test::ReadEpdPositions;
using ostrel_test::SnapshotPosition;
using ostrel_test::TestRandom;

#ifdef OSTREL_SANITIZE
constexpr int Scale = 3;
#else
constexpr int Scale = 6;
#endif

void SetQuietly(const std::string& fen) { ostrel_test::SetPositionQuietly(fen); }

int Checkers(int side) {
  const int king = pos.kingSquare[side];
  const Bitboard* theirs = pos.pieces[side ^ 1];
  const Bitboard enemy = pos.colourOcc[side ^ 1];
  return PopCount((theirs[PawnSlot] & pawnAttacks[side][king]) | (theirs[KnightSlot] & knightAttacks[king]) |
                  (pos.bishopsQueens & enemy & BishopAttacks(king)) | (pos.rooksQueens & enemy & RookAttacks(king)));
}

struct EvasionTally {
  int positions = 0, doubleChecks = 0, enPassantEvasions = 0;
};

// "" when the evasions of `side` (in check) are exactly its legal moves, each once, king moves
// first; otherwise what is wrong.
std::string CompareEvasions(int side, EvasionTally& tally) {
  Move moves[MaxMoves];
  const Position before = SnapshotPosition();
  Move* end = GenerateEvasions(moves, side);
  const std::string moved = DiffPositions(before, pos);
  if (!moved.empty()) return "the generator changed " + moved;

  std::vector<Move> evasions(moves, end), legal = LegalMovesByPlaying(side);
  tally.positions++;
  if (Checkers(side) > 1) tally.doubleChecks++;
  for (Move m : evasions)
    if (MoveCaptured(m) == Pawn && MovePiece(m) == Pawn && pos.board[MoveTo(m)] == 0) tally.enPassantEvasions++;

  const auto firstNonKing = std::find_if(evasions.begin(), evasions.end(), [](Move m) { return MovePiece(m) != King; });
  if (std::any_of(firstNonKing, evasions.end(), [](Move m) { return MovePiece(m) == King; }))
    return "a king move after other pieces' moves";
  std::sort(evasions.begin(), evasions.end());
  std::sort(legal.begin(), legal.end());
  if (std::adjacent_find(evasions.begin(), evasions.end()) != evasions.end()) return "a move given twice";
  std::vector<Move> extra, missing;
  std::set_difference(evasions.begin(), evasions.end(), legal.begin(), legal.end(), std::back_inserter(extra));
  std::set_difference(legal.begin(), legal.end(), evasions.begin(), evasions.end(), std::back_inserter(missing));
  if (!extra.empty()) return "illegal evasion " + MoveText(extra[0]);
  if (!missing.empty()) return "missing evasion " + MoveText(missing[0]);
  return "";
}

// Checks the evasions of every position that `side` meets in check here and after each of
// its own legal moves (the opponent then to move), down `depth` plies.
void WalkChecks(int side, int depth, int ply, EvasionTally& tally) {
  if (KingAttacked(side)) {
    const std::string fault = CompareEvasions(side, tally);
    ASSERT_EQ(fault, "") << PositionToEpd() << " side " << side;
  }
  if (depth == 0) return;
  const std::vector<Move> legal = LegalMovesByPlaying(side);
  SaveUndo(ply);
  for (Move m : legal) {
    MakeMove(m, ply, side);
    pos.sideToMove = side ^ 1;
    WalkChecks(side ^ 1, depth - 1, ply + 1, tally);
    pos.sideToMove = side;
    UnmakeMove(m, ply, side);
    if (testing::Test::HasFatalFailure()) return;
  }
}

TEST(Evasions, EqualLegalMovesInEveryCheckOfTheTestPositions) {
  EvasionTally tally;
  // Every perft file; the double-check one two plies deep, the others one.
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::string(OSTREL_TEST_DATA) + "/perft")) {
    const std::string name = entry.path().filename().string();
    if (entry.path().extension() != ".epd") continue;
    const std::vector<std::string> fens = ReadEpdPositions("perft/" + name);
    ASSERT_FALSE(fens.empty()) << name;
    files++;
    const bool doubleChecks = name == "perft_double_checks.epd";
    for (size_t i = 0; i < fens.size() && (doubleChecks || i < size_t(500 * Scale)); i++) {
      SetQuietly(fens[i]);
      WalkChecks(pos.sideToMove, doubleChecks ? 2 : 1, 0, tally);
      if (HasFatalFailure()) return;
    }
  }
  EXPECT_GE(files, 2);
  EXPECT_GT(tally.positions, 1000);
  EXPECT_GT(tally.doubleChecks, 100);
  EXPECT_GT(tally.enPassantEvasions, 0);
}

TEST(Evasions, SpotPositions) {
  struct Case {
    const char* fen;
    Move wanted;  // an evasion that must be there, or 0
    Move banned;  // a pseudo-legal move that must not be
  } cases[] = {
      // The checking pawn has just stepped past the capturer: take it en passant.
      {"8/8/8/2k5/3Pp3/8/8/4K3 b - d3", EncodeMove(E4, D3, Pawn, Pawn, 0), 0},
      {"4k3/8/8/3pP3/4K3/8/8/8 w - d6", EncodeMove(E5, D6, Pawn, Pawn, 0), 0},
      // The same capture would open the diagonal behind the captured pawn onto the king.
      {"8/8/8/4k3/3Pp3/2B5/8/4K3 b - d3", 0, EncodeMove(E4, D3, Pawn, Pawn, 0)},
      // A pawn pinned along a file may not take the checker.
      {"4r3/8/8/8/8/3n4/4P3/4K3 w - -", EncodeMove(E1, D2, King, 0, 0), EncodeMove(E2, D3, Pawn, Knight, 0)},
      // Stepping back along the checking line stays in check.
      {"4k3/8/8/8/8/8/8/r3K3 w - -", EncodeMove(E1, E2, King, 0, 0), EncodeMove(E1, F1, King, 0, 0)},
      // Double check: only the king may move; blocking one checker is not enough.
      {"4r1k1/8/8/8/8/3n4/7R/4K3 w - -", EncodeMove(E1, D2, King, 0, 0), EncodeMove(H2, E2, Rook, 0, 0)},
      // Interposing promotions come in all four pieces.
      {"1r2k3/P7/8/8/8/8/8/1K6 w - -", EncodeMove(A7, B8, Pawn, Rook, Knight), EncodeMove(A7, A8, Pawn, 0, Queen)},
  };
  EvasionTally tally;
  for (const Case& c : cases) {
    SetQuietly(c.fen);
    const int side = pos.sideToMove;
    ASSERT_TRUE(KingAttacked(side)) << c.fen;
    EXPECT_EQ(CompareEvasions(side, tally), "") << c.fen;
    Move moves[MaxMoves];
    Move* end = GenerateEvasions(moves, side);
    if (c.wanted) {
      EXPECT_NE(std::find(moves, end, c.wanted), end) << c.fen << " lacks " << MoveText(c.wanted);
    }
    if (c.banned) {
      EXPECT_EQ(std::find(moves, end, c.banned), end) << c.fen << " has " << MoveText(c.banned);
      EXPECT_TRUE(IsValidMove(c.banned, side)) << "not even pseudo-legal: " << MoveText(c.banned);
    }
  }
}

// IsValidMove(m) must say exactly whether m is among the generated moves.
struct Agreement {
  std::set<Move> generated[2];
  void Load() {
    for (int side = Black; side <= White; side++) {
      const std::vector<Move> moves = PseudoLegalMoves(side);
      generated[side] = std::set<Move>(moves.begin(), moves.end());
    }
  }
  // "" or a description of the disagreement.
  std::string Check(Move m, int side) const {
    const bool valid = IsValidMove(m, side), listed = generated[side].count(m) > 0;
    if (valid == listed) return "";
    return std::string(valid ? "accepts " : "rejects ") + MoveText(m) + " = " + std::to_string(m) + " for side " +
           std::to_string(side) + " in " + PositionToEpd();
  }
};

#define EXPECT_AGREES(agreement, m, side)                 \
  do {                                                    \
    const std::string fault = (agreement).Check(m, side); \
    ASSERT_EQ(fault, "");                                 \
  } while (0)

// Every field of a generated move changed to every other value it can hold.
void CheckAlteredMoves(const Agreement& a, Move m, int side) {
  for (int to = 0; to < 64; to++) EXPECT_AGREES(a, (m & ~(63u << 6)) | Move(to) << 6, side);
  for (int from = 0; from < 64; from++) EXPECT_AGREES(a, (m & ~63u) | Move(from), side);
  for (int v = 0; v < 8; v++) {
    EXPECT_AGREES(a, (m & ~(7u << 12)) | Move(v) << 12, side);
    EXPECT_AGREES(a, (m & ~(7u << 15)) | Move(v) << 15, side);
    EXPECT_AGREES(a, (m & ~(7u << 18)) | Move(v) << 18, side);
  }
  EXPECT_AGREES(a, m | 1u << 21, side);
  EXPECT_AGREES(a, m | 1u << 31, side);
}

TEST(ValidMove, AcceptsExactlyTheGeneratedMoves) {
  const std::vector<std::string> starts = ReadEpdPositions("perft/perftsuite.epd");
  ASSERT_FALSE(starts.empty());
  TestRandom random(11);
  std::vector<Move> elsewhere;  // moves of earlier positions, as killers and hash moves are
  int positions = 0;
  for (int game = 0; game < 4 * Scale; game++) {
    RandomGame g(starts[(game * 7) % starts.size()].c_str(), 500 + game);
    for (int ply = 0; ply < 80; ply++) {
      Agreement a;
      a.Load();
      positions++;
      EXPECT_FALSE(IsValidMove(0, White));
      EXPECT_FALSE(IsValidMove(0, Black));
      for (int side = Black; side <= White; side++) {
        for (Move m : a.generated[side]) {
          ASSERT_TRUE(IsValidMove(m, side)) << MoveText(m) << " in " << PositionToEpd();
          CheckAlteredMoves(a, m, side);
          if (HasFatalFailure()) break;
        }
        for (int i = 0; i < 200; i++) EXPECT_AGREES(a, Move(random.Next() & 0x1FFFFF), side);
        for (Move m : elsewhere) EXPECT_AGREES(a, m, side);
        if (HasFatalFailure()) break;
      }
      const std::vector<Move> mine = PseudoLegalMoves(g.Side());
      for (int i = 0; i < 6 && !mine.empty(); i++) elsewhere.push_back(mine[random.Below(uint32_t(mine.size()))]);
      if (elsewhere.size() > 400) elsewhere.erase(elsewhere.begin(), elsewhere.begin() + 100);
      if (HasFatalFailure() || !g.Play()) break;
    }
    if (HasFatalFailure()) return;
  }
  EXPECT_GT(positions, 50);
}

// Positions built for the corner cases of the validity test: castling through or out of
// attack, blocked double steps, en passant for the wrong side, promotions on the last rank.
TEST(ValidMove, AgreesInConstructedPositions) {
  const char* const fens[] = {
      "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -",     "r3k2r/8/8/8/8/8/8/R3K2R b KQkq -",
      "r3k2r/8/8/8/8/5b2/8/R3K2R w KQkq -",   "r3k2r/8/8/8/2q5/8/8/R3K2R w KQkq -",
      "rn2k1nr/8/8/8/8/8/8/RN2K1NR w KQkq -", "4k3/8/8/8/4r3/8/8/R3K2R w KQ -",
      "4k3/8/8/3pP3/8/8/8/4K3 w - d6",        "4k3/8/8/3pP3/8/8/8/4K3 b - -",
      "4k3/8/8/8/3Pp3/8/8/4K3 b - d3",        "4k3/8/8/8/8/4p3/4P3/4K3 w - -",
      "4k3/8/8/8/4p3/8/4P3/4K3 w - -",        "1n2k1n1/P6P/8/8/8/8/p6p/1N2K1N1 w - -",
      "1n2k1n1/P6P/8/8/8/8/p6p/1N2K1N1 b - -", "8/8/8/8/k1p4R/8/3P4/3K4 w - -",
  };
  for (const char* fen : fens) {
    SetQuietly(fen);
    Agreement a;
    a.Load();
    for (int side = Black; side <= White; side++) {
      for (Move m : a.generated[side]) CheckAlteredMoves(a, m, side);
      // Every from-to pair with every piece, capture and promotion field would be 2^21 calls;
      // all from-to pairs for the plausible pieces cover the geometry.
      for (int from = 0; from < 64; from++)
        for (int to = 0; to < 64; to++)
          for (int piece = Pawn; piece <= King; piece++) {
            const int content = pos.board[to] < 0 ? -pos.board[to] : pos.board[to];
            EXPECT_AGREES(a, EncodeMove(from, to, piece, content, 0), side);
            EXPECT_AGREES(a, EncodeMove(from, to, piece, Pawn, 0), side);
          }
      if (HasFatalFailure()) return;
    }
  }
}

}  // namespace
