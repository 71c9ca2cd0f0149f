// The input layer read for real: standard input is swapped for a pipe (or a pseudo-terminal) and
// bytes are written into it, so the peek, the byte reads and the line assembly all run as they do
// under an interface.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "search/control.h"
#include "search/think.h"
#include "shell/input.h"

namespace {

const char* const banner = "Ostrel\nVersion 1.069 QX\n";

// Standard input is swapped under the code, so it reads exactly what a test writes. When the run
// has no standard input, descriptor 0 is held on /dev/null meanwhile, or the test's own pipes and
// terminals would land on it.
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
  if (saved >= 0) {
    dup2(saved, STDIN_FILENO);
    close(saved);
  } else {
    close(STDIN_FILENO);
  }
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
    testing::internal::CaptureStdout();
    SetUpConsole();
    EXPECT_EQ(banner, testing::internal::GetCapturedStdout());
    engineFlags = {};
    TimeLeft = 500;
    DrainQueue();
  }

  void TearDown() override {
    // A test that left half a line must not hand it to the next one.
    if (writeEnd >= 0) {
      Send("\n");
      Poll();
      CloseInput();
    }
    DrainQueue();
    RestoreStdin(savedStdin);
    alarm(0);
  }

  void Send(const std::string& bytes) {
    ASSERT_EQ(ssize_t(bytes.size()), write(writeEnd, bytes.data(), bytes.size()));
  }

  void CloseInput() {
    close(writeEnd);
    writeEnd = -1;
  }

  // One poll; returns what it wrote.
  static std::string Poll() {
    testing::internal::CaptureStdout();
    PollInput();
    return testing::internal::GetCapturedStdout();
  }

  // Sends one line, polls, and reports whether it reached the queue (the queue is emptied).
  bool SendAndQueued(const std::string& line) {
    Send(line + "\n");
    Poll();
    const std::vector<std::string> queued = DrainQueue();
    return queued.size() == 1 && queued[0] == line;
  }

  int savedStdin = -1;
  int writeEnd = -1;
};

TEST_F(PipedInput, LinesAreAssembledAcrossPolls) {
  Send("ab");
  EXPECT_EQ("", Poll());
  Send("c\nd\r\n");
  EXPECT_EQ("AddTo Queue [abc]\nAddTo Queue [d]\nAddTo Queue []\n", Poll());
  EXPECT_EQ((std::vector<std::string>{"abc", "d", ""}), DrainQueue());

  // A backspace drops one character (none on an empty line) and ends the poll.
  Send("\bab\bc\n" + std::string(200, 'x') + std::string(100, 'y') + "\nshort\n");
  Poll();
  Poll();
  EXPECT_EQ(0, QueuedLineCount());
  Poll();
  EXPECT_EQ((std::vector<std::string>{"ac", std::string(200, 'x') + std::string(55, 'y'), "short"}), DrainQueue());
}

TEST_F(PipedInput, QueueDropsLinesWhenFullAndDispatchesOldestFirst) {
  std::string text;
  for (int i = 0; i <= InputQueueSlots; i++) text += "line" + std::to_string(i) + "\n";
  Send(text);
  Poll();
  EXPECT_EQ(InputQueueSlots, QueuedLineCount());

  testing::internal::CaptureStdout();
  const char* line = DispatchQueuedLine();
  EXPECT_EQ("Process Queue Line [line0]\n", testing::internal::GetCapturedStdout());
  // The interpreter polls while it searches; the line it works on must not move.
  Send("late\n");
  Poll();
  EXPECT_STREQ("line0", line);
  std::vector<std::string> lines = DrainQueue();
  ASSERT_EQ(size_t(InputQueueSlots), lines.size());
  EXPECT_EQ("line1", lines.front());
  EXPECT_EQ("late", lines.back());

  Send("one\ntwo\n");
  Poll();
  testing::internal::CaptureStdout();
  PrintQueuedLines();
  EXPECT_EQ("one\ntwo\n", testing::internal::GetCapturedStdout());
  DrainQueue();
  EXPECT_EQ(nullptr, DispatchQueuedLine());
}

