// Any bytes as an EPD suite through the analysis driver, alternately with the plain result file
// and the EPD one. The depth limit lets no iteration start, so each position gets the legal-move
// fallback as its answer: the driver is under test here, and even two-ply searches of the
// crowded positions the fuzzer favours took 98% of its time. Searches of arbitrary positions
// are the protocol harness's (setboard, then go).
#include "shell/epd.h"
#include "shell/settings.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  WriteFuzzFile("suite.epd", data, size);
  settings.epdOutput = size % 2 == 1;
  Analyse("suite.epd", "results.txt", 100, 2, "fuzz");
  return 0;
}
