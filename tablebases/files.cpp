#include "tablebases/files.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "board/littleendian.h"
#include "board/output.h"
#include "tablebases/blockcode.h"
#include "tablebases/catalogue.h"

struct CompressedTable {
  uint32_t blockCount;
  uint32_t* offsets;  // blockCount + 1 file offsets
};

size_t tablebaseMemory;

namespace {

// The cache is set-associative: a block may live in any of the ways of one set, and the least
// recently used way of the set makes room. Four ways keep the tables a search alternates between
// from evicting each other without a full scan per probe.
constexpr int CacheWays = 4;
constexpr int MaxCacheBlocks = int(TablebaseCacheBytes / TableBlockBytes);

struct CacheSlot {
  int key;        // table * 2 + side, -1 when empty
  uint32_t block;
  uint64_t lastUse;
};

CacheSlot cacheSlots[MaxCacheBlocks];
uint8_t* cacheMemory;
int cacheSets;
int cacheWays;
uint64_t cacheClock;
uint8_t* decodeBlock;

uint32_t EntriesInBlock(uint32_t count, uint32_t block) {
  const uint32_t start = block * uint32_t(TableBlockBytes);
  return count - start < uint32_t(TableBlockBytes) ? count - start : uint32_t(TableBlockBytes);
}

uint8_t* SlotMemory(int set, int way) { return cacheMemory + size_t(set * cacheWays + way) * TableBlockBytes; }

// Empty slots were last used at time 0, so they are filled first.
int LeastRecentlyUsed(const CacheSlot* ways) {
  int oldest = 0;
  for (int w = 1; w < cacheWays; w++)
    if (ways[w].lastUse < ways[oldest].lastUse) oldest = w;
  return oldest;
}

bool ReadAt(FILE* file, uint32_t offset, void* buffer, size_t length) {
  return fseek(file, long(offset), SEEK_SET) == 0 && fread(buffer, 1, length, file) == length;
}

// The whole block, check word included, goes through `scratch` (DecodeBlockBytes): the cache
// slot has no room for the word, and a block is trusted only once its entries match it.
bool DecodeBlockOf(FILE* file, const CompressedTable& c, uint32_t count, uint32_t block, uint8_t* scratch,
                   uint8_t* out) {
  const uint32_t entries = EntriesInBlock(count, block);
  const uint32_t start = c.offsets[block];
  const uint32_t length = c.offsets[block + 1] - start;
  if (!ReadAt(file, start, scratch, length)) return false;
  const uint32_t payload = length - BlockCheckBytes;
  const uint32_t check = uint32_t(GetLittleEndian(scratch + payload, BlockCheckBytes));
  if (payload == entries) memcpy(out, scratch, entries);
  else if (!DecodeTableBlock(scratch, payload, out, entries)) return false;
  return BlockChecksum(out, entries) == check;
}

bool LoadBlock(const TableDescriptor& t, int side, uint32_t block, uint8_t* out) {
  const CompressedTable* c = t.compressed[side];
  if (!c) return ReadAt(t.file[side], block * uint32_t(TableBlockBytes), out, EntriesInBlock(t.count[side], block));
  return decodeBlock && DecodeBlockOf(t.file[side], *c, t.count[side], block, decodeBlock, out);
}

int FileSize(FILE* file) {
  if (fseek(file, 0, SEEK_END) != 0) return -1;
  const long size = ftell(file);
  return size < 0 || size > 0x7FFFFFFF ? -1 : int(size);
}

// The block index must tile the file from the end of the index to its last byte, every block
// either stored (as long as its entries) or coded short enough to leave the decoder its tables,
// and then its check word, so that no read of a listed block leaves the file or the decode block.
bool OffsetsSound(const CompressedTable& c, uint32_t count, int fileSize) {
  if (c.offsets[0] != uint32_t(EmdHeaderBytes) + 4 * (c.blockCount + 1)) return false;
  for (uint32_t i = 0; i < c.blockCount; i++) {
    const uint32_t length = c.offsets[i + 1] - c.offsets[i];
    const uint32_t entries = EntriesInBlock(count, i);
    if (c.offsets[i + 1] <= c.offsets[i] + BlockCheckBytes) return false;
    const uint32_t payload = length - BlockCheckBytes;
    if (payload > entries || (payload < entries && payload > uint32_t(LongestCodedBlock))) return false;
  }
  return c.offsets[c.blockCount] == uint32_t(fileSize);
}

}  // namespace

