// The master book: learn.txt lines, the tree they build, learn.bin in both directions, which of
// the two files a start-up reads, and the scores and listing the book probe gets.
#include <gtest/gtest.h>

#include <unistd.h>
#include <utime.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "book/master.h"
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
  return MasterMove{uint8_t(fromRank), uint8_t(fromFile), uint8_t(to), uint8_t(piece), int8_t(mark), int8_t(promotion)};
}

bool Same(const MasterMove& a, const MasterMove& b) { return memcmp(&a, &b, sizeof a) == 0; }

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

  std::string Load() {
    testing::internal::CaptureStdout();
    LoadMasterBook("learn.txt", "learn.bin");
    return testing::internal::GetCapturedStdout();
  }

  // Parses and inserts lines as the loader does; returns what was printed.
  std::string Insert(const std::vector<const char*>& lines) {
    testing::internal::CaptureStdout();
    for (const char* line : lines) {
      MasterMove moves[MaxMasterLineMoves];
      InsertMasterLine(moves, ParseMasterLine(line, moves));
    }
    return testing::internal::GetCapturedStdout();
  }

  // Plays `game` (coordinate pairs and piece types) from the initial position and scores the
  // legal moves there, each starting at 7; returns the listing, and the scores by coordinate.
  std::string Score(const std::vector<Move>& game) {
    SetInitialPosition();
    int side = White;
    for (size_t i = 0; i < game.size(); i++, side ^= 1) {
      SaveUndo(int(i));
      MakeMove(game[i], int(i), side);
    }
    Move legal[MaxMoves];
    count = int(GenerateLegal(legal, side) - legal);
    legalMoves.assign(legal, legal + count);
    scores.assign(count, 7);
    testing::internal::CaptureStdout();
    ScoreMasterMoves(legalMoves.data(), scores.data(), count, game.data(), int(game.size()));
    return testing::internal::GetCapturedStdout();
  }
  int ScoreOf(int from, int to) const {
    for (int i = 0; i < count; i++)
      if (MoveFrom(legalMoves[i]) == from && MoveTo(legalMoves[i]) == to) return scores[i];
    ADD_FAILURE() << "no such legal move";
    return 0;
  }

  ScratchDirectory scratch;
  std::vector<Move> legalMoves;
  std::vector<int> scores;
  int count = 0;
};

const Move e2e4 = EncodeMove(E2, E4, Pawn, 0, 0), e7e5 = EncodeMove(E7, E5, Pawn, 0, 0),
           c7c5 = EncodeMove(C7, C5, Pawn, 0, 0), d2d4 = EncodeMove(D2, D4, Pawn, 0, 0),
           d7d5 = EncodeMove(D7, D5, Pawn, 0, 0), g1f3 = EncodeMove(G1, F3, Knight, 0, 0),
           b8c6 = EncodeMove(B8, C6, Knight, 0, 0), f1c4 = EncodeMove(F1, C4, Bishop, 0, 0),
           f8c5 = EncodeMove(F8, C5, Bishop, 0, 0);

TEST_F(MasterBook, ThreeNodeLineScoresTheMarkedReply) {
  WriteFile("learn.txt", "1. e4 e5 Nf3!\n");
  EXPECT_EQ("(Re)building learn.bin from learn.txt\n3 nodes\n", Load());
  EXPECT_TRUE(Same(masterRoot.move, M(Pawn, E4)));
  EXPECT_EQ(nullptr, masterRoot.sibling);
  EXPECT_EQ("e4 \n e5 \n  Nf3! \n", Dump(&masterRoot));

  EXPECT_EQ("Score Moves :\nMove number = 2\nMoves so far : [ e4 e5 ]\n"
            "master book moves found in this position : [\nNf3! ]\n",
            Score({e2e4, e7e5}));
  EXPECT_EQ(20000000, ScoreOf(G1, F3));
  EXPECT_EQ(7, ScoreOf(B1, C3));  // unlisted moves keep their score

  // Unmarked nodes and other games list nothing.
  EXPECT_EQ("Score Moves :\nMove number = 1\nMoves so far : [ e4 ]\n"
            "master book moves found in this position : [\n]\n",
            Score({e2e4}));
  EXPECT_EQ(7, ScoreOf(E7, E5));
  Score({e2e4, c7c5});
  EXPECT_EQ(7, ScoreOf(G1, F3));
}

