// Compressed table files: the plain files of a generated table turned into the ".emd" files the
// engine reads block by block.
#pragma once

#include <cstdint>

// Writes both sides of `table` from tableDirectory's plain files as "<file>.emd", each block
// decoded back and compared before the file is kept, and then removes the plain files (the
// engine would read them first). Adds the sizes before and after to the two totals. False with
// a message on standard error when a side cannot be read, coded or written.
bool CompressTable(int table, uint64_t* plainBytes, uint64_t* compressedBytes);
