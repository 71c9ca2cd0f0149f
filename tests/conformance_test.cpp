// Scripted sessions with the built engine over pipes, as a GUI or a user at the console holds
// them: the program's exact texts and what each command does to the game. A script entry
// "> LINE" sends the line; any other entry is awaited in order, with the engine's trace lines
// allowed in between:
//   "TEXT"            a line that is exactly TEXT ("TEXT*": a line that starts with TEXT)
//   "!TEXT"           no such line before the next awaited one (or before the engine ends)
//   "board PLACEMENT" the drawing of the next `print` shows this FEN placement
// After the script the engine is told to quit and must end with the row's status.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/engine_process.h"

namespace {
const char* const border = "+---+---+---+---+---+---+---+---+";

struct Session { const char* name; std::vector<std::string> arguments, script; int status = 0; };

std::ostream& operator<<(std::ostream& out, const Session& s) { return out << s.name; }

std::vector<std::string> Joined(std::vector<std::vector<std::string>> parts) {
  std::vector<std::string> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// An edit session as xboard sends it for a GUI without setboard.
std::vector<std::string> Edit(const std::vector<std::string>& placements) {
  std::vector<std::string> lines = {"> edit", "> #"};
  for (const std::string& p : placements) lines.push_back("> " + p);
  lines.push_back("> .");
  return lines;
}

std::string EveryByte() {
  std::string line = "> ";
  for (int c = 1; c < 256; c++)
    if (c != '\n' && c != '\r' && c != 8) line += char(c);
  return line;
}

const char* const promotionPosition =
    "str = k1111111/1111P111/11111111/11111111/11111111/11111111/11111111/1111K111 w";

const std::vector<Session> sessions = {
    {"StartUpEchoesArgumentsAndReportsUnknownOnes", {"word", "-bar", "-hashsize", "19"},
     {"word", "-bar", "-hashsize", "19", "Unknown parameter : -bar", "hashsize : 19", "InitHT [19]",
      "Initialized tablebases : 0", "Ostrel", "Version 1.069 QX"}},
    // The one fatal error: play never starts.
    {"HashSizeBelowTheRangeIsFatal", {"-hashsize", "16"},
     {"Error in file hash.cpp in line 28", "Invalid hash table size", "!Ostrel"}, 255},
    {"HashSizeAboveTheRangeIsFatal", {"-hashsize", "26"},
     {"Error in file hash.cpp in line 28", "Invalid hash table size", "!Ostrel"}, 255},
    {"FeaturesAnswerProtover", {},
     {"> xboard", "> protover 2", "feature colors=1", "feature myname=\"Ostrel 1.069 QX by Brannock\"",
      "feature time=1", "feature pause=0", "feature variants=\"normal,nocastle\"", "feature sigint=0",
      "feature sigterm=0", "feature name=1", "feature playother=1", "feature setboard=1", "feature draw=1",
      "feature reuse=0", "feature time=1", "feature san=0", "feature done=1"}},
    // Both announced variants are refused all the same: GUIs only send one for a non-standard game.
    {"SettingsAndVariantsAreAnswered", {},
     {"> variant nocastle", "> variant normal", "> sd 3", "> st 2", "> hash 64",
      "Error: unsupported variant.", "Error: unsupported variant.", "search depth mode sd = 3",
      "search time mode st = 2", "pawn hash = 7864320", "x1 = [59244544]", "x2 = [3702784]",
      "x3 = [1851392]", "InitHT [21]"}},
    // The pauses read from the same input, exactly two lines; the line after them is read as usual.
    {"HelpPausesTwiceThenShowsTheBanner", {},
     {"> help", "> skipped", "> ", "> version", "Command line options :", "press enter to continue",
      "press enter to continue", "!press enter to continue", "-buildbook <name of the temp file>", "Ostrel",
      "Version 1.069 QX", "!AddTo Queue [skipped]", "AddTo Queue [version]", "Ostrel", "Version 1.069 QX"}},
    {"AboutAndInfoPauseTwiceThenShowTheBanner", {},
     {"> about", "> ", "> ", "> info", "> ", "> ", "Ostrel 1.069 QX", "Release Date : 14/Oct/2010",
      "press enter to continue", "Install notes :", "press enter to continue", "!press enter to continue",
      "Version 1.069 QX", "AddTo Queue [info]", "Release Date : 14/Oct/2010", "Version 1.069 QX"}},
    // setboard, name and playother are announced but not handled: a GUI's setboard changes nothing.
    {"CommandsWithoutHandlerAreIgnoredSilently", {},
     {"> setboard 8/8/8/8/8/8/8/K6k w - - 0 1", "> name Somebody", "> playother", "> computer", "> random",
      "> accepted usermove", "> rejected san", "> ping 7", "> bk", "> xyzzy 12", "> print", "!Error*",
      "!Illegal*", "!pong*", "board rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR"}},
    // new gives the engine Black; after its first move it answers every move by itself.
    {"GoPlaysOnlyForTheColourLastNamed", {},
     {"> new", "> sd 3", "> go", "> black", "> go", "> white", "> go", "!move *",
      "Process Queue Line [white]", "move *", "> e7e5", "move *"}},
    // e1g1 would castle through White's own pieces; e7e5 is Black's move, and a rejected move
    // still hands the turn on.
    {"MovesThatCannotBeFoundAreReported", {},
     {"> new", "> force", "> e2e5", "> e1g1", "> e7e5", "Make move : cannot find move 12 36 0",
      "Make move : cannot find move 4 6 0", "Make move : cannot find move 52 36 0"}},
    // A rejected move still hands the turn on, so the real one comes after a fresh set-up.
    {"PromotionNeedsItsLetterInEitherCase", {},
     Joined({{"> new"}, Edit({"Ke1", "Pe7", "c", "Ka8"}),
             {promotionPosition, "> force", "> e7e8", "> print", "Make move : cannot find move 52 60 0",
              "board k7/4P3/8/8/8/8/8/4K3", "> new"},
             Edit({"Ke1", "Pe7", "c", "Ka8"}),
             {promotionPosition, "> force", "> e7e8q", "> print", "!Make move*", "board k3Q3/8/8/8/8/8/8/4K3",
              "> undo", "> e7e8N", "> print", "!Make move*", "board k3N3/8/8/8/8/8/8/4K3"}})},
    // Boards after each take-back; and the side the engine plays for, which undo flips and remove
    // keeps: the last go finds Black to move only if both were kept right.
    {"UndoAndRemoveTakeBackMoves", {},
     {"> new", "> sd 3", "> force", "> e2e4", "> e7e5", "> g1f3", "> print",
      "board rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R", "> remove", "> print",
      "board rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR", "> remove", "> print",
      "board rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR", "> c7c5", "> print",
      "board rnbqkbnr/pp1ppppp/8/2p5/4P3/8/PPPP1PPP/RNBQKBNR", "> undo", "> undo", "> print",
      "board rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR", "> undo", "> print", "!UndoMove*",
      "board rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR", "> d2d4", "> print",
      "board rnbqkbnr/pppppppp/8/8/3P4/8/PPP1PPPP/RNBQKBNR", "> black", "> go", "move *"}},
    // White mates on the back rank with Ra8.
    {"EditModeBuildsThePositionThatIsThenPlayed", {},
     Joined({{"> new", "> sd 4"}, Edit({"Kg1", "Ra1", "Pb2", "xb2", "c", "Kh8", "Pg7", "Ph7"}),
             {"Entering Edit Mode", "Edit mode : got [#]", "Edit mode : got [xb2]", "Edit mode : got [.]",
              "EDIT MODE : wtm = 1",
              "str = 1111111k/111111pp/11111111/11111111/11111111/11111111/11111111/R11111K1 w", "> print",
              "board 7k/6pp/8/8/8/8/8/R5K1", "> white", "> go", "move a1a8", "1-0 {White Mates}"}})},
    // Squares off the board and unknown letters place nothing.
    {"EditModeIgnoresWhatNamesNoPlacement", {},
     Joined({Edit({"Ke1", "kz9", "ki1", "k", "x", "Pa0", "?", "c", "Ke8", "c", "Qd1"}),
             {"> print", "board 4k3/8/8/8/8/8/8/3QK3"}})},
    {"HintIsOnlyAdvice", {},
     {"> new", "> sd 3", "> force", "> e2e4", "> hint", "Hint: *", "> print",
      "board rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR"}},
    // At depth 3 the engine finds that Rc5 Kb8 Rb5 Kc7 repeats, a draw score of exactly 0.
    {"DrawOfferFollowsTheLastSearchScore", {},
     Joined({{"> draw", "I decline", "> new", "> sd 4"},
             Edit({"Rb5", "Ng3", "Na1", "Kc1", "c", "Bc8", "Kc7", "Bg7", "Be1"}),
             {"> white", "> go", "3.\t0\t*", "move *", "> draw", "I accept"}})},
    {"AnalysisFollowsTheMovesAndExitEndsTheProcess", {},
     {"> new", "> force", "> analyze", "3.\t*", "> e2e4",
      "epd diagram : rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3", "> exit"}},
    // 1:30 reads as 6030 seconds (the seconds' digits are appended), 150 s for the move: longer
    // than any wait here, so the move comes only from "?", and quit must end the next think.
    {"MoveNowAndQuitEndALongThink", {},
     {"> new", "> level 40 1:30 0", "> white", "> go", "epd diagram : *", "> ?", "move *", "> e7e5",
      "epd diagram : *", "!move *"}},
    {"PonderingEndsWhenTheOpponentMoves", {},
     {"> new", "> hard", "> e2e4", "move *", "Starting pondering :", "> g1f3", "move *"}},
    // Garbage, bytes of every value, long lines, moves in other notations or with impossible squares,
    // commands without their figures: ignored or refused, and the game intact. e7e5x is the one that
    // reads as a move (the fifth character names no piece), so it is played.
    {"BadInputLeavesTheGameIntact", {},
     {"> new", "> force", "> e2e4", "> hello engine", EveryByte(), "> " + std::string(10000, 'x'),
      "> " + std::string(10000, '7'), "> e4", "> Nf3", "> e7-e5", "> E7E5", "> e7e9", "> i7i5", "> e7e5x",
      "> sd", "> st -5", "> hash", "> level x y z", "> time", "> otim abc", "> print",
      "board rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR"}},
    // Found by the fuzzers: clock figures beyond 32 bits, and two kings a side, where every root move
    // scores -Infinity.
    {"FuzzFindingsLeaveTheEngineAnswering", {},
     Joined({{"> sd 3", "> white", "> level 40 555555555555 0", "> level 40 99999999:5999999999 99999999999",
              "> time 99999999999", "> time 4294967295", "> st 99999999999", "> level 1 1 4294967295", "> go",
              "move *", "> new", "> sd 3"},
             Edit({"Ka2", "Ke1", "c", "Ke8", "Kh8", "Qb2"}), {"> white", "> go", "> print", "board *"}})},
};

bool Matches(const std::string& line, const std::string& pattern) {
  if (!pattern.empty() && pattern.back() == '*')
    return StartsWith(line, pattern.substr(0, pattern.size() - 1));
  return line == pattern;
}

bool AnyLine(const std::string&) { return true; }

// The drawing that follows the next `print`, as a FEN placement; "" when none arrives.
std::string PrintedBoard(EngineProcess& e, std::vector<std::string>& skipped) {
  std::string placement, row, below;
  if (!WaitForExact(e, "Process Queue Line [print]", EngineReplyMs, &skipped) ||
      !WaitForExact(e, border, EngineReplyMs))
    return "";
  for (int rank = 0; rank < 8; rank++) {
    if (!WaitForLine(e, AnyLine, EngineReplyMs, &row) || !WaitForLine(e, AnyLine, EngineReplyMs, &below))
      return "";
    if (row.size() < 33 || below != border) return "";
    int empty = 0;
    for (int file = 0; file < 8; file++) {
      const char c = row[2 + 4 * file];
      if (c == ' ') {
        empty++;
        continue;
      }
      if (empty) placement += char('0' + empty);
      placement += c;
      empty = 0;
    }
    if (empty) placement += char('0' + empty);
    if (rank < 7) placement += '/';
  }
  return placement;
}

class Conformance : public testing::TestWithParam<Session> {};

TEST_P(Conformance, Session) {
  const Session& s = GetParam();
  EngineProcess e;
  ASSERT_TRUE(StartEngine(e, s.arguments));
  std::vector<std::string> forbidden;
  const auto unwanted = [&](const std::string& line) {
    for (const std::string& f : forbidden)
      if (Matches(line, f)) return true;
    return false;
  };
  for (size_t step = 0; step < s.script.size() && !HasFailure(); step++) {
    const std::string& entry = s.script[step];
    if (StartsWith(entry, "> ")) {
      ASSERT_TRUE(Send(e, entry.substr(2))) << "step " << step << ": the engine no longer reads\n" << Tail(e);
      continue;
    }
    if (entry[0] == '!') {
      forbidden.push_back(entry.substr(1));
      continue;
    }
    std::vector<std::string> skipped;
    if (StartsWith(entry, "board ")) {
      const std::string placement = PrintedBoard(e, skipped);
      EXPECT_TRUE(!placement.empty() && Matches(placement, entry.substr(6)))
          << "step " << step << ": board " << placement << "\n" << Tail(e);
    } else {
      const auto wanted = [&](const std::string& line) { return Matches(line, entry); };
      EXPECT_TRUE(WaitForLine(e, wanted, EngineReplyMs, nullptr, &skipped))
          << "step " << step << ": no " << entry << "\n" << Tail(e);
    }
    for (const std::string& line : skipped) EXPECT_FALSE(unwanted(line)) << "step " << step << ": " << line;
    forbidden.clear();
  }
  Send(e, "quit");
  EXPECT_TRUE(ExitedWith(e, s.status)) << e.waitStatus << "\n" << Tail(e);
  for (size_t i = e.consumed; i < e.lines.size(); i++) EXPECT_FALSE(unwanted(e.lines[i])) << e.lines[i];
}

std::string RowName(const testing::TestParamInfo<Session>& row) { return row.param.name; }
INSTANTIATE_TEST_SUITE_P(Xboard, Conformance, testing::ValuesIn(sessions), RowName);
}  // namespace