TEST_F(MasterBook, WildcardFollowsAnyReply) {
  Insert({"e4 * Nf3!!"});
  for (Move reply : {e7e5, c7c5, EncodeMove(G8, F6, Knight, 0, 0)}) {
    Score({e2e4, reply});
    EXPECT_EQ(30000000, ScoreOf(G1, F3));
  }
  Score({d2d4, d7d5});
  EXPECT_EQ(7, ScoreOf(G1, F3));
}

TEST_F(MasterBook, CastlingWithLettersMatchesAndWithDigitsNever) {
  Insert({"e4 e5 Nf3 Nc6 Bc4 Bc5 O-O!", "e4 e5 Nf3 Nc6 Bc4 Bc5 0-0!?"});
  const std::vector<Move> game = {e2e4, e7e5, g1f3, b8c6, f1c4, f8c5};
  EXPECT_NE(std::string::npos, Score(game).find("[\nKg1! ]\n"));
  EXPECT_EQ(20000000, ScoreOf(E1, G1));

  MasterMove moves[MaxMasterLineMoves];
  ASSERT_EQ(2, ParseMasterLine("0-0-0 o-o-O", moves));
  EXPECT_TRUE(Same(moves[0], M(Pawn, C1)));
  EXPECT_TRUE(Same(moves[1], M(King, C8)));
}

TEST_F(MasterBook, SameMoveWithAnotherMarkIsAnotherNodeAndTheLaterWins) {
  Insert({"d4 d5 c4?", "d4 d5 c4"});
  EXPECT_EQ(4, CountMasterNodes());
  EXPECT_NE(std::string::npos, Score({d2d4, d7d5}).find("[\nc4? ]\n"));
  EXPECT_EQ(-20000000, ScoreOf(C2, C4));

  ClearMasterBook();
  Insert({"d4 d5 c4!", "d4 d5 c4?", "d4 d5 c4!"});
  EXPECT_EQ(4, CountMasterNodes());
  EXPECT_NE(std::string::npos, Score({d2d4, d7d5}).find("[\nc4! c4? ]\n"));
  EXPECT_EQ(-20000000, ScoreOf(C2, C4));
}

TEST_F(MasterBook, LineSyntax) {
  MasterMove m[MaxMasterLineMoves];
  testing::internal::CaptureStdout();
  EXPECT_EQ(0, ParseMasterLine("e4", m));  // too short
  EXPECT_EQ(0, ParseMasterLine("e4 e5 [Event", m));
  EXPECT_EQ(0, ParseMasterLine("e4 e5 @", m));
  EXPECT_EQ(0, ParseMasterLine("e4 e5 ; c5", m));
  EXPECT_EQ(0, ParseMasterLine("1.\n", m));
  EXPECT_EQ(1, ParseMasterLine("e4\n", m));
  ASSERT_EQ(7, ParseMasterLine("1.\tNbd2+!? R1xe2?! exd5 bxa1n e8=Q!!!?! Kf8?? Nf3+?", m));
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  EXPECT_TRUE(Same(m[0], M(Knight, D2, 1, 0, 2)));
  EXPECT_TRUE(Same(m[1], M(Rook, E2, -1, 0, 0, 1)));
  EXPECT_TRUE(Same(m[2], M(Pawn, D5, 0, 0, 5)));
  EXPECT_TRUE(Same(m[3], M(Pawn, A1, 0, Knight, 2)));
  EXPECT_TRUE(Same(m[4], M(Pawn, E8, 3, Queen)));
  EXPECT_TRUE(Same(m[5], M(King, F8, -3)));
  EXPECT_TRUE(Same(m[6], M(Knight, F3, -2)));

  std::string stars;
  for (int i = 0; i < 511; i++) stars += "* ";
  EXPECT_EQ(MaxMasterLineMoves, ParseMasterLine(stars.c_str(), m));
  EXPECT_TRUE(Same(m[499], M(AnyMove, 0)));
}

