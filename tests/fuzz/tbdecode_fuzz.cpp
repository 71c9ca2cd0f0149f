// The block decoder over arbitrary bytes, in buffers of exactly its sizes so that any step
// outside them is caught. Input: two bytes for the number of entries (1 to 8192), then the coded
// block. What decodes is coded again, and that code must decode to the same entries.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tablebases/blockcode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size - 2 > size_t(LongestCodedBlock)) return 0;
  const uint32_t entries = 1 + (uint32_t(data[0]) | uint32_t(data[1]) << 8) % TableBlockBytes;
  const uint32_t length = uint32_t(size - 2);
  std::vector<uint8_t> scratch(DecodeBlockBytes), out(entries), coded(TableBlockBytes), again(entries);
  memcpy(scratch.data(), data + 2, length);
  if (!DecodeTableBlock(scratch.data(), length, out.data(), entries)) return 0;
  const uint32_t recoded = EncodeTableBlock(out.data(), entries, coded.data());
  if (recoded > entries) abort();
  if (recoded == entries) return memcmp(coded.data(), out.data(), entries) == 0 ? 0 : (abort(), 0);
  memcpy(scratch.data(), coded.data(), recoded);
  if (!DecodeTableBlock(scratch.data(), recoded, again.data(), entries) || again != out) abort();
  return 0;
}
