// The master book: learn.txt lines, the tree they build, learn.bin both ways, which file a start-up
// reads, and the scores and listing the book probe gets.
#include <gtest/gtest.h>

#include <unistd.h>
#include <utime.h>

#include <cstring>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "book/master.h"
#include "tests/capture.h"
#include "tests/scratch_dir.h"

namespace {
void SetTime(const char* path, time_t when) {
  utimbuf times{when, when};
  ASSERT_EQ(utime(path, &times), 0) << path;
}

// The tree in pre-order, one node per line, indented by depth: equal texts, equal trees.
std::string Dump(const MasterNode* chain, int depth = 0) {
  std::string out;
  for (const MasterNode* n = chain; n; n = n->sibling)
    out += std::string(depth, ' ') + MasterMoveText(n->move) + "\n" + Dump(n->child, depth + 1);
  return out;
}

MasterMove M(int piece, int to, int mark = 0, int promotion = 0, int fromFile = 0, int fromRank = 0) {
  return MasterMove{uint8_t(fromRank), uint8_t(fromFile), uint8_t(to),
                    uint8_t(piece),    int8_t(mark),      int8_t(promotion)};
}

bool Same(const MasterMove& a, const MasterMove& b) { return memcmp(&a, &b, sizeof a) == 0; }

// One node as bytes of learn.bin, without its flags.
std::string Bytes(const MasterMove& m) { return std::string(reinterpret_cast<const char*>(&m), sizeof m); }

class MasterBook : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(scratch.Enter());
    ClearMasterBook();
  }
  void TearDown() override {
    ClearMasterBook();
    ASSERT_TRUE(scratch.Leave());
  }
  static std::string Load() { return Captured([] { LoadMasterBook("learn.txt", "learn.bin"); }); }
  static std::string Read(const char* name) { return Captured([name] { ReadMasterBook(name); }); }
  // Parses and inserts lines as the loader does; returns what was printed.
  static std::string Insert(const std::vector<const char*>& lines) {
    return Captured([&] {
      for (const char* line : lines) {
        MasterMove moves[MaxMasterLineMoves];
        InsertMasterLine(moves, ParseMasterLine(line, moves));
      }
    });
  }
  // Plays `game` (coordinate pairs and piece types) from the initial position and scores the
  // legal moves there, each starting at 7; returns the listing.
  std::string Score(const std::vector<Move>& game) {
    SetInitialPosition();
    int side = White;
    for (size_t i = 0; i < game.size(); i++, side ^= 1) {
      SaveUndo(int(i));
      MakeMove(game[i], int(i), side);
    }
    Move legal[MaxMoves];
    const int count = int(GenerateLegal(legal, side) - legal);
    legalMoves.assign(legal, legal + count);
    scores.assign(count, 7);
    return Captured(
        [&] { ScoreMasterMoves(legalMoves.data(), scores.data(), count, game.data(), int(game.size())); });
  }
  int ScoreOf(int from, int to) const {
    for (size_t i = 0; i < legalMoves.size(); i++)
      if (MoveFrom(legalMoves[i]) == from && MoveTo(legalMoves[i]) == to) return scores[i];
    ADD_FAILURE() << "no such legal move";
    return 0;
  }
  ScratchDirectory scratch;
  std::vector<Move> legalMoves;
  std::vector<int> scores;
};

const Move e2e4 = EncodeMove(E2, E4, Pawn, 0, 0), e7e5 = EncodeMove(E7, E5, Pawn, 0, 0),
           c7c5 = EncodeMove(C7, C5, Pawn, 0, 0), d2d4 = EncodeMove(D2, D4, Pawn, 0, 0),
           d7d5 = EncodeMove(D7, D5, Pawn, 0, 0), g1f3 = EncodeMove(G1, F3, Knight, 0, 0),
           b8c6 = EncodeMove(B8, C6, Knight, 0, 0), f1c4 = EncodeMove(F1, C4, Bishop, 0, 0),
           f8c5 = EncodeMove(F8, C5, Bishop, 0, 0), g8f6 = EncodeMove(G8, F6, Knight, 0, 0);

