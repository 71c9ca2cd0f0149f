#include "tools/tbgen/store.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tablebases/catalogue.h"
#include "tools/tbgen/values.h"

const char* tableDirectory = ".";

static int8_t* loaded[TableCount][2];

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

const int8_t* LoadTableSide(int table, int side) {
  if (loaded[table][side]) return loaded[table][side];
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
  return loaded[table][side] = bytes;
}

void ReleaseTables() {
  for (auto& table : loaded)
    for (int8_t*& side : table) {
      free(side);
      side = nullptr;
    }
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
  static int squares[2][64];  // [stronger, weaker]; kept empty between calls
  for (int i = 0; i < p.count; i++) squares[p.man[i].side == strongSide ? 0 : 1][p.man[i].square] = p.man[i].type;
  const uint32_t index = tableCatalogue[table].index[side](squares[0], squares[1], epSquare < 0 ? NoEpSquare : epSquare, invert);
  for (int i = 0; i < p.count; i++) squares[p.man[i].side == strongSide ? 0 : 1][p.man[i].square] = 0;
  if (index >= tableCatalogue[table].count[side] || bytes[index] == BrokenByte) return false;
  *value = ValueOfByte(bytes[index]);
  return true;
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
  static int8_t chunk[1 << 20];
  const uint32_t count = tableCatalogue[table].count[side];
  bool ok = true;
  for (uint32_t start = 0; start < count && ok; start += sizeof chunk) {
    const uint32_t n = count - start < sizeof chunk ? count - start : uint32_t(sizeof chunk);
    for (uint32_t i = 0; i < n; i++) chunk[i] = next(start + i);
    ok = fwrite(chunk, 1, n, f) == n;
  }
  ok = fclose(f) == 0 && ok;
  if (ok && rename(temporary, name) != 0) ok = false;
  if (!ok) {
    fprintf(stderr, "%s: cannot write\n", name);
    remove(temporary);
  }
  return ok;
}
