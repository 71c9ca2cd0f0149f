// Scripted xboard sessions with the built engine over pipes, as a GUI holds them. Only the lines
// each check is about are matched; the engine's trace lines may come and go in between.
#include <gtest/gtest.h>

#include <unistd.h>
#include <sys/wait.h>

#include <chrono>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/game.h"
#include "board/movegen.h"
#include "tests/engine_process.h"

namespace {

// Generous: the sanitizer build starts and searches several times slower.
constexpr int ReplyMs = 15000;

const char* const initialPlacement = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR";
const char* const border = "+---+---+---+---+---+---+---+---+";

bool IsMoveLine(const std::string& line) { return StartsWith(line, "move "); }

double SecondsSince(std::chrono::steady_clock::time_point t) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
}

// True when `text` ("e2e4", "e7e8q") is a legal move of the side to move in the position that
// `moves`, played from the initial position, lead to.
bool IsLegalAfter(const std::vector<std::string>& moves, const std::string& text) {
  SetInitialPosition();
  NewGameRecord();
  for (const std::string& m : moves)
    if (!PlayGameMove((m[1] - '1') * 8 + (m[0] - 'a'), (m[3] - '1') * 8 + (m[2] - 'a'), 0)) return false;
  if (text.size() < 4) return false;
  const int from = (text[1] - '1') * 8 + (text[0] - 'a');
  const int to = (text[3] - '1') * 8 + (text[2] - 'a');
  const int promotion = text.size() > 4 ? int(std::string(" pnbrqk").find(text[4])) : 0;
  Move list[MaxMoves];
  Move* end = GenerateLegal(list, gameRecord.sideToMove);
  for (Move* m = list; m < end; m++)
    if (MoveFrom(*m) == from && MoveTo(*m) == to && MovePromotion(*m) == promotion) return true;
  return false;
}

class Protocol : public testing::Test {
 protected:
  EngineProcess engine;

  void SetUp() override {
    ASSERT_TRUE(StartEngine(engine));
    ASSERT_TRUE(WaitForExact(engine, "Version 1.069 QX", ReplyMs)) << Tail(engine);
    Send("xboard");
    Send("protover 2");
    ASSERT_TRUE(WaitForExact(engine, "feature done=1", ReplyMs)) << Tail(engine);
  }

  void TearDown() override {
    if (HasFailure()) printf("Engine's last lines:\n%s", Tail(engine).c_str());
  }

  void Send(const std::string& line) { EXPECT_TRUE(::Send(engine, line)) << "engine stopped reading at " << line; }

  // Every line sent before has been interpreted once this returns: the engine works through its
  // queue in order, and a variant request always gets the same one-line reply. Returns what the
  // engine wrote meanwhile.
  std::vector<std::string> Sync(int timeoutMs = ReplyMs) {
    std::vector<std::string> before;
    Send("variant sync");
    EXPECT_TRUE(WaitForExact(engine, "Error: unsupported variant.", timeoutMs, &before)) << "no reply to a variant";
    return before;
  }

  void Expect(const std::string& line, int timeoutMs = ReplyMs) {
    EXPECT_TRUE(WaitForExact(engine, line, timeoutMs)) << "expected \"" << line << "\"";
  }

  // The engine's next move ("e2e4"), or "" if none comes in time.
  std::string NextMove(int timeoutMs = ReplyMs) {
    std::string line;
    if (!WaitForLine(engine, IsMoveLine, timeoutMs, &line)) return "";
    return line.substr(5);
  }

  // The board that `print` draws, as a FEN placement field; "" when no drawing arrives.
  std::string PrintedBoard() {
    Sync();
    Send("print");
    if (!WaitForExact(engine, border, ReplyMs)) return "";
    std::string placement;
    for (int rank = 0; rank < 8; rank++) {
      std::string row, below;
      if (!WaitForLine(engine, [](const std::string&) { return true; }, ReplyMs, &row)) return "";
      if (!WaitForLine(engine, [](const std::string&) { return true; }, ReplyMs, &below)) return "";
      if (row.size() < 33 || below != border) return "row " + row;
      int empty = 0;
      for (int file = 0; file < 8; file++) {
        const char c = row[2 + 4 * file];
        if (c == ' ') {
          empty++;
          continue;
        }
        if (empty) placement += char('0' + empty);
        empty = 0;
        placement += c;
      }
      if (empty) placement += char('0' + empty);
      if (rank < 7) placement += '/';
    }
    return placement;
  }

