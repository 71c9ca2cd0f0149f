// Building the book off-line in two runs: PGN games to a temporary file of move records, then
// the temporary file to book.bin, index.dat and stats.txt.
#pragma once

#include <cstdint>

// One move of a game. 16 bytes in the file, little-endian.
struct TempRecord {
  uint64_t key;      // as BookRecord::key
  int8_t result;     // 1 White won, -1 Black won, 0 anything else
  uint8_t padding[7];
};
static_assert(sizeof(TempRecord) == 16, "temporary records are 16 bytes");

// Step 1: replays up to `moveLimit` full moves of every game with a result and appends a record
// per move to `tempName` (created afresh).
void PgnToTemp(const char* pgnName, const char* tempName, int moveLimit);

// Step 2: counts the records per move key and writes the book, its index and "stats.txt".
void BuildBook(const char* tempName, const char* bookName, const char* indexName);
