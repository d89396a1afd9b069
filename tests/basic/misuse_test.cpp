// Calls that break what a function of the foundation asks of its callers: each is reported once, as a failed check of
// that text, and answered with nothing done.
#include <numeric>

#include "Basic/InputChannel.h"
#include "Basic/Memory.h"
#include "Basic/Random.h"
#include "Basic/Text.h"
#include "Basic/TypedObject.h"
#include "Basic/uncalled/Arrays.h"
#include "Basic/uncalled/FieldChecks.h"
#include "Basic/uncalled/RandomDraws.h"
#include "support/library.h"

namespace bravic::testing {
namespace {

using MisuseTest = LibraryTest;

int CompareBytes(const void* a, const void* b) {
  return *static_cast<const char*>(a) - *static_cast<const char*>(b);
}

int RankOf(const void*) {
  return 0;
}

TEST_F(MisuseTest, FailedChecksAreReportedAndNothingIsDone) {
  char text[] = "dcba", *const odd = static_cast<char*>(UndefPtr()), *const none = static_cast<char*>(Naddr());
  char* names[] = {text};
  void* pointers[] = {text, text + 1};
  int numbers[] = {3, 1}, length = 2, wide = 9;
  int* noArray = nullptr;
  InputChannel in;
  in.OpenString("ab");
  const FieldOwner owner{"node", "A", true};
  const std::pair<std::function<bool()>, const char*> calls[] = {
      {[&] { return CopyText(nullptr, text, 2) == nullptr; }, "deststr"},
      {[&] { return CopyText(text, nullptr, 2) == text; }, "srcstr"},
      {[&] { return CopyText(text, text, 2) == text; }, "deststr != srcstr"},
      {[&] { return DupText(odd) == nullptr; }, "str != NADDR && str != UNDEF_PTR"},
      {[&] { return DupText(none) == nullptr; }, "str != NADDR && str != UNDEF_PTR"},
      {[&] { return TryDupText(odd) == nullptr; }, "str != NADDR && str != UNDEF_PTR"},
      {[&] { return TryDupText(none) == nullptr; }, "str != NADDR && str != UNDEF_PTR"},
      {[&] { return CompareTextNoCase(nullptr, text, 2) == 0; }, "str1"},
      {[&] { return CompareTextNoCase(text, nullptr, 2) == 0; }, "str2"},
      {[&] { return CheckNameList(names, 1, 0) == 0; }, "1 <= hownull && hownull <= 4"},
      {[&] { return CheckNameList(names, 1, 5) == 0; }, "1 <= hownull && hownull <= 4"},
      {[&] { return BlockSize(odd) == 0; }, "mp != UNDEF_PTR"},
      {[&] { return Free(odd), true; }, "mp != UNDEF_PTR"},
      {[&] { return Resize(text, 8) == text; }, "IsLiveBlock(mp)"},
      {[&] { return TryResize(text, 8) == text; }, "IsLiveBlock(mp)"},
      {[&] { return in.SetPosition(-1) != nullptr; }, "*posn >= 0"},
      {[&] { return !in.Find(""); }, "!text.empty() && !IsSpace(text[0])"},
      {[&] { return !in.Find(" b"); }, "!text.empty() && !IsSpace(text[0])"},
      {[&] { return !in.Find("//b"); }, "!OpensComment(text.data(), text.data() + text.size())"},
      {[&] { return RegisterType(0, "none", 4, nullptr), true; }, "tag > 0 && tag < NUM_TAGS"},
      {[&] { return RegisterType(99999, "none", 4, nullptr), true; }, "tag > 0 && tag < NUM_TAGS"},
      {[&] { return AppendExact(&noArray, &length, 7), !noArray && length == 2; }, "*arrvar || *lenvar==0"},
      {[&] { return AppendChunked(&noArray, &length, 7), !noArray && length == 2; }, "*arrvar || *lenvar==0"},
      {[&] { return AppendIfAbsent(noArray, &length, 7), length == 2; }, "arr || *lenvar==0"},
      {[&] { return Sort(Naddr(), 2, 1, CompareBytes), true; }, "(arr && (arr != NADDR)) || len == 0"},
      {[&] { return Sort(text, -1, 1, CompareBytes), true; }, "len >= 0"},
      {[&] { return Sort(text, 4, 0, CompareBytes), true; }, "elsize > 0"},
      {[&] { return Sort(text, 4, 1, nullptr), true; }, "test"},
      {[&] { return RankSort(pointers, 2, pointers, RankOf, 0), true; }, "(void **)sarr != (void **)darr || len == 0"},
      {[&] { return RankSort(pointers, 2, nullptr, RankOf, -1), true; }, "maxrank >= 0"},
      {[&] { return RankSort(pointers, 2, nullptr, nullptr, 0), true; }, "rank"},
      {[&] { return RandomSubset(numbers, 2, -1), true; }, "0 <= subsetsize && subsetsize <= len"},
      {[&] { return RandomSubset(pointers, 2, 3), true; }, "0 <= subsetsize && subsetsize <= len"},
      {[&] { return RandomPattern(2, -1, text) == nullptr; }, "0 <= numones && numones <= len"},
      {[&] { return RandomPattern(2, 3, text) == nullptr; }, "0 <= numones && numones <= len"},
      {[&] {
         return CheckField(owner, &wide, {5, 1, 2, -10, FIELD_KIND}) && wide == 9;
       },
       "max >= min"},
      {[&] {
         return !CheckEnumField(owner, &wide, 3, {0, 6, 6, -16, FIELD_CHANCE}) && wide == 9;
       },
       "Unsupported checkenum size 3"},
      {[&] { return Rephrase(nullptr, OUT_OF_MEMORY, 3L) == nullptr; }, "err"},
  };
  for (const auto& [call, said] : calls) {
    EXPECT_TRUE(call()) << said;
    EXPECT_THAT(Reports(0), ::testing::EndsWith(std::string(" (") + said + ").\n"));
  }
  EXPECT_STREQ(text, "dcba");
  EXPECT_EQ(numbers[0], 3);
  EXPECT_EQ(pointers[0], text);
}

}  // namespace
}  // namespace bravic::testing
