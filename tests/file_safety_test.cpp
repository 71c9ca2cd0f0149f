// Files that never lose data: a book build that cannot finish (no permission, no room, a cut temporary file) says why
// and leaves the book it found in place, and learn.bin that cannot be written costs nothing but the saving. Root may
// write anywhere, so "cannot be written" is made with a directory standing where the file would go.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "book/book.h"
#include "book/builder.h"
#include "book/master.h"
#include "tests/capture.h"
#include "tests/scratch_dir.h"

namespace {
// Temporary records for `count` moves, each key once, all won by White.
std::string TempRecords(int count) {
  std::string bytes;
  for (int i = 0; i < count; i++) {
    std::string record(16, '\0');
    for (int b = 0; b < 8; b++) record[b] = char(uint64_t(i + 1) * 0x9E3779B97F4A7C15ULL >> (8 * b));
    record[8] = 1;
    bytes += record;
  }
  return bytes;
}

std::string Build() {
  return Captured([] { BuildBook("temp.dat", "book.bin", "index.dat"); });
}

class FileSafety : public testing::Test {
 protected:
  ScratchDirectory scratch;
  void SetUp() override { ASSERT_TRUE(scratch.Enter()); }
  void TearDown() override { ASSERT_TRUE(scratch.Leave()); }
  // A good book of 10 records from a kept temporary file, as the failing build finds it.
  void BuildGoodBook() {
    WriteFile("temp.dat", TempRecords(10));
    Build();
    goodBook = ReadFile("book.bin");
    goodIndex = ReadFile("index.dat");
    ASSERT_EQ(goodBook.size(), 10 * sizeof(BookRecord));
    WriteFile("temp.dat", TempRecords(50));
  }
  std::string goodBook, goodIndex;
};

TEST_F(FileSafety, BookThatCannotBeWrittenLeavesTheOldOne) {
  const struct {
    const char* blocked;
    const char* other;  // the second part file, which must not be left behind
    const char* message;
  } cases[] = {
    {"index.dat.part", "book.bin.part", "Cannot open index for opening book index.dat\n"},
    {"book.bin.part", "index.dat.part", "Cannot open opening book book.bin for writing\n"},
  };
  for (const auto& c : cases) {
    BuildGoodBook();
    ASSERT_EQ(mkdir(c.blocked, 0700), 0);
    EXPECT_NE(Build().find(c.message), std::string::npos) << c.blocked;
    EXPECT_EQ(ReadFile("book.bin"), goodBook) << c.blocked;
    EXPECT_EQ(ReadFile("index.dat"), goodIndex) << c.blocked;
    EXPECT_EQ(ReadFile("temp.dat"), TempRecords(50)) << c.blocked;
    EXPECT_NE(access(c.other, F_OK), 0) << c.blocked;
    rmdir(c.blocked);
  }
}

TEST_F(FileSafety, FullDiskLeavesTheOldBook) {
  BuildGoodBook();
  // A file-size limit below the index's 512 KB fails the write as a full disk would; the signal
  // such a write raises is ignored, as on a disk that is merely full no signal comes.
  rlimit saved;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
  rlimit small = saved;
  small.rlim_cur = 100000;
  void (*previous)(int) = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const std::string output = Build();
  setrlimit(RLIMIT_FSIZE, &saved);
  signal(SIGXFSZ, previous);
  EXPECT_NE(output.find("Cannot write index for opening book index.dat (File too large)\n"),
            std::string::npos)
      << output;
  EXPECT_EQ(ReadFile("book.bin"), goodBook);
  EXPECT_EQ(ReadFile("index.dat"), goodIndex);
  EXPECT_NE(access("index.dat.part", F_OK), 0);
}

TEST_F(FileSafety, CutTemporaryFileSaysSoAndBuildsFromWholeRecords) {
  WriteFile("temp.dat", TempRecords(3) + std::string(7, 'x'));
  EXPECT_NE(Build().find("Temp file temp.dat ends in 7 bytes of a cut record, left out\n"),
            std::string::npos);
  EXPECT_EQ(ReadFile("book.bin").size(), 3 * sizeof(BookRecord));
  EXPECT_EQ(ReadFile("temp.dat").size(), 3 * 16 + 7u);
}

TEST_F(FileSafety, UnwritableLearnBinKeepsTheBookInMemoryAndLearnTxt) {
  const std::string text = "1.e4 e5 Nf3! Nc6\n1.d4 d5 c4?\n";
  WriteFile("learn.txt", text);
  ASSERT_EQ(mkdir("learn.bin.part", 0700), 0);
  EXPECT_EQ(Captured([] { LoadMasterBook("learn.txt", "learn.bin"); }),
            "(Re)building learn.bin from learn.txt\nCannot write learn.bin\n7 nodes\n");
  EXPECT_EQ(CountMasterNodes(), 7);
  EXPECT_NE(access("learn.bin", F_OK), 0);
  EXPECT_EQ(ReadFile("learn.txt"), text);
  ClearMasterBook();
  rmdir("learn.bin.part");
}
}  // namespace
