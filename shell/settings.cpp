#include "shell/settings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

Settings settings;

namespace {

enum Option {
  Analyse, Xboard, MaxTime, MaxPly, OutFile, Tag, HashSize, PgnSource, TempFile, BuildBook, MaxBookMoves,
  EpdMode, TbDir, OptionCount
};

struct OptionName {
  const char* name;
  bool takesValue;
};

// In matching order: the first name found anywhere in an argument decides, so "--hashsize" is
// -hashsize and "-tagline" is -tag. The loose match is deliberate and kept.
const OptionName options[OptionCount] = {
  {"-analyse", true}, {"-xboard", false}, {"-maxtime", true}, {"-maxply", true}, {"-outfile", true},
  {"-tag", true}, {"-hashsize", true}, {"-pgnsource", true}, {"-tempfile", true}, {"-buildbook", false},
  {"-max_book_moves", true}, {"-epdmode", false}, {"-tbdir", true}};

int MatchOption(const char* argument) {
  for (int i = 0; i < OptionCount; i++)
    if (strstr(argument, options[i].name)) return i;
  return -1;
}

void Apply(int option, const char* value) {
  switch (option) {
    case Analyse:
      settings.epdFile = value;
      settings.analyseMode = true;
      settings.playMode = false;
      break;
    case Xboard:
      settings.playMode = true;
      settings.analyseMode = false;
      break;
    case MaxTime: {
      // Seconds, fractions allowed, truncated to hundredths; a figure beyond the range is held at
      // its edge rather than converted into nonsense.
      const double hundredths = atof(value) * 100.0;
      settings.maxTime = hundredths >= 2147483647.0 ? 2147483647 : hundredths <= -2147483648.0 ? -2147483647 - 1 : int(hundredths);
      break;
    }
    case MaxPly: settings.maxPly = int(atol(value)); break;
    case OutFile: settings.outFile = value; break;
    case Tag: settings.tag = value; break;
    case HashSize: settings.hashBits = int(atol(value)); break;
    case PgnSource: settings.pgnSource = value; break;
    case TempFile: settings.tempFile = value; break;
    case BuildBook: settings.buildBook = true; break;
    case MaxBookMoves: settings.maxBookMoves = int(atol(value)); break;
    case EpdMode: settings.epdOutput = true; break;
    case TbDir: settings.tbDir = value; break;
  }
}

}  // namespace

void ParseOptions(int argc, char** argv) {
  for (int i = 1; i < argc; i++) {
    const char* argument = argv[i];
    if (argument[0] != '-') continue;
    const int option = MatchOption(argument);
    if (option < 0) {
      printf("Unknown parameter : %s\n", argument);
      continue;
    }
    if (!options[option].takesValue) {
      Apply(option, nullptr);
      continue;
    }
    const bool missing = i + 1 >= argc;
    if (!missing) Apply(option, argv[++i]);
    if (option == HashSize) printf("hashsize : %d\n", settings.hashBits);
    if (missing) return;
  }
}
