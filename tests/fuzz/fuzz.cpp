#include "tests/fuzz/fuzz.h"

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "search/hash.h"
#include "search/startup.h"

namespace {

std::string scratch;

// The engine writes its files flat into the working directory, so one level is enough
// (remove() takes the odd empty directory a harness puts there too).
void RemoveScratch() {
  if (scratch.empty()) return;
  if (DIR* dir = opendir(scratch.c_str())) {
    while (dirent* entry = readdir(dir))
      if (strcmp(entry->d_name, ".") && strcmp(entry->d_name, "..")) remove((scratch + "/" + entry->d_name).c_str());
    closedir(dir);
  }
  rmdir(scratch.c_str());
}

}  // namespace

void StartFuzzing() {
  if (!freopen("/dev/null", "w", stdout)) abort();
  // tmpfs when there is one: some harnesses write a file per execution.
  char pattern[] = "/dev/shm/ostrel-fuzz-XXXXXX";
  char fallback[] = "/tmp/ostrel-fuzz-XXXXXX";
  const char* dir = mkdtemp(pattern);
  if (!dir) dir = mkdtemp(fallback);
  if (!dir || chdir(dir) != 0) abort();
  scratch = dir;
  atexit(RemoveScratch);
  InitHT(17);
  InitEngineTables();
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
