// Test entry: the start-up tables and keys are built once, as the engine builds them.
#include <gtest/gtest.h>

#include "search/startup.h"

int main(int argc, char** argv) {
  InitEngineTables();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
