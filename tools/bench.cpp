// ostrel-bench: a fixed set of positions searched to a fixed depth with a fixed table size. The
// total node count is a signature of the engine's behaviour: the same build gives the same
// number, and any change in it is a change in how the engine searches.
//
//   ostrel-bench [--depth N]      search benchmark (default depth 9)
//   ostrel-bench --eval [FILE]    evaluations per second over an EPD file
//   ostrel-bench --tablebases DIR TABLE...
//                                 probe time of random legal positions of each table, plain or
//                                 compressed, from a cold cache (blocks read from the files and
//                                 decoded) and from a warm one; then the
//                                 time of each side's index function and of the decoder
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/game.h"
#include "board/position.h"
#include "search/control.h"
#include "search/eval.h"
#include "search/hash.h"
#include "search/pawns.h"
#include "search/reset.h"
#include "search/startup.h"
#include "search/think.h"
#include "tablebases/catalogue.h"
#include "tablebases/files.h"
#include "tablebases/index.h"
#include "tablebases/probe.h"
#include "tablebases/registry.h"

#ifndef OSTREL_DATA_DIR
#define OSTREL_DATA_DIR "tests/data"
#endif

// Openings, middlegames (from the classic test suites) and endings.
static const char* const benchPositions[] = {
  "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -",
  "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
  "r1bqkb1r/pppp1ppp/2n2n2/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R w KQkq -",
  "rnbqkb1r/pp3ppp/4pn2/2pp4/2PP4/2N2N2/PP2PPPP/R1BQKB1R w KQkq -",
  "r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQ1RK1 w - -",
  "1k1r4/pp1b1R2/3q2pp/4p3/2B5/4Q3/PPP2B2/2K5 b - -",
  "3r1k2/4npp1/1ppr3p/p6P/P2PPPP1/1NR5/5K2/2R5 w - -",
  "2q1rr1k/3bbnnp/p2p1pp1/2pPp3/PpP1P1P1/1P2BNNP/2BQ1PRK/7R b - -",
  "rnbqkb1r/p3pppp/1p6/2ppP3/3N4/2P5/PPP1QPPP/R1B1KB1R w KQkq -",
  "r1b2rk1/2q1b1pp/p2ppn2/1p6/3QP3/1BN1B3/PPP3PP/R4RK1 w - -",
  "2r3k1/pppR1pp1/4p3/4P1P1/5P2/1P4K1/P1P5/8 w - -",
  "1nk1r1r1/pp2n1pp/4p3/q2pPp1N/b1pP1P2/B1P2R2/2P1B1PP/R2Q2K1 w - -",
  "4b3/p3kp2/6p1/3pP2p/2pP1P2/4K1P1/P3N2P/8 w - -",
  "2kr1bnr/pbpq4/2n1pp2/3p3p/3P1P1B/2N2N1Q/PPP3PP/2KR1B1R w - -",
  "3rr1k1/pp3pp1/1qn2np1/8/3p4/PP1R1P2/2P1NQPP/R1B3K1 b - -",
  "2r1nrk1/p2q1ppp/bp1p4/n1pPp3/P1P1P3/2PBB1N1/4QPPP/R4RK1 w - -",
  "r3r1k1/ppqb1ppp/8/4p1NQ/8/2P5/PP3PPP/R3R1K1 b - -",
  "r2q1rk1/4bppp/p2p4/2pP4/3pP3/3Q4/PP1B1PPP/R3R1K1 w - -",
  "rnb2r1k/pp2p2p/2pp2p1/q2P1p2/8/1Pb2NP1/PB2PPBP/R2Q1RK1 w - -",
  "2r3k1/1p2q1pp/2b1pr2/p1pp4/6Q1/1P1PP1R1/P1PN2PP/5RK1 w - -",
  "r1bqkb1r/4npp1/p1p4p/1p1pP1B1/8/1B6/PPPN1PPP/R2Q1RK1 w kq -",
  "r2q1rk1/1ppnbppp/p2p1nb1/3Pp3/2P1P1P1/2N2N1P/PPB1QP2/R1B2RK1 b - -",
  "r1bq1rk1/pp2ppbp/2np2p1/2n5/P3PP2/N1P2N2/1PB3PP/R1B1QRK1 b - -",
  "3rr3/2pq2pk/p2p1pnp/8/2QBPP2/1P6/P5PP/4RRK1 b - -",
  "r4k2/pb2bp1r/1p1qp2p/3pNp2/3P1P2/2N3P1/PPP1Q2P/2KRR3 w - -",
  "3rn2k/ppb2rpp/2ppqp2/5N2/2P1P3/1P5Q/PB3PPP/3RR1K1 w - -",
  "2r2rk1/1bqnbpp1/1p1ppn1p/pP6/N1P1P3/P2B1N1P/1B2QPP1/R2R2K1 b - -",
  "r1bqk2r/pp2bppp/2p5/3pP3/P2Q1P2/2N1B3/1PP3PP/R4RK1 b kq -",
  "r2qnrnk/p2b2b1/1p1p2pp/2pPpp2/1PP1P3/PRNBB3/3QNPPP/5RK1 w - -",
  "1rbq1rk1/p1b1nppp/1p2p3/8/1B1pN3/P2B4/1P3PPP/2RQ1R1K w - -",
  "3r2k1/p2r1p1p/1p2p1p1/q4n2/3P4/PQ5P/1P1RNPP1/3R2K1 b - -",
  "r1b1r1k1/1ppn1p1p/3pnqp1/8/p1P1P3/5P2/PbNQNBPP/1R2RB1K w - -",
  "5r1k/6pp/1n2Q3/4p3/8/7P/PP4PK/R1B1q3 b - -",
  "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -",
  "8/8/8/3k4/8/8/3PK3/8 w - -",
  "8/8/1p1k4/1P6/2K5/8/8/8 w - -",
  "6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - -",
  "8/5pk1/6p1/8/4R3/6PP/5PK1/3r4 b - -",
  "4k3/8/8/8/8/8/4P3/4K2R w K -",
  "8/8/8/8/5kp1/8/6K1/5B2 w - -",
};

