// What every harness sets up once before its first input, and the one way harnesses hand bytes
// to code that reads files by name.
#pragma once

#include <cstddef>
#include <cstdint>

// Sends the engine's chatter to /dev/null, moves into a scratch directory of the harness's own
// (removed at exit) and builds the tables the engine needs, in the start-up order.
void StartFuzzing();

// The bytes as the whole content of `name`, in the scratch directory.
void WriteFuzzFile(const char* name, const uint8_t* data, size_t size);

// The bytes as a NUL-terminated string, cut at the first NUL, in a buffer the next call reuses.
const char* FuzzText(const uint8_t* data, size_t size);