// Catches a marked move not found after the game's moves (or found after others), the wrong
// weight for its mark, the wildcard, castling and the from-square hints matched wrongly, and
// the wrong one of two nodes for the same move taken.
TEST_F(MasterBook, ScoresTheMarkedMovesOfTheGame) {
  const struct { std::vector<const char*> lines; std::vector<Move> game; int from, to, score; const char* listing; }
      cases[] = {
      {{"e4 e5 Nf3!"}, {e2e4, e7e5}, G1, F3, 20000000,
       "Score Moves :\nMove number = 2\nMoves so far : [ e4 e5 ]\n"
       "master book moves found in this position : [\nNf3! ]\n"},
      {{"e4 e5 Nf3!"}, {e2e4, e7e5}, B1, C3, 7, "[\nNf3! ]\n"},  // unlisted moves keep their score
      {{"e4 e5 Nf3!"}, {e2e4}, E7, E5, 7, "[ e4 ]\nmaster book moves found in this position : [\n]\n"},
      {{"e4 e5 Nf3!"}, {e2e4, c7c5}, G1, F3, 7, "[\n]\n"},
      {{"e4 e5 N1f3!"}, {e2e4, e7e5}, G1, F3, 20000000, "[\nNbf3! ]\n"},  // rank 1 shows as "b"
      {{"e4 e5 Ngf3!"}, {e2e4, e7e5}, G1, F3, 20000000, "[\nNf3! ]\n"},
      {{"e4 e5 N2f3!", "e4 e5 Nhf3!"}, {e2e4, e7e5}, G1, F3, 7, "[\n]\n"},
      {{"e4 * Nf3!!"}, {e2e4, e7e5}, G1, F3, 30000000, "[\nNf3!! ]\n"},
      {{"e4 * Nf3!!"}, {e2e4, g8f6}, G1, F3, 30000000, "[\nNf3!! ]\n"},
      {{"e4 * Nf3!!"}, {d2d4, d7d5}, G1, F3, 7, "[\n]\n"},
      // Castling written with letters is the king's move; with digits it never matches.
      {{"e4 e5 Nf3 Nc6 Bc4 Bc5 O-O!", "e4 e5 Nf3 Nc6 Bc4 Bc5 0-0!?"},
       {e2e4, e7e5, g1f3, b8c6, f1c4, f8c5}, E1, G1, 20000000, "[\nKg1! ]\n"},
      // The same move with another mark is another node, and the later one wins.
      {{"d4 d5 c4?", "d4 d5 c4"}, {d2d4, d7d5}, C2, C4, -20000000, "[\nc4? ]\n"},
      {{"d4 d5 c4!", "d4 d5 c4?", "d4 d5 c4!"}, {d2d4, d7d5}, C2, C4, -20000000, "[\nc4! c4? ]\n"},
  };
  for (const auto& c : cases) {
    ClearMasterBook();
    Insert(c.lines);
    const std::string listing = Score(c.game);
    EXPECT_NE(listing.find(c.listing), std::string::npos) << c.lines[0] << "\n" << listing;
    EXPECT_EQ(ScoreOf(c.from, c.to), c.score) << c.lines[0] << " after " << c.game.size() << " moves";
  }
  ClearMasterBook();
  ASSERT_EQ("", Insert({"0-0-0 o-o-O"}));
  EXPECT_TRUE(Same(masterRoot.move, M(Pawn, C1)));
  EXPECT_TRUE(Same(masterRoot.child->move, M(King, C8)));
}

