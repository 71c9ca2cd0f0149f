// The one way tests take what the engine prints: run the code, return its standard output. Captures cannot nest, and
// a failed assertion inside one would vanish with the text, so wrap single calls rather than stretches of checks.
#pragma once

#include <gtest/gtest.h>

#include <string>

template <class Code>
std::string Captured(Code&& code) {
  testing::internal::CaptureStdout();
  code();
  return testing::internal::GetCapturedStdout();
}
