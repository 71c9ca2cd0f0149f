// Fresh directories for tests and the engines they start, which read and write files by plain
// names in their working directory.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

// A new empty directory under TMPDIR (or /tmp); "" when none can be made.
inline std::string MakeScratchDirectory() {
  const char* tmp = getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/ostrel-test-XXXXXX";
  return mkdtemp(&pattern[0]) ? pattern : "";
}

inline bool RemoveScratchDirectory(const std::string& path) {
  return system(("rm -rf '" + path + "'").c_str()) == 0;
}

// A scratch directory the test itself works in: entered when made, left and removed at the end.
struct ScratchDirectory {
  std::string path;
  char previous[4096];
  bool Enter() {
    path = MakeScratchDirectory();
    return !path.empty() && getcwd(previous, sizeof previous) == previous && chdir(path.c_str()) == 0;
  }
  bool Leave() { return chdir(previous) == 0 && RemoveScratchDirectory(path); }
};

inline std::string ReadFile(const std::string& path) {
  std::stringstream s;
  s << std::ifstream(path, std::ios::binary).rdbuf();
  return s.str();
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}
