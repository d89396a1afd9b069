// Symbol tables, arrays, sorting, typed objects, range checks of fields.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Basic/SymbolTable.h"
#include "Basic/TypedObject.h"
#include "Basic/uncalled/Arrays.h"
#include "Basic/uncalled/FieldChecks.h"
#include "support/library.h"
#include "support/random.h"

namespace bravic::testing {
namespace {

using ::testing::HasSubstr;
using SymbolTableTest = LibraryTest;

struct Named {
  explicit Named(std::string name) : text(std::move(name)) {}
  Named(const Named&) = delete;
  const std::string text;
  const char* const name = text.c_str();
};

TEST_F(SymbolTableTest, FindsWhatIsInItThroughAnySequence) {
  Random random(8);
  std::deque<Named> records;
  for (int i = 0; i < 400; ++i)
    records.emplace_back("n" + std::to_string(random.Below(100000)) + "_" + std::to_string(i));
  SymbolTable<Named> table;
  std::set<const Named*> known;
  EXPECT_FALSE(table.Remove(&records[0]));
  for (int step = 0; step < 6000; ++step) {
    Named& record = records[static_cast<std::size_t>(random.Below(400))];
    if (!random.Chance(step < 3000 ? 0.6 : 0.4)) {
      EXPECT_EQ(table.Remove(&record), known.erase(&record) > 0);
    } else if (known.insert(&record).second) {
      table.Enter(&record);
    }
    ASSERT_EQ(table.Size(), static_cast<int>(known.size()));
    if (step % 50) continue;
    for (Named& each : records) {
      ASSERT_EQ(table.Find(std::string(each.text).c_str()), known.contains(&each) ? &each : nullptr)
          << each.text << " at step " << step;
    }
  }
  Named impostor((*known.begin())->text);
  EXPECT_FALSE(table.Remove(&impostor)) << "another record of the name";
  table.Enter(&impostor);
  EXPECT_THAT(Reports(), HasSubstr("(nn != -1)"));
  EXPECT_EQ(table.Find(nullptr), nullptr);
}

using ArraysTest = LibraryTest;

TEST_F(ArraysTest, SearchesFindTheLastNotAbove) {
  Random random(4);
  for (int round = 0; round < 2000; ++round) {
    std::vector<int> array(static_cast<std::size_t>(random.Below(20)));
    for (int& entry : array) entry = random.Below(30);
    std::sort(array.begin(), array.end());
    const int length = static_cast<int>(array.size()), x = random.Between(-1, 30);
    const std::vector<double> up(array.begin(), array.end());
    std::vector<double> down(up.rbegin(), up.rend());
    const int above = static_cast<int>(std::upper_bound(array.begin(), array.end(), x) - array.begin());
    const int found = SearchSorted(array.data(), length, x);
    EXPECT_EQ(SearchSorted(up.data(), length, static_cast<double>(x)), found);
    if (above && array[static_cast<std::size_t>(above) - 1] == x) {
      ASSERT_GE(found, 0);
      EXPECT_EQ(array[static_cast<std::size_t>(found)], x);
    } else {
      EXPECT_EQ(found, above - 1);
      const auto notBelow = std::count_if(down.begin(), down.end(), [=](double y) { return y >= x; });
      EXPECT_EQ(SearchSortedDown(down.data(), length, x), notBelow - 1);
    }
    if (!length) continue;
    const int nearest = SearchNearest(up.data(), length, x + 0.25);
    for (const double other : up) {
      EXPECT_LE(std::abs(up[static_cast<std::size_t>(nearest)] - (x + 0.25)), std::abs(other - (x + 0.25)));
    }
  }
  const int run[] = {1, 5, 5, 5, 5, 5, 9};
  EXPECT_EQ(SearchSorted(run, 7, 5), 1);
  const float reals[] = {0.5f, 1.5f};
  EXPECT_EQ(SearchSorted(reals, 2, 1.0f), 0);
  const int unsorted[] = {5, 9, 1, 7};
  SearchSorted(unsorted, 4, 6);
  EXPECT_EQ(SearchNearest(nullptr, 0, 1), -1);
  EXPECT_THAT(Reports(), HasSubstr("(arrsize >= 1)"));
}

template <std::size_t Size>
struct Element {
  unsigned char key;
  unsigned char rest[Size - 1];
};

template <std::size_t Size>
void ExpectSorted(Random* random) {
  for (int length = 0; length < 120; ++length) {
    const int keys = random->Chance(0.3) ? 3 : 250;
    std::vector<Element<Size>> array(static_cast<std::size_t>(length));
    std::map<int, int> before, after;
    for (auto& element : array) {
      element.key = static_cast<unsigned char>(random->Below(keys));
      std::fill(std::begin(element.rest), std::end(element.rest), element.key);
      ++before[element.key];
    }
    if (random->Chance(0.2)) std::sort(array.begin(), array.end(), [](auto& a, auto& b) { return a.key > b.key; });
    Sort(array.data(), length, Size, [](const void* a, const void* b) {
      return static_cast<const Element<Size>*>(a)->key - static_cast<const Element<Size>*>(b)->key;
    });
    for (std::size_t i = 0; i < array.size(); ++i) {
      ASSERT_LE(array[i ? i - 1 : 0].key, array[i].key) << Size << " bytes, length " << length;
      ASSERT_EQ(array[i].rest[Size - 2], array[i].key) << "torn element";
      ++after[array[i].key];
    }
    ASSERT_EQ(before, after);
  }
}

TEST_F(ArraysTest, SortsElementsOfAnySize) {
  Random random(6);
  for (int round = 0; round < 5; ++round) {
    ExpectSorted<2>(&random);
    ExpectSorted<4>(&random);
    ExpectSorted<8>(&random);
    ExpectSorted<13>(&random);
  }
  Sort(nullptr, 3, 4, [](const void*, const void*) { return 0; });
  EXPECT_THAT(Reports(), HasSubstr("((arr && (arr != NADDR)) || len == 0)"));
}

TEST_F(ArraysTest, AppendsGrowTheirRoomByTheirPolicy) {
  int *exact = nullptr, *by32 = nullptr, *chunked = nullptr;
  int lengths[3] = {};
  for (int i = 0; i < 70; ++i) {
    AppendExact(&exact, &lengths[0], i);
    AppendBy32(&by32, &lengths[1], i);
    AppendIfAbsent(by32, &lengths[1], i / 2);
    AppendChunked(&chunked, &lengths[2], i);
    ASSERT_EQ(BlockSize(exact), static_cast<std::size_t>(i + 1) * sizeof(int));
    ASSERT_EQ(BlockSize(by32), static_cast<std::size_t>(i / 32 * 32 + 32) * sizeof(int));
    ASSERT_EQ(BlockSize(chunked), BlockSize(by32));
  }
  for (int i = 0; i < 70; ++i) ASSERT_EQ(exact[i] + by32[i] + chunked[i], 3 * i);
  AppendIfAbsent(by32, &lengths[1], 70);
  EXPECT_EQ(lengths[1], 71);
  EXPECT_EQ(by32[70], 70);
  for (int* array : {exact, by32, chunked}) Free(array);
}

TEST_F(ArraysTest, RanksAndMapsKeepTheirOrder) {
  const auto tens = [](const void* p) { return *static_cast<const int*>(p) / 10; };
  int elements[] = {20, 1, 22, 13, 4, 25};
  std::vector<void*> source, sorted(6);
  for (int& element : elements) source.push_back(&element);
  RankSort(source.data(), 6, sorted.data(), tens, 3);
  std::vector<int> order;
  for (void* element : sorted) order.push_back(*static_cast<int*>(element));
  EXPECT_EQ(order, (std::vector<int>{1, 4, 13, 20, 22, 25}));
  const int from[] = {1, 2}, to[] = {10, 1};
  const ValueMap map{from, to, 2};
  EXPECT_EQ(MapForward(&map, 2), 1);
  EXPECT_EQ(MapBackward(&map, 1), 2);
  EXPECT_EQ(MapForward(&map, 7), 7);
  EXPECT_EQ(MapBackward(nullptr, 7), 7);
}

using TypesTest = LibraryTest;

TEST_F(TypesTest, TablesAnswerByTag) {
  const std::pair<TagWord, const char*> names[] = {{14, "???"}, {48, "bnode"}, {0x1000 | 10, "double"}, {900, "???"}};
  for (const auto& [tag, name] : names) EXPECT_STREQ(TypeName(tag), name);
  EXPECT_EQ(TypeDataSize(16), 16u);
  EXPECT_EQ(TypeDataSize(0x1000 | 16), 4u);
  EXPECT_EQ(TypeDataSize(0), 0u);
  EXPECT_THAT(Reports(), HasSubstr("(typ && TYPEBITS != STRING_TYPE)"));
  struct {
    TagWord tag;
    void* second;
  } object = {12, &object};
  EXPECT_EQ(StoredSize(&object), 4u) << "a boxed char";
  EXPECT_EQ(ObjectData(&object), &object.second);
  object.tag = 5;
  EXPECT_EQ(StoredSize(&object), 4u) << "a short";
  for (const TagWord tag : {TagWord{0x1000 | 12}, TagWord{CONSOLE_TAG}}) {
    object.tag = tag;
    EXPECT_EQ(ObjectData(&object), &object) << "where the second word points, or the object itself";
  }
  EXPECT_EQ(ObjectData(nullptr), nullptr);
  void* box = BoxDouble(2.5);
  EXPECT_EQ(*static_cast<double*>(ObjectData(box)), 2.5);
  EXPECT_EQ(StoredSize(box), 8u);
  FreeObject_sy(box);
  FreeObject_sy(nullptr);
  EXPECT_EQ(Gist(), "5 2089 10");
  const TagWord net = BNET_TAG;
  std::memcpy(box, &net, sizeof net);
  SetNetTitle_bn(static_cast<net_bn>(box), "x");
  EXPECT_EQ(Gist(), "5 5143 SetNetTitle_bn net_bn") << "too small for a net";
  Free(box);
  FreeObject_sy(Fail(NULL_NODE).release());
  FreeObject_sy(FileNamed_ns("x", env));
  report_ns first = ReportError_ns(env, 1, 5, "first");
  ReportError_ns(env, 2, 4, "second");
  FreeObject_sy(first);
  EXPECT_EQ(Reports(), "4 2 ReportError_ns: Second\n");
}

using FieldsTest = LibraryTest;

TEST_F(FieldsTest, FaultsAreReportedAndPatchedOnlyInRepair) {
  for (const bool repair : {false, true}) {
    const FieldOwner owner{"node", "A", repair};
    int low = 0, high = 9, single = 3, good = 4;
    double real = 2.5;
    unsigned char flag = 2;
    signed char narrow = -7;
    short half = 300;
    int whole = 70000;
    IntPoint point{-1, 9};
    EXPECT_TRUE(CheckField(owner, &good, {1, 5, 2, -10, FIELD_KIND}));
    EXPECT_FALSE(CheckField(owner, &low, {1, 5, 2, -11, FIELD_KIND}));
    EXPECT_FALSE(CheckField(owner, &high, {1, 5, 2, -12, FIELD_KIND}));
    EXPECT_FALSE(CheckField(owner, &single, {5, 5, 5, -13, FIELD_KIND}));
    EXPECT_FALSE(CheckField(owner, &real, {0, 1.5, 1, -14, FIELD_VALUE}));
    EXPECT_FALSE(CheckField(owner, true, &flag, -15, FIELD_HAS_GUI));
    EXPECT_FALSE(CheckEnumField(owner, &narrow, 1, {0, 6, 6, -16, FIELD_CHANCE}));
    EXPECT_FALSE(CheckEnumField(owner, &half, 2, {0, 6, 6, -18, FIELD_CHANCE}));
    EXPECT_FALSE(CheckEnumField(owner, &whole, 4, {0, 6, 5, -19, 99, "%s of %s %s is %d, not up to %d"}));
    EXPECT_TRUE(CheckEnumField(owner, &good, 4, {0, 6, 6, -20, FIELD_CHANCE}));
    EXPECT_FALSE(CheckField(owner, &point, {{0, 0}, {5, 5}, {1, 2}, -17, FIELD_CENTER}));
    EXPECT_EQ(NewestRecord(env)->fixStatus, repair ? PATCHED : STILL_REMAINS);
    EXPECT_EQ(low, repair ? 2 : 0);
    EXPECT_EQ(real, repair ? 1 : 2.5);
    EXPECT_EQ(flag, repair ? 1 : 2);
    EXPECT_EQ(narrow, repair ? 6 : -7);
    EXPECT_EQ(half, repair ? 6 : 300);
    EXPECT_EQ(whole, repair ? 5 : 70000);
    EXPECT_EQ(point.y, repair ? 2 : 9);
    EXPECT_EQ(Gist(),
              "5 11 kind A 0 1; 5 12 kind A 9 5; 5 13 kind A 3 5; 5 14 value A 2.5 1.5; 5 15 A HasGUI 2; "
              "5 16 chance A -7 0; 5 18 chance A 300 6; 5 19 70000 6; 5 17 center A -1 0; 5 17 center A 9 5");
  }
}

}  // namespace
}  // namespace bravic::testing
