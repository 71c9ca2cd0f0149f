#include "tablebases/registry.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "board/output.h"
#include "platform/platform.h"
#include "tablebases/catalogue.h"
#include "tablebases/files.h"

uint8_t tablebaseVerbose;

namespace {

constexpr int FirstFourMen = 6;
constexpr int FirstFiveMen = 36;

int compressedRegistered;

void ResetRegistry() {
  for (int t = 1; t < TableCount; t++)
    for (int side = 0; side < 2; side++) {
      TableDescriptor& d = tableCatalogue[t];
      if (d.file[side]) fclose(d.file[side]);
      FreeCompressedTable(d.compressed[side]);
      d.file[side] = nullptr;
      d.compressed[side] = nullptr;
    }
  FreeDecodeBlock();
  ClearTablebaseCache();
  tablebaseMemory = 0;
  compressedRegistered = 0;
}

// Stdio buffers would be allocated by the first read, during a search, and would only copy the
// blocks the cache holds anyway.
void Keep(int table, int side, FILE* file, CompressedTable* compressed, const std::string& name) {
  setvbuf(file, nullptr, _IONBF, 0);
  tableCatalogue[table].file[side] = file;
  tableCatalogue[table].compressed[side] = compressed;
  if (tablebaseVerbose) Print("%s registered\n", name.c_str());
}

bool Register(const std::string& directory, int table, int side) {
  TableDescriptor& d = tableCatalogue[table];
  if (d.file[side]) return false;
  std::string name = directory.empty() ? std::string() : directory + PathSeparator;
  name += d.name;
  name += side == 0 ? ".nbw" : ".nbb";

  if (FILE* file = fopen(name.c_str(), "rb")) {
    if (fseek(file, 0, SEEK_END) != 0) {
      Print("*** Seek in %s failed\n", name.c_str());
      fclose(file);
      return false;
    }
    const long size = ftell(file);
    if (d.count[side] != 0 && size != long(d.count[side])) {
      Print("*** %s corrupted\n", name.c_str());
      fclose(file);
      return false;
    }
    Keep(table, side, file, nullptr, name);
    return true;
  }

  name += ".emd";
  FILE* file = fopen(name.c_str(), "rb");
  if (!file) return false;
  // The file layer has said why it refuses the file; this line says that the table side stays
  // unregistered, as for any file that opened and could not be set up.
  CompressedTable* compressed = OpenCompressedTable(file, name.c_str(), d.count[side]);
  if (!compressed) {
    Print("*** Unable to register %s\n", name.c_str());
    fclose(file);
    return false;
  }
  Keep(table, side, file, compressed, name);
  compressedRegistered++;
  return true;
}

}  // namespace

void ClearTablebases() { ResetRegistry(); }

int InitTablebases(const char* directories) {
  ResetRegistry();
  BuildSignatureTree();

  int largest = 0;
  const std::string list = directories;
  for (size_t start = 0;;) {
    const size_t end = list.find_first_of(",;", start);
    const std::string directory = list.substr(start, end == std::string::npos ? std::string::npos : end - start);
    for (int t = 1; t < TableCount; t++)
      for (int side = 0; side < 2; side++)
        if (Register(directory, t, side) && t > largest) largest = t;
    if (end == std::string::npos) break;
    start = end + 1;
  }

  if (compressedRegistered) {
    if (const int error = AllocateDecodeBlock()) {
      Print("*** Cannot allocate decode block: error code %d\n", error);
      exit(1);
    }
    if (tablebaseVerbose)
      Print("Allocated %dKb for decompression tables, indices, and buffers.\n", int((tablebaseMemory + 1023) / 1024));
  }
  return largest >= FirstFiveMen ? 5 : largest >= FirstFourMen ? 4 : largest >= 1 ? 3 : 0;
}
