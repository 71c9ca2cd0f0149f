// ostrel-perft: leaf counts of the move tree, for correctness (against published counts) and for
// measuring the speed of generation and make/unmake.
//
//   ostrel-perft FEN DEPTH [--divide] [--bulk]
//   ostrel-perft --suite FILE [--max-depth N] [--bulk]     lines "FEN ;D1 n ;D2 n ..."
// --bulk counts the legal moves of the last ply without making them.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "board/perft.h"
#include "board/startup.h"

static double Seconds() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

static void Report(uint64_t nodes, double seconds) {
  printf("nodes %llu\nseconds %.3f\nMnps %.2f\n", (unsigned long long)nodes, seconds,
         seconds > 0 ? nodes / seconds / 1e6 : 0.0);
}

static void Divide(int depth, bool bulk) {
  const int side = pos.sideToMove;
  Move moves[MaxMoves];
  Move* end = GenerateLegal(moves, side);
  uint64_t total = 0;
  const double start = Seconds();
  SaveUndo(0);
  for (Move* m = moves; m < end; m++) {
    MakeMove(*m, 0, side);
    const uint64_t n = depth > 1 ? Perft(depth - 1, side ^ 1, 1, bulk) : 1;
    UnmakeMove(*m, 0, side);
    printf("%s %llu\n", CoordinateText(*m), (unsigned long long)n);
    total += n;
  }
  Report(total, Seconds() - start);
}

static int RunSuite(const char* file, int maxDepth, bool bulk) {
  FILE* in = fopen(file, "r");
  if (!in) {
    printf("Cannot open file %s\n", file);
    return 1;
  }
  char line[4096];
  int positions = 0, failures = 0;
  uint64_t total = 0;
  const double start = Seconds();
  while (fgets(line, sizeof line, in)) {
    char* fields = strchr(line, ';');
    if (!fields) continue;
    SetPosition(line);
    positions++;
    for (char* d = fields; (d = strstr(d, ";D")) != nullptr;) {
      d += 2;
      const int depth = atoi(d);
      const char* count = strchr(d, ' ');
      if (!count || depth > maxDepth) continue;
      const uint64_t expected = strtoull(count, nullptr, 10);
      const uint64_t nodes = Perft(depth, pos.sideToMove, 0, bulk);
      total += nodes;
      if (nodes != expected) {
        failures++;
        printf("FAIL %.*s depth %d: %llu, expected %llu\n", int(fields - line), line, depth, (unsigned long long)nodes,
               (unsigned long long)expected);
      }
    }
  }
  fclose(in);
  printf("positions %d failures %d\n", positions, failures);
  Report(total, Seconds() - start);
  return failures ? 1 : 0;
}

static bool HasOption(int argc, char** argv, const char* name) {
  for (int i = 3; i < argc; i++)
    if (!strcmp(argv[i], name)) return true;
  return false;
}

int main(int argc, char** argv) {
  InitBoardTables();
  const bool bulk = HasOption(argc, argv, "--bulk");
  if (argc >= 3 && !strcmp(argv[1], "--suite")) {
    int maxDepth = 99;
    for (int i = 3; i + 1 < argc; i++)
      if (!strcmp(argv[i], "--max-depth")) maxDepth = atoi(argv[i + 1]);
    return RunSuite(argv[2], maxDepth, bulk);
  }
  if (argc < 3) {
    printf("usage: ostrel-perft FEN DEPTH [--divide] [--bulk]\n       ostrel-perft --suite FILE [--max-depth N] [--bulk]\n");
    return 2;
  }
  SetPosition(argv[1]);
  const int depth = atoi(argv[2]);
  if (HasOption(argc, argv, "--divide")) {
    Divide(depth, bulk);
    return 0;
  }
  const double start = Seconds();
  const uint64_t nodes = Perft(depth, pos.sideToMove, 0, bulk);
  Report(nodes, Seconds() - start);
  return 0;
}
