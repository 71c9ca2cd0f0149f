// The input layer read for real: standard input is swapped for a pipe (or a pseudo-terminal) and bytes are written
// into it, so the peek, the byte reads and the line assembly all run as they do under an interface.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "search/control.h"
#include "search/think.h"
#include "shell/input.h"
#include "tests/capture.h"

namespace {
const char* const banner = "Ostrel\nVersion 1.069 QX\n";

// Standard input is swapped under the code, so it reads exactly what a test writes. When the run has no standard
// input, descriptor 0 is held on /dev/null meanwhile, or the test's own pipes and terminals would land on it.
int SaveStdin() {
  const int saved = dup(STDIN_FILENO);
  if (saved < 0) open("/dev/null", O_RDONLY);
  return saved;
}

void ReplaceStdin(int fd) {
  dup2(fd, STDIN_FILENO);
  close(fd);
}

void RestoreStdin(int saved) {
  if (saved < 0) {
    close(STDIN_FILENO);
    return;
  }
  dup2(saved, STDIN_FILENO);
  close(saved);
}

std::vector<std::string> DrainQueue() {
  std::vector<std::string> lines;
  char line[InputLineSize];
  while (TakeQueuedLine(line)) lines.push_back(line);
  return lines;
}

class PipedInput : public testing::Test {
 protected:
  void SetUp() override {
    // A read that waits for bytes never sent would hang the run; end it loudly instead.
    alarm(30);
    savedStdin = SaveStdin();
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    ReplaceStdin(fds[0]);
    writeEnd = fds[1];
    EXPECT_EQ(banner, Captured(SetUpConsole));
    engineFlags = {};
    TimeLeft = 500;
  }
  void TearDown() override {
    // A test that left half a line must not hand it to the next one.
    if (writeEnd >= 0) {
      Send("\n");
      Poll();
      close(writeEnd);
    }
    DrainQueue();
    RestoreStdin(savedStdin);
    alarm(0);
  }
  void Send(const std::string& bytes) { ASSERT_EQ(ssize_t(bytes.size()), write(writeEnd, bytes.data(), bytes.size())); }
  static std::string Poll() { return Captured(PollInput); }
  int savedStdin = -1, writeEnd = -1;
};

TEST_F(PipedInput, LinesAreAssembledAcrossPolls) {
  Send("ab");
  EXPECT_EQ("", Poll());
  Send("c\nd\r\n");
  EXPECT_EQ("AddTo Queue [abc]\nAddTo Queue [d]\nAddTo Queue []\n", Poll());
  EXPECT_EQ((std::vector<std::string>{"abc", "d", ""}), DrainQueue());
  // A backspace drops one character (none on an empty line) and ends the poll; a long line keeps
  // its first 255 characters.
  Send("\bab\bc\n" + std::string(200, 'x') + std::string(100, 'y') + "\nshort\n");
  Poll(), Poll();
  EXPECT_EQ(std::vector<std::string>{}, DrainQueue());
  Poll();
  EXPECT_EQ((std::vector<std::string>{"ac", std::string(200, 'x') + std::string(55, 'y'), "short"}),
            DrainQueue());
}

TEST_F(PipedInput, QueueKeepsSixtyLinesAndDispatchesOldestFirst) {
  std::string text;
  for (int i = 0; i <= InputQueueSlots; i++) text += "line" + std::to_string(i) + "\n";
  Send(text);
  Poll();
  const char* line = nullptr;
  EXPECT_EQ("Process Queue Line [line0]\n", Captured([&] { line = DispatchQueuedLine(); }));
  // The interpreter polls while it searches; the line it works on must not move.
  Send("late\n");
  Poll();
  EXPECT_STREQ("line0", line);
  const std::vector<std::string> lines = DrainQueue();
  ASSERT_EQ(size_t(InputQueueSlots), lines.size());
  EXPECT_EQ("line1", lines.front());
  EXPECT_EQ("late", lines.back());
  EXPECT_EQ(nullptr, DispatchQueuedLine());
}

// What each line does as it is read, by the engine's state: whether it ends the search, reaches the interpreter, and
// what it writes besides its echo. Each row holds lines ('|' between them) that act alike.
TEST_F(PipedInput, LinesAreScreenedAsTheyArrive) {
  const struct { int searching, pondering, analyze; const char* lines; bool stops, queued; const char* writes;
                 int forceAfter; } cases[] = {
      // The game changes under the search: it stops, and the interpreter gets the line.
      {1, 0, 0, "undo|edit|black|white|time|otim|analyze", true, true, "", 0}, {0, 0, 0, "remove", true, true, "", 0},
      // Only the whole line counts: arguments, case and blanks make it an ordinary line.
      {1, 0, 0, "time 100|Undo|undo |Quit|?!", false, true, "", 0},
      // Move now and the banner act at once and go no further.
      {1, 0, 0, "?", true, false, "", 0}, {0, 0, 0, "version", false, false, banner, 0},
      // Searching, force only asks for the move; idle, it is force mode at once.
      {1, 0, 0, "force", true, false, "", 0}, {1, 1, 0, "force", true, false, "", 0},
      {0, 0, 0, "force", true, true, "", 1},
      // The opponent's move ends a ponder or analysis search, not the engine's own think.
      {1, 1, 0, "e2e4|a1h8 extra", true, true, "", 0}, {1, 0, 1, "g7g8q", true, true, "", 0},
      {1, 0, 0, "e2e4", false, true, "", 0},           {0, 1, 0, "e2e4", false, true, "", 0},
      {0, 0, 1, "e2e4", false, true, "", 0}, {1, 1, 0, "e2e|i2e4|e0e4|e2e9|E2E4|new", false, true, "", 0},
      // "." is the status line while thinking; analysis has its own "." in the interpreter.
      {1, 0, 0, ".", false, false, "7.\t-35\t0\t123456\t4000000000\te2e4 b7a8n \n", 0},
      {1, 0, 1, ".", false, true, "", 0}, {0, 0, 0, ".", false, true, "", 0},
  };
  thinkResult.depth = 7, thinkResult.score = -35, thinkResult.pvLength = 2;
  thinkResult.pv[0] = EncodeMove(E2, E4, Pawn, 0, 0);
  thinkResult.pv[1] = EncodeMove(B7, A8, Pawn, Rook, Knight);
  NodeCount = 123456;
  QNodeCount = 4000000000u;
  for (const auto& c : cases) {
    std::istringstream lines(c.lines);
    for (std::string line; std::getline(lines, line, '|');) {
      engineFlags = {};
      engineFlags.searching = c.searching, engineFlags.pondering = c.pondering, engineFlags.analyze = c.analyze;
      TimeLeft = 500;
      const std::string where = line + " in row " + std::to_string(&c - cases);
      Send(line + "\n");
      EXPECT_EQ("AddTo Queue [" + line + "]\n" + c.writes, Poll()) << where;
      EXPECT_EQ(c.stops ? -1 : 500, TimeLeft) << where;
      EXPECT_EQ(c.queued ? std::vector<std::string>{line} : std::vector<std::string>{}, DrainQueue()) << where;
      EXPECT_EQ(c.forceAfter, engineFlags.force) << where;
      EXPECT_EQ(c.analyze || line == "analyze", engineFlags.analyze) << where;
    }
  }
  thinkResult = {};
  NodeCount = QNodeCount = 0;
}

// A pause of the help pages at the end of input gives up instead of waiting for ever.
TEST_F(PipedInput, HelpAtTheEndOfInputEnds) {
  Send("help\n");
  close(writeEnd);
  writeEnd = -1;
  const std::string out = Poll();
  EXPECT_EQ(banner, out.substr(out.size() - std::string(banner).size()));
}

// A keyboard: keys one per poll, not echoed, and the terminal given back its mode afterwards.
TEST(ConsoleInput, KeysArriveOnePerPollUnechoed) {
  const int savedStdin = SaveStdin();
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
    if (master >= 0) close(master);
    RestoreStdin(savedStdin);
    GTEST_SKIP() << "no pseudo-terminal here";
  }
  const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
  ASSERT_GE(terminal, 0);
  ReplaceStdin(terminal);
  EXPECT_EQ(banner, Captured(SetUpConsole));
  // Backspace on an empty line, "ab", the Backspace key (DEL on most terminals), "c", Enter.
  ASSERT_EQ(6, write(master, "\bab\x7f" "c\r", 6));
  pollfd keys = {STDIN_FILENO, POLLIN, 0};
  ASSERT_EQ(1, poll(&keys, 1, 2000));
  usleep(20000);  // let the whole write cross the terminal
  for (int i = 0; i < 5; i++) EXPECT_EQ("", Captured(PollInput)) << "more than one key taken in a poll";
  EXPECT_EQ("AddTo Queue [ac]\n", Captured(PollInput));
  EXPECT_EQ((std::vector<std::string>{"ac"}), DrainQueue());
  pollfd echo = {master, POLLIN, 0};
  EXPECT_EQ(0, poll(&echo, 1, 100)) << "typed keys were echoed";
  RestoreConsoleInput();
  termios mode;
  ASSERT_EQ(0, tcgetattr(STDIN_FILENO, &mode));
  EXPECT_TRUE((mode.c_lflag & ECHO) && (mode.c_lflag & ICANON));
  RestoreStdin(savedStdin);
  close(master);
}
}  // namespace
