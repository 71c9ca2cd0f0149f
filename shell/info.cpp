#include "shell/info.h"

#include <cstdio>

#include "shell/input.h"

static void Pause() {
  fputs("press enter to continue\n", stdout);
  WaitForEnter();
}

void PrintVersionBanner() { fputs("Ostrel\nVersion 1.069 QX\n", stdout); }

void PrintHelpText() {
  fputs("\nCommand line options :\n\n\n"
        "Analysing :\n\n"
        "-analyse <epd filename>\n"
        "-outfile <filename to write results to>\n"
        "-maxtime <max time for a position to be analysed in seconds (float)>\n"
        "-maxply <max ply to analyse a position>\n"
        "-tag <engine configuration description when analysing EPDs>\n"
        "-epdmode : epd output\n\n\n"
        "Playing:\n\n"
        "-xboard\n\n\n",
        stdout);
  Pause();
  fputs("General options:\n\n"
        "-hashsize <x : integer between 5 and 25> hash size will have 2^x entries\n"
        "-tbdir xxx : path to the tablebases files : default tbs/\n\n\n",
        stdout);
  Pause();
  fputs("Building an opening book :\n\n"
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
        "-buildbook <name of the temp file>\n\n",
        stdout);
}

void PrintAboutText() {
  fputs("\nOstrel 1.069 QX\n\n"
        "Release Date : 14/Oct/2010\n\n\n"
        "Author   : The Ostrel developers\n"
        "Contact  : through the project's issue tracker\n"
        "Web page : none of its own; the sources are the documentation\n\n"
        "Ostrel is a hobby project and a test ground for chess algorithms:\n"
        "bitboards, alpha-beta search with iterative deepening, an opening\n"
        "book learnt from PGN games and endgame tablebases.\n"
        "Its strength is measured in engine-against-engine matches;\n"
        "no rating list has recorded it yet.\n"
        "\n",
        stdout);
  Pause();
  fputs("\nInstall notes :\n\n\n"
        "Copy ostrel.exe into the directory of your graphical interface\n"
        "and install it there as the first chess program, either with\n"
        "the interface's command-line switch for the first program\n"
        "or through the interface's start-up menu.\n"
        "Ostrel can also analyse an EPD file from the command line;\n"
        "type help for the options.\n",
        stdout);
  Pause();
  fputs("An opening book is either downloaded or built from a PGN file\n"
        "(type help for how to build one). Put the resulting\n"
        "index.dat and book.bin into the directory of your\n"
        "graphical interface.\n",
        stdout);
}
