// The built engine as a child process on two pipes, the way a chess GUI runs it. Every wait has
// a deadline, so an engine that hangs fails the test that waits on it instead of stalling CI.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

struct EngineProcess {
  pid_t pid = -1;
  int toEngine = -1;
  int fromEngine = -1;
  bool outputClosed = false;
  bool exited = false;
  std::string scratchDir;          // the engine's working directory, removed when it stops
  int waitStatus = 0;
  std::string partial;             // bytes after the last line end
  std::vector<std::string> lines;  // every complete line the engine wrote, in order
  size_t consumed = 0;             // lines[0 .. consumed) have been looked at by a wait
  EngineProcess() = default;
  EngineProcess(const EngineProcess&) = delete;
  EngineProcess& operator=(const EngineProcess&) = delete;
  ~EngineProcess();  // asks the engine to quit, kills it if it still runs, and reaps it
};

typedef std::function<bool(const std::string&)> LineTest;

// How long a test waits on the engine before it calls it hung; the sanitizers slow it tenfold.
constexpr int EngineReplyMs = OSTREL_SANITIZED ? 120000 : 30000;

// Starts the engine of this build tree with these arguments in a fresh scratch directory, so that
// the files it deletes or looks for at start-up are never the developer's.
bool StartEngine(EngineProcess& e, const std::vector<std::string>& args = {});

// Writes the line and a line end. False when the engine no longer reads.
bool Send(EngineProcess& e, const std::string& line);

// Waits for the first line after the ones already consumed that passes `test`, consuming it and everything before it.
// The skipped lines go to `skipped` when given. False at the deadline or when the engine's output ends first.
bool WaitForLine(EngineProcess& e, const LineTest& test, int timeoutMs, std::string* found = nullptr,
                 std::vector<std::string>* skipped = nullptr);
bool WaitForExact(EngineProcess& e, const std::string& text, int timeoutMs,
                  std::vector<std::string>* skipped = nullptr);
bool WaitForPrefix(EngineProcess& e, const std::string& prefix, int timeoutMs, std::string* found = nullptr,
                   std::vector<std::string>* skipped = nullptr);

// Waits for the process to end, reading its output meanwhile. False at the deadline.
bool WaitForExit(EngineProcess& e, int timeoutMs);
// Waits for the process to end by itself with this exit status.
bool ExitedWith(EngineProcess& e, int status, int timeoutMs = EngineReplyMs);

// The last `count` lines written, for failure messages.
std::string Tail(const EngineProcess& e, size_t count = 40);

bool StartsWith(const std::string& s, const std::string& prefix);
