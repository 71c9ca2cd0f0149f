#include "book/builder.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "board/fen.h"
#include "board/littleendian.h"
#include "board/makemove.h"
#include "board/notation.h"
#include "board/output.h"
#include "book/book.h"
#include "book/pgn.h"
#include "platform/platform.h"

namespace {

// ---- Step 1: games to temporary records ----

constexpr int TempBlockRecords = 16384;
constexpr int TempRecordBytes = int(sizeof(TempRecord));
constexpr int MaxTokenLength = 10;
constexpr int ProgressEvery = 50;

// Deliberately not the command line's default: the driver always hands its own value in.
int moveLimit = 10;
int gamesRead = 0;

FILE* tempFile = nullptr;
unsigned char tempBlock[TempBlockRecords * TempRecordBytes];
int tempCount = 0;
bool tempWriteFailed = false;

void FlushTempBlock() {
  if (tempFile && tempCount && fwrite(tempBlock, TempRecordBytes, tempCount, tempFile) != size_t(tempCount))
    tempWriteFailed = true;
  tempCount = 0;
}

// The block holds the records already in file form, so the file reads the same on any host.
void AppendTempRecord(uint64_t before, uint64_t after, int8_t result) {
  if (tempCount == TempBlockRecords) FlushTempBlock();
  unsigned char* out = tempBlock + tempCount * TempRecordBytes;
  memset(out, 0, TempRecordBytes);
  PutLittleEndian(out, BookMoveKey(before, after), 8);
  out[8] = (unsigned char)result;
  tempCount++;
}

// Skips blanks and line ends, then copies up to MaxTokenLength printable characters. The
// returned position is where copying stopped, so the tail of an over-long token becomes the
// next token (and is reported when it does not convert).
const char* NextToken(const char* p, char* token) {
  while (*p && (unsigned char)*p < 33) p++;
  int n = 0;
  while (n < MaxTokenLength && (unsigned char)*p >= 33) token[n++] = *p++;
  token[n] = '\0';
  return p;
}

bool PlayToken(const char* token, int side, int8_t result) {
  const Move m = ParseSan(token, side);
  if (!m) {
    if (ResultOfToken(token) == NoResult) Print("ParsePgn : move %s couldn't be converted\n", token);
    return false;
  }
  const uint64_t before = pos.hashKey;
  MakeMove(m, 0, side);
  AppendTempRecord(before, pos.hashKey, result);
  return true;
}

// ---- Step 2: counting into sorted stores ----

constexpr int ChunkRecords = 5000;
constexpr uint16_t MaxCount = 65535;
// Ten thousand games give about two records per cluster and twenty in the busiest; a step of
// eight records (144 bytes) keeps the 65,536 arrays small and grows a busy cluster in few copies.
// The chunk store cannot outgrow its first 5,000 records (one per record of a chunk).
constexpr int ClusterGrowth = 8;
constexpr int ChunkGrowth = ChunkRecords;

BookStore chunkStore;
int largestCluster = 0;  // counts only grow, so the running maximum is the maximum

void Grow(BookStore& store) {
  if (store.growth < 1) store.growth = ClusterGrowth;
  const int capacity = store.capacity + store.growth;
  BookRecord* records = new BookRecord[capacity];
  if (store.count) memcpy(records, store.records, sizeof(BookRecord) * store.count);
  memset(records + store.count, 0, sizeof(BookRecord) * (capacity - store.count));
  delete[] store.records;
  store.records = records;
  store.capacity = capacity;
}

void Release(BookStore& store) {
  delete[] store.records;
  store = BookStore{};
}

BookRecord& NewRecordAt(BookStore& store, int at, uint64_t key) {
  if (store.count == store.capacity) Grow(store);
  BookRecord* r = store.records;
  memmove(r + at + 1, r + at, sizeof(BookRecord) * (store.count - at));
  r[at] = BookRecord{key, 0, 0, 0, 0};
  store.count++;
  return r[at];
}

// Bisection leaves lo on the last entry not above the key (or on 0 when the key is below them
// all); the short walk from there settles the insertion place without a second search.
BookRecord& FindOrInsert(BookStore& store, uint64_t key) {
  if (store.count == 0) return NewRecordAt(store, 0, key);
  BookRecord* r = store.records;
  int lo = 0, hi = store.count - 1;
  while (hi - lo > 1) {
    const int mid = (lo + hi) / 2;
    if (key >= r[mid].key) lo = mid;
    else hi = mid;
  }
  if (r[lo].key == key) return r[lo];
  if (r[hi].key == key) return r[hi];
  if (key > r[store.count - 1].key) return NewRecordAt(store, store.count, key);
  int at = lo;
  while (at > 0 && key < r[at - 1].key) at--;
  while (at < store.count && key > r[at].key) at++;
  return NewRecordAt(store, at, key);
}

inline void AddCount(uint16_t& count, unsigned add) {
  const unsigned sum = count + add;
  count = uint16_t(sum > MaxCount ? MaxCount : sum);
}

void CountChunk(const unsigned char* bytes, int n) {
  chunkStore.count = 0;
  for (int i = 0; i < n; i++, bytes += TempRecordBytes) {
    BookRecord& r = FindOrInsert(chunkStore, GetLittleEndian(bytes, 8));
    const int8_t result = int8_t(bytes[8]);
    AddCount(result == 1 ? r.whiteWins : result == -1 ? r.blackWins : r.otherResults, 1);
  }
}

void MergeChunk() {
  for (int i = 0; i < chunkStore.count; i++) {
    const BookRecord& c = chunkStore.records[i];
    BookStore& cluster = openingBook.buckets[BookCluster(c.key)];
    BookRecord& r = FindOrInsert(cluster, c.key);
    AddCount(r.whiteWins, c.whiteWins);
    AddCount(r.blackWins, c.blackWins);
    AddCount(r.otherResults, c.otherResults);
    r.marker = BookMarker;
    if (cluster.count > largestCluster) largestCluster = cluster.count;
  }
}

// ---- Writing the book ----

// The book files are written under a name of their own and moved into place only when both are
// complete, so that a build that fails (no room, no permission) leaves the book it found as it
// was. Returns whether the partial file was written and closed without an error.
bool FinishPart(FILE* f, bool written, const char* partName, const char* what, const char* name) {
  written = !ferror(f) && written;
  written = fclose(f) == 0 && written;
  if (!written) {
    Print("Cannot write %s %s (%s)\n", what, name, strerror(errno));
    DeleteFileQuietly(partName);
  }
  return written;
}

bool WriteIndex(const char* indexName, const char* partName) {
  FILE* f = fopen(partName, "wb");
  if (!f) {
    Print("Cannot open index for opening book %s\n", indexName);
    return false;
  }
  static unsigned char bytes[BookClusters * IndexEntryBytes];
  for (int c = 0; c < BookClusters; c++) {
    PutLittleEndian(bytes + c * IndexEntryBytes, openingBook.index[c].start, 4);
    PutLittleEndian(bytes + c * IndexEntryBytes + 4, uint32_t(openingBook.index[c].size), 4);
  }
  const bool written = fwrite(bytes, 1, sizeof bytes, f) == sizeof bytes;
  return FinishPart(f, written, partName, "index for opening book", indexName);
}

bool WriteRecords(const char* bookName, const char* partName) {
  FILE* f = fopen(partName, "wb");
  if (!f) {
    Print("Cannot open opening book %s for writing\n", bookName);
    return false;
  }
  static unsigned char bytes[4096 * BookRecordBytes];
  int used = 0;
  bool written = true;
  for (int c = 0; c < BookClusters && written; c++) {
    const BookStore& cluster = openingBook.buckets[c];
    for (int i = 0; i < cluster.count; i++) {
      if (used == int(sizeof bytes)) {
        written = written && fwrite(bytes, 1, used, f) == size_t(used);
        used = 0;
      }
      const BookRecord& r = cluster.records[i];
      unsigned char* out = bytes + used;
      PutLittleEndian(out, r.key, 8);
      PutLittleEndian(out + 8, r.whiteWins, 2);
      PutLittleEndian(out + 10, r.blackWins, 2);
      PutLittleEndian(out + 12, r.otherResults, 2);
      PutLittleEndian(out + 14, r.marker, 4);
      used += BookRecordBytes;
    }
  }
  if (used) written = written && fwrite(bytes, 1, used, f) == size_t(used);
  return FinishPart(f, written, partName, "opening book", bookName);
}

bool WriteBookFiles(const char* bookName, const char* indexName) {
  char indexPart[FILENAME_MAX], bookPart[FILENAME_MAX];
  snprintf(indexPart, sizeof indexPart, "%s.part", indexName);
  snprintf(bookPart, sizeof bookPart, "%s.part", bookName);
  if (!WriteIndex(indexName, indexPart)) return false;
  if (!WriteRecords(bookName, bookPart)) {
    DeleteFileQuietly(indexPart);
    return false;
  }
  if (MoveFileIntoPlace(bookPart, bookName) && MoveFileIntoPlace(indexPart, indexName)) return true;
  Print("Cannot put the new opening book in place of %s and %s (%s)\n", bookName, indexName, strerror(errno));
  DeleteFileQuietly(indexPart);
  DeleteFileQuietly(bookPart);
  return false;
}

void WriteBook(const char* bookName, const char* indexName) {
  FILE* stats = fopen("stats.txt", "w");
  if (stats) fprintf(stats, "INDEX :\n");
  uint32_t start = 0;
  long long unique = 0;
  int largest = 0;
  for (int c = 0; c < BookClusters; c++) {
    const int count = openingBook.buckets[c].count;
    openingBook.index[c].start = start;
    openingBook.index[c].size = count * BookRecordBytes;
    if (stats) fprintf(stats, "\t%d start = %u size = %d\n", c, start, count);
    start += uint32_t(count * BookRecordBytes);
    unique += count;
    if (count > largest) largest = count;
  }
  if (stats) fprintf(stats, "%lld unique positions\n%d max cluster size\n", unique, largest);
  if (WriteBookFiles(bookName, indexName) && stats) fprintf(stats, "\n\n");
  if (stats) fclose(stats);
}

}  // namespace

