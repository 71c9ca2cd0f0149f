// The opening book: "index.dat" (65,536 cluster descriptors) and "book.bin" (the clusters of move
// records), written by the book builder and probed before every search.
#pragma once

#include <cstdint>
#include <cstdio>

#include "board/types.h"

constexpr int BookClusters = 65536;
constexpr int MaxClusterRecords = 180;  // a larger cluster is refused by the probe
constexpr uint32_t BookMarker = 666666;

// One cluster of book.bin. 8 bytes in the file, little-endian.
struct BookIndexEntry {
  uint32_t start;  // byte offset in book.bin
  int32_t size;    // bytes: 18 per record
};
static_assert(sizeof(BookIndexEntry) == 8, "index entries are 8 bytes");

// One move of the book. 18 bytes in the file, little-endian, no padding. The key's top 16 bits
// are those of the position before the move (so all replies to a position share its cluster),
// its low 48 bits those of the position after it.
#pragma pack(push, 1)
struct BookRecord {
  uint64_t key;
  uint16_t whiteWins;     // games won by White, saturated at 65,535
  uint16_t blackWins;
  uint16_t otherResults;  // draws and unfinished games
  uint32_t marker;        // always BookMarker; never read
};
#pragma pack(pop)
static_assert(sizeof(BookRecord) == 18, "book records are 18 bytes");

// The records' and index entries' sizes in the files, for the code that reads and writes them.
constexpr int BookRecordBytes = int(sizeof(BookRecord));
constexpr int IndexEntryBytes = int(sizeof(BookIndexEntry));

// A growable array of records sorted by key, each key once: the builder's working store.
struct BookStore {
  BookRecord* records;
  int count;
  int capacity;
  int growth;
};

// The one book object: the builder fills `buckets` and `index`; the engine reads `index` from
// index.dat and keeps book.bin open as `bookFile` (no book when it is null).
struct OpeningBook {
  BookStore buckets[BookClusters];
  BookIndexEntry index[BookClusters];
  FILE* bookFile;
};
extern OpeningBook openingBook;

// The key a book record carries for a move from a position with key `before` to one with `after`.
inline uint64_t BookMoveKey(uint64_t before, uint64_t after) {
  return (before & 0xFFFF000000000000ULL) | (after & 0x0000FFFFFFFFFFFFULL);
}

inline int BookCluster(uint64_t key) { return int(key >> 48); }

// Whether the probe lists the moves it found (the book's and the master book's). A UCI session
// turns the listings off and names the move it plays from the book itself.
extern bool bookListings;

// Opens the two files for the run; says why when there is no book.
void OpenBook(const char* bookName, const char* indexName);

// A move for `side` from the book (master book first, then game statistics), or 0. `edited`: the
// game did not start from the initial position, so the master book's lines do not apply.
// `analysing`: the listing reads as an analysis line and the best move is taken instead of a
// random candidate.
Move ProbeBook(int side, bool edited, bool analysing);
