#include "tools/tbgen/workers.h"

#include <atomic>

// mingw's win32 thread model has no std::thread: the Windows build runs one thread.
#if !defined(__GLIBCXX__) || defined(_GLIBCXX_HAS_GTHREADS)
#define OSTREL_WORKER_THREADS 1
#include <mutex>
#include <thread>
#endif

int workerThreads = 2;

#ifdef OSTREL_WORKER_THREADS
static std::mutex shared;
WorkersLock::WorkersLock() { shared.lock(); }
WorkersLock::~WorkersLock() { shared.unlock(); }
#else
WorkersLock::WorkersLock() {}
WorkersLock::~WorkersLock() {}
#endif

static std::atomic<uint64_t> nextChunk;

// Chunks are handed out one at a time: the work per entry varies too much along a table for
// fixed halves to keep both threads busy.
static void RunChunks(uint64_t count, void (*work)(uint64_t begin, uint64_t end)) {
  for (;;) {
    const uint64_t begin = nextChunk.fetch_add(ChunkEntries);
    if (begin >= count) return;
    work(begin, begin + ChunkEntries < count ? begin + ChunkEntries : count);
  }
}

void ForEachChunk(uint64_t count, void (*work)(uint64_t begin, uint64_t end)) {
  nextChunk = 0;
#ifdef OSTREL_WORKER_THREADS
  constexpr int MaxThreads = 64;
  std::thread helpers[MaxThreads];
  const int n = workerThreads < MaxThreads ? workerThreads : MaxThreads;
  for (int i = 1; i < n; i++) helpers[i] = std::thread(RunChunks, count, work);
  RunChunks(count, work);
  for (int i = 1; i < n; i++) helpers[i].join();
#else
  RunChunks(count, work);
#endif
}
