// Finding and registering the table files at start-up.
#pragma once

#include <cstdint>

// Set to have registration name every file it takes and the memory it allocated. Nothing in the
// engine sets it; it stays for a build that wants the lines.
extern uint8_t tablebaseVerbose;

// Registers every table side found in the directories of `directories`, separated by "," or ";"
// (an empty entry is the working directory); of a table side found in several directories the
// first one's file is taken. A directory and a file name are joined by the platform's separator.
// Plain files are tried before ".emd" ones; each file refused is reported with a "*** " line.
// Undoes any earlier registration first. Returns 5, 4 or 3, the most men of any table registered,
// or 0 when none was. Ends the process when a compressed table registered and its decode block
// cannot be allocated. The cache (SetTablebaseCache) is the caller's to set up.
int InitTablebases(const char* directories);
// Undoes every registration and registers nothing; InitTablebases("") would take the working
// directory instead.
void ClearTablebases();
