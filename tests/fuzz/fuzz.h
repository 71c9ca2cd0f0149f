// What every harness shares: the set-up before its first input (fuzz.cpp defines the libFuzzer
// initialiser: the engine's chatter to /dev/null, a scratch directory of the harness's own,
// removed at exit, and the engine's tables built in the start-up order), and the one way
// harnesses hand bytes to code that reads files by name.
#pragma once

#include <cstddef>
#include <cstdint>

// The bytes as the whole content of `name`, in the scratch directory.
void WriteFuzzFile(const char* name, const uint8_t* data, size_t size);

// The bytes as a NUL-terminated string, cut at the first NUL, in a buffer the next call reuses.
const char* FuzzText(const uint8_t* data, size_t size);
