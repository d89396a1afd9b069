#include "support/library.h"

#include <regex>

#include "Basic/Memory.h"
#include "Bn/model/SharedAnswers.h"

namespace bravic::testing {

// The answers that failing calls share grow on demand and live until close: made large enough beforehand, they do
// not disturb the count.
static constexpr int LARGEST_SHARED_ANSWER = 1024;

void LibraryTest::SetUp() {
  char message[MESG_LEN_ns];
  env = NewBravicEnviron_bn();
  ASSERT_NE(env, nullptr);
  ASSERT_EQ(InitBravic_bn(env, message), 0) << message;
  SharedOnes(LARGEST_SHARED_ANSWER);
  SharedOneThenZeros(LARGEST_SHARED_ANSWER);
  usedBefore_ = MemoryUsed();
}

void LibraryTest::TearDown() {
  if (!env) return;
  EXPECT_EQ(Reports(), "") << "left unread by the test";
  EXPECT_EQ(MemoryUsed(), usedBefore_) << "bytes in use before and after the test";
  char message[MESG_LEN_ns];
  EXPECT_EQ(CloseBravic_bn(env, message), 0) << message;
}

std::string LibraryTest::Reports(int danger) {
  std::string all;
  for (report_ns report = GetError_ns(env, danger, nullptr); report; report = GetError_ns(env, danger, report)) {
    all += std::to_string(ErrorDanger_ns(report)) + " " + std::to_string(ErrorNumber_ns(report)) + " " +
           ErrorMessage_ns(report) + "\n";
  }
  ClearErrors_ns(env, 6);
  return all;
}

std::string LibraryTest::Gist(int danger) {
  return GistOf(Reports(danger));
}

std::string GistOf(const std::string& reports) {
  static const std::regex tokens(
      R"([A-Za-z]+'[a-z]+|'[^']*'|`[^`]*`|\[[^\]]*\]|-?\d[\w.+-]*|\w+_(?:bn|ns)\b|[A-Z_]{3,}\b|\w+|\n)");
  static const std::regex kept(R"((['`])(.*)\1|(\[.*|-?\d.*|\w+_[bn][ns]|[A-Z_]{3,}))");
  std::string gist;
  std::smatch parts;
  for (std::sregex_iterator at(reports.begin(), reports.end(), tokens), end; at != end; ++at) {
    const std::string token = at->str();
    if (token == "\n") {
      gist += ";";
    } else if (std::regex_match(token, parts, kept)) {
      gist += (gist.empty() ? "" : " ") + parts.str(2) + parts.str(3);
    }
  }
  if (gist.ends_with(';')) gist.pop_back();
  return gist;
}

}  // namespace bravic::testing
