// The compressed-block reader over any ".emd" file: registration validates the header and the
// block index, and then every block is read (first, last and one chosen entry) through a cache
// that is either large or a single set, so that blocks evict each other. Input: a byte choosing
// the table side and the cache, a byte choosing the entry within each block, then the file.
// A block read twice must give the same entry both times.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tablebases/catalogue.h"
#include "tablebases/files.h"
#include "tablebases/registry.h"
#include "tests/fuzz/fuzz.h"

namespace {

constexpr size_t HeaderBytes = 2;
std::vector<uint8_t> cache(TablebaseCacheBytes);

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < HeaderBytes) return 0;
  // kpk has ten or eleven blocks, the others three or four.
  const int table = 1 + data[0] % 5, side = data[0] / 5 % 2;
  const TableDescriptor& t = tableCatalogue[table];
  const std::string name = std::string(t.name) + (side == 0 ? ".nbw.emd" : ".nbb.emd");
  WriteFuzzFile(name.c_str(), data + HeaderBytes, size - HeaderBytes);
  SetTablebaseCache(cache.data(), data[0] / 10 % 2 ? TableBlockBytes * 4 : cache.size());
  const bool registered = InitTablebases("") != 0;

  const uint32_t blocks = (t.count[side] + TableBlockBytes - 1) / TableBlockBytes;
  std::vector<int8_t> first(blocks);
  std::vector<bool> read(blocks);
  for (int pass = 0; pass < 2; pass++)
    for (uint32_t b = 0; b < blocks; b++) {
      const uint32_t start = b * uint32_t(TableBlockBytes);
      const uint32_t last = std::min<uint32_t>(t.count[side], start + TableBlockBytes) - 1;
      int8_t value = 0;
      const bool ok = ReadTableEntry(table, side, start, &value);
      if (ok && !registered) abort();
      if (pass == 0) first[b] = value, read[b] = ok;
      else if (ok && read[b] && value != first[b]) abort();
      ReadTableEntry(table, side, last, &value);
      ReadTableEntry(table, side, start + (data[1] * 37u) % (last - start + 1), &value);
    }
  // Past the end of the side is refused, never read.
  int8_t value;
  if (ReadTableEntry(table, side, t.count[side], &value)) abort();
  remove(name.c_str());  // the next registration closes it
  return 0;
}
