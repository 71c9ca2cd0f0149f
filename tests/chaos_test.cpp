// Protocol chaos: the real engine driven by long random but well-formed command sequences, with a
// referee that keeps the game the way the interpreter keeps it. Each step sends a few commands
// that start no search, then one that may, then a marker line; by the time the engine reaches the
// marker it must have taken every line, must still run, and every move it announced or hinted
// must have been legal where the referee says the game stands. Searches that never end by
// themselves (pondering, analysis) and slow ones are stopped with "?", which is harmless at any
// moment. OSTREL_CHAOS_SEED and OSTREL_CHAOS_COMMANDS ask for another or a longer run; a seed
// fixes the choices of commands, though not the point at which a "?" lands in a search.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "board/fen.h"
#include "board/movegen.h"
#include "tests/engine_process.h"
#include "tests/position_check.h"
#include "tests/referee.h"

namespace {

using ostrel_test::TestRandom;

// Each engine idles a tenth of a second before it reads: several run at once.
constexpr int Sessions = 4;
constexpr int DefaultCommands = 100;  // per session
constexpr int SlowSearchMs = 800;     // then "?" asks for the move
constexpr int LongGame = 400;         // plies before a new game is likely

// The referee's game and what the interpreter believes of it.
struct GameState {
  Referee game;            // the game record: the board's side plays
  int engineSide = White;  // the interpreter's side: every move line flips it, found or not
  bool force = false, analyze = false;
};

// undo (one half-move, the interpreter's side flipped) and remove (two, the side kept), done
// only when that many were played.
bool TakeBack(GameState& r, size_t halfMoves) {
  if (!::TakeBack(r.game, halfMoves)) return false;
  if (halfMoves == 1) r.engineSide ^= 1;
  return true;
}

void NewGame(GameState& r) {
  StartReferee(r.game);
  r.engineSide = White;
  r.force = false;
}

// An edit session that sets up the position of a short random game with the interpreter's side
// to move, as xboard sends it; the referee takes the same position.
std::vector<std::string> EditSession(GameState& r, TestRandom& random) {
  bool inCheck = true;  // the side not to move may not stand in check
  while (inCheck) {
    StartReferee(r.game);
    for (int plies = int(random.Below(60)); plies > 0 && r.game.result.empty(); plies--) {
      const std::vector<Move> legal = LegalMoves(r.game, r.game.board.sideToMove);
      Play(r.game, legal[random.Below(uint32_t(legal.size()))]);
    }
    std::lock_guard<std::mutex> hold(boardLock);
    pos = r.game.board;
    inCheck = KingAttacked(r.engineSide ^ 1);
  }
  std::vector<std::string> lines = {"edit", "#", "Kz9"};
  for (int colour : {White, Black}) {
    if (colour == Black) lines.push_back("c");
    for (int s = 0; s < 64; s++) {
      const int piece = r.game.board.board[s];
      if (piece == 0 || (piece > 0) != (colour == White)) continue;
      const char letter = "?PNBRQK"[piece > 0 ? piece : -piece];
      lines.push_back(std::string(1, random.Below(2) ? letter : char(letter + 32)) + char('a' + s % 8) +
                      char('1' + s / 8));
    }
  }
  lines.push_back(".");
  // Edit mode keeps no castling rights or en-passant square: the placement alone, and its side.
  const std::string& epd = r.game.seen.back();
  StartReferee(r.game, epd.substr(0, epd.find(' ')) + (r.engineSide == White ? " w" : " b"));
  r.force = false;
  return lines;
}

std::string Number(TestRandom& random, uint32_t below) { return std::to_string(random.Below(below)); }

// A line that is no command: binary, or longer than a line can be. Neither can begin like a
// command or a move, and neither holds a line end or a backspace that could edit it into one.
std::string Garbage(TestRandom& random) {
  std::string line(1, random.Below(2) ? 'z' : char(0x80 + random.Below(128)));
  const size_t length = random.Below(2) ? 256 + random.Below(1500) : 1 + random.Below(60);
  while (line.size() < length) {
    const char c = char(1 + random.Below(255));
    if (c != '\n' && c != '\r' && c != 8) line += c;
  }
  return line;
}

// A move line: legal for the board's side, or one the interpreter cannot find. Either way it flips
// the interpreter's side; only the legal one is played. The interpreter looks moves up among the
// pseudo-legal ones, so a move that leaves its own king attacked would be played there and not
// here: such text is never sent.
std::string MoveLine(GameState& r, TestRandom& random) {
  const std::vector<Move> legal = LegalMoves(r.game, r.game.board.sideToMove);
  std::vector<Move> found;
  {
    std::lock_guard<std::mutex> hold(boardLock);
    pos = r.game.board;
    Move list[MaxMoves];
    found.assign(list, GenerateQuiet(GenerateCaptures(list, pos.sideToMove), pos.sideToMove));
  }
  r.engineSide ^= 1;
  if (!legal.empty() && random.Below(5) != 0) {
    const Move m = legal[random.Below(uint32_t(legal.size()))];
    Play(r.game, m);
    return EngineText(m);
  }
  for (;;) {
    std::string text = {char('a' + random.Below(8)), char('1' + random.Below(8)), char('a' + random.Below(8)),
                        char('1' + random.Below(8))};
    if (random.Below(4) == 0) text += "qrbn"[random.Below(4)];
    if (std::none_of(found.begin(), found.end(), [&](Move m) { return EngineText(m) == text; })) return text;
  }
}

// A command that starts no search in the state the referee is in, its effect on the referee made.
std::string QuietCommand(GameState& r, TestRandom& random) {
  for (;;) {
    switch (random.Below(22)) {
      case 0: return "sd " + std::to_string(1 + random.Below(5));
      case 1: return "st " + Number(random, 2);
      case 2: return "level " + Number(random, 41) + " " + Number(random, 2) + (random.Below(2) ? ":1" : "") + " " +
                     Number(random, 3);
      case 3: return "time " + Number(random, 20000);
      case 4: return "otim " + Number(random, 20000);
      case 5: return random.Below(2) ? "post" : "nopost";
      case 6: return random.Below(2) ? "hard" : "easy";
      case 7: return random.Below(2) ? "books on" : "books off";
      case 8: return random.Below(2) ? "white" : "black";
      case 9:
        if (random.Below(3)) break;  // rarer: force mode silences the engine until go
        r.force = true;
        return "force";
      case 10: return random.Below(2) ? "draw" : "print";
      case 11: return "?";
      case 12: return random.Below(2) ? "protover 2" : "variant nocastle";
      case 13: return "result 1-0 {chaos}";
      case 14: case 15: return Garbage(random);
      case 16: NewGame(r); return "new";
      case 17: {
        std::lock_guard<std::mutex> hold(boardLock);  // announced, never handled: nothing changes
        return "setboard " + std::string(PositionToEpd()) + "0 1";
      }
      case 18: case 19:
        if (r.force && !r.analyze) return MoveLine(r, random);
        break;
      case 20:
        if (r.analyze || !TakeBack(r, 1)) break;
        return "undo";
      default: return ".";
    }
  }
}

// The step's last command, which may start a search; the referee takes its effect. Empty for
// exit, which the caller handles.
std::vector<std::string> FinalCommand(GameState& r, TestRandom& random) {
  if (r.game.history.size() > size_t(LongGame) && random.Below(4) == 0) {
    NewGame(r);
    return {"new"};
  }
  for (;;) {
    switch (random.Below(12)) {
      case 0: case 1: case 2: case 3: return {MoveLine(r, random)};
      case 4: case 5: r.force = false; return {"go"};
      case 6: r.force = false; return {"hint"};
      case 7:
        if (random.Below(4)) break;  // rarer: only exit leaves analysis mode
        r.analyze = true;
        return {"analyze"};
      case 8: {
        const size_t halfMoves = 1 + random.Below(2);
        if (TakeBack(r, halfMoves)) return {halfMoves == 1 ? "undo" : "remove"};
        break;
      }
      case 9: return EditSession(r, random);
      case 10:
        if (random.Below(r.analyze ? 2 : 8) == 0) return {};
        break;
      default: return {QuietCommand(r, random)};
    }
  }
}

struct Session {
  std::unique_ptr<EngineProcess> engine;
  GameState referee;
  TestRandom random;
  int commands = 0;     // lines the generator sent
  int linesSent = 0;    // every line written, stops and markers included
  size_t echoSeen = 0;  // "AddTo Queue [" lines read so far
  int markers = 0;
  int starts = 0, movesChecked = 0;  // for the closing figures of a long run
  explicit Session(uint64_t seed) : random(seed) {}
};

bool SendLine(Session& s, const std::string& line) {
  s.linesSent++;
  return Send(*s.engine, line);
}

bool Start(Session& s) {
  s.starts++;
  s.engine.reset(new EngineProcess);
  if (!StartEngine(*s.engine)) return false;
  s.linesSent = 0;
  s.echoSeen = 0;
  s.referee = GameState();
  NewGame(s.referee);
  return SendLine(s, "xboard") && SendLine(s, "sd 3");
}

// Checks a move the engine announced or hinted: legal for the interpreter's side on the board.
std::string CheckEngineMove(Session& s, const std::string& text, bool played) {
  GameState& r = s.referee;
  s.movesChecked++;
  const Move m = FindLegal(r.game, text, r.engineSide);
  if (!m) return "illegal move " + text;
  if (!played) return "";
  // The game record plays it only when the interpreter's side is also the board's.
  if (r.engineSide == r.game.board.sideToMove) Play(r.game, m);
  r.engineSide ^= 1;
  return "";
}

// Reads until the engine interprets the marker, answering the engine as a GUI would. Returns
// what went wrong, or "".
std::string AwaitMarker(Session& s) {
  using Clock = std::chrono::steady_clock;
  const std::string marker = "chaos " + std::to_string(++s.markers);
  if (!SendLine(s, marker)) return "the engine no longer reads";
  const size_t sentBefore = size_t(s.linesSent);
  const Clock::time_point start = Clock::now();
  Clock::time_point lastStop = start;
  for (;;) {
    std::string line;
    if (WaitForLine(*s.engine, [](const std::string&) { return true; }, 50, &line)) {
      std::string fault;
      if (StartsWith(line, "AddTo Queue [")) s.echoSeen++;
      else if (line == "Process Queue Line [" + marker + "]") break;
      else if (StartsWith(line, "move ")) fault = CheckEngineMove(s, line.substr(5), true);
      else if (StartsWith(line, "Hint: ")) fault = CheckEngineMove(s, line.substr(6), false);
      else if (line == "Starting pondering :" || (s.referee.analyze && StartsWith(line, "epd diagram"))) {
        if (s.markers % 3 == 0) SendLine(s, ".");  // a status request in passing
        SendLine(s, "?");
        lastStop = Clock::now();
      }
      if (!fault.empty()) return fault;
      continue;
    }
    if (s.engine->outputClosed) return "the engine ended";
    const Clock::time_point now = Clock::now();
    if (now - start > std::chrono::milliseconds(EngineReplyMs)) return "no answer to " + marker;
    if (now - lastStop > std::chrono::milliseconds(SlowSearchMs)) {
      SendLine(s, "?");
      lastStop = now;
    }
  }
  // Everything sent up to the marker has been screened by now, each line echoed once.
  return s.echoSeen >= sentBefore ? "" : "lines lost before " + marker;
}

// One session of `commands` generator lines; "" when all went well, else the fault and the tail
// of the transcript.
std::string RunSteps(Session& s, uint64_t seed, int commands) {
  if (!Start(s)) return "cannot start the engine";
  while (s.commands < commands) {
    std::vector<std::string> lines;
    for (uint32_t n = s.random.Below(4); n > 0; n--) lines.push_back(QuietCommand(s.referee, s.random));
    const std::vector<std::string> last = FinalCommand(s.referee, s.random);
    lines.insert(lines.end(), last.begin(), last.end());
    for (const std::string& line : lines) SendLine(s, line);
    s.commands += int(lines.size());
    if (last.empty()) {
      // exit ends the process by design, with status 0; a new engine takes over.
      SendLine(s, "exit");
      s.commands++;
      if (!ExitedWith(*s.engine, 0)) return "exit did not end the engine with status 0\n" + Tail(*s.engine);
      if (!Start(s)) return "cannot restart the engine";
      continue;
    }
    const std::string fault = AwaitMarker(s);
    if (!fault.empty()) return fault + " (seed " + std::to_string(seed) + ")\n" + Tail(*s.engine);
  }
  SendLine(s, "quit");
  return ExitedWith(*s.engine, 0) ? "" : "quit did not end the engine with status 0\n" + Tail(*s.engine);
}

std::string RunSession(uint64_t seed, int commands) {
  Session s(seed);
  const std::string fault = RunSteps(s, seed, commands);
  printf("chaos seed %llu: %d commands, %d steps, %d engine starts, %d moves checked, %s\n",
         (unsigned long long)seed, s.commands, s.markers, s.starts, s.movesChecked, fault.empty() ? "sound" : "FAULT");
  return fault;
}

uint64_t EnvironmentNumber(const char* name, uint64_t fallback) {
  const char* text = getenv(name);
  return text && *text ? strtoull(text, nullptr, 10) : fallback;
}

}  // namespace

TEST(ProtocolChaos, RandomSessionsKeepTheEngineSound) {
  const uint64_t seed = EnvironmentNumber("OSTREL_CHAOS_SEED", 14);
  const int commands = int(EnvironmentNumber("OSTREL_CHAOS_COMMANDS", DefaultCommands * Sessions)) / Sessions;
  std::vector<std::string> faults(Sessions);
  std::vector<std::thread> sessions;
  for (int i = 0; i < Sessions; i++)
    sessions.emplace_back([&, i] { faults[i] = RunSession(seed * Sessions + uint64_t(i), commands); });
  for (std::thread& t : sessions) t.join();
  for (const std::string& fault : faults) EXPECT_EQ(fault, "");
}