CompressedTable* OpenCompressedTable(FILE* file, const char* name, uint32_t count) {
  uint8_t header[EmdHeaderBytes];
  const int fileSize = FileSize(file);
  if (fileSize < 0 || !ReadAt(file, 0, header, sizeof header)) {
    Print("*** Unable to read %s - read error\n", name);
    return nullptr;
  }
  if (memcmp(header, EmdMagic, sizeof EmdMagic) != 0) {
    Print("*** Unable to read %s - file broken\n", name);
    return nullptr;
  }
  const uint32_t version = uint32_t(GetLittleEndian(header + 8, 4));
  if (version != EmdVersion) {
    Print("*** Unable to read %s - error %d\n", name, int(version));
    return nullptr;
  }
  const uint32_t blockSize = uint32_t(GetLittleEndian(header + 12, 4));
  if (blockSize != uint32_t(TableBlockBytes)) {
    Print("*** %s: Unsupported block size %d\n", name, int(blockSize));
    return nullptr;
  }
  if (uint32_t(GetLittleEndian(header + 16, 4)) != count) {
    Print("*** %s corrupted\n", name);
    return nullptr;
  }
  const uint32_t blockCount = uint32_t(GetLittleEndian(header + 20, 4));
  if (blockCount != (count + uint32_t(TableBlockBytes) - 1) / uint32_t(TableBlockBytes)) {
    Print("*** Unable to read %s - file broken\n", name);
    return nullptr;
  }
  const size_t indexBytes = sizeof(CompressedTable) + 4 * (size_t(blockCount) + 1);
  CompressedTable* c = static_cast<CompressedTable*>(malloc(indexBytes));
  if (!c) {
    Print("*** Unable to read %s - out of memory\n", name);
    return nullptr;
  }
  c->blockCount = blockCount;
  c->offsets = reinterpret_cast<uint32_t*>(c + 1);
  // The offsets are read as bytes, in place, and then turned into host order.
  const uint8_t* raw = reinterpret_cast<const uint8_t*>(c->offsets);
  if (!ReadAt(file, EmdHeaderBytes, c->offsets, 4 * (size_t(blockCount) + 1))) {
    Print("*** Unable to read %s - read error\n", name);
    free(c);
    return nullptr;
  }
  for (uint32_t i = 0; i <= blockCount; i++) c->offsets[i] = uint32_t(GetLittleEndian(raw + 4 * i, 4));
  if (!OffsetsSound(*c, count, fileSize)) {
    Print("*** Unable to read %s - file broken\n", name);
    free(c);
    return nullptr;
  }
  tablebaseMemory += indexBytes;
  return c;
}

void FreeCompressedTable(CompressedTable* table) { free(table); }

bool ReadWholeCompressedTable(FILE* file, const CompressedTable* table, uint32_t count, uint8_t* out) {
  uint8_t scratch[DecodeBlockBytes];
  for (uint32_t b = 0; b < table->blockCount; b++)
    if (!DecodeBlockOf(file, *table, count, b, scratch, out + size_t(b) * TableBlockBytes)) return false;
  return true;
}

int AllocateDecodeBlock() {
  if (decodeBlock) return 0;
  errno = 0;
  decodeBlock = static_cast<uint8_t*>(malloc(DecodeBlockBytes));
  if (!decodeBlock) return errno ? errno : ENOMEM;
  tablebaseMemory += DecodeBlockBytes;
  return 0;
}

void FreeDecodeBlock() {
  free(decodeBlock);
  decodeBlock = nullptr;
}

void SetTablebaseCache(void* buffer, size_t size) {
  int blocks = int((size < TablebaseCacheBytes ? size : TablebaseCacheBytes) / TableBlockBytes);
  if (!buffer) blocks = 0;
  cacheMemory = static_cast<uint8_t*>(buffer);
  cacheWays = blocks < CacheWays ? blocks : CacheWays;
  cacheSets = cacheWays ? blocks / cacheWays : 0;
  ClearTablebaseCache();
}

bool TablebaseCacheReady() { return cacheSets > 0; }

void ClearTablebaseCache() {
  for (CacheSlot& s : cacheSlots) s = CacheSlot{-1, 0, 0};
}

bool ReadTableEntry(int table, int side, uint32_t index, int8_t* value) {
  const TableDescriptor& t = tableCatalogue[table];
  if (!t.file[side] || index >= t.count[side] || !cacheSets) return false;
  const int key = table * 2 + side;
  const uint32_t block = index / uint32_t(TableBlockBytes);
  const int set = int((uint32_t(key) * 0x9E3779B1u + block) % uint32_t(cacheSets));
  CacheSlot* ways = cacheSlots + set * cacheWays;
  int way = 0;
  while (way < cacheWays && !(ways[way].key == key && ways[way].block == block)) way++;
  if (way == cacheWays) {
    way = LeastRecentlyUsed(ways);
    ways[way].key = -1;  // stays empty if the load fails half-way
    if (!LoadBlock(t, side, block, SlotMemory(set, way))) return false;
    ways[way].key = key;
    ways[way].block = block;
  }
  ways[way].lastUse = ++cacheClock;
  *value = int8_t(SlotMemory(set, way)[index % TableBlockBytes]);
  return true;
}