// Catches the line syntax misread: what is ignored, what is a fault (reported with the line of the parser that found
// it, and the line dropped), marks, hints, captures and promotions; and the listing's node texts written wrongly.
TEST_F(MasterBook, LineSyntax) {
  constexpr int Fault = -1;  // no moves: reported from the parser's line `error`
  const struct { const char* line; int moves, error; } cases[] = {
      {"e4", 0, 0},  // too short
      {"e4 e5 [Event", 0, 0}, {"e4 e5 @", 0, 0}, {"e4 e5 ; c5", 0, 0}, {"1.\n", 0, 0}, {"e4\n", 1, 0},
      {"e4 e5 O-X", Fault, 400},   {"e4 e5 Ob5", Fault, 400},    {"e4 e5 Nzxe5", Fault, 417},
      {"e4 e5 Nze5", Fault, 426},  {"e4 e5 Ni3", Fault, 434},    {"e4 e5 Nf9", Fault, 434},
      {"e4 e5 Nx", Fault, 434},    {"zxe4 e5", Fault, 447},      {"i4 e5", Fault, 453},
      {"e4 e5 2. Nf3", Fault, 453}, {"e4 e5 Nf3#", Fault, 453},  {"e9 e5", Fault, 454},
      {"e4 d5 e8", Fault, 477},    {"e4 d5 e8=K", Fault, 477},   {"e4 d5 e1=", Fault, 477},
  };
  for (const auto& c : cases) {
    MasterMove m[MaxMasterLineMoves];
    const std::string line = std::string(c.line) + (c.moves == Fault ? "\r\n" : "");
    int moves = 0;
    const std::string out = Captured([&] { moves = ParseMasterLine(line.c_str(), m); });
    EXPECT_EQ(moves, c.moves) << c.line;
    EXPECT_EQ(out, c.moves != Fault ? "" : "Error parsing the string " + std::string(c.line) + " in line " +
                                               std::to_string(c.error) + "\n");
  }
  // Each move as parsed, and as the listing shows it: a rank hint as a letter, a file hint not.
  MasterMove m[MaxMasterLineMoves];
  ASSERT_EQ(7, ParseMasterLine("1.\tNbd2+!? R1xe2?! exd5 bxa1n e8=Q!!!?! Kf8?? Nf3+?", m));
  const struct { MasterMove move; const char* text; } expected[] = {
      {M(Knight, D2, 1, 0, 2), "Nd2!? "}, {M(Rook, E2, -1, 0, 0, 1), "Rbe2?! "}, {M(Pawn, D5, 0, 0, 5), "d5 "},
      {M(Pawn, A1, 0, Knight, 2), "a1=N "}, {M(Pawn, E8, 3, Queen), "e8=Q!! "}, {M(King, F8, -3), "Kf8?? "},
      {M(Knight, F3, -2), "Nf3? "}};
  for (int i = 0; i < 7; i++)
    EXPECT_TRUE(Same(m[i], expected[i].move) && !strcmp(MasterMoveText(m[i]), expected[i].text)) << "move " << i;
  EXPECT_STREQ(MasterMoveText(M(Bishop, B2, 2, Bishop)), "Bb2=B! ");
  EXPECT_STREQ(MasterMoveText(M(Pawn, E8, 3, Rook)), "e8=R!! ");
  EXPECT_STREQ(MasterMoveText(M(7, E4)), "wrong piece type ");
  std::string stars;
  for (int i = 0; i < 511; i++) stars += "* ";
  EXPECT_EQ(MaxMasterLineMoves, ParseMasterLine(stars.c_str(), m));
  EXPECT_TRUE(Same(m[499], M(AnyMove, 0)));
  EXPECT_STREQ(MasterMoveText(m[499]), "* ");
  // The loader drops a faulty line and goes on; only the first 1,023 characters of a line count,
  // and the rest is not a line of its own.
  WriteFile("learn.txt", "e4 e5 Nzxe5\nd4 d5\n");
  EXPECT_EQ("(Re)building learn.bin from learn.txt\nError parsing the string e4 e5 Nzxe5 in line 417\n2 nodes\n",
            Load());
  std::string overlong = "d4 ";
  for (int i = 0; i < 70; i++) overlong += "Nf3 Nf6 Ng1 Ng8 ";
  WriteFile("learn.txt", overlong + "\nc4\n");
  EXPECT_EQ("(Re)building learn.bin from learn.txt\n257 nodes\n", Load());
}

// Catches learn.bin written or read in another order than pre-order with sibling and child flags.
TEST_F(MasterBook, BinaryRoundTrip) {
  Insert({"e4 e5", "d4\n"});
  WriteMasterBook("a.bin");
  const std::string flags("\0\0\1", 3);
  EXPECT_EQ(Bytes(M(Pawn, E4)) + '\1' + Bytes(M(Pawn, D4)) + flags + Bytes(M(Pawn, E5)) + flags.substr(0, 2),
            ReadFile("a.bin"));
  ClearMasterBook();
  Insert({"e4 e5 Nf3! Nc6 Bb5 a6", "e4 e5 Nf3! Nf6", "e4 c5 Nf3 d6 d4", "e4 c5 Nf3? Nc6", "d4 * c4",
          "c4 e5 Nc3 Nf6", "e4 e5 Nf3 Nc6 Bb5", "Nf3 d5 g3 Nf6 Bg2 e6 O-O Be7 d3 O-O Nbd2 c5 e4 Nc6 Re1"});
  const std::string tree = Dump(&masterRoot);
  const int nodes = CountMasterNodes();
  WriteMasterBook("a.bin");
  EXPECT_EQ("", Read("a.bin"));
  EXPECT_TRUE(tree == Dump(&masterRoot) && nodes == CountMasterNodes());
  WriteMasterBook("b.bin");
  EXPECT_EQ(ReadFile("a.bin"), ReadFile("b.bin"));
  EXPECT_EQ(size_t(nodes) * 8, ReadFile("a.bin").size());
}

