// ostrel-bench: speed figures for the evaluation. Evaluates every position of a fixed EPD file
// (by default the several thousand positions of the perft test data) over and over with the pawn
// table warm, and reports full and first-stage evaluations per second.
//
//   ostrel-bench [FILE] [--rounds N]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "board/fen.h"
#include "board/keys.h"
#include "board/tables.h"
#include "search/eval.h"
#include "search/pawns.h"

#ifndef OSTREL_DATA_DIR
#define OSTREL_DATA_DIR "tests/data"
#endif

static double Seconds() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

int main(int argc, char** argv) {
  InitTables();
  InitKeys();
  InitPawnTables();
  const char* file = OSTREL_DATA_DIR "/perft/perft_marcel.epd";
  int rounds = 50;
  for (int i = 1; i < argc; i++) {
    if (!strcmp(argv[i], "--rounds") && i + 1 < argc) rounds = atoi(argv[++i]);
    else file = argv[i];
  }
  FILE* in = fopen(file, "r");
  if (!in) {
    printf("Cannot open file %s\n", file);
    return 1;
  }
  std::vector<Position> positions;
  char line[4096];
  while (fgets(line, sizeof line, in)) {
    if (strlen(line) < 10) continue;
    SetPosition(line);
    positions.push_back(pos);
  }
  fclose(in);
  if (positions.empty()) {
    printf("No positions in %s\n", file);
    return 1;
  }

  // Warm the pawn table, then time copying the positions in alone, so that only the
  // evaluation's share is reported.
  long long checksum = 0;
  for (const Position& p : positions) {
    pos = p;
    checksum += Evaluate(p.sideToMove);
  }
  double start = Seconds();
  for (int r = 0; r < rounds; r++)
    for (const Position& p : positions) {
      pos = p;
      checksum += pos.material & 1;
    }
  const double copying = Seconds() - start;

  start = Seconds();
  for (int r = 0; r < rounds; r++)
    for (const Position& p : positions) {
      pos = p;
      checksum += EvaluateFirstStage(ProbePawnTable());
    }
  const double first = Seconds() - start - copying;

  start = Seconds();
  for (int r = 0; r < rounds; r++)
    for (const Position& p : positions) {
      pos = p;
      checksum += Evaluate(p.sideToMove);
    }
  const double full = Seconds() - start - copying;

  const double evaluations = double(rounds) * positions.size();
  printf("positions %zu rounds %d checksum %lld\n", positions.size(), rounds, checksum);
  printf("first-stage evaluations/s %.0f\n", first > 0 ? evaluations / first : 0.0);
  printf("full evaluations/s %.0f\n", full > 0 ? evaluations / full : 0.0);
  return 0;
}
