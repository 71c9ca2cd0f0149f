// Two engine processes play whole games against each other through the xboard protocol, with a
// referee in between that knows the rules from the engine library: every move an engine sends must
// be legal, and the referee alone decides when a game is over. Several games run at once, since
// an engine idles up to a tenth of a second before it reads each move.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/notation.h"
#include "tests/engine_process.h"

namespace {

#ifdef OSTREL_SANITIZE
constexpr int GameCount = 4;
constexpr int MoveTimeoutMs = 120000;
#else
constexpr int GameCount = 8;
constexpr int MoveTimeoutMs = 30000;
#endif
constexpr int GamesAtOnce = 4;
// sd N searches N - 1 plies: quick, yet deep enough to see mates and avoid blunders.
constexpr int BaseDepth = 4;
constexpr int MaxPlies = 200;
constexpr int StartTimeoutMs = 20000;

// The library plays on one global position; the referees of the parallel games take turns.
std::mutex boardLock;

std::string MoveText(Move m) {
  std::string s;
  s += char('a' + FileOf(MoveFrom(m)));
  s += char('1' + RankOf(MoveFrom(m)));
  s += char('a' + FileOf(MoveTo(m)));
  s += char('1' + RankOf(MoveTo(m)));
  if (MovePromotion(m)) s += " pnbrqk"[MovePromotion(m)];
  return s;
}

struct Referee {
  Position position;
  std::vector<std::string> seen;  // positions since the last capture or pawn move, as EPD text
  int quietPlies = 0;
  int plies = 0;
  std::string result;  // "" while the game goes on
  std::string reason;
};

void StartReferee(Referee& r) {
  std::lock_guard<std::mutex> hold(boardLock);
  r = Referee();
  SetInitialPosition();
  r.position = pos;
  r.seen = {PositionToEpd()};
}

// Plays `text` if it is a legal move and judges the position it leads to. False for an illegal
// or malformed move, which is left unplayed.
bool Play(Referee& r, const std::string& text) {
  std::lock_guard<std::mutex> hold(boardLock);
  pos = r.position;
  const int side = pos.sideToMove;
  Move legal[MaxMoves];
  Move* end = GenerateLegal(legal, side);
  Move* found = std::find_if(legal, end, [&](Move m) { return MoveText(m) == text; });
  if (found == end) return false;
  const Move m = *found;
  SaveUndo(0);
  MakeMove(m, 0, side);
  pos.sideToMove = side ^ 1;
  r.position = pos;
  r.plies++;

  if (MovePiece(m) == Pawn || MoveCaptured(m)) {
    r.quietPlies = 0;
    r.seen.clear();
  } else {
    r.quietPlies++;
  }
  r.seen.push_back(PositionToEpd());

  const int toMove = side ^ 1;
  const bool inCheck = KingAttacked(toMove);
  const bool hasMove = GenerateLegal(legal, toMove) != legal;
  const int minors = pos.typeCount[White][Knight] + pos.typeCount[White][Bishop] + pos.typeCount[Black][Knight] +
                     pos.typeCount[Black][Bishop];
  const int others = pos.pawnCount[White] + pos.pawnCount[Black] + pos.typeCount[White][Rook] +
                     pos.typeCount[Black][Rook] + pos.typeCount[White][Queen] + pos.typeCount[Black][Queen];
  if (!hasMove && inCheck) {
    r.result = toMove == White ? "0-1" : "1-0";
    r.reason = "checkmate";
  } else if (!hasMove) {
    r.result = "1/2-1/2";
    r.reason = "stalemate";
  } else if (std::count(r.seen.begin(), r.seen.end(), r.seen.back()) >= 3) {
    r.result = "1/2-1/2";
    r.reason = "threefold repetition";
  } else if (r.quietPlies >= 100) {
    r.result = "1/2-1/2";
    r.reason = "fifty-move rule";
  } else if (others == 0 && minors <= 1) {
    r.result = "1/2-1/2";
    r.reason = "insufficient material";
  } else if (r.plies >= MaxPlies) {
    r.result = "1/2-1/2";
    r.reason = "move cap";
  }
  return true;
}

// The openings in coordinate notation: one SAN line each, read with the library's own parser.
std::vector<std::vector<std::string>> LoadOpenings() {
  std::vector<std::vector<std::string>> openings;
  std::ifstream file(OSTREL_TEST_DATA "/openings/selfplay.txt");
  std::lock_guard<std::mutex> hold(boardLock);
  // The SAN reader traces every token it reads; keep that out of the test's report.
  fflush(stdout);
  const int savedOut = dup(STDOUT_FILENO);
  const int devNull = open("/dev/null", O_WRONLY);
  dup2(devNull, STDOUT_FILENO);
  close(devNull);
  std::string line;
  while (std::getline(file, line)) {
    std::istringstream tokens(line);
    std::vector<std::string> moves;
    SetInitialPosition();
    std::string token;
    bool sound = true;
    while (sound && tokens >> token) {
      if (token.back() == '.') continue;  // move numbers
      const Move m = ParseSan(token.c_str(), pos.sideToMove);
      sound = m != 0;
      if (!sound) break;
      moves.push_back(MoveText(m));
      const int side = pos.sideToMove;
      SaveUndo(0);
      MakeMove(m, 0, side);
      pos.sideToMove = side ^ 1;
    }
    if (sound && !moves.empty()) openings.push_back(moves);
  }
  fflush(stdout);
  dup2(savedOut, STDOUT_FILENO);
  close(savedOut);
  return openings;
}

struct GameReport {
  std::string summary;
  std::string failure;  // "" when both engines behaved
};

bool Handshake(EngineProcess& e, int depth, std::string& failure, const char* colour) {
  if (!StartEngine(e)) {
    failure = std::string(colour) + " did not start";
    return false;
  }
  for (const char* line : {"xboard", "protover 2"}) Send(e, line);
  if (!WaitForExact(e, "feature done=1", StartTimeoutMs)) {
    failure = std::string(colour) + " never finished its features\n" + Tail(e);
    return false;
  }
  for (const std::string& line : {std::string("new"), std::string("easy"), std::string("post"),
                                  "sd " + std::to_string(depth), std::string("force")})
    Send(e, line);
  return true;
}

// The engine's next move; on anything else a description of what went wrong.
bool AwaitMove(EngineProcess& e, std::string& move, std::string& failure) {
  std::string line;
  const auto isReply = [](const std::string& l) {
    return StartsWith(l, "move ") || StartsWith(l, "1-0") || StartsWith(l, "0-1") || StartsWith(l, "1/2-1/2") ||
           StartsWith(l, "resign");
  };
  if (!WaitForLine(e, isReply, MoveTimeoutMs, &line)) {
    failure = e.outputClosed ? "engine died" : "no move within " + std::to_string(MoveTimeoutMs / 1000) + " s";
    return false;
  }
  if (!StartsWith(line, "move ")) {
    failure = "claimed \"" + line + "\" in a game that goes on";
    return false;
  }
  move = line.substr(5);
  return true;
}

GameReport PlayGame(int number, const std::vector<std::string>& opening, int whiteDepth, int blackDepth) {
  GameReport report;
  const std::string title = "game " + std::to_string(number) + " (sd " + std::to_string(whiteDepth) + " vs sd " +
                            std::to_string(blackDepth) + ")";
  EngineProcess engines[2];  // indexed by side: [Black], [White]
  if (!Handshake(engines[White], whiteDepth, report.failure, "White") ||
      !Handshake(engines[Black], blackDepth, report.failure, "Black")) {
    report.failure = title + ": " + report.failure;
    return report;
  }

  Referee referee;
  StartReferee(referee);
  std::string moves;
  for (const std::string& m : opening) {
    Play(referee, m);
    moves += m + " ";
    for (EngineProcess& e : engines) Send(e, m);
  }

  bool started[2] = {false, false};
  int side = referee.position.sideToMove;
  while (referee.result.empty()) {
    EngineProcess& mover = engines[side];
    if (!started[side]) {
      // Out of force mode: name the side, as a GUI does before go for an engine with colors=1.
      Send(mover, side == White ? "white" : "black");
      Send(mover, "go");
      started[side] = true;
    }
    std::string move, failure;
    if (!AwaitMove(mover, move, failure)) {
      report.failure = title + ": " + (side == White ? "White" : "Black") + " " + failure + " after " + moves +
                       "\n" + Tail(mover);
      return report;
    }
    if (!Play(referee, move)) {
      report.failure = title + ": " + (side == White ? "White" : "Black") + " played illegal \"" + move +
                       "\" after " + moves + "\n" + Tail(mover);
      return report;
    }
    moves += move + " ";
    side ^= 1;
    if (referee.result.empty()) Send(engines[side], move);
  }

  for (EngineProcess& e : engines) {
    Send(e, "result " + referee.result + " {" + referee.reason + "}");
    Send(e, "quit");
  }
  for (int s : {White, Black}) {
    EngineProcess& e = engines[s];
    if (!WaitForExit(e, StartTimeoutMs) || !WIFEXITED(e.waitStatus) || WEXITSTATUS(e.waitStatus) != 0) {
      report.failure = title + ": " + (s == White ? "White" : "Black") + " did not quit cleanly (status " +
                       std::to_string(e.waitStatus) + ")\n" + Tail(e);
      return report;
    }
  }
  report.summary = title + ": " + referee.result + " by " + referee.reason + " after " +
                   std::to_string(referee.plies) + " plies";
  return report;
}

// The referee is what makes the games a test: it must refuse what is illegal and see every end.
TEST(SelfPlay, RefereeKnowsTheRules) {
  const auto playAll = [](Referee& r, const std::vector<std::string>& moves) {
    for (const std::string& m : moves)
      if (!Play(r, m) || !r.result.empty()) return false;
    return true;
  };
  Referee r;
  StartReferee(r);
  EXPECT_FALSE(Play(r, "e2e5"));
  EXPECT_FALSE(Play(r, "e7e5"));  // not Black's turn
  EXPECT_FALSE(Play(r, "e1g1"));
  EXPECT_EQ(0, r.plies);
  EXPECT_TRUE(playAll(r, {"f2f3", "e7e5", "g2g4"}));
  EXPECT_TRUE(Play(r, "d8h4"));
  EXPECT_EQ("0-1", r.result);
  EXPECT_EQ("checkmate", r.reason);

  StartReferee(r);
  // The shortest known stalemate, after 1. e3 a5 2. Qh5 Ra6 3. Qxa5 h5 ...
  EXPECT_TRUE(playAll(r, {"e2e3", "a7a5", "d1h5", "a8a6", "h5a5", "h7h5", "h2h4", "a6h6", "a5c7", "f7f6", "c7d7",
                          "e8f7", "d7b7", "d8d3", "b7b8", "d3h7", "b8c8", "f7g6"}));
  EXPECT_TRUE(Play(r, "c8e6"));
  EXPECT_EQ("stalemate", r.reason);

  StartReferee(r);
  // The start position comes back after four and eight plies; the third time ends the game.
  EXPECT_TRUE(playAll(r, {"g1f3", "g8f6", "f3g1", "f6g8", "g1f3", "g8f6", "f3g1"}));
  EXPECT_TRUE(Play(r, "f6g8"));
  EXPECT_EQ("threefold repetition", r.reason);

  StartReferee(r);
  // A pawn that reaches the last rank names its piece.
  EXPECT_TRUE(playAll(r, {"h2h4", "g7g5", "h4g5", "h7h6", "g5h6", "f8g7", "h6g7", "g8f6"}));
  EXPECT_FALSE(Play(r, "g7h8"));
  EXPECT_TRUE(Play(r, "g7h8n"));
}

TEST(SelfPlay, EnginesPlayLegalGamesToTheEnd) {
  // OSTREL_SELFPLAY_GAMES plays fewer games, for quick runs such as the mutation check.
  const char* limit = getenv("OSTREL_SELFPLAY_GAMES");
  const int gameCount = limit ? std::min(atoi(limit), GameCount) : GameCount;
  const std::vector<std::vector<std::string>> openings = LoadOpenings();
  ASSERT_GE(openings.size(), size_t(gameCount)) << "openings file missing or unreadable";

  // Equal and unequal depths: the unequal pairs end in mates more often, and the deeper side
  // plays either colour.
  std::vector<GameReport> reports(gameCount);
  std::vector<std::thread> players;
  int next = 0;
  std::mutex nextLock;
  for (int t = 0; t < GamesAtOnce; t++) {
    players.emplace_back([&] {
      for (;;) {
        int game;
        {
          std::lock_guard<std::mutex> hold(nextLock);
          if (next >= gameCount) return;
          game = next++;
        }
        const int whiteDepth = BaseDepth + (game % 3 == 1);
        const int blackDepth = BaseDepth + (game % 3 == 2);
        reports[game] = PlayGame(game + 1, openings[game], whiteDepth, blackDepth);
      }
    });
  }
  for (std::thread& p : players) p.join();

  int failures = 0;
  for (const GameReport& r : reports) {
    if (r.failure.empty()) {
      printf("%s\n", r.summary.c_str());
    } else {
      ADD_FAILURE() << r.failure;
      failures++;
    }
  }
  EXPECT_EQ(0, failures);
}

}  // namespace
