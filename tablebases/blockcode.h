// The code of one block of a compressed table side: LZ77 matches and literals under two
// canonical Huffman codes, built per block. Distance-to-mate tables repeat themselves at the
// strides of the index (a man stepping through its squares, a rank, a king pair), which matches
// catch and plain runs do not; the Huffman codes then take the skew of the values (draws, broken
// entries, short mates). On the 3- and 4-man tables this coder gives 4.4 : 1 where runs alone gave
// 1.3 : 1, Huffman codes of the bytes 2.9 : 1 and runs under Huffman codes 3.5 : 1 (zlib's deflate,
// block by block at its best level, reaches 4.6 : 1).
//
// A coded block is a stream of bits, each byte read from its least significant bit up:
//   1. the code lengths of the 270 literal/length symbols and then the 14 distance symbols, as
//      4-bit fields: 1 to 15 is a length (literal/length codes are at most LiteralCodeBits long,
//      distance codes at most DistanceCodeBits), 0 followed by a field n is n + 1 unused symbols;
//   2. tokens until the block's entries are filled. Symbols 0-255 are a literal entry. Symbol
//      256 + c starts a match whose length is 3 + Class(c), and a distance symbol d follows: the
//      match repeats the entries 1 + Class(d) back (it may overlap itself, so runs are matches of
//      distance 1). Class(c) is 0 for c = 0 and otherwise 2^(c-1) plus the next c - 1 bits.
// Codes are canonical (shorter codes first, then symbol order) and each is sent from its first
// bit. The block ends in its last byte: a stream that stops short of its entries, runs past its
// length, uses a code it did not define or points before the block's start is refused.
#pragma once

#include <cstdint>

constexpr int TableBlockBytes = 8192;  // entries per block
constexpr int ValueClasses = 14;      // covers 0 .. 8191, every length and distance within a block
constexpr int LiteralLengthSymbols = 256 + ValueClasses;
constexpr int DistanceSymbols = ValueClasses;
constexpr int LiteralCodeBits = 10, DistanceCodeBits = 6;
constexpr int ShortestMatch = 3;

// The decoder's lookup tables live in the decode block behind the coded bytes, so a coded block
// may take only what they leave; a block that does not code shorter than that is stored as is.
constexpr int DecodeBlockBytes = 8296;
constexpr int DecodeTableBytes = 2 * ((1 << LiteralCodeBits) + (1 << DistanceCodeBits));
constexpr int LongestCodedBlock = DecodeBlockBytes - DecodeTableBytes;
constexpr int BlockCheckBytes = 4;
static_assert(TableBlockBytes + BlockCheckBytes <= DecodeBlockBytes, "a stored block and its check word are read whole");

inline int ValueClass(uint32_t value) {
  int c = 0;
  while (value >> c) c++;
  return c;
}
inline uint32_t ClassBase(int c) { return c ? 1u << (c - 1) : 0; }
inline int ClassExtraBits(int c) { return c ? c - 1 : 0; }

// Adler-32 of a block's entries: cheap beside reading the block, and it catches any one damaged
// byte and nearly all worse damage.
uint32_t BlockChecksum(const uint8_t* entries, uint32_t count);

// Decodes the `length` coded bytes at the start of `scratch` (DecodeBlockBytes long; the rest is
// overwritten) into exactly `entries` bytes of `out`. False for any stream that is not a whole
// block; nothing outside the two buffers is touched whatever the bytes.
bool DecodeTableBlock(uint8_t* scratch, uint32_t length, uint8_t* out, uint32_t entries);

// Codes `entries` bytes (1 to 8192) into `out` (room for 8192): returns the coded length, or
// `entries` with the bytes copied as they are when coding would not make them shorter.
uint32_t EncodeTableBlock(const uint8_t* in, uint32_t entries, uint8_t* out);
