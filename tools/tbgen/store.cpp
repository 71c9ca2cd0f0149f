#include "tools/tbgen/store.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tablebases/catalogue.h"
#include "tools/tbgen/values.h"
#include "tools/tbgen/workers.h"

const char* tableDirectory = ".";

// Worker threads read tables as they need them: the first to need one loads it under the lock.
static std::atomic<int8_t*> loaded[TableCount][2];

const char* TableFileName(int table, int side) {
  static char name[4096];
  snprintf(name, sizeof name, "%s/%s.%s", tableDirectory, tableCatalogue[table].name, side == 0 ? "nbw" : "nbb");
  return name;
}

static long FileSize(const char* name) {
  FILE* f = fopen(name, "rb");
  if (!f) return -1;
  const long size = fseek(f, 0, SEEK_END) == 0 ? ftell(f) : -1;
  fclose(f);
  return size;
}

bool TableFilesPresent(int table) {
  for (int side = 0; side < 2; side++)
    if (FileSize(TableFileName(table, side)) != long(tableCatalogue[table].count[side])) return false;
  return true;
}

static int8_t* ReadTableSide(int table, int side) {
  const char* name = TableFileName(table, side);
  const uint32_t count = tableCatalogue[table].count[side];
  FILE* f = fopen(name, "rb");
  if (!f) {
    fprintf(stderr, "%s: cannot open\n", name);
    return nullptr;
  }
  int8_t* bytes = static_cast<int8_t*>(malloc(count + 1));
  const size_t got = bytes ? fread(bytes, 1, count + 1, f) : 0;
  fclose(f);
  if (got != count) {
    fprintf(stderr, "%s: %s\n", name, bytes ? "not the size of its table" : "out of memory");
    free(bytes);
    return nullptr;
  }
  return bytes;
}

const int8_t* LoadTableSide(int table, int side) {
  if (const int8_t* bytes = loaded[table][side].load(std::memory_order_acquire)) return bytes;
  LockWorkers();
  int8_t* bytes = loaded[table][side].load(std::memory_order_acquire);
  if (!bytes) {
    bytes = ReadTableSide(table, side);
    loaded[table][side].store(bytes, std::memory_order_release);
  }
  UnlockWorkers();
  return bytes;
}

void ReleaseTables() {
  for (auto& table : loaded)
    for (std::atomic<int8_t*>& side : table) free(side.exchange(nullptr));
}

bool StoredValue(const Men& p, int epSquare, int* value) {
  int counts[SignatureCounts] = {};
  bool bare = true;
  for (int i = 0; i < p.count; i++) {
    const Man& m = p.man[i];
    if (m.type == King) continue;
    counts[(m.side == White ? 0 : 5) + m.type - Pawn]++;
    bare = false;
  }
  if (bare) {
    *value = 0;
    return true;
  }
  int table = LookupSignature(counts);
  if (!table) return false;
  const int invert = table < 0;
  if (invert) table = -table;
  const int strongSide = invert ? Black : White;
  const int side = p.toMove == strongSide ? 0 : 1;
  const int8_t* bytes = LoadTableSide(table, side);
  if (!bytes) return false;
  thread_local int squares[2][64];  // [stronger, weaker]; kept empty between calls
  for (int i = 0; i < p.count; i++) squares[p.man[i].side == strongSide ? 0 : 1][p.man[i].square] = p.man[i].type;
  const uint32_t index = tableCatalogue[table].index[side](squares[0], squares[1], epSquare < 0 ? NoEpSquare : epSquare, invert);
  for (int i = 0; i < p.count; i++) squares[p.man[i].side == strongSide ? 0 : 1][p.man[i].square] = 0;
  if (index >= tableCatalogue[table].count[side] || bytes[index] == BrokenByte) return false;
  *value = ValueOfByte(bytes[index]);
  return true;
}

// The bytes of a side are made by the worker threads a stretch at a time, then written.
static int8_t fillChunk[1 << 20];
static uint32_t fillStart;
static int8_t (*fillNext)(uint32_t index);

static void FillChunk(uint64_t begin, uint64_t end) {
  for (uint64_t i = begin; i < end; i++) fillChunk[i] = fillNext(fillStart + uint32_t(i));
}

bool WriteTableSide(int table, int side, int8_t (*next)(uint32_t index)) {
  char name[4096], temporary[4200];
  snprintf(name, sizeof name, "%s", TableFileName(table, side));
  snprintf(temporary, sizeof temporary, "%s.part", name);
  FILE* f = fopen(temporary, "wb");
  if (!f) {
    fprintf(stderr, "%s: cannot create\n", temporary);
    return false;
  }
  const uint32_t count = tableCatalogue[table].count[side];
  bool ok = true;
  fillNext = next;
  for (fillStart = 0; fillStart < count && ok; fillStart += sizeof fillChunk) {
    const uint32_t n = count - fillStart < sizeof fillChunk ? count - fillStart : uint32_t(sizeof fillChunk);
    ForEachChunk(n, FillChunk);
    ok = fwrite(fillChunk, 1, n, f) == n;
  }
  ok = fclose(f) == 0 && ok;
  if (ok && rename(temporary, name) != 0) ok = false;
  if (!ok) {
    fprintf(stderr, "%s: cannot write\n", name);
    remove(temporary);
  }
  return ok;
}
