// Catches a block coded or decoded wrongly, a block offset off by one or a cache slot mixed up:
// every entry of a few generated tables (kpk and krkn in every build, the others in the optimised
// one) compressed and read back through the registry and a one-set cache, against the plain file;
// then a damaged block must be refused.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tablebases/files.h"
#include "tablebases/registry.h"
#include "tests/capture.h"
#include "tests/scratch_dir.h"
#include "tools/tbgen/compress.h"
#include "tools/tbgen/store.h"

TEST(CompressedTables, ReadEntryForEntryLikeThePlainFiles) {
  ScratchDirectory scratch;
  ASSERT_TRUE(scratch.Enter());
  std::string plain[TableCount][2];
  uint64_t before = 0, after = 0;
  for (int t = 1; t < TableCount; t++) {
    tableDirectory = OSTREL_TB_DIR;
    if (!strstr(" kpk krkn kqk kbnk krkp ", (" " + std::string(tableCatalogue[t].name) + " ").c_str()) || !TableFilesPresent(t)) continue;
    for (int side = 0; side < 2; side++) plain[t][side] = ReadFile(TableFileName(t, side));
    tableDirectory = ".";
    for (int side = 0; side < 2; side++) std::ofstream(TableFileName(t, side), std::ios::binary) << plain[t][side];
    Captured([&] { EXPECT_TRUE(CompressTable(t, &before, &after)); });
  }
  EXPECT_LT(after * 3, before);
  std::vector<uint8_t> cache(TableBlockBytes * 4);
  EXPECT_EQ(Captured([] { InitTablebases("."); }), "");
  SetTablebaseCache(cache.data(), cache.size());
  for (int t = 1; t < TableCount; t++)
    for (int side = 0; side < 2 && !plain[t][side].empty(); side++) {
      ASSERT_TRUE(tableCatalogue[t].compressed[side]) << tableCatalogue[t].name;
      int8_t value;
      for (uint32_t i = 0; i < plain[t][side].size(); i++)
        ASSERT_TRUE(ReadTableEntry(t, side, i, &value) && value == int8_t(plain[t][side][i])) << tableCatalogue[t].name << side << " " << i;
    }
  // One damaged byte at a time, spread over kpk's blocks: refused, never misread.
  const std::string good = ReadFile("kpk.nbw.emd");
  for (size_t at = good.size() / 3; at < good.size(); at += good.size() / 9) {
    std::string damaged = good;
    damaged[at] ^= 0x10;
    std::ofstream("kpk.nbw.emd", std::ios::binary) << damaged;
    Captured([] { InitTablebases("."); });
    int refused = 0;
    for (uint32_t i = 0; i < plain[1][0].size(); i++) {
      int8_t value;
      if (!ReadTableEntry(1, 0, i, &value)) refused++;
      else ASSERT_EQ(value, int8_t(plain[1][0][i])) << at << " " << i;
    }
    EXPECT_GT(refused, 0) << at;
  }
  InitTablebases("/nonexistent");  // closes the files before the directory goes
  EXPECT_TRUE(scratch.Leave());
}
