// Test helpers shared by the board tests: a byte comparison of positions that names the field that differs, and
// deterministic random play. The audit of the global position is the engine's own PositionFault.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "board/makemove.h"
#include "board/positionok.h"

namespace ostrel_test {

// "" when the two records are identical byte for byte, else the first field that differs.
std::string DiffPositions(const Position& a, const Position& b);

// The global position as FEN text with the board turned upside down and the colours swapped:
// side to move and castling rights swap too, the en-passant square is left out.
std::string MirroredFen();

// Exact byte copy, padding included, so that a later memcmp compares like with like.
Position SnapshotPosition();

// SetPosition with its diagnostics taken off standard output and returned instead. Captures
// cannot nest, and a failed assertion inside one would vanish with the text, so tests capture
// around single calls like this rather than around stretches of checks.
std::string SetPositionQuietly(const std::string& fen);

// splitmix64: tiny, fast, and the same sequence on every platform and library.
struct TestRandom {
  uint64_t state;
  explicit TestRandom(uint64_t seed) : state(seed) {}
  uint64_t Next() {
    uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }
  uint32_t Below(uint32_t n) { return uint32_t(Next() % n); }  // uniform enough for tests (n > 0)
};

// Moves spelled out in test tables.
inline Move M(int from, int to, int piece, int captured = 0, int promotion = 0) {
  return EncodeMove(from, to, piece, captured, promotion);
}

// Captures then quiet moves, the order the game and the legal filter use.
std::vector<Move> PseudoLegalMoves(int side);

// The FEN fields (text before the first ';', trailing blanks dropped) of every line of a file
// under the test data directory that has a ';'.
std::vector<std::string> ReadEpdPositions(const std::string& relativePath);

// A game of uniformly random legal moves on the global position, made at ply 0 as the game
// record makes them, and taken back from its own history.
class RandomGame {
 public:
  RandomGame(const char* fen, uint64_t seed);
  // One random legal move for the side to move; false (and nothing played) when there is none.
  bool Play();
  // Takes back the last move played; false when there is none.
  bool Undo();
  int Side() const { return side_; }
  int Plies() const { return int(history_.size()); }

 private:
  struct Played { Move move; int side; UndoRecord undo; };
  TestRandom random_;
  int side_;
  std::vector<Played> history_;
};
}  // namespace ostrel_test