TEST_F(PipedInput, GameChangingCommandsStopTheSearchAndAreQueued) {
  for (const char* command : {"undo", "remove", "edit", "black", "white", "time", "otim"}) {
    TimeLeft = 500;
    EXPECT_TRUE(SendAndQueued(command)) << command;
    EXPECT_EQ(-1, TimeLeft) << command;
  }
  // Only the whole line counts: arguments, case and blanks make it an ordinary line.
  for (const char* line : {"time 100", "otim 200", "Undo", "undo ", "Quit", "?!"}) {
    TimeLeft = 500;
    EXPECT_TRUE(SendAndQueued(line)) << line;
    EXPECT_EQ(500, TimeLeft) << line;
  }

  TimeLeft = 500;
  EXPECT_TRUE(SendAndQueued("analyze"));
  EXPECT_EQ(-1, TimeLeft);
  EXPECT_EQ(1, engineFlags.analyze);
}

TEST_F(PipedInput, MoveNowAndVersionActAtOnceAndAreNotQueued) {
  engineFlags.searching = 1;
  Send("?\n");
  EXPECT_EQ("AddTo Queue [?]\n", Poll());
  EXPECT_EQ(-1, TimeLeft);
  EXPECT_EQ(0, QueuedLineCount());

  Send("version\n");
  EXPECT_EQ(std::string("AddTo Queue [version]\n") + banner, Poll());
  EXPECT_EQ(0, QueuedLineCount());
}

TEST_F(PipedInput, ForceWhileSearchingOnlyStopsTheSearch) {
  for (int pondering : {0, 1}) {
    engineFlags = {};
    engineFlags.searching = 1;
    engineFlags.pondering = pondering;
    TimeLeft = 500;
    Send("force\n");
    Poll();
    EXPECT_EQ(-1, TimeLeft);
    EXPECT_EQ(0, engineFlags.force);
    EXPECT_EQ(0, QueuedLineCount());
  }

  engineFlags = {};
  TimeLeft = 500;
  EXPECT_TRUE(SendAndQueued("force"));
  EXPECT_EQ(1, engineFlags.force);
}

TEST_F(PipedInput, OpponentMoveEndsOnlyPonderAndAnalysisSearches) {
  struct Case {
    int searching, pondering, analyze;
    const char* line;
    bool stops;
  };
  const Case cases[] = {
      {1, 1, 0, "e2e4", true},       {1, 0, 1, "g7g8q", true},  {1, 1, 0, "a1h8 extra", true},
      {1, 0, 0, "e2e4", false},      {0, 1, 0, "e2e4", false},  {0, 0, 1, "e2e4", false},
      {1, 1, 0, "e2e", false},       {1, 1, 0, "i2e4", false},  {1, 1, 0, "e0e4", false},
      {1, 1, 0, "e2e9", false},      {1, 1, 0, "E2E4", false},  {1, 1, 0, "new", false},
  };
  for (const Case& c : cases) {
    engineFlags = {};
    engineFlags.searching = c.searching;
    engineFlags.pondering = c.pondering;
    engineFlags.analyze = c.analyze;
    TimeLeft = 500;
    EXPECT_TRUE(SendAndQueued(c.line)) << c.line;
    EXPECT_EQ(c.stops ? -1 : 500, TimeLeft) << c.line << " searching " << c.searching << " pondering "
                                             << c.pondering << " analyze " << c.analyze;
  }
}

