// A test that runs on a started library: a fresh environment for each test, and the memory in use the same
// afterwards as before.
#pragma once

#include "bravic.h"
#include "support/test.h"

namespace bravic::testing {

class LibraryTest : public ::testing::Test {
 protected:
  void SetUp() override;
  // Whatever the test made must be freed by now; reports left behind fail the test and are printed.
  void TearDown() override;

  // Every report of at least that danger, oldest first, one per line as "danger number text", and clears all.
  std::string Reports(int danger = 3);
  // The same joined by "; ", of each text only what is computed: the names of functions, what stands between quotes
  // or brackets, words in capitals and numbers.
  std::string Gist(int danger = 3);

  environ_ns env = nullptr;

 private:
  std::size_t usedBefore_ = 0;
};

std::string GistOf(const std::string& reports);

}  // namespace bravic::testing
