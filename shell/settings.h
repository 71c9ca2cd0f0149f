// What the command line sets: plain globals with their defaults, read by the mode drivers.
#pragma once

struct Settings {
  const char* epdFile = nullptr;        // -analyse
  bool playMode = true;                 // -xboard (and not -analyse)
  bool analyseMode = false;             // -analyse
  int maxTime = 26000;                  // -maxtime, hundredths of a second per position
  int maxPly = 8;                       // -maxply
  const char* outFile = nullptr;        // -outfile
  const char* tag = "unknown configuration";  // -tag
  int hashBits = 18;                    // -hashsize, log2 of the transposition entries
  const char* pgnSource = nullptr;      // -pgnsource: book building, first step
  const char* tempFile = "temp.dat";    // -tempfile
  bool buildBook = false;               // -buildbook: book building, second step
  int maxBookMoves = 12;                // -max_book_moves
  bool epdOutput = false;               // -epdmode
  const char* tbDir = "E:/tbs";         // -tbdir
};

extern Settings settings;

// Reads the options from argv[1] on, echoing nothing (the caller echoes the line first). Option
// names match anywhere inside an argument, first in table order; an option missing its value
// ends the scan. Writes "hashsize : " and "Unknown parameter : " lines as it goes.
void ParseOptions(int argc, char** argv);
