// Ostrel's entry point: the command line decides one run mode, which runs to its end.
#include <cstdio>
#include <cstdlib>

#include "board/fen.h"
#include "book/book.h"
#include "book/builder.h"
#include "book/master.h"
#include "platform/platform.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/reset.h"
#include "search/startup.h"
#include "shell/epd.h"
#include "shell/input.h"
#include "shell/interpreter.h"
#include "shell/settings.h"
#include "tablebases/files.h"
#include "tablebases/registry.h"

constexpr int BookBuildingHashBits = 17;

int main(int argc, char** argv) {
  setvbuf(stdout, nullptr, _IONBF, 0);
  setvbuf(stdin, nullptr, _IONBF, 0);
  inputPoll = PollInput;
  DeleteFileQuietly("evaluate.debug");
  settings.epdOutput = false;
  engineFlags.bookUse = 1;
  gameClock.fixedDepth = gameClock.fixedTime = 0;
  for (int i = 0; i < argc; i++) printf("%s\n", argv[i]);
  ParseOptions(argc, argv);

  // The book-building steps run with a small table and no tablebases.
  if (settings.buildBook) {
    InitHT(BookBuildingHashBits);
    InitEngineTables();
    BuildBook(settings.tempFile, "book.bin", "index.dat");
    return 0;
  }
  if (settings.pgnSource) {
    InitHT(BookBuildingHashBits);
    InitEngineTables();
    PgnToTemp(settings.pgnSource, settings.tempFile, settings.maxBookMoves);
    return 0;
  }

  InitHT(settings.hashBits);
  InitEngineTables();
  const int tablebaseMen = InitTablebases(settings.tbDir);
  printf("Initialized tablebases : %d\n", tablebaseMen);
  // Without a table there is nothing to cache; a failed allocation leaves the tables unread.
  if (tablebaseMen) SetTablebaseCache(malloc(TablebaseCacheBytes), TablebaseCacheBytes);

  if (settings.analyseMode && settings.epdFile) {
    Analyse(settings.epdFile, settings.outFile, settings.maxTime, settings.maxPly, settings.tag);
    return 0;
  }
  if (!settings.playMode) return 0;
  SetInitialPosition();
  ResetForNewPosition();
  OpenBook("book.bin", "index.dat");
  LoadMasterBook("learn.txt", "learn.bin");
  MainLoop();
}