static double Seconds() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

static int SearchBench(int depth) {
  InitHT(DefaultHashBits);
  engineFlags.post = 0;
  engineFlags.bookUse = 0;
  uint64_t nodes = 0;
  const double start = Seconds();
  for (const char* fen : benchPositions) {
    SetPosition(fen);
    ResetForNewPosition();
    NewGameRecord();
    gameRecord.moveCount = 40;  // past the opening-only terms, whatever the position
    TimeLeft = 1000000000;
    Think(pos.sideToMove, depth + 1, ThinkNoClock);
    nodes += uint64_t(NodeCount) + QNodeCount;
  }
  const double seconds = Seconds() - start;
  printf("positions %zu depth %d\n", sizeof benchPositions / sizeof benchPositions[0], depth);
  printf("seconds %.2f\nnodes/s %.0f\nnodes %llu\n", seconds, seconds > 0 ? nodes / seconds : 0.0,
         (unsigned long long)nodes);
  return 0;
}

static int EvalBench(const char* file, int rounds) {
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
    ResetForNewPosition();
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

static uint64_t randomState = 0x9E3779B97F4A7C15ULL;

static int RandomBelow(int n) {
  randomState ^= randomState << 13;
  randomState ^= randomState >> 7;
  randomState ^= randomState << 17;
  return int(randomState % uint64_t(n));
}

// A legal position of the table's material: either colour may hold the stronger side and either
// may be to move, so both files and the colour-swapped reading are exercised.
static bool RandomTablePosition(const char* name) {
  char board[64];
  memset(board, '1', sizeof board);
  const bool strongIsWhite = RandomBelow(2);
  int kings = 0;
  for (const char* p = name; *p; p++) {
    kings += *p == 'k';
    const bool white = (kings == 1) == strongIsWhite;
    int square;
    do square = RandomBelow(64);
    while (board[square] != '1' || (*p == 'p' && (square < 8 || square >= 56)));
    board[square] = char(white ? *p - 'a' + 'A' : *p);
  }
  std::string fen;
  for (int rank = 7; rank >= 0; rank--) {
    fen.append(board + rank * 8, 8);
    if (rank) fen += '/';
  }
  fen += RandomBelow(2) ? " w - -" : " b - -";
  SetPosition(fen.c_str());
  return !KingAttacked(pos.sideToMove ^ 1);
}

// Processor time of this process: on a shared machine the wall clock would count other programs.
static double ProcessorSeconds() { return double(clock()) / CLOCKS_PER_SEC; }

// Processor time per call of a table side's index function and of the decoder, over entries drawn
// at random from those that stand for a position.
static void IndexSpeed(int table) {
  constexpr int Entries = 4096, Rounds = 200;
  static TablePosition positions[Entries];
  static uint32_t indices[Entries];
  for (int side = 0; side < 2; side++) {
    for (int n = 0; n < Entries;) {
      indices[n] = uint32_t(RandomBelow(int(tableCatalogue[table].count[side])));
      n += DecodeTableIndex(table, side, indices[n], &positions[n]);
    }
    uint64_t sum = 0;  // printed, so that no loop can be optimised away
    double start = ProcessorSeconds();
    for (int r = 0; r < Rounds; r++)
      for (const TablePosition& p : positions)
        sum += tableCatalogue[table].index[side](p.strong, p.weak, p.epSquare, 0);
    const double index = ProcessorSeconds() - start;
    start = ProcessorSeconds();
    TablePosition decoded;
    for (int r = 0; r < Rounds; r++)
      for (uint32_t i : indices) sum += DecodeTableIndex(table, side, i, &decoded);
    const double decode = ProcessorSeconds() - start, calls = double(Entries) * Rounds;
    printf("%s side %d: index %.1f ns, decode %.1f ns (%d)\n", tableCatalogue[table].name, side,
           index * 1e9 / calls, decode * 1e9 / calls, int(sum & 1));
  }
}

static int TablebaseBench(const char* directory, char** tables, int count) {
  const int men = InitTablebases(directory);
  std::vector<uint8_t> cache(TablebaseCacheBytes);
  SetTablebaseCache(cache.data(), cache.size());
  printf("Initialized tablebases : %d\n", men);
  constexpr int Positions = 20000, WarmPositions = 50, WarmRounds = 2000;
  for (int t = 0; t < count; t++) {
    int number = 1;
    while (number < TableCount && strcmp(tableCatalogue[number].name, tables[t])) number++;
    if (number == TableCount) {
      printf("%s: no such table\n", tables[t]);
      continue;
    }
    std::vector<Position> positions;
    while (positions.size() < size_t(Positions))
      if (RandomTablePosition(tables[t])) positions.push_back(pos);
    SetTablebaseCache(cache.data(), cache.size());
    int answered = 0, score;
    double start = ProcessorSeconds();
    for (const Position& p : positions) {
      pos = p;
      answered += ProbeTablebase(p.sideToMove, &score);
    }
    const double cold = ProcessorSeconds() - start;
    start = ProcessorSeconds();
    for (int r = 0; r < WarmRounds; r++)
      for (int i = 0; i < WarmPositions; i++) {
        pos = positions[i];
        answered += ProbeTablebase(pos.sideToMove, &score);
      }
    const double warm = ProcessorSeconds() - start;
    const bool compressed = tableCatalogue[number].compressed[0] || tableCatalogue[number].compressed[1];
    printf("%s (%s): %d positions, %d answers, cold %.0f ns/probe, warm %.0f ns/probe\n", tables[t],
           compressed ? "compressed" : "plain", Positions, answered, cold * 1e9 / Positions,
           warm * 1e9 / (double(WarmRounds) * WarmPositions));
    IndexSpeed(number);
  }
  return 0;
}

int main(int argc, char** argv) {
  InitEngineTables();
  if (argc >= 2 && !strcmp(argv[1], "--eval"))
    return EvalBench(argc >= 3 ? argv[2] : OSTREL_DATA_DIR "/perft/perft_marcel.epd", 50);
  if (argc >= 4 && !strcmp(argv[1], "--tablebases")) return TablebaseBench(argv[2], argv + 3, argc - 3);
  const int depth = argc >= 3 && !strcmp(argv[1], "--depth") ? atoi(argv[2]) : 9;
  return SearchBench(depth);
}
