// Reading the opening book: the index is held in memory, book.bin stays open, and each probe
// fetches the one cluster that holds every stored reply to the current position.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "board/game.h"
#include "board/keys.h"
#include "board/littleendian.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "board/output.h"
#include "book/book.h"
#include "book/master.h"

namespace {

// Candidates must not trail the best by this much, and need more than a handful of wins.
constexpr int CandidateWindow = 100;
constexpr int CandidateFloor = 3;

// Probe work areas, reused by every probe. The move list is sized for any position a FEN can
// set up, not only those of real games.
Move bookMoves[MaxMoves];
int bookScores[MaxMoves];
unsigned char clusterBytes[MaxClusterRecords * BookRecordBytes];
BookRecord cluster[MaxClusterRecords];
int clusterCount;  // records of `cluster` loaded by the latest probe

// Returns the number of entries read; fewer than BookClusters means the file is too short.
int ReadIndex(FILE* file) {
  unsigned char chunk[1024 * IndexEntryBytes];
  int total = 0;
  while (total < BookClusters) {
    const size_t want = size_t(BookClusters - total) < 1024 ? size_t(BookClusters - total) : 1024;
    const size_t got = fread(chunk, IndexEntryBytes, want, file);
    for (size_t i = 0; i < got; i++) {
      const unsigned char* p = chunk + i * IndexEntryBytes;
      openingBook.index[total + int(i)].start = uint32_t(GetLittleEndian(p, 4));
      openingBook.index[total + int(i)].size = int32_t(uint32_t(GetLittleEndian(p + 4, 4)));
    }
    total += int(got);
    if (got < want) break;
  }
  return total;
}

// Loads the cluster of position key `key` into `cluster`, setting clusterCount to the records
// actually there to scan. A refused or unreadable cluster counts as empty: what the buffer held
// before belongs to another position.
void LoadCluster(uint64_t key) {
  const BookIndexEntry& entry = openingBook.index[BookCluster(key)];
  // A negative size must come out huge, not small, so that it is refused rather than read.
  const uint64_t count = uint64_t(int64_t(entry.size)) / BookRecordBytes;
  clusterCount = 0;
  if (count > uint64_t(MaxClusterRecords)) {
    Print("Too big opening book cluster\n");
    return;
  }
  // Where long is 32 bits, offsets past 2 GB come out negative and cannot be reached by fseek.
  const long offset = long(entry.start);
  const bool seeked = offset >= 0 && fseek(openingBook.bookFile, offset, SEEK_SET) == 0;
  const size_t got = seeked ? fread(clusterBytes, BookRecordBytes, size_t(count), openingBook.bookFile) : 0;
  if (got < count) Print("there was some error reading an opening book cluster\n");
  for (size_t i = 0; i < got; i++) {
    const unsigned char* p = clusterBytes + i * BookRecordBytes;
    BookRecord& r = cluster[i];
    r.key = GetLittleEndian(p, 8);
    r.whiteWins = uint16_t(GetLittleEndian(p + 8, 2));
    r.blackWins = uint16_t(GetLittleEndian(p + 10, 2));
    r.otherResults = uint16_t(GetLittleEndian(p + 12, 2));
    r.marker = uint32_t(GetLittleEndian(p + 14, 4));
  }
  clusterCount = int(got);
}

const BookRecord* FindRecord(uint64_t moveKey) {
  for (int i = 0; i < clusterCount; i++)
    if (cluster[i].key == moveKey) return &cluster[i];
  return nullptr;
}

}  // namespace

void OpenBook(const char* bookName, const char* indexName) {
  if (openingBook.bookFile) fclose(openingBook.bookFile);
  openingBook.bookFile = nullptr;

  FILE* indexFile = fopen(indexName, "rb");
  if (!indexFile) {
    Print("Cannot open index file\n");
    return;
  }
  const int entries = ReadIndex(indexFile);
  fclose(indexFile);
  if (entries < BookClusters) {
    Print("Index file size isn't right\n");
    return;
  }
  openingBook.bookFile = fopen(bookName, "rb");
  // "index" although it is the book file that is missing: the wording is kept as logs know it.
  if (!openingBook.bookFile) Print("Cannot open index book \n");
}

Move ProbeBook(int side, bool edited, bool analysing) {
  if (!openingBook.bookFile) return 0;

  const int n = int(GenerateLegal(bookMoves, side) - bookMoves);
  const uint64_t key = pos.hashKey;
  LoadCluster(key);

  memset(bookScores, 0, sizeof bookScores);
  // The master book's lines start from the initial position, so an edited board has none.
  if (!edited) {
    static Move gameMoves[MaxGameMoves];
    const int played = gameRecord.moveCount;
    for (int i = 0; i < played; i++) gameMoves[i] = gameRecord.slots[i].move;
    ScoreMasterMoves(bookMoves, bookScores, n, gameMoves, played);
  }

  SaveUndo(0);
  for (int i = 0; i < n; i++) {
    MakeMove(bookMoves[i], 0, side);
    const BookRecord* record = FindRecord(BookMoveKey(key, pos.hashKey));
    UnmakeMove(bookMoves[i], 0, side);
    if (!record) continue;
    // Only wins of the side to move speak for a move, and a lone win may be a fluke.
    const int wins = side == White ? record->whiteWins : record->blackWins;
    if (wins > 1) bookScores[i] += wins;
  }

  // Equal scores keep the generator's order, which decides ties in analysis mode.
  SortByScore(bookMoves, bookScores, n);
  if (n == 0 || bookScores[0] <= 0) return 0;

  if (bookListings) {
    Print("%s", analysing ? "1.\t0\t0\t0\t0 Book moves : " : "Best book moves in this position : ");
    for (int i = 0; i < n; i++)
      if (bookScores[i]) Print("%s (%d) ", MoveText(bookMoves[i]), bookScores[i]);
    Print("\n");
  }

  int k = n;
  for (int i = 1; i < n; i++) {
    if (bookScores[0] >= bookScores[i] + CandidateWindow || bookScores[i] <= CandidateFloor) {
      k = i;
      break;
    }
  }

  if (analysing) return bookMoves[0];

  // The clock seeds the C generator only to the second; the additive generator keeps choices
  // made within one second apart. The counts decide who is a candidate, not how likely it is.
  srand(unsigned(time(nullptr)));
  const uint32_t r = AdditiveRandom();
  const uint32_t pick = (r + uint32_t(rand())) % uint32_t(k);
  return bookMoves[pick];
}
