// The program's exact texts, as a GUI or a user at the console meets them: each row starts the
// engine with its arguments, sends its lines, and expects its text to come out in this order
// (the engine's trace lines may come in between).
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/engine_process.h"

namespace {

constexpr int ReplyMs = 15000;

const char* const features =
    "feature colors=1\nfeature myname=\"Ostrel 1.069 QX by Brannock\"\nfeature time=1\nfeature pause=0\n"
    "feature variants=\"normal,nocastle\"\nfeature sigint=0\nfeature sigterm=0\nfeature name=1\n"
    "feature playother=1\nfeature setboard=1\nfeature draw=1\nfeature reuse=0\nfeature time=1\nfeature san=0\n"
    "feature done=1\n";

const struct {
  std::vector<std::string> arguments, input;
  std::string expected;
} conformance[] = {
    {{"word", "-bar", "-hashsize", "19"},
     {},
     "word\n-bar\n-hashsize\n19\nUnknown parameter : -bar\nhashsize : 19\nInitHT [19]\n"
     "Initialized tablebases : 0\nOstrel\nVersion 1.069 QX\n"},
    {{}, {"xboard", "protover 2"}, features},
    // Both announced variants are refused all the same: GUIs only send one for a non-standard game.
    {{},
     {"variant nocastle", "variant normal", "sd 3", "st 2", "hash 64"},
     "Error: unsupported variant.\nError: unsupported variant.\nsearch depth mode sd = 3\n"
     "search time mode st = 2\npawn hash = 7864320\nx1 = [59244544]\nx2 = [3702784]\nx3 = [1851392]\n"
     "InitHT [21]\n"},
    // e1g1 would castle through White's own pieces.
    {{},
     {"new", "force", "e2e5", "e1g1"},
     "Make move : cannot find move 12 36 0\nMake move : cannot find move 4 6 0\n"},
    {{}, {"draw"}, "I decline\n"},
    {{}, {"version"}, "Ostrel\nVersion 1.069 QX\n"},
    // The pauses read from the same input; the line after them is read as usual.
    {{},
     {"help", "skipped", "", "version"},
     "\nCommand line options :\n\n\n"
     "Analysing :\n\n"
     "-analyse <epd filename>\n"
     "-outfile <filename to write results to>\n"
     "-maxtime <max time for a position to be analysed in seconds (float)>\n"
     "-maxply <max ply to analyse a position>\n"
     "-tag <engine configuration description when analysing EPDs>\n"
     "-epdmode : epd output\n\n\n"
     "Playing:\n\n"
     "-xboard\n\n\n"
     "press enter to continue\n"
     "General options:\n\n"
     "-hashsize <x : integer between 5 and 25> hash size will have 2^x entries\n"
     "-tbdir xxx : path to the tablebases files : default tbs/\n\n\n"
     "press enter to continue\n"
     "Building an opening book :\n\n"
     "it's done in two steps :\n"
     "pgn -> temp file -> opening book\n\n"
     "example :\n\n"
     "ostrel.exe -pgnsource book.pgn -tempfile temp.dat -max_book_moves 15\n"
     "then\n"
     "ostrel.exe -tempfile temp.dat -buildbook\n"
     "after which you may delete temp.dat\n\n"
     "Be warned, it's a slow process and takes\n"
     "lots of memory if you want a big book.\n\n"
     "-pgnsouce <name of the file to build the book from>\n"
     "-tempfile <name of the temporary file default temp.dat>\n"
     "-max_book_moves <number of moves to include from each match\n"
     " into the book, default 10>\n"
     "-buildbook <name of the temp file>\n\n"
     "Ostrel\nVersion 1.069 QX\nAddTo Queue [version]\nOstrel\nVersion 1.069 QX\n"},
};

}  // namespace

TEST(Conformance, ExactTexts) {
  for (const auto& row : conformance) {
    const std::string what = (row.input.empty() ? std::string("start-up") : row.input.back());
    EngineProcess engine;
    ASSERT_TRUE(StartEngine(engine, row.arguments)) << what;
    if (!row.input.empty()) {
      ASSERT_TRUE(WaitForExact(engine, "Version 1.069 QX", ReplyMs)) << Tail(engine);
    }
    for (const std::string& line : row.input) ASSERT_TRUE(Send(engine, line)) << what;
    std::istringstream expected(row.expected);
    for (std::string line; std::getline(expected, line);)
      ASSERT_TRUE(WaitForExact(engine, line, ReplyMs)) << what << ": missing or out of order: \"" << line << "\"\n"
                                                       << Tail(engine);
    ASSERT_TRUE(Send(engine, "quit")) << what;
    EXPECT_TRUE(WaitForExit(engine, ReplyMs)) << what;
  }
}
