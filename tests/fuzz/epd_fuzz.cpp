// Any bytes as an EPD suite through the analysis driver, searched two plies deep, alternately
// with the plain result file and the EPD one.
#include "shell/epd.h"
#include "shell/settings.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  WriteFuzzFile("suite.epd", data, size);
  settings.epdOutput = size % 2 == 1;
  Analyse("suite.epd", "results.txt", 100, 3, "fuzz");
  return 0;
}
