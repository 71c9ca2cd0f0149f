// Test entry: the start-up tables and keys are built once, as the engine builds them.
#include <gtest/gtest.h>

#include "board/keys.h"
#include "board/tables.h"
#include "search/pawns.h"

int main(int argc, char** argv) {
  InitTables();
  InitKeys();
  InitPawnTables();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
