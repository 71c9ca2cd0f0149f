// Worker threads of the generator: one stretch of work shared over a table's index range.
//
// Each pass of the retrograde analysis writes only entries of its own chunk, or lowers values and
// counts of the other side through atomic operations, so the chunks can run in any order and on
// any thread with the same result; the files do not depend on the number of threads.
#pragma once

#include <cstdint>

// --threads: 2 by default, one per core of the machine the generator was written for.
extern int workerThreads;

// Entries per chunk: a multiple of 64, so that no two chunks share a word of a bit array.
constexpr uint64_t ChunkEntries = 1 << 15;

// Runs work(begin, end) over [0, count) in chunks, on workerThreads threads, and returns when
// every chunk is done.
void ForEachChunk(uint64_t count, void (*work)(uint64_t begin, uint64_t end));

// One lock for the little the workers share besides the arrays (tables read on first use, the
// lists of late answers and of en-passant entries), held for the life of a WorkersLock; never
// taken again while held.
struct WorkersLock {
  WorkersLock();
  ~WorkersLock();
  WorkersLock(const WorkersLock&) = delete;
  WorkersLock& operator=(const WorkersLock&) = delete;
};
