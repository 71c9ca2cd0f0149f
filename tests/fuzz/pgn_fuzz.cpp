// Any bytes as a PGN file through the book builder's first step: the reader cuts them into
// games and each game with a result is replayed into temporary records.
#include <sys/stat.h>

#include <cstdlib>

#include "book/builder.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  WriteFuzzFile("games.pgn", data, size);
  PgnToTemp("games.pgn", "temp.dat", 12);
  struct stat info;
  if (stat("temp.dat", &info) != 0 || info.st_size % 16 != 0) abort();
  return 0;
}
