#include "tests/fuzz/fuzz.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "search/hash.h"
#include "search/startup.h"
#include "tests/scratch_dir.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (!freopen("/dev/null", "w", stdout)) abort();
  // tmpfs when there is one: some harnesses write a file per execution.
  if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
  static ScratchDirectory scratch;
  if (!scratch.Enter()) abort();
  atexit([] { scratch.Leave(); });
  InitHT(17);
  InitEngineTables();
  return 0;
}

void WriteFuzzFile(const char* name, const uint8_t* data, size_t size) {
  FILE* f = fopen(name, "wb");
  if (!f) abort();
  if (size && fwrite(data, 1, size, f) != size) abort();
  fclose(f);
}

const char* FuzzText(const uint8_t* data, size_t size) {
  static std::vector<char> text;
  text.assign(data, data + size);
  text.push_back('\0');
  return text.data();
}
