// Holds a session with ostrel.exe the way a Windows GUI does: the engine on two anonymous pipes,
// lines written, replies awaited with a deadline. Run under wine by windows_smoke.sh, where only
// a pipe made by a Windows process answers the engine's PeekNamedPipe.
//   pipe_driver ENGINE [> LINE | < PREFIX] ...   send a line / wait up to 20 s for a line
//   starting with PREFIX; after the last step the engine must end by itself within 20 s.
// Every line the engine writes is echoed. Exit status 0 when every step succeeded.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

static HANDLE toEngine, fromEngine;
static std::string pending;

// Reads what the engine wrote until a line starts with `prefix` or the deadline passes.
static bool Await(const char* prefix, DWORD timeoutMs) {
  const DWORD start = GetTickCount();
  for (;;) {
    size_t end;
    while ((end = pending.find('\n')) != std::string::npos) {
      std::string line = pending.substr(0, end);
      pending.erase(0, end + 1);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      printf("  | %s\n", line.c_str());
      if (prefix && line.compare(0, strlen(prefix), prefix) == 0) return true;
    }
    if (GetTickCount() - start > timeoutMs) return false;
    DWORD waiting = 0;
    if (!PeekNamedPipe(fromEngine, nullptr, 0, nullptr, &waiting, nullptr)) return prefix == nullptr;
    if (waiting == 0) {
      Sleep(5);
      continue;
    }
    char buffer[4096];
    DWORD got = 0;
    if (!ReadFile(fromEngine, buffer, waiting < sizeof buffer ? waiting : sizeof buffer, &got, nullptr)) return false;
    pending.append(buffer, got);
  }
}

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
  HANDLE engineIn, engineOut;
  if (!CreatePipe(&engineIn, &toEngine, &inherit, 0) || !CreatePipe(&fromEngine, &engineOut, &inherit, 0)) return 2;
  SetHandleInformation(toEngine, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(fromEngine, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = engineIn;
  startup.hStdOutput = startup.hStdError = engineOut;
  PROCESS_INFORMATION process;
  std::string command = std::string("\"") + argv[1] + "\"";
  // Under wine, with a prefix made moments before, the first start of a program by another one
  // now and then fails; a few tries a second apart tell that apart from a program that cannot run.
  for (int attempt = 1;; ++attempt) {
    if (CreateProcessA(nullptr, &command[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) break;
    printf("cannot start %s (error %lu, attempt %d)\n", argv[1], GetLastError(), attempt);
    if (attempt == 3) return 2;
    Sleep(1000);
  }
  CloseHandle(engineIn);
  CloseHandle(engineOut);
  for (int i = 2; i + 1 < argc; i += 2) {
    if (!strcmp(argv[i], ">")) {
      printf("> %s\n", argv[i + 1]);
      const std::string line = std::string(argv[i + 1]) + "\n";
      DWORD written;
      if (!WriteFile(toEngine, line.data(), DWORD(line.size()), &written, nullptr)) return 1;
    } else if (!Await(argv[i + 1], 20000)) {
      printf("no line starting \"%s\" within 20 s\n", argv[i + 1]);
      TerminateProcess(process.hProcess, 1);
      return 1;
    }
  }
  Await(nullptr, 500);
  DWORD status = 1;
  if (WaitForSingleObject(process.hProcess, 20000) != WAIT_OBJECT_0 || !GetExitCodeProcess(process.hProcess, &status)) {
    printf("the engine did not end\n");
    TerminateProcess(process.hProcess, 1);
    return 1;
  }
  printf("engine exit status %lu\n", status);
  return status == 0 ? 0 : 1;
}