void ParsePgn(const char* movetext, const char* resultToken) {
  const int tokenResult = ResultOfToken(resultToken);
  const int8_t result = int8_t(tokenResult == NoResult ? 0 : tokenResult);
  SetInitialPosition();
  SaveUndo(0);
  if (moveLimit < 1) return;
  char token[MaxTokenLength + 1];
  for (int m = 1;; m++) {
    // Searched from the start every time: "1." inside "11." only counts if no earlier one exists.
    char number[16];
    const int length = snprintf(number, sizeof number, "%d.", m);
    const char* p = strstr(movetext, number);
    if (!p) return;
    p = NextToken(p + length, token);
    if (!PlayToken(token, White, result)) return;
    NextToken(p, token);
    if (!PlayToken(token, Black, result)) return;
    if (m >= moveLimit) return;
  }
}

void CountPgnGame() {
  if (++gamesRead % ProgressEvery == 0) Print("%d so far\n", gamesRead);
}

void PgnToTemp(const char* pgnName, const char* tempName, int limit) {
  moveLimit = limit;
  gamesRead = 0;
  tempCount = 0;
  tempWriteFailed = false;
  tempFile = fopen(tempName, "wb");
  if (!tempFile) {
    Print("Cannot open temp file %s\n", tempName);
    return;
  }
  ReadPgnFile(pgnName);
  FlushTempBlock();
  if (fclose(tempFile) != 0 || tempWriteFailed) Print("Cannot write temp file %s (%s)\n", tempName, strerror(errno));
  tempFile = nullptr;
}

