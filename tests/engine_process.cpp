#include "tests/engine_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "tests/scratch_dir.h"

namespace {
typedef std::chrono::steady_clock Clock;

int MillisecondsUntil(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return left > 0 ? int(left) : 0;
}

// Reads what arrives within `ms` and splits it into lines. False once the output has ended.
bool ReadSome(EngineProcess& e, int ms) {
  if (e.outputClosed) return false;
  pollfd p = {e.fromEngine, POLLIN, 0};
  if (poll(&p, 1, ms) <= 0) return true;
  char buffer[65536];
  const ssize_t n = read(e.fromEngine, buffer, sizeof buffer);
  if (n <= 0) {
    e.outputClosed = true;
    if (!e.partial.empty()) e.lines.push_back(e.partial);
    e.partial.clear();
    return false;
  }
  for (ssize_t i = 0; i < n; i++)
    if (buffer[i] == '\n') e.lines.push_back(e.partial), e.partial.clear();
    else if (buffer[i] != '\r') e.partial += buffer[i];
  return true;
}

void Reap(EngineProcess& e, bool wait) {
  if (e.pid > 0 && !e.exited && waitpid(e.pid, &e.waitStatus, wait ? 0 : WNOHANG) == e.pid) e.exited = true;
}
}  // namespace

bool StartsWith(const std::string& s, const std::string& prefix) { return s.compare(0, prefix.size(), prefix) == 0; }

bool StartEngine(EngineProcess& e, const std::vector<std::string>& args) {
  // A write to an engine that has died must fail the test, not kill the test runner.
  signal(SIGPIPE, SIG_IGN);
  e.scratchDir = MakeScratchDirectory();
  int in[2], out[2];
  // Close-on-exec, so that engines started side by side from several threads never inherit one
  // another's pipes and miss the end of their input.
  if (e.scratchDir.empty() || pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) return false;
  std::vector<std::string> strings = {OSTREL_ENGINE};
  strings.insert(strings.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& a : strings) argv.push_back(&a[0]);
  argv.push_back(nullptr);
  const pid_t pid = fork();
  if (pid < 0) return false;
  if (pid == 0) {
    // Only async-signal-safe calls from here: the parent may have other threads.
    dup2(in[0], 0);
    dup2(out[1], 1);
    dup2(out[1], 2);  // sanitizer reports land in the transcript
    if (chdir(e.scratchDir.c_str()) != 0) _exit(126);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(in[0]), close(out[1]);
  e.pid = pid, e.toEngine = in[1], e.fromEngine = out[0];
  return true;
}

bool Send(EngineProcess& e, const std::string& line) {
  const std::string text = line + "\n";
  for (size_t done = 0; done < text.size();) {
    const ssize_t n = e.toEngine < 0 ? -1 : write(e.toEngine, text.data() + done, text.size() - done);
    if (n <= 0) return false;
    done += size_t(n);
  }
  // Keep the engine's output pipe from filling while the test only writes.
  ReadSome(e, 0);
  return true;
}

bool WaitForLine(EngineProcess& e, const LineTest& test, int timeoutMs, std::string* found,
                 std::vector<std::string>* skipped) {
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    while (e.consumed < e.lines.size()) {
      const std::string& line = e.lines[e.consumed++];
      if (test(line)) {
        if (found) *found = line;
        return true;
      }
      if (skipped) skipped->push_back(line);
    }
    const int left = MillisecondsUntil(deadline);
    // Lines that arrived together with the end of output still count.
    if ((left == 0 || !ReadSome(e, left)) && e.consumed == e.lines.size()) return false;
  }
}

bool WaitForExact(EngineProcess& e, const std::string& text, int timeoutMs, std::vector<std::string>* skipped) {
  return WaitForLine(e, [&](const std::string& l) { return l == text; }, timeoutMs, nullptr, skipped);
}

bool WaitForPrefix(EngineProcess& e, const std::string& prefix, int timeoutMs, std::string* found,
                   std::vector<std::string>* skipped) {
  return WaitForLine(e, [&](const std::string& l) { return StartsWith(l, prefix); }, timeoutMs, found, skipped);
}

bool WaitForExit(EngineProcess& e, int timeoutMs) {
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  for (Reap(e, false); !e.exited; Reap(e, false)) {
    const int left = MillisecondsUntil(deadline);
    if (left == 0) return false;
    if (!ReadSome(e, left < 20 ? left : 20)) usleep(10000);
  }
  while (ReadSome(e, 200)) {
  }
  return true;
}

bool ExitedWith(EngineProcess& e, int status, int timeoutMs) {
  return WaitForExit(e, timeoutMs) && WIFEXITED(e.waitStatus) && WEXITSTATUS(e.waitStatus) == status;
}

// Asked to quit before it is killed: only an engine that ends by itself writes out what a
// coverage build counted, and the sessions tests leave running are most of what covers UCI.
EngineProcess::~EngineProcess() {
  Reap(*this, false);
  if (pid > 0 && !exited && Send(*this, "quit")) WaitForExit(*this, 2000);
  if (pid > 0 && !exited) {
    kill(pid, SIGKILL);
    Reap(*this, true);
  }
  if (toEngine >= 0) close(toEngine);
  if (fromEngine >= 0) close(fromEngine);
  if (!scratchDir.empty()) RemoveScratchDirectory(scratchDir);
}

std::string Tail(const EngineProcess& e, size_t count) {
  std::string text;
  for (size_t i = e.lines.size() > count ? e.lines.size() - count : 0; i < e.lines.size(); i++)
    text += "  | " + e.lines[i] + "\n";
  if (!e.partial.empty()) text += "  | " + e.partial + " (no line end)\n";
  return text;
}
