// A fresh directory for a test that reads and writes files by plain names, as the engine does in
// its working directory: entered when made, left and removed at the end.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

struct ScratchDirectory {
  std::string path;
  char previous[4096];

  // Makes the directory and moves into it; false when either fails.
  bool Enter() {
    char pattern[] = "/tmp/ostrel-test-XXXXXX";
    if (!mkdtemp(pattern) || getcwd(previous, sizeof previous) != previous) return false;
    path = pattern;
    return chdir(path.c_str()) == 0;
  }

  // Back to where the test started, and the directory gone.
  bool Leave() { return chdir(previous) == 0 && system(("rm -rf " + path).c_str()) == 0; }
};

inline std::string ReadFile(const std::string& path) {
  std::stringstream s;
  s << std::ifstream(path, std::ios::binary).rdbuf();
  return s.str();
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}