// Catches the older of the two files read, and a missing learn.txt that costs the book in memory
// or the binary. (A learn.bin that cannot be written is the file-safety tests' concern.)
TEST_F(MasterBook, NewerFileDecides) {
  WriteFile("learn.txt", "e4 e5 Nf3!\n");
  EXPECT_EQ("(Re)building learn.bin from learn.txt\n3 nodes\n", Load());
  const std::string threeNodes = ReadFile("learn.bin");
  // The text changes but the binary is newer: the binary is read.
  WriteFile("learn.txt", "d4\n");
  SetTime("learn.txt", 1000000);
  SetTime("learn.bin", 1000001);
  EXPECT_EQ("Reading the master opening book from learn.bin\n3 nodes\n", Load());
  EXPECT_EQ("e4 \n e5 \n  Nf3! \n", Dump(&masterRoot));
  // As new as the binary is enough for a rebuild.
  SetTime("learn.txt", 1000001);
  EXPECT_EQ("(Re)building learn.bin from learn.txt\n1 nodes\n", Load());
  EXPECT_EQ("d4 \n", Dump(&masterRoot));
  unlink("learn.bin");
  EXPECT_EQ("(Re)building learn.bin from learn.txt\n1 nodes\n", Load());
  EXPECT_EQ(Bytes(M(Pawn, D4)) + '\0' + '\0', ReadFile("learn.bin"));
  // Without the text even a good binary is left alone.
  WriteFile("learn.bin", threeNodes);
  unlink("learn.txt");
  EXPECT_EQ("(Re)building learn.bin from learn.txt\nCannot open learn.txt ! \n", Load());
  EXPECT_EQ(1, CountMasterNodes());
  EXPECT_EQ(threeNodes, ReadFile("learn.bin"));
}

// Catches a damaged learn.bin read past its end, losing what was read before the damage, read
// by recursion (a deep chain would overflow the stack), or read past the node limit.
TEST_F(MasterBook, DamagedBinaryKeepsWhatWasRead) {
  Insert({"e4 e5 Nf3!"});
  WriteMasterBook("good.bin");
  const std::string good = ReadFile("good.bin");
  ASSERT_EQ(24u, good.size());
  for (size_t length = 0; length < good.size(); length++) {
    WriteFile("cut.bin", good.substr(0, length));
    EXPECT_EQ("Damaged file!\n", Read("cut.bin")) << length;
    EXPECT_EQ(length < 14 ? 1 : length < 22 ? 2 : 3, CountMasterNodes()) << length;
  }
  const std::string e4 = Bytes(M(Pawn, E4));
  std::string deep, wide, noise;
  for (int i = 0; i < 300000; i++) deep += e4 + '\0' + '\1';
  for (int i = 0; i < MaxMasterNodes + 10; i++) wide += e4 + '\1';
  for (unsigned i = 0, r = 12345; i < 100000; i++) noise += char((r = r * 1103515245 + 12345) >> 16);
  WriteFile("deep.bin", deep);
  EXPECT_EQ("Damaged file!\n", Read("deep.bin"));
  EXPECT_EQ(300000, CountMasterNodes());
  Score({e2e4, e7e5});  // a probe only goes as deep as the game
  WriteMasterBook("deep2.bin");
  EXPECT_EQ(deep.substr(0, deep.size() - 1) + '\0', ReadFile("deep2.bin"));
  WriteFile("wide.bin", wide);
  EXPECT_EQ("Damaged file!\n", Read("wide.bin"));
  EXPECT_EQ(MaxMasterNodes, CountMasterNodes());
  WriteFile("noise.bin", noise);
  Read("noise.bin");
  Score({e2e4, e7e5});
}

}  // namespace
