// The books working together as the engine uses them: a book built by the engine's own two steps,
// the master book loaded beside it, and the probe at the start of a search.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "board/fen.h"
#include "board/game.h"
#include "board/notation.h"
#include "book/book.h"
#include "book/builder.h"
#include "book/master.h"
#include "search/control.h"
#include "search/reset.h"
#include "search/think.h"
#include "tests/scratch_dir.h"

namespace {

class BooksTogether : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(scratch.Enter());
    engineFlags = EngineFlags{};
    gameClock = GameClock{};
    // Three White wins with 1.e4 e5 2.Nf3 and two with 1.e4 e5 2.Bc4: the statistics prefer Nf3.
    std::ofstream("games.pgn") << "[Result \"1-0\"]\n1. e4 e5 2. Nf3 Nc6 1-0\n\n"
                               << "[Result \"1-0\"]\n1. e4 e5 2. Nf3 Nf6 1-0\n\n"
                               << "[Result \"1-0\"]\n1. e4 e5 2. Nf3 d6 1-0\n\n"
                               << "[Result \"1-0\"]\n1. e4 e5 2. Bc4 Nf6 1-0\n\n"
                               << "[Result \"1-0\"]\n1. e4 e5 2. Bc4 Bc5 1-0\n";
    testing::internal::CaptureStdout();
    PgnToTemp("games.pgn", "temp.dat", 12);
    BuildBook("temp.dat", "book.bin", "index.dat");
    testing::internal::GetCapturedStdout();
  }
  void TearDown() override {
    if (openingBook.bookFile) fclose(openingBook.bookFile);
    openingBook.bookFile = nullptr;
    ClearMasterBook();
    engineFlags = EngineFlags{};
    ASSERT_TRUE(scratch.Leave());
  }

  // The game 1.e4 e5, then the book's answer for White as the first search would get it.
  static std::string AnswerAfterOneE4E5() {
    testing::internal::CaptureStdout();
    SetInitialPosition();
    ResetForNewPosition();
    NewGameRecord();
    PlayGameMove(E2, E4, 0);
    PlayGameMove(E7, E5, 0);
    engineFlags.analyze = 1;  // the deterministic choice
    engineFlags.bookUse = 1;
    TimeLeft = 100;
    const Move m = Think(White, 60);
    const std::string out = testing::internal::GetCapturedStdout();
    return std::string(CoordinateText(m)) + "|" + out;
  }

  ScratchDirectory scratch;
};

}  // namespace

TEST_F(BooksTogether, GameStatisticsChooseWithoutAMasterLine) {
  std::ofstream("learn.txt") << "d4 d5 c4\n";
  testing::internal::CaptureStdout();
  OpenBook("book.bin", "index.dat");
  LoadMasterBook("learn.txt", "learn.bin");
  testing::internal::GetCapturedStdout();
  const std::string answer = AnswerAfterOneE4E5();
  EXPECT_EQ(answer.substr(0, 5), "g1f3|");
  EXPECT_NE(answer.find("1.\t0\t0\t0\t0 Book moves : Nf3 (3) "), std::string::npos) << answer;
  EXPECT_EQ(answer.find("epd diagram"), answer.rfind("epd diagram"));  // no search after it
}

TEST_F(BooksTogether, AMarkedMasterMoveOutweighsTheStatistics) {
  std::ofstream("learn.txt") << "e4 e5 Bc4!\n";
  testing::internal::CaptureStdout();
  OpenBook("book.bin", "index.dat");
  LoadMasterBook("learn.txt", "learn.bin");
  testing::internal::GetCapturedStdout();
  const std::string answer = AnswerAfterOneE4E5();
  EXPECT_EQ(answer.substr(0, 5), "f1c4|") << answer;
  EXPECT_NE(answer.find("Moves so far : [ e4 e5 ]"), std::string::npos) << answer;
  EXPECT_NE(answer.find("Bc4 (20000002) "), std::string::npos) << answer;

  // After edit mode the master book keeps silent and the statistics decide again.
  engineFlags.edit = 1;
  testing::internal::CaptureStdout();
  SetInitialPosition();
  NewGameRecord();
  PlayGameMove(E2, E4, 0);
  PlayGameMove(E7, E5, 0);
  engineFlags.analyze = 1;
  const Move m = ProbeBook(White, engineFlags.edit, engineFlags.analyze);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(std::string(CoordinateText(m)), "g1f3");
  EXPECT_EQ(out.find("Score Moves :"), std::string::npos);
}