TEST_F(PipedInput, DotPrintsTheStatusLineOnlyWhileThinking) {
  thinkResult.depth = 7;
  thinkResult.score = -35;
  thinkResult.pvLength = 2;
  thinkResult.pv[0] = EncodeMove(E2, E4, Pawn, 0, 0);
  thinkResult.pv[1] = EncodeMove(B7, A8, Pawn, Rook, Knight);
  NodeCount = 123456;
  QNodeCount = 4000000000u;
  engineFlags.searching = 1;
  Send(".\n");
  EXPECT_EQ("AddTo Queue [.]\n7.\t-35\t0\t123456\t4000000000\te2e4 b7a8n \n", Poll());
  EXPECT_EQ(0, QueuedLineCount());

  // Analysis has its own "." in the interpreter; idle, "." is just a line.
  engineFlags.analyze = 1;
  EXPECT_TRUE(SendAndQueued("."));
  engineFlags = {};
  EXPECT_TRUE(SendAndQueued("."));
  thinkResult = {};
  NodeCount = QNodeCount = 0;
}

TEST_F(PipedInput, HelpPagesWaitForEnterTwiceThenShowTheBanner) {
  // The pauses read from the same pipe; the line after them must still be read in this poll.
  Send("help\nskipped\n\nafter\n");
  // The text itself is in the conformance table.
  const std::string out = Poll();
  EXPECT_EQ(0u, out.find("AddTo Queue [help]\n\nCommand line options :\n"));
  const size_t second = out.find("press enter to continue\n", out.find("press enter to continue\n") + 1);
  ASSERT_NE(std::string::npos, second) << out;
  EXPECT_EQ(std::string::npos, out.find("press enter", second + 1));
  EXPECT_EQ(std::string(banner) + "AddTo Queue [after]\n", out.substr(out.size() - strlen(banner) - 20));
  EXPECT_EQ((std::vector<std::string>{"after"}), DrainQueue());
}

TEST_F(PipedInput, AboutAndInfoShowThreePagesThenTheBanner) {
  for (const char* command : {"about", "info"}) {
    Send(std::string(command) + "\n\n\n");
    const std::string out = Poll();
    const std::string head = std::string("AddTo Queue [") + command + "]\n\nOstrel 1.069 QX\n\nRelease Date : 14/Oct/2010\n\n\n";
    EXPECT_EQ(head, out.substr(0, head.size()));
    const size_t first = out.find("\n\npress enter to continue\n\nInstall notes :\n\n\n");
    const size_t second = out.find("press enter to continue\n", first + 3);
    ASSERT_NE(std::string::npos, second) << out;
    EXPECT_EQ(std::string::npos, out.find("press enter", second + 1));
    EXPECT_EQ(std::string(banner), out.substr(out.size() - strlen(banner)));
    EXPECT_EQ(0, QueuedLineCount());
  }
  // A pause at the end of input gives up instead of waiting for ever.
  Send("help\n");
  CloseInput();
  const std::string out = Poll();
  EXPECT_EQ(std::string(banner), out.substr(out.size() - strlen(banner)));
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
  testing::internal::CaptureStdout();
  SetUpConsole();
  EXPECT_EQ(banner, testing::internal::GetCapturedStdout());

  // Backspace on an empty line, "ab", the Backspace key (DEL on most terminals), "c", Enter.
  ASSERT_EQ(6, write(master, "\bab\x7f" "c\r", 6));
  pollfd keys = {STDIN_FILENO, POLLIN, 0};
  ASSERT_EQ(1, poll(&keys, 1, 2000));
  usleep(20000);  // let the whole write cross the terminal
  testing::internal::CaptureStdout();
  for (int i = 0; i < 5; i++) PollInput();
  EXPECT_EQ(0, QueuedLineCount()) << "more than one key taken in a poll";
  PollInput();
  EXPECT_EQ("AddTo Queue [ac]\n", testing::internal::GetCapturedStdout());
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

TEST(Platform, ClockAdvancesAcrossASleep) {
  const int64_t before = ClockMilliseconds();
  SleepMilliseconds(30);
  const int64_t after = ClockMilliseconds();
  EXPECT_GE(after - before, 30);
  EXPECT_LT(after - before, 5000);
}

}  // namespace
