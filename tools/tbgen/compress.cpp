#include "tools/tbgen/compress.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "board/littleendian.h"
#include "tablebases/blockcode.h"
#include "tablebases/catalogue.h"
#include "tablebases/files.h"
#include "tools/tbgen/store.h"
#include "tools/tbgen/workers.h"

// The side being coded, shared with the workers: each block is coded into its own slot of
// `coded` (a coded block is never longer than the block), so the blocks can be coded in any order
// and on any thread, and the file is put together from the slots in order.
static const uint8_t* codeEntries;
static std::vector<uint8_t> coded;
static std::vector<uint32_t> codedLength;
static std::atomic<uint32_t> undecodable;  // the first block that does not decode back, plus one

// Chunks are whole blocks: ChunkEntries is a multiple of the block size.
static_assert(ChunkEntries % TableBlockBytes == 0, "a chunk holds whole blocks");

static void CodeChunk(uint64_t begin, uint64_t end) {
  uint8_t scratch[DecodeBlockBytes], decoded[TableBlockBytes];
  for (uint64_t first = begin; first < end; first += TableBlockBytes) {
    const uint32_t b = uint32_t(first / TableBlockBytes);
    const uint32_t n = uint32_t(end - first < uint64_t(TableBlockBytes) ? end - first : uint64_t(TableBlockBytes));
    const uint8_t* in = codeEntries + first;
    uint8_t* out = &coded[first];
    const uint32_t length = EncodeTableBlock(in, n, out);
    codedLength[b] = length;
    if (length == n) continue;
    memcpy(scratch, out, length);
    if (!DecodeTableBlock(scratch, length, decoded, n) || memcmp(decoded, in, n) != 0) {
      uint32_t expected = 0;
      undecodable.compare_exchange_strong(expected, b + 1);
    }
  }
}

// The whole file is built in memory (at most the side's size and its index) so that the block
// offsets are known before the first byte is written.
static bool CompressSide(int table, int side, uint64_t* compressedBytes) {
  const std::string plain = TableFileName(table, side), name = plain + ".emd", temporary = name + ".part";
  const uint8_t* entries = reinterpret_cast<const uint8_t*>(LoadTableSide(table, side));
  if (!entries) return false;
  const uint32_t count = tableCatalogue[table].count[side];
  const uint32_t blocks = (count + TableBlockBytes - 1) / TableBlockBytes;
  codeEntries = entries;
  coded.assign(count, 0);
  codedLength.assign(blocks, 0);
  undecodable = 0;
  ForEachChunk(count, CodeChunk);
  if (undecodable) {
    fprintf(stderr, "%s: block %u does not decode to what was coded\n", name.c_str(), undecodable - 1);
    return false;
  }
  std::vector<uint8_t> file(EmdHeaderBytes + 4 * (size_t(blocks) + 1));
  memcpy(file.data(), EmdMagic, sizeof EmdMagic);
  PutLittleEndian(&file[8], EmdVersion, 4);
  PutLittleEndian(&file[12], TableBlockBytes, 4);
  PutLittleEndian(&file[16], count, 4);
  PutLittleEndian(&file[20], blocks, 4);
  for (uint32_t b = 0; b < blocks; b++) {
    PutLittleEndian(&file[EmdHeaderBytes + 4 * size_t(b)], file.size(), 4);
    const size_t first = size_t(b) * TableBlockBytes;
    const uint32_t n = count - first < size_t(TableBlockBytes) ? uint32_t(count - first) : uint32_t(TableBlockBytes);
    file.insert(file.end(), &coded[first], &coded[first] + codedLength[b]);
    file.resize(file.size() + BlockCheckBytes);
    PutLittleEndian(&file[file.size() - BlockCheckBytes], BlockChecksum(entries + first, n), BlockCheckBytes);
  }
  PutLittleEndian(&file[EmdHeaderBytes + 4 * size_t(blocks)], file.size(), 4);
  std::vector<uint8_t>().swap(coded);
  FILE* f = fopen(temporary.c_str(), "wb");
  bool ok = f && fwrite(file.data(), 1, file.size(), f) == file.size();
  if (f) ok = fclose(f) == 0 && ok;
  if (ok) ok = rename(temporary.c_str(), name.c_str()) == 0;
  if (!ok) {
    fprintf(stderr, "%s: cannot write\n", name.c_str());
    remove(temporary.c_str());
    return false;
  }
  *compressedBytes += file.size();
  return true;
}

bool CompressTable(int table, uint64_t* plainBytes, uint64_t* compressedBytes) {
  const TableDescriptor& t = tableCatalogue[table];
  uint64_t written = 0;
  bool ok = CompressSide(table, 0, &written) && CompressSide(table, 1, &written);
  ReleaseTables();
  for (int side = 0; side < 2 && ok; side++)
    if (remove(TableFileName(table, side)) != 0) {
      fprintf(stderr, "%s: cannot remove\n", TableFileName(table, side));
      ok = false;
    }
  if (!ok) return false;
  const uint64_t plain = uint64_t(t.count[0]) + t.count[1];
  printf("%s: %llu -> %llu bytes, %.2f : 1\n", t.name, (unsigned long long)plain, (unsigned long long)written,
         double(plain) / double(written));
  *plainBytes += plain;
  *compressedBytes += written;
  return true;
}
