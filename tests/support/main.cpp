#include <gtest/gtest.h>

#include "tests/support/ProcessCase.h"

int main(int argc, char** argv) {
  const int caseExit = Ferrolink::Tests::RunRequestedCase(argc, argv);
  if (caseExit >= 0) {
    return caseExit;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
