// The bytes of registered table files, read through one block cache. A table side is either a plain
// file holding one signed byte per entry or a compressed ".emd" file of independent blocks; both are
// read in blocks of TableBlockBytes entries, so the cache treats them alike.
//
// Ostrel's ".emd" container, all integers little-endian:
//   bytes 0-7    magic "OSTRLEMD"
//   bytes 8-11   version (2)
//   bytes 12-15  entries per block (TableBlockBytes)
//   bytes 16-19  uncompressed size (the table side's entry count)
//   bytes 20-23  number of blocks n = ceil(size / block entries)
//   then n + 1   file offsets, 4 bytes each: block i occupies [offset i, offset i+1)
//   then blocks  the entries, stored as they are or (when shorter) coded as tablebases/blockcode.h
//                describes, at most LongestCodedBlock bytes; then 4 bytes, the BlockChecksum of
//                the entries, so that a damaged block is refused rather than misread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "tablebases/blockcode.h"
#include "tablebases/catalogue.h"

constexpr char EmdMagic[8] = {'O', 'S', 'T', 'R', 'L', 'E', 'M', 'D'};
constexpr uint32_t EmdVersion = 2;
constexpr int EmdHeaderBytes = 24;
constexpr size_t TablebaseCacheBytes = 2097152;

// Bytes the file layer has allocated since the last reset (compressed block indices, the decode
// block); reported by a verbose registration.
extern size_t tablebaseMemory;

// Validates an opened ".emd" file against a table side of `count` entries. On failure writes the
// reason ("*** Unable to read <name> - ...", "*** <name>: Unsupported block size N",
// "*** <name> corrupted") and returns null; the caller keeps ownership of `file` either way.
CompressedTable* OpenCompressedTable(FILE* file, const char* name, uint32_t count);
void FreeCompressedTable(CompressedTable* table);
// Decodes every block of a validated ".emd" file into `out` (room for `count` entries), checking
// each against its check word: for programs that hold a whole side in memory. Needs no cache.
bool ReadWholeCompressedTable(FILE* file, const CompressedTable* table, uint32_t count, uint8_t* out);

// Allocates the decode block once some compressed file is registered: 0, or the error code.
int AllocateDecodeBlock();
void FreeDecodeBlock();

// Hands the cache its memory (null or a size below one block: no cache, so every read fails) and
// forgets whatever it held. The caller owns the buffer and keeps it for as long as tables are read.
void SetTablebaseCache(void* buffer, size_t size);
// Whether the cache has memory to read blocks into.
bool TablebaseCacheReady();
// Forgets every cached block; the registry calls it when the files change.
void ClearTablebaseCache();

// The entry at `index` of a registered table side. False when the side is not registered, the
// index lies beyond its count, there is no cache, or the file cannot be read or decoded.
bool ReadTableEntry(int table, int side, uint32_t index, int8_t* value);
