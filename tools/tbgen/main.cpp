// ostrel-tbgen: makes endgame tables of up to five men by retrograde analysis, checks them, and
// probes them through the engine.
//
//   ostrel-tbgen --dir DIR [--threads N] [--force] [--unchecked] TABLE...  the tables and what they convert into
//   ostrel-tbgen --dir DIR [--threads N] [--force] [--unchecked] --all N   every table of N men (3, 4 or 5) and below
//   ostrel-tbgen --verify DIR [--threads N] [TABLE...]    every entry re-derived (all tables present if none named)
//   ostrel-tbgen --probe DIR FEN...                       "FEN<tab>draw|win N|loss N" per position
//   ostrel-tbgen --compress DIR [--threads N] [TABLE...]  plain files replaced by ".emd" files (all if none named)
//
// Tables already present with the right sizes are kept unless --force names them for remaking;
// the tables they need are always reused. The exit status is 0 when everything succeeded.
#include <chrono>
#include <cstdio>
#include <ctime>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "board/startup.h"
#include "tablebases/catalogue.h"
#include "tools/tbgen/compress.h"
#include "tools/tbgen/layout.h"
#include "tools/tbgen/probe.h"
#include "tools/tbgen/retro.h"
#include "tools/tbgen/store.h"
#include "tools/tbgen/verify.h"
#include "tools/tbgen/workers.h"

static bool forceRemake;
static bool allTables;  // --all: tables present are passed over without a word
// --unchecked: five-man tables are written without their check (about 40% of the time) and kept
// whether marked or not; `--verify` or a later run without it checks and marks them.
static bool unchecked;

static int TableOfName(const char* name) {
  for (int t = 1; t < TableCount; t++)
    if (strcmp(tableCatalogue[t].name, name) == 0) return t;
  return 0;
}

static int MenOfTable(int table) { return int(strlen(tableCatalogue[table].name)); }

// The tables one capture or promotion of `table` leads into (each once; kk left out).
static int Conversions(int table, int* out) {
  Men shape;
  MenOfName(tableCatalogue[table].name, &shape);
  int n = 0;
  auto add = [&](const int* counts) {
    const int t = abs(LookupSignature(counts));
    for (int i = 0; i < n; i++)
      if (out[i] == t) return;
    if (t) out[n++] = t;
  };
  int counts[SignatureCounts] = {};
  for (int i = 2; i < shape.count; i++) counts[(shape.man[i].side == White ? 0 : 5) + shape.man[i].type - Pawn]++;
  for (int i = 2; i < shape.count; i++) {
    const int slot = (shape.man[i].side == White ? 0 : 5) + shape.man[i].type - Pawn;
    counts[slot]--;
    add(counts);  // captured
    if (shape.man[i].type == Pawn)
      for (int type = Knight; type <= Queen; type++) {
        counts[slot + type - Pawn]++;
        add(counts);  // promoted
        for (int j = 2; j < shape.count; j++) {
          const int victim = (shape.man[j].side == White ? 0 : 5) + shape.man[j].type - Pawn;
          if (shape.man[j].side == shape.man[i].side || counts[victim] == 0) continue;
          counts[victim]--;
          add(counts);  // promoted with a capture
          counts[victim]++;
        }
        counts[slot + type - Pawn]--;
      }
    counts[slot]++;
  }
  return n;
}

// A five-man table takes minutes to make, so the files of one that was made and checked are
// followed by a marker "NAME.verified" holding its check line, and `--all 5` resumes by passing
// over every table that has it. Smaller tables are remade from nothing in seconds: for them the
// files' sizes suffice, as they always did.
static const char* MarkerName(int table) {
  static char name[4096];
  snprintf(name, sizeof name, "%s/%s.verified", tableDirectory, tableCatalogue[table].name);
  return name;
}

static bool NeedsMarker(int table) { return MenOfTable(table) == 5; }

static bool TableDone(int table) {
  if (!TableFilesPresent(table)) return false;
  if (!NeedsMarker(table) || unchecked) return true;
  FILE* f = fopen(MarkerName(table), "rb");
  if (f) fclose(f);
  return f != nullptr;
}

