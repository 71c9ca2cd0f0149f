#include "shell/epd.h"

#include <cstdio>
#include <cstring>

#include "board/fen.h"
#include "board/game.h"
#include "board/notation.h"
#include "search/control.h"
#include "search/hash.h"
#include "search/pawns.h"
#include "search/reset.h"
#include "search/think.h"
#include "shell/settings.h"

namespace {

// Lines longer than this arrive in pieces, each taken as a line of its own.
constexpr int EpdLineSize = 4096;

struct RunStatistics {
  int identified, notRecognized, found, searched;
  int32_t timeTaken;  // hundredths
  uint64_t nodes, qnodes;
};

// part * 100 / whole in single precision, 0 for a whole below 1.
float Percent(double part, double whole) { return whole < 1 ? 0.0f : float(part * 100.0f / whole); }

void WriteReport(FILE* out, const RunStatistics& s) {
  const double all = double(s.nodes) + double(s.qnodes);
  fprintf(out, "\n\nRESULTS :\n\n");
  fprintf(out, "nodes  = %llu (%g%%)\n", (unsigned long long)s.nodes, Percent(double(s.nodes), all));
  fprintf(out, "qnodes = %llu (%g%%)\n", (unsigned long long)s.qnodes, Percent(double(s.qnodes), all));
  fprintf(out, "positiones searched = %d\n", s.searched);
  fprintf(out, "time taken = %g seconds\n", s.timeTaken / 100.0);
  fprintf(out, "best moves identified = %d\n", s.identified);
  fprintf(out, "  of which were not recognized = %d\n", s.notRecognized);
  fprintf(out, "  from the rest, best moves found = %d (%g%%)\n", s.found,
          Percent(s.found, s.identified - s.notRecognized));
  const float seconds = float(s.timeTaken / 100.0);
  fprintf(out, "average nps = %g\n", seconds < 1e-9f && seconds > -1e-9f ? 0.0f : float(all / seconds));
  fprintf(out, "hash probes = %u\n", hashProbes);
  fprintf(out, "hash hits = %u (%g%%)\n", hashHits, Percent(hashHits, hashProbes));
  fprintf(out, "pawn hash replaced = %u (%g%%)\n", pawnReplacements, Percent(pawnReplacements, pawnStores));
  fprintf(out, "pawn scores found : %u\n", pawnHits);
  fprintf(out, "pawn scores computed : %u (%g%%)\n", pawnComputed,
          Percent(pawnComputed, double(pawnHits) + double(pawnComputed)));
}

}  // namespace

void Analyse(const char* epdFile, const char* resultFile, int timeLimit, int depthLimit, const char* tag) {
  engineFlags.analyze = 1;
  RunStatistics stats = {};
  hashProbes = hashHits = hashReplacements = 0;
  pawnHits = pawnComputed = pawnReplacements = pawnStores = 0;

  FILE* suite = fopen(epdFile, "r");
  if (!suite) {
    printf("Cannot open file %s\n", epdFile);
    return;
  }
  FILE* missed = fopen("notfound.epd", "w");
  FILE* results = nullptr;
  if (resultFile) {
    results = fopen(resultFile, "w");
    if (!results) printf("Cannot open output file %s", resultFile);
  }
  const bool epdOutput = settings.epdOutput;
  FILE* report = results && !epdOutput ? results : nullptr;  // the human-readable result file
  if (report) fprintf(report, "Description : %s\n\n", tag);
  thinkEpdOutput = epdOutput ? results : nullptr;

  char line[EpdLineSize];
  while (fgets(line, sizeof line, suite)) {
    // A short line, blank lines included, ends the suite.
    if (strlen(line) < 5) break;
    if (report) fprintf(report, "Analysing position : %s", line);
    printf("Analysing position : %s", line);
    SetPosition(line);
    ResetForNewPosition();
    NewGameRecord();

    Move expected = 0;
    if (const char* bm = strstr(line, "bm ")) {
      stats.identified++;
      char text[EpdLineSize];
      const size_t length = strcspn(bm + 3, ";\r\n");
      memcpy(text, bm + 3, length);
      text[length] = 0;
      printf("Best move converted %s\n", text);
      expected = ParseSan(text, pos.sideToMove);
      if (!expected) stats.notRecognized++;
    }

    TimeLeft = timeLimit;
    const int32_t before = ClockCentiseconds();
    const Move chosen = Think(pos.sideToMove, depthLimit);
    const int32_t used = ClockCentiseconds() - before;
    if (used > 0) printf("Time to analyse position : %g seconds\n", used / 100.0);
    else printf("Problem : zero time !\n");

    if (chosen == expected) {
      stats.found++;
      if (report) fprintf(report, "Best move found !\n");
    } else if (expected) {
      if (report) fprintf(report, "Best move not found !\n");
      if (missed) fputs(line, missed);
    }
    stats.nodes += NodeCount;
    stats.qnodes += QNodeCount;
    stats.searched++;
    stats.timeTaken += used;
    if (report) {
      fprintf(report, "pawn hashtable full : %u (%g%%)\n", pawnSlotsUsed, Percent(pawnSlotsUsed, PawnTableEntries));
    }
  }

  if (report) WriteReport(report, stats);
  thinkEpdOutput = nullptr;
  if (results) fclose(results);
  if (missed) fclose(missed);
  fclose(suite);
}
