#include "tools/tbgen/store.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tablebases/catalogue.h"
#include "tablebases/files.h"
#include "tablebases/layout.h"
#include "tools/tbgen/values.h"
#include "tools/tbgen/workers.h"

const char* tableDirectory = ".";

// Worker threads read tables as they need them: the first to need one loads it under the lock.
static std::atomic<int8_t*> loaded[TableCount][2];
// A side that could not be read is not tried again (nor reported again) until ReleaseTables.
static std::atomic<bool> unreadable[TableCount][2];

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

static bool Exists(const char* name) {
  FILE* f = fopen(name, "rb");
  if (f) fclose(f);
  return f != nullptr;
}

static std::string CompressedName(int table, int side) { return std::string(TableFileName(table, side)) + ".emd"; }

bool PlainFilesPresent(int table) {
  for (int side = 0; side < 2; side++)
    if (FileSize(TableFileName(table, side)) != long(tableCatalogue[table].count[side])) return false;
  return true;
}

// A compressed side counts as present by its name alone: reading it checks the rest, with the
// engine's messages.
bool TableFilesPresent(int table) {
  for (int side = 0; side < 2; side++)
    if (FileSize(TableFileName(table, side)) != long(tableCatalogue[table].count[side]) &&
        !Exists(CompressedName(table, side).c_str()))
      return false;
  return true;
}

// The plain file when there is one, else the compressed one, decoded whole through the engine's
// block decoder.
static int8_t* ReadTableSide(int table, int side) {
  const char* name = TableFileName(table, side);
  const uint32_t count = tableCatalogue[table].count[side];
  FILE* f = fopen(name, "rb");
  if (!f) {
    const std::string compressed = CompressedName(table, side);
    f = fopen(compressed.c_str(), "rb");
    if (!f) {
      fprintf(stderr, "%s: cannot open\n", name);
      return nullptr;
    }
    CompressedTable* blocks = OpenCompressedTable(f, compressed.c_str(), count);
    int8_t* bytes = blocks ? static_cast<int8_t*>(malloc(count)) : nullptr;
    const bool ok = bytes && ReadWholeCompressedTable(f, blocks, count, reinterpret_cast<uint8_t*>(bytes));
    FreeCompressedTable(blocks);
    fclose(f);
    if (!ok) {
      if (blocks) fprintf(stderr, "%s: %s\n", compressed.c_str(), bytes ? "a block does not decode" : "out of memory");
      free(bytes);
      return nullptr;
    }
    return bytes;
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
  if (unreadable[table][side]) return nullptr;
  WorkersLock lock;
  int8_t* bytes = loaded[table][side].load(std::memory_order_acquire);
  if (!bytes && !unreadable[table][side]) {
    bytes = ReadTableSide(table, side);
    loaded[table][side].store(bytes, std::memory_order_release);
    unreadable[table][side] = !bytes;
  }
  return bytes;
}

void ReleaseTables() {
  for (auto& table : loaded)
    for (std::atomic<int8_t*>& side : table) free(side.exchange(nullptr));
  for (auto& table : unreadable)
    for (std::atomic<bool>& side : table) side = false;
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
  TableMen men = {};
  for (int i = 0; i < p.count; i++) men.men[p.man[i].side == strongSide ? 0 : 1][p.man[i].type] |= squareMask[p.man[i].square];
  const uint32_t index = IndexOfMen(tableLayouts[table][side], men, epSquare < 0 ? NoEpSquare : epSquare, invert);
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