// The line --verify prints for a table.
static void FormatCheck(int table, const VerifyResult& r, char* line, size_t size) {
  snprintf(line, size, "%s: broken %llu %llu, mismatches %llu %llu, longest wins %d %d %d %d", tableCatalogue[table].name,
           (unsigned long long)r.broken[0], (unsigned long long)r.broken[1], (unsigned long long)r.mismatches[0],
           (unsigned long long)r.mismatches[1], r.longestWin[0][0], r.longestWin[1][0], r.longestWin[0][1],
           r.longestWin[1][1]);
}

// Checks the files of a table just made, or found without their marker, and marks them; files
// that fail are removed.
static bool CheckAndMark(int table) {
  const VerifyResult r = VerifyTable(table);
  ReleaseTables();
  char line[512];
  FormatCheck(table, r, line, sizeof line);
  fprintf(stderr, "%s\n", line);
  if (!r.readable || r.mismatches[0] || r.mismatches[1]) {
    fprintf(stderr, "%s: fails its check and is removed\n", tableCatalogue[table].name);
    for (int side = 0; side < 2; side++) remove(TableFileName(table, side));
    return false;
  }
  FILE* f = fopen(MarkerName(table), "wb");
  const bool ok = f && fprintf(f, "%s\n", line) > 0;
  if (!f || fclose(f) != 0 || !ok) {
    fprintf(stderr, "%s: cannot write\n", MarkerName(table));
    return false;
  }
  return true;
}

static double Seconds() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// Progress over the tables to be made, weighed by their working entries, for the estimate of the
// time left.
static struct {
  int tables, made;
  double work, workDone, start;
} progress;

static double WorkOf(int table) {
  SetUpLayout(table);
  return 2.0 * double(layout.size);
}

static bool planned[TableCount], visited[TableCount];

// Counts the tables Generate will make, and their work.
static void Plan(int table, bool requested) {
  if (planned[table]) return;
  planned[table] = true;
  int needs[64];
  const int n = Conversions(table, needs);
  for (int i = 0; i < n; i++) Plan(needs[i], false);
  if (TableDone(table) && !(requested && forceRemake)) return;
  progress.tables++;
  progress.work += WorkOf(table);
}

static void ReportProgress(int table, double started, double cpuStarted) {
  progress.made++;
  progress.workDone += WorkOf(table);
  const double now = Seconds(), spent = now - progress.start;
  const double left = progress.workDone > 0 ? spent * (progress.work - progress.workDone) / progress.workDone : 0;
  fprintf(stderr, "%s: done in %.0f s (%.0f s of processor time); table %d of %d, about %.0f min left\n",
          tableCatalogue[table].name, now - started, double(clock() - cpuStarted) / CLOCKS_PER_SEC, progress.made,
          progress.tables, left / 60);
}

// Generates `table` after everything it converts into. `requested` tables are remade under --force.
static bool Generate(int table, bool requested) {
  if (visited[table]) return true;
  visited[table] = true;
  int needs[64];
  const int n = Conversions(table, needs);
  for (int i = 0; i < n; i++)
    if (!Generate(needs[i], false)) return false;
  const double started = Seconds(), cpuStarted = double(clock());
  if (TableFilesPresent(table) && !(requested && forceRemake)) {
    if (TableDone(table)) {
      if (requested && !allTables) fprintf(stderr, "%s: already in %s (--force makes it again)\n", tableCatalogue[table].name, tableDirectory);
      return true;
    }
    if (CheckAndMark(table)) {
      ReportProgress(table, started, cpuStarted);
      return true;
    }
  }
  bool ok = SolveTable(table) && WriteSolvedTable();
  ReleaseSolvedTable();
  ReleaseTables();
  if (ok && NeedsMarker(table) && !unchecked) ok = CheckAndMark(table);
  if (ok) ReportProgress(table, started, cpuStarted);
  return ok;
}

static int Verify(int argc, char** argv) {
  bool ok = true;
  int checked = 0;
  for (int t = 1; t < TableCount; t++) {
    bool named = argc == 0;
    for (int i = 0; i < argc; i++) named |= strcmp(argv[i], tableCatalogue[t].name) == 0;
    if (!named || (argc == 0 && !TableFilesPresent(t))) continue;
    const VerifyResult r = VerifyTable(t);
    checked++;
    if (!r.readable) {
      printf("%s: cannot be read, or a table it converts into is missing\n", tableCatalogue[t].name);
      ok = false;
      continue;
    }
    char line[512];
    FormatCheck(t, r, line, sizeof line);
    printf("%s\n", line);
    ok &= r.mismatches[0] == 0 && r.mismatches[1] == 0;
    ReleaseTables();
  }
  for (int i = 0; i < argc; i++)
    if (!TableOfName(argv[i])) {
      printf("%s: no such table\n", argv[i]);
      ok = false;
    }
  if (!checked) printf("no tables to check in %s\n", tableDirectory);
  return ok && checked ? 0 : 1;
}