TEST_F(MasterBook, EachFaultIsReportedAndTheLineDropped) {
  const std::vector<std::pair<const char*, int>> faults = {
      {"e4 e5 O-X", 400}, {"e4 e5 Ob5", 400}, {"e4 e5 Nzxe5", 417}, {"e4 e5 Nze5", 426},
      {"e4 e5 Ni3", 434}, {"e4 e5 Nf9", 434}, {"e4 e5 Nx", 434},     {"zxe4 e5", 447},
      {"i4 e5", 453},     {"e4 e5 2. Nf3", 453}, {"e4 e5 Nf3#", 453}, {"e9 e5", 454},
      {"e4 d5 e8", 477},  {"e4 d5 e8=K", 477}, {"e4 d5 e1=", 477},
  };
  for (const auto& [line, error] : faults) {
    MasterMove m[MaxMasterLineMoves];
    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, ParseMasterLine((std::string(line) + "\r\n").c_str(), m)) << line;
    EXPECT_EQ(std::string("Error parsing the string ") + line + " in line " + std::to_string(error) + "\n",
              testing::internal::GetCapturedStdout());
  }
  WriteFile("learn.txt", "e4 e5 Nzxe5\nd4 d5\n");
  EXPECT_EQ("(Re)building learn.bin from learn.txt\nError parsing the string e4 e5 Nzxe5 in line 417\n2 nodes\n",
            Load());
}

// Only the first 1,023 characters of a line count; the rest is not a line of its own.
TEST_F(MasterBook, OverlongLineIsCut) {
  std::string line = "d4 ";
  for (int i = 0; i < 70; i++) line += "Nf3 Nf6 Ng1 Ng8 ";
  WriteFile("learn.txt", line + "\nc4\n");
  EXPECT_EQ("(Re)building learn.bin from learn.txt\n257 nodes\n", Load());
}

TEST_F(MasterBook, BinaryRoundTrip) {
  Insert({"e4 e5", "d4\n"});
  WriteMasterBook("a.bin");
  // Pre-order: a node's sibling comes before its child flag.
  const std::string expected = std::string("\0\0\x1c\x01\0\0", 6) + '\1' + std::string("\0\0\x1b\x01\0\0", 6) +
                               '\0' + '\0' + '\1' + std::string("\0\0\x24\x01\0\0", 6) + '\0' + '\0';
  EXPECT_EQ(expected, ReadFile("a.bin"));

  ClearMasterBook();
  Insert({"e4 e5 Nf3! Nc6 Bb5 a6", "e4 e5 Nf3! Nf6", "e4 c5 Nf3 d6 d4", "e4 c5 Nf3? Nc6", "d4 * c4", "c4 e5 Nc3 Nf6",
          "e4 e5 Nf3 Nc6 Bb5", "Nf3 d5 g3 Nf6 Bg2 e6 O-O Be7 d3 O-O Nbd2 c5 e4 Nc6 Re1"});
  const std::string tree = Dump(&masterRoot);
  const int nodes = CountMasterNodes();
  WriteMasterBook("a.bin");
  testing::internal::CaptureStdout();
  ReadMasterBook("a.bin");
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  EXPECT_EQ(tree, Dump(&masterRoot));
  EXPECT_EQ(nodes, CountMasterNodes());
  WriteMasterBook("b.bin");
  EXPECT_EQ(ReadFile("a.bin"), ReadFile("b.bin"));
  EXPECT_EQ(size_t(nodes) * 8, ReadFile("a.bin").size());
}

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
  EXPECT_EQ(std::string("\0\0\x1b\x01\0\0\0\0", 8), ReadFile("learn.bin"));

  // Without the text even a good binary is left alone.
  WriteFile("learn.bin", threeNodes);
  unlink("learn.txt");
  EXPECT_EQ("(Re)building learn.bin from learn.txt\nCannot open learn.txt ! \n", Load());
  EXPECT_EQ(1, CountMasterNodes());
  EXPECT_EQ(threeNodes, ReadFile("learn.bin"));

  WriteFile("learn.txt", "e4\n");
  testing::internal::CaptureStdout();
  LoadMasterBook("learn.txt", "missing/learn.bin");
  EXPECT_EQ("(Re)building missing/learn.bin from learn.txt\nCannot write missing/learn.bin\n1 nodes\n",
            testing::internal::GetCapturedStdout());
}