void BuildBook(const char* tempName, const char* bookName, const char* indexName) {
  FILE* f = fopen(tempName, "rb");
  if (!f) {
    Print("Cannot open temp file %s\n", tempName);
    return;
  }
  static unsigned char chunk[ChunkRecords * TempRecordBytes];
  chunkStore = BookStore{nullptr, 0, 0, ChunkGrowth};
  Grow(chunkStore);
  largestCluster = 0;
  unsigned long long total = 0;
  int read;
  do {
    read = int(fread(chunk, TempRecordBytes, ChunkRecords, f));
    CountChunk(chunk, read);
    MergeChunk();
    total += read;
    Print("%llu positions so far ( max count = %d)\n", total, largestCluster);
  } while (read == ChunkRecords);
  // Records lost to a read error would make a wrong book: better none, and the old one kept.
  const bool readFailed = ferror(f);
  if (readFailed) Print("Cannot read temp file %s (%s)\n", tempName, strerror(errno));
  const long length = ftell(f);
  if (length > 0 && length % TempRecordBytes)
    Print("Temp file %s ends in %ld bytes of a cut record, left out\n", tempName, length % TempRecordBytes);
  fclose(f);
  Release(chunkStore);

  // Cluster 0 is deliberately left out of the console figure; stats.txt has the full count.
  long long unique = 0;
  for (int c = 1; c < BookClusters; c++) unique += openingBook.buckets[c].count;
  Print("%lld unique positions\n", unique);

  if (!readFailed) WriteBook(bookName, indexName);
  for (BookStore& cluster : openingBook.buckets) Release(cluster);
}