  // Sets up a position through edit mode, as xboard does for a GUI without setboard.
  void Edit(const std::vector<std::string>& commands) {
    Send("edit");
    Send("#");
    for (const std::string& c : commands) Send(c);
    Send(".");
  }
};

TEST(ProtocolStartUp, InvalidHashSizeIsTheOneFatalError) {
  for (const char* bits : {"16", "26"}) {
    EngineProcess engine;
    ASSERT_TRUE(StartEngine(engine, {"-hashsize", bits}));
    ASSERT_TRUE(WaitForExit(engine, ReplyMs)) << Tail(engine);
    EXPECT_TRUE(WIFEXITED(engine.waitStatus) && WEXITSTATUS(engine.waitStatus) == 255) << engine.waitStatus;
    engine.consumed = 0;
    EXPECT_TRUE(WaitForExact(engine, "Error in file hash.cpp in line 28", 0)) << Tail(engine);
    EXPECT_TRUE(WaitForExact(engine, "Invalid hash table size", 0)) << Tail(engine);
    engine.consumed = 0;
    EXPECT_FALSE(WaitForExact(engine, "Ostrel", 0)) << "play started after a fatal error";
  }
}

TEST_F(Protocol, CommandsWithoutHandlerAreIgnoredSilently) {
  // setboard, name and playother are announced but not handled: a GUI's setboard changes nothing.
  for (const char* line : {"setboard 8/8/8/8/8/8/8/K6k w - - 0 1", "name Somebody", "playother", "computer",
                           "random", "accepted usermove", "rejected san", "ping 7", "bk", "xyzzy 12"})
    Send(line);
  for (const std::string& line : Sync())
    EXPECT_TRUE(StartsWith(line, "AddTo Queue [") || StartsWith(line, "Process Queue Line ["))
        << "unexpected reply: " << line;
  EXPECT_EQ(initialPlacement, PrintedBoard());
}

TEST_F(Protocol, GoPlaysOnlyForTheColourLastNamed) {
  Send("new");
  Send("sd 3");
  Send("go");  // new gives the engine Black, and White is to move
  for (const std::string& line : Sync()) EXPECT_FALSE(IsMoveLine(line)) << line;
  Send("black");
  Send("go");
  for (const std::string& line : Sync()) EXPECT_FALSE(IsMoveLine(line)) << line;
  Send("white");
  Send("go");
  const std::string reply = NextMove();
  EXPECT_TRUE(IsLegalAfter({}, reply)) << "move " << reply;
  // After its move the engine answers every move of the opponent by itself.
  Send("e7e5");
  const std::string second = NextMove();
  EXPECT_TRUE(IsLegalAfter({reply, "e7e5"}, second)) << "move " << second;
}

TEST_F(Protocol, PromotionNeedsItsLetter) {
  const std::vector<std::string> position = {"Ke1", "Pe7", "c", "Ka8"};
  const std::string fen = "k1111111/1111P111/11111111/11111111/11111111/11111111/11111111/1111K111 w";
  Send("new");
  Edit(position);
  Expect("str = " + fen);
  Send("force");
  Send("e7e8");
  Expect("Make move : cannot find move 52 60 0");
  EXPECT_EQ("k7/4P3/8/8/8/8/8/4K3", PrintedBoard());

  // The rejected move still handed the turn to Black, so start over for the real one.
  Send("new");
  Edit(position);
  Expect("str = " + fen);
  Send("force");
  Send("e7e8q");
  for (const std::string& line : Sync()) EXPECT_FALSE(StartsWith(line, "Make move")) << line;
  EXPECT_EQ("k3Q3/8/8/8/8/8/8/4K3", PrintedBoard());
  Send("undo");
  Send("e7e8N");  // the letter may come in either case
  for (const std::string& line : Sync()) EXPECT_FALSE(StartsWith(line, "Make move")) << line;
  EXPECT_EQ("k3N3/8/8/8/8/8/8/4K3", PrintedBoard());
}

