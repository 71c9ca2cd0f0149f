// The engine's files (book, tablebases) are little-endian whatever the host is, so their fields
// are taken apart and put together byte by byte.
#pragma once

#include <cstdint>

inline uint64_t GetLittleEndian(const unsigned char* in, int bytes) {
  uint64_t value = 0;
  for (int i = 0; i < bytes; i++) value |= uint64_t(in[i]) << (8 * i);
  return value;
}

inline void PutLittleEndian(unsigned char* out, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; i++) out[i] = (unsigned char)(value >> (8 * i));
}