// The tables named, or every table whose plain files are present, compressed; a total at the end.
static int Compress(int argc, char** argv) {
  uint64_t plain = 0, compressed = 0;
  bool ok = true;
  for (int i = 0; i < argc; i++)
    if (!TableOfName(argv[i]) || !PlainFilesPresent(TableOfName(argv[i]))) {
      fprintf(stderr, "%s: no such table in %s\n", argv[i], tableDirectory);
      ok = false;
    }
  for (int t = 1; t < TableCount && ok; t++) {
    bool named = argc == 0;
    for (int i = 0; i < argc; i++) named |= strcmp(argv[i], tableCatalogue[t].name) == 0;
    if (named && PlainFilesPresent(t)) ok = CompressTable(t, &plain, &compressed);
  }
  if (compressed) printf("total: %llu -> %llu bytes, %.2f : 1\n", (unsigned long long)plain, (unsigned long long)compressed,
                         double(plain) / double(compressed));
  return ok ? 0 : 1;
}

static int Usage() {
  fprintf(stderr,
          "usage: ostrel-tbgen --dir DIR [--threads N] [--force] [--unchecked] TABLE...\n"
          "       ostrel-tbgen --dir DIR [--threads N] [--force] [--unchecked] --all 3|4|5\n"
          "       ostrel-tbgen --verify DIR [--threads N] [TABLE...]\n"
          "       ostrel-tbgen --probe DIR FEN...\n"
          "       ostrel-tbgen --compress DIR [--threads N] [TABLE...]\n");
  return 2;
}

int main(int argc, char** argv) {
  setvbuf(stdout, nullptr, _IOLBF, 0);  // a table's line as soon as it is checked
  InitBoardTables();
  BuildSignatureTree();
  if (argc < 3) return Usage();
  tableDirectory = argv[2];
  int first = 3;
  if (first + 1 < argc && strcmp(argv[first], "--threads") == 0) {
    workerThreads = atoi(argv[first + 1]);
    if (workerThreads < 1 || workerThreads > 64) return Usage();
    first += 2;
  }
  if (strcmp(argv[1], "--verify") == 0) return Verify(argc - first, argv + first);
  if (strcmp(argv[1], "--probe") == 0) return ProbePositions(argc - first, argv + first);
  if (strcmp(argv[1], "--compress") == 0) return Compress(argc - first, argv + first);
  if (strcmp(argv[1], "--dir") != 0) return Usage();
  std::error_code error;
  std::filesystem::create_directories(tableDirectory, error);
  if (error) {
    fprintf(stderr, "%s: cannot make the directory: %s\n", tableDirectory, error.message().c_str());
    return 1;
  }
  if (first < argc && strcmp(argv[first], "--force") == 0) forceRemake = true, first++;
  if (first < argc && strcmp(argv[first], "--unchecked") == 0) unchecked = true, first++;
  if (first < argc && strcmp(argv[first], "--all") == 0) {
    const int men = first + 1 < argc ? atoi(argv[first + 1]) : 0;
    if (men < 3 || men > 5 || first + 2 != argc) return Usage();
    allTables = true;
    for (int t = 1; t < TableCount; t++)
      if (MenOfTable(t) <= men) Plan(t, true);
    progress.start = Seconds();
    for (int t = 1; t < TableCount; t++)
      if (MenOfTable(t) <= men && !Generate(t, true)) return 1;
    return 0;
  }
  if (first == argc) return Usage();
  for (int i = first; i < argc; i++)
    if (!TableOfName(argv[i])) {
      fprintf(stderr, "%s: no such table\n", argv[i]);
      return 2;
    }
  for (int i = first; i < argc; i++) Plan(TableOfName(argv[i]), true);
  progress.start = Seconds();
  for (int i = first; i < argc; i++)
    if (!Generate(TableOfName(argv[i]), true)) return 1;
  return 0;
}