TEST_F(Protocol, UndoAndRemoveTakeBackMoves) {
  Send("new");
  Send("force");
  for (const char* m : {"e2e4", "e7e5", "g1f3"}) Send(m);
  EXPECT_EQ("rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R", PrintedBoard());
  Send("remove");
  EXPECT_EQ("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR", PrintedBoard());
  Send("remove");  // one half-move left: nothing to do
  EXPECT_EQ("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR", PrintedBoard());
  // Black is to move again after the two take-backs.
  Send("c7c5");
  EXPECT_EQ("rnbqkbnr/pp1ppppp/8/2p5/4P3/8/PPPP1PPP/RNBQKBNR", PrintedBoard());
  Send("undo");
  Send("undo");
  EXPECT_EQ(initialPlacement, PrintedBoard());
  Send("undo");  // empty game
  for (const std::string& line : Sync()) EXPECT_FALSE(StartsWith(line, "UndoMove")) << line;
  EXPECT_EQ(initialPlacement, PrintedBoard());
  Send("d2d4");
  EXPECT_EQ("rnbqkbnr/pppppppp/8/8/3P4/8/PPP1PPPP/RNBQKBNR", PrintedBoard());
}

TEST_F(Protocol, EditModeBuildsThePositionThatIsThenPlayed) {
  Send("new");
  Send("sd 4");
  Sync();
  // White mates on the back rank: Ra8.
  Edit({"Kg1", "Ra1", "Pb2", "xb2", "c", "Kh8", "Pg7", "Ph7"});
  Expect("Entering Edit Mode");
  Expect("Edit mode : got [#]");
  Expect("Edit mode : got [xb2]");
  Expect("Edit mode : got [.]");
  Expect("EDIT MODE : wtm = 1");
  Expect("str = 1111111k/111111pp/11111111/11111111/11111111/11111111/11111111/R11111K1 w");
  EXPECT_EQ("7k/6pp/8/8/8/8/8/R5K1", PrintedBoard());
  Send("white");
  Send("go");
  EXPECT_EQ("a1a8", NextMove());
  Expect("1-0 {White Mates}");
}

TEST_F(Protocol, HintNamesALegalMove) {
  Send("new");
  Send("sd 3");
  Send("force");
  Send("e2e4");
  Send("hint");
  std::string line;
  ASSERT_TRUE(WaitForPrefix(engine, "Hint: ", ReplyMs, &line));
  EXPECT_TRUE(IsLegalAfter({"e2e4"}, line.substr(6))) << line;
  // The hint is only advice: the position is unchanged.
  EXPECT_EQ("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR", PrintedBoard());
}

TEST_F(Protocol, DrawOfferFollowsTheLastSearchScore) {
  Send("draw");
  Expect("I decline");  // nothing searched yet

  // At depth 3 the engine finds that Rc5 Kb8 Rb5 Kc7 repeats, a draw score of exactly 0.
  Send("new");
  Send("sd 4");
  Edit({"Rb5", "Ng3", "Na1", "Kc1", "c", "Bc8", "Kc7", "Bg7", "Be1"});
  Send("white");
  Send("go");
  std::vector<std::string> thinking;
  ASSERT_TRUE(WaitForLine(engine, IsMoveLine, ReplyMs, nullptr, &thinking));
  std::string last;
  for (const std::string& l : thinking)
    if (l.find(".\t") != std::string::npos && l[0] >= '1' && l[0] <= '9') last = l;
  ASSERT_FALSE(last.empty()) << "no thinking line";
  const int score = atoi(last.c_str() + last.find('\t') + 1);
  Send("draw");
  Expect(score == 0 ? "I accept" : "I decline");
}

TEST_F(Protocol, ClockSettingsSetTheThinkingTime) {
  // A new game's clock is a minute: 55 s after the reserve, over 40 moves, 1.4 s a move.
  Send("new");
  Send("white");
  Sync();
  auto start = std::chrono::steady_clock::now();
  Send("go");
  ASSERT_NE("", NextMove());
  const double newGame = SecondsSince(start);
  EXPECT_GT(newGame, 1.0);
  EXPECT_LT(newGame, 3.0);

  // Two minutes: 115 s over 40 moves, 2.9 s.
  Send("new");
  Send("level 40 2 0");
  Send("white");
  Sync();
  start = std::chrono::steady_clock::now();
  Send("go");
  ASSERT_NE("", NextMove());
  const double twoMinutes = SecondsSince(start);
  EXPECT_GT(twoMinutes, 2.4);
  EXPECT_LT(twoMinutes, 4.5);
}

