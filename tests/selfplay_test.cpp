// Two engine processes play whole xboard games with a referee in between: every move must be legal, and the referee
// alone decides when a game is over; an end it missed shows up as an engine's claim in a game that goes on. Games run
// side by side (an engine idles up to a tenth of a second before each move); OSTREL_SELFPLAY_GAMES asks for more.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "board/notation.h"
#include "tests/capture.h"
#include "tests/engine_process.h"
#include "tests/referee.h"

namespace {
// One game of each pairing of depths; more found nothing new. sd N searches N - 1 plies: quick,
// yet deep enough to see mates and avoid blunders.
constexpr int DefaultGames = 3;
constexpr int GamesAtOnce = 4;
constexpr int BaseDepth = 4;
constexpr size_t MaxPlies = 200;

// The referee's text check: false for an illegal or malformed move, which is left unplayed. A
// game that goes on past the cap is called off as a draw.
bool Play(Referee& r, const std::string& text) {
  const Move m = FindLegal(r, text, r.board.sideToMove);
  if (!m) return false;
  ::Play(r, m);
  if (r.result.empty() && r.history.size() >= MaxPlies) r.result = "1/2-1/2", r.reason = "move cap";
  return true;
}

// The openings in coordinate notation: one SAN line each, read with the library's own parser.
std::vector<std::vector<std::string>> LoadOpenings() {
  std::vector<std::vector<std::string>> openings;
  std::ifstream file(OSTREL_TEST_DATA "/openings/selfplay.txt");
  for (std::string line; std::getline(file, line);) {
    std::istringstream tokens(line);
    std::vector<std::string> moves;
    Referee r;
    StartReferee(r);
    for (std::string token; tokens >> token;) {
      if (token.back() == '.') continue;  // move numbers
      Move m = 0;
      pos = r.board;  // the games have not started: the board is ours alone
      Captured([&] { m = ParseSan(token.c_str(), pos.sideToMove); });  // the reader traces each token
      if (!m) break;
      moves.push_back(EngineText(m));
      ::Play(r, m);
    }
    openings.push_back(moves);
  }
  return openings;
}

bool IsReply(const std::string& l) {
  for (const char* reply : {"move ", "1-0", "0-1", "1/2-1/2", "resign"})
    if (StartsWith(l, reply)) return true;
  return false;
}

// One xboard game from the opening; "" when both engines behaved, else what went wrong.
std::string PlayXboardGame(const std::vector<std::string>& opening, const int depths[2]) {
  EngineProcess engines[2];  // indexed by side: [Black], [White]
  for (int s : {White, Black}) {
    if (!StartEngine(engines[s])) return "an engine did not start";
    for (const char* line : {"xboard", "protover 2", "new", "easy", "force"}) Send(engines[s], line);
    Send(engines[s], "sd " + std::to_string(depths[s]));
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
  for (int side = referee.board.sideToMove; referee.result.empty(); side ^= 1) {
    EngineProcess& mover = engines[side];
    const std::string who = (side == White ? "White" : "Black") + std::string(" after ") + moves;
    if (!started[side]) {
      // Out of force mode: name the side, as a GUI does before go for an engine with colors=1.
      Send(mover, side == White ? "white" : "black");
      Send(mover, "go");
      started[side] = true;
    }
    std::string line;
    if (!WaitForLine(mover, IsReply, EngineReplyMs, &line)) return who + ": no move in time\n" + Tail(mover);
    if (!StartsWith(line, "move "))
      return who + ": claimed \"" + line + "\" in a game that goes on\n" + Tail(mover);
    if (!Play(referee, line.substr(5))) return who + ": illegal " + line + "\n" + Tail(mover);
    moves += line.substr(5) + " ";
    if (referee.result.empty()) Send(engines[side ^ 1], line.substr(5));
  }
  for (EngineProcess& e : engines) {
    Send(e, "result " + referee.result + " {" + referee.reason + "}");
    Send(e, "quit");
    if (!ExitedWith(e, 0)) return "an engine did not quit cleanly\n" + Tail(e);
  }
  const size_t plies = referee.history.size();
  printf("%s by %s after %zu plies\n", referee.result.c_str(), referee.reason.c_str(), plies);
  return "";
}

TEST(SelfPlay, XboardGamesAreLegalToTheEnd) {
  const char* asked = getenv("OSTREL_SELFPLAY_GAMES");
  const std::vector<std::vector<std::string>> openings = LoadOpenings();
  const int games = std::min(asked ? atoi(asked) : DefaultGames, int(openings.size()));
  ASSERT_GT(games, 0) << "openings file missing or unreadable";
  // Equal and unequal depths: the unequal pairs end in mates more often, and the deeper side plays either colour.
  std::vector<std::string> faults(games);
  std::atomic<int> next{0};
  std::vector<std::thread> players;
  for (int t = 0; t < std::min(games, GamesAtOnce); t++)
    players.emplace_back([&] {
      for (int g; (g = next++) < games;) {
        const int depths[2] = {BaseDepth + (g % 3 == 2), BaseDepth + (g % 3 == 1)};  // [Black], [White]
        faults[g] = PlayXboardGame(openings[g], depths);
      }
    });
  for (std::thread& p : players) p.join();
  for (int g = 0; g < games; g++) EXPECT_EQ("", faults[g]) << "game " << g + 1;
}
}  // namespace
