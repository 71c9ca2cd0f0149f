#include "tools/tbgen/compress.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "board/littleendian.h"
#include "tablebases/blockcode.h"
#include "tablebases/catalogue.h"
#include "tablebases/files.h"
#include "tools/tbgen/store.h"

// The whole file is built in memory (at most the side's size and its index) so that the block
// offsets are known before the first byte is written.
static bool CompressSide(int table, int side, uint64_t* compressedBytes) {
  const std::string plain = TableFileName(table, side), name = plain + ".emd", temporary = name + ".part";
  const uint8_t* entries = reinterpret_cast<const uint8_t*>(LoadTableSide(table, side));
  if (!entries) return false;
  const uint32_t count = tableCatalogue[table].count[side];
  const uint32_t blocks = (count + TableBlockBytes - 1) / TableBlockBytes;
  std::vector<uint8_t> file(EmdHeaderBytes + 4 * (size_t(blocks) + 1));
  memcpy(file.data(), EmdMagic, sizeof EmdMagic);
  PutLittleEndian(&file[8], EmdVersion, 4);
  PutLittleEndian(&file[12], TableBlockBytes, 4);
  PutLittleEndian(&file[16], count, 4);
  PutLittleEndian(&file[20], blocks, 4);
  static uint8_t coded[TableBlockBytes], scratch[DecodeBlockBytes], decoded[TableBlockBytes];
  for (uint32_t b = 0; b < blocks; b++) {
    PutLittleEndian(&file[EmdHeaderBytes + 4 * size_t(b)], file.size(), 4);
    const uint8_t* in = entries + size_t(b) * TableBlockBytes;
    const uint32_t n = count - b * uint32_t(TableBlockBytes) < uint32_t(TableBlockBytes) ? count - b * uint32_t(TableBlockBytes)
                                                                                           : uint32_t(TableBlockBytes);
    const uint32_t length = EncodeTableBlock(in, n, coded);
    if (length != n) {
      memcpy(scratch, coded, length);
      if (!DecodeTableBlock(scratch, length, decoded, n) || memcmp(decoded, in, n) != 0) {
        fprintf(stderr, "%s: block %u does not decode to what was coded\n", name.c_str(), b);
        return false;
      }
    }
    file.insert(file.end(), coded, coded + length);
    file.resize(file.size() + BlockCheckBytes);
    PutLittleEndian(&file[file.size() - BlockCheckBytes], BlockChecksum(in, n), BlockCheckBytes);
  }
  PutLittleEndian(&file[EmdHeaderBytes + 4 * size_t(blocks)], file.size(), 4);
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