TEST_F(MasterBook, DamagedBinaryKeepsWhatWasRead) {
  Insert({"e4 e5 Nf3!"});
  WriteMasterBook("good.bin");
  const std::string good = ReadFile("good.bin");
  ASSERT_EQ(24u, good.size());
  for (size_t length = 0; length < good.size(); length++) {
    WriteFile("cut.bin", good.substr(0, length));
    testing::internal::CaptureStdout();
    ReadMasterBook("cut.bin");
    EXPECT_EQ("Damaged file!\n", testing::internal::GetCapturedStdout()) << length;
    EXPECT_EQ(length < 14 ? 1 : length < 22 ? 2 : 3, CountMasterNodes()) << length;
  }

  // A chain of replies far deeper than any call stack, then one of alternatives longer than the
  // node limit: both are read without recursion and the second is cut at the limit.
  std::string deep;
  for (int i = 0; i < 300000; i++) deep += std::string("\0\0\x1c\x01\0\0", 6) + '\0' + '\1';
  WriteFile("deep.bin", deep);
  testing::internal::CaptureStdout();
  ReadMasterBook("deep.bin");
  EXPECT_EQ("Damaged file!\n", testing::internal::GetCapturedStdout());
  EXPECT_EQ(300000, CountMasterNodes());
  Score({e2e4, e7e5});  // a probe only goes as deep as the game
  WriteMasterBook("deep2.bin");
  EXPECT_EQ(deep.substr(0, deep.size() - 1) + '\0', ReadFile("deep2.bin"));

  std::string wide;
  for (int i = 0; i < MaxMasterNodes + 10; i++) wide += std::string("\0\0\x1c\x01\0\0", 6) + '\1';
  WriteFile("wide.bin", wide);
  testing::internal::CaptureStdout();
  ReadMasterBook("wide.bin");
  EXPECT_EQ("Damaged file!\n", testing::internal::GetCapturedStdout());
  EXPECT_EQ(MaxMasterNodes, CountMasterNodes());

  std::string noise;
  unsigned r = 12345;
  for (int i = 0; i < 100000; i++) noise += char((r = r * 1103515245 + 12345) >> 16);
  WriteFile("noise.bin", noise);
  testing::internal::CaptureStdout();
  ReadMasterBook("noise.bin");
  testing::internal::GetCapturedStdout();
  Score({e2e4, e7e5});
}

TEST_F(MasterBook, NodeTexts) {
  EXPECT_STREQ("* ", MasterMoveText(M(AnyMove, 0, 2)));
  EXPECT_STREQ("wrong piece type ", MasterMoveText(M(7, E4)));
  EXPECT_STREQ("d5 ", MasterMoveText(M(Pawn, D5, 0, 0, 5)));  // the from-file is not shown
  EXPECT_STREQ("Rce2?! ", MasterMoveText(M(Rook, E2, -1, 0, 0, 2)));  // rank 2 shows as "c"
  EXPECT_STREQ("a1=N?? ", MasterMoveText(M(Pawn, A1, -3, Knight)));
  EXPECT_STREQ("Qd1!? ", MasterMoveText(M(Queen, D1, 1)));
  EXPECT_STREQ("e8=R!! ", MasterMoveText(M(Pawn, E8, 3, Rook)));
  EXPECT_STREQ("Bb2=B! ", MasterMoveText(M(Bishop, B2, 2, Bishop)));
}

// The engine's own learn.txt: every line parses, and every move is exactly one legal move of
// the position the line has reached.
TEST_F(MasterBook, ShippedBookIsLegal) {
  std::ifstream in(OSTREL_TEST_DATA "/../../book/learn.txt");
  ASSERT_TRUE(in);
  std::string line;
  int lines = 0;
  while (std::getline(in, line)) {
    MasterMove m[MaxMasterLineMoves];
    testing::internal::CaptureStdout();
    const int n = ParseMasterLine((line + "\n").c_str(), m);
    ASSERT_EQ("", testing::internal::GetCapturedStdout());
    if (n == 0) continue;
    lines++;
    SetInitialPosition();
    for (int i = 0; i < n; i++) {
      Move legal[MaxMoves];
      Move* end = GenerateLegal(legal, i % 2 ? Black : White);
      std::vector<Move> matches;
      for (Move* l = legal; l < end; l++)
        if (MasterMoveMatches(m[i], *l)) matches.push_back(*l);
      ASSERT_EQ(1u, matches.size()) << line << " move " << i + 1;
      SaveUndo(i);
      MakeMove(matches[0], i, i % 2 ? Black : White);
    }
  }
  EXPECT_GE(lines, 15);
  EXPECT_LE(lines, 40);
}

}  // namespace
