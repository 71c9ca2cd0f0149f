// Compressed tables against the plain ones they were made from: every entry of a few generated
// tables, read back through the engine's registry, block cache and decoder.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tablebases/catalogue.h"
#include "tablebases/files.h"
#include "tablebases/registry.h"
#include "tests/capture.h"
#include "tests/scratch_dir.h"
#include "tools/tbgen/compress.h"
#include "tools/tbgen/store.h"

namespace {

// Catches a block coded or decoded wrongly, a block offset off by one, or a cache slot mixed up:
// kpk and krkn are made in every build, the others by the optimised one; the cache is one set,
// so blocks are evicted and read again.
TEST(CompressedTables, ReadEntryForEntryLikeThePlainFiles) {
  ScratchDirectory scratch;
  ASSERT_TRUE(scratch.Enter());
  std::vector<std::pair<int, std::string>> plain;
  tableDirectory = OSTREL_TB_DIR;
  for (int t = 1; t < TableCount; t++)
    if (std::string("kpk krkn kqk kbnk krkp").find(tableCatalogue[t].name) != std::string::npos && TableFilesPresent(t))
      for (int side = 0; side < 2; side++) {
        plain.push_back({t * 2 + side, ReadFile(TableFileName(t, side))});
        std::ofstream(std::string(tableCatalogue[t].name) + (side ? ".nbb" : ".nbw"), std::ios::binary) << plain.back().second;
      }
  ASSERT_GE(plain.size(), 4u);
  tableDirectory = ".";
  uint64_t before = 0, after = 0;
  Captured([&] {
    for (size_t i = 0; i < plain.size(); i += 2) ASSERT_TRUE(CompressTable(plain[i].first / 2, &before, &after));
  });
  EXPECT_LT(after * 3, before);
  std::vector<uint8_t> cache(TableBlockBytes * 4);
  EXPECT_EQ(Captured([] { InitTablebases("."); }), "");
  SetTablebaseCache(cache.data(), cache.size());
  for (const auto& [key, bytes] : plain) {
    ASSERT_TRUE(tableCatalogue[key / 2].compressed[key % 2]) << tableCatalogue[key / 2].name;
    int8_t value;
    for (uint32_t i = 0; i < bytes.size(); i++) {
      ASSERT_TRUE(ReadTableEntry(key / 2, key % 2, i, &value)) << tableCatalogue[key / 2].name << " " << i;
      ASSERT_EQ(value, int8_t(bytes[i])) << tableCatalogue[key / 2].name << " " << key % 2 << " " << i;
    }
  }
  InitTablebases("/nonexistent");  // closes the files before the directory goes
  EXPECT_TRUE(scratch.Leave());
}

}  // namespace
