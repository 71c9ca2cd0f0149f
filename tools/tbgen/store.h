// Table files in the generator's directory: reading whole table sides back, the value of a
// position in any table read that way, and writing a side under a temporary name first.
#pragma once

#include <cstdint>

#include "tools/tbgen/men.h"

extern const char* tableDirectory;

// The file name of a table side in tableDirectory, in a static buffer.
const char* TableFileName(int table, int side);
// Both plain files exist with exactly the catalogue's sizes.
bool PlainFilesPresent(int table);
// Each side is there as a plain file of the catalogue's size or as a compressed ".emd" file.
bool TableFilesPresent(int table);
// The bytes of a table side, plain or compressed, read once and kept; null (with a message) when
// the file is missing, of the wrong size or does not decode.
const int8_t* LoadTableSide(int table, int side);
void ReleaseTables();

// The working value of `p` (any material of up to five men, side to move as given; `epSquare`
// the square a capture en passant may go to, or -1) read from the loaded tables: true when
// found. Two bare kings are a draw.
bool StoredValue(const Men& p, int epSquare, int* value);

// Writes the bytes produced by `next` (called from the worker threads, in no particular order) as
// the file of a table side: to a temporary name, then renamed, so that a table's name never holds
// half a table. False with a message on failure.
bool WriteTableSide(int table, int side, int8_t (*next)(uint32_t index));