TEST_F(Protocol, MoveNowEndsALongThink) {
  // 1:30 reads as 6030 seconds (the digits of the seconds are appended), 150 s for this move.
  Send("new");
  Send("level 40 1:30 0");
  Send("white");
  Send("go");
  ASSERT_TRUE(WaitForPrefix(engine, "epd diagram : ", ReplyMs));
  Collect(engine, 3000);
  for (size_t i = engine.consumed; i < engine.lines.size(); i++)
    ASSERT_FALSE(IsMoveLine(engine.lines[i])) << "moved within 3 s of a 150 s budget";
  const auto start = std::chrono::steady_clock::now();
  Send("?");
  const std::string reply = NextMove(5000);
  EXPECT_TRUE(IsLegalAfter({}, reply)) << "move " << reply;
  EXPECT_LT(SecondsSince(start), 2.0);
}

TEST_F(Protocol, PonderingEndsWhenTheOpponentMoves) {
  Send("new");
  Send("hard");
  Send("e2e4");
  const std::string first = NextMove();
  ASSERT_TRUE(IsLegalAfter({"e2e4"}, first)) << "move " << first;
  ASSERT_TRUE(WaitForExact(engine, "Starting pondering :", ReplyMs));
  Send("g1f3");
  const std::string second = NextMove();
  EXPECT_TRUE(IsLegalAfter({"e2e4", first, "g1f3"}, second)) << "move " << second;
}

TEST_F(Protocol, AnalysisFollowsTheMovesAndExitEndsTheProcess) {
  Send("new");
  Send("force");
  Send("analyze");
  ASSERT_TRUE(WaitForLine(engine, [](const std::string& l) { return StartsWith(l, "3.\t"); }, ReplyMs))
      << "no third iteration";
  Send("e2e4");
  ASSERT_TRUE(WaitForExact(engine, "epd diagram : rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3", ReplyMs));
  Send("exit");
  ASSERT_TRUE(WaitForExit(engine, 5000));
  EXPECT_TRUE(WIFEXITED(engine.waitStatus) && WEXITSTATUS(engine.waitStatus) == 0) << engine.waitStatus;
}

TEST_F(Protocol, QuitDuringASearchExitsWithoutMoving) {
  Send("new");
  Send("st 60");
  Send("white");
  Send("go");
  ASSERT_TRUE(WaitForPrefix(engine, "epd diagram : ", ReplyMs));
  Collect(engine, 300);
  Send("quit");
  ASSERT_TRUE(WaitForExit(engine, 5000)) << "still running 5 s after quit";
  EXPECT_TRUE(WIFEXITED(engine.waitStatus) && WEXITSTATUS(engine.waitStatus) == 0) << engine.waitStatus;
  for (const std::string& line : engine.lines) EXPECT_FALSE(IsMoveLine(line)) << line;
}

}  // namespace

TEST_F(Protocol, BadInputLeavesTheGameIntact) {
  Send("new");
  Send("force");
  Send("e2e4");
  // Garbage, bytes of every value, a 10,000-character line, moves in other notations and with
  // impossible squares: each is ignored or refused, none may crash, hang or disturb the game.
  std::string binary;
  for (int c = 1; c < 256; c++)
    if (c != '\n' && c != '\r' && c != 8) binary += char(c);
  for (const std::string& line :
       {std::string("hello engine"), binary, std::string(10000, 'x'), std::string(10000, '7'), std::string("e4"),
        std::string("Nf3"), std::string("e7-e5"), std::string("E7E5"), std::string("e7e9"), std::string("i7i5"),
        std::string("e7e5x"), std::string("sd"), std::string("st -5"), std::string("hash"),
        std::string("level x y z"), std::string("time"), std::string("otim abc")})
    Send(line);
  Sync();
  // e7e5x is the one that reads as a move (the fifth character names no piece), so it is played.
  EXPECT_EQ("rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR", PrintedBoard());

  // A hundred lines at once: the queue keeps sixty and drops the rest, never more.
  std::string burst;
  for (int i = 0; i < 100; i++) burst += "nonsense " + std::to_string(i) + "\n";
  burst.pop_back();
  Send(burst);
  Collect(engine, 1500);  // the burst is read and worked through before the next line is sent
  Sync();
  EXPECT_EQ("rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR", PrintedBoard());

  // Edit mode with squares off the board and unknown letters places nothing there.
  Send("edit");
  for (const char* line : {"#", "Ke1", "kz9", "ki1", "k", "x", "Pa0", "?", "c", "Ke8", "c", "Qd1", "."}) Send(line);
  EXPECT_EQ("4k3/8/8/8/8/8/8/3QK3", PrintedBoard());

  Send("quit");
  EXPECT_TRUE(WaitForExit(engine, ReplyMs));
  EXPECT_TRUE(WIFEXITED(engine.waitStatus) && WEXITSTATUS(engine.waitStatus) == 0);
}
