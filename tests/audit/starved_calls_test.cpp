// The n-th request to the heap fails under every function that the changes and questions of allocation_test.cpp leave
// out, learning above all: it answers what it answers with all its memory, or says why not and has changed nothing.

#include <cstring>
#include <span>

#include "audit/starving.h"

namespace bravic::testing {
namespace {

const std::string NET =
    "// ~->[DNET-1]->~\nbnet Weather {\n"
    "node season {kind = NATURE; discrete = TRUE; states = (warm, cold); probs = (0.5, 0.5);};\n"
    "node rain {kind = NATURE; discrete = TRUE; states = (none, some); parents = (season);\n"
    "  probs = ((0.75, 0.25), (0.25, 0.75));};\n"
    "node roof {kind = NATURE; discrete = TRUE; states = (dry, wet); parents = (rain); probs = ((1, 0), (0.5, "
    "0.5));};\n"
    "};\n";
const std::string UNCOMPILED = NET + "\n";
const std::string DECISIONS =
    "// ~->[DNET-1]->~\nbnet Weather {\n"
    "node season {kind = NATURE; discrete = TRUE; states = (warm, cold); probs = (0.5, 0.5);};\n"
    "node umbrella {kind = DECISION; discrete = TRUE; states = (take, leave);};\n"
    "node joy {kind = UTILITY; discrete = FALSE; parents = (umbrella, season); functable = ((1, 5), (9, -6));};\n};\n";
// What each half of the witnesses says of the season no double holds, and the other half takes it back. Rain has so
// many states that each table over it is a request to the heap.
constexpr int WITNESSES = 20, AMOUNTS = 100;
std::string UnlikelyNet() {
  std::string few, much;
  for (int i = 1; i < AMOUNTS; ++i) few += "0.0078125, ", much += (i % 2 == 0 ? "0.00390625, " : "0.01171875, ");
  std::string text =
      "// ~->[DNET-1]->~\nbnet Unlikely {\n"
      "node season {kind = NATURE; discrete = TRUE; states = (warm, cold); probs = (0.25, 0.75);};\n"
      "node rain {kind = NATURE; discrete = TRUE; numstates = 100; parents = (season);\n"
      "  probs = ((" +
      few + "0.2265625), (" + much + "0.22265625));};\n";
  for (int i = 0; i < WITNESSES; ++i)
    text += "node w" + std::to_string(i) +
            " {kind = NATURE; discrete = TRUE; states = (seen, not); parents = (season);\n"
            "  probs = (" +
            (i < WITNESSES / 2 ? "(1e-37, 1), (0.5, 0.5)" : "(0.5, 0.5), (2e-37, 1)") + ");};\n";
  return text + "};\n";
}
const std::string UNLIKELY = UnlikelyNet();
const std::string CASES =
    "// ~->[CASE-1]->~\nIDnum NumCases season rain roof\n"
    "1 2 warm none dry\n2 1 warm some *\n3 4 cold some wet\n4 1 * none dry\n5 3 cold none dry\n";
const std::string REFUSED = "refused";
constexpr long EVERY_REQUEST_TO = 80;  // of later ones fewer and fewer are tried

// Whole numbers below 0 say that a call failed, and of others the one that stands for none.
std::string Said(long number) {
  return number < 0 ? REFUSED : std::to_string(number);
}
std::string Said(double number) {
  return number == undef_dbl_ns ? REFUSED : std::to_string(number);
}

struct FreeList {
  void operator()(nodelist_bn list) const { FreeNodeList_bn(list); }
  void operator()(counts_bn counts) const { FreeCounts_bn(counts); }
};
using Nodelist = std::unique_ptr<nodelist_rec, FreeList>;
using Counts = std::unique_ptr<counts_rec, FreeList>;

struct Call {
  const char* name;
  std::function<std::string()> make;
};

class StarvedCallsTest : public StarvingTest {
 protected:
  void Build(const std::string& text) {
    net = Read(text);
    if (text == NET || text == UNLIKELY) CompileNet_bn(net.get());
    for (int i = 0; i < WITNESSES && text == UNLIKELY; ++i) EnterFinding_bn(Named(net, "w" + std::to_string(i)), 0);
    WriteWhole(path, CASES);
    SeedRandom_ns(3, env);
    Reports(0);
  }
  nodelist_bn All() { return GetNetNodes_bn(net.get()); }
  // What was made, or not; nothing of it is left.
  std::string SaidOf(const Counts& counts) {
    if (!counts) return REFUSED;
    std::vector<double> values(static_cast<std::size_t>(std::max(CountsSize_bn(counts.get()), 0L)));
    if (values.empty() || GetCounts_bn(counts.get(), values.data()) < 0) return REFUSED;
    std::string all;
    for (double value : values) all += std::to_string(value) + " ";
    return all;
  }
  std::string LearnLinks(int method, int missing, bool fromArrays);
  std::vector<Call> CallsOfLearning();
  std::vector<Call> OtherCalls();
  std::vector<Call> CallsOfUnlimitedRange();
  void Try(const std::string& text, const std::vector<Call>& calls);

  const std::string path = directory.Path("cases.cas");
  filespec_ns file = nullptr;
  const std::vector<statetype> cells = {0, 0, 0, 1, 1, 1, 1, 1, UNDEF_STATE, 0, 1, 1, 0, UNDEF_STATE, 0};
};

std::string StarvedCallsTest::LearnLinks(int method, int missing, bool fromArrays) {
  learn_links_bn how = {};
  how.size = sizeof how;
  how.method = method;
  how.missing = missing;
  how.restarts = 1;
  how.numthreads = 2;
  if (method == 4) how.target = At("rain");
  double score = 0;
  const int done = fromArrays ? LearnLinksCases_bn(All(), cells.data(), nullptr, 5, All(), &how, &score)
                              : LearnLinks_bn(file, All(), &how, &score);
  return done < 0 ? REFUSED : std::to_string(score);
}

std::vector<Call> StarvedCallsTest::CallsOfLearning() {
  std::vector<Call> calls = {
      {"CountCases_bn",
       [&] {
         const Counts counts(NewCounts_bn(All()));
         if (!counts || CountCases_bn(counts.get(), All(), cells.data(), nullptr, 5) < 0) return REFUSED;
         return SaidOf(counts);
       }},
      {"ExpectCounts_bn, AddCounts_bn, LearnCounts_bn",
       [&] {
         const Counts counts(NewCounts_bn(All())), more(NewCounts_bn(All()));
         double logarithm;
         if (!counts || !more || ExpectCounts_bn(counts.get(), All(), cells.data(), nullptr, 5, &logarithm, 2) < 0 ||
             AddCounts_bn(more.get(), counts.get()) < 0 || LearnCounts_bn(more.get(), 1) < 0)
           return REFUSED;
         return SaidOf(more);
       }},
      {"LearnTablesEM_bn",
       [&] {
         double logarithm = 0;
         return Said(0L + LearnTablesEM_bn(file, All(), 3, 0, 1, &logarithm)) + (logarithm == 0 ? "" : " done");
       }},
      {"LearnTablesEMCases_bn",
       [&] { return Said(0L + LearnTablesEMCases_bn(All(), cells.data(), nullptr, 5, All(), 3, 0, 1, nullptr)); }},
      {"ScoreLinks_bn", [&] { return Said(ScoreLinks_bn(file, All(), 0, 1)); }},
      {"ScoreLinksCases_bn", [&] { return Said(ScoreLinksCases_bn(All(), cells.data(), nullptr, 5, All(), 1, 1)); }},
      {"FindIntervals_bn",
       [&] {
         const double values[] = {1, 2, 3, 10, 11, 12, 30};
         const int classes[] = {0, 0, 0, 1, 1, 1, 0};
         double bounds[8] = {};
         const long count = FindIntervals_bn(values, classes, 7, 2, 3, bounds);
         return Said(count > 0 ? bounds[1] : undef_dbl_ns);
       }},
      {"NewNetOfCases_bn",
       [&] {
         const Net made(NewNetOfCases_bn(file, "Made", nullptr));
         return made ? std::string("made") : REFUSED;
       }},
  };
  for (int method = 0; method < 5; ++method)
    calls.push_back({"LearnLinks_bn", [=, this] { return LearnLinks(method, 0, false); }});
  calls.push_back({"LearnLinksCases_bn", [this] { return LearnLinks(0, 1, true); }});
  return calls;
}

std::vector<Call> StarvedCallsTest::OtherCalls() {
  return {
      {"NewNet_bn",
       [&] {
         const Net made(NewNet_bn("Made", env));
         return made ? std::string("made") : REFUSED;
       }},
      {"ReadCaseStates_bn",
       [&] {
         std::vector<statetype> states(15);
         double position = 0;
         const long count = ReadCaseStates_bn(file, All(), &position, 5, states.data(), nullptr, nullptr);
         return count == 5 ? std::to_string(states[8]) : REFUSED;
       }},
      {"CaseFileNodes_bn",
       [&] {
         const Nodelist list(CaseFileNodes_bn(file, net.get()));
         return list ? std::to_string(LengthNodeList_bn(list.get())) : REFUSED;
       }},
      {"JunctionTreeReport_bn",
       [&] {
         const std::string report = JunctionTreeReport_bn(net.get());
         return report.empty() || report == "error" ? REFUSED : report;
       }},
      {"GetNetElimOrder_bn",
       [&] {
         const nodelist_bn order = GetNetElimOrder_bn(net.get());
         return order ? std::to_string(LengthNodeList_bn(order)) : REFUSED;
       }},
      {"SetNetText_bn", [&] { return Said(0L + SetNetText_bn(net.get(), "key", "text")); }},
      {"KeepNetOrder_bn", [&] { return Said(0L + KeepNetOrder_bn(net.get())); }},
      {"AreSeparated_bn",
       [&] {
         const Nodelist some(List({At("season")})), others(List({At("roof")})), given(List({At("rain")}));
         if (!some || !others || !given) return REFUSED;
         return Said(0L + AreSeparated_bn(some.get(), others.get(), given.get()));
       }},
      {"CaseLogProbability_bn", [&] { return Said(CaseLogProbability_bn(net.get())); }},
      {"ReportError_ns", [&] { return ReportError_ns(env, 700, 3, "said") ? std::string("said") : REFUSED; }},
      {"GenerateCases_bn", [&] { return Said(0L + GenerateCases_bn(All(), 4, file, 1, 1, 1)); }},
  };
}

// Of the net whose numbers floats and doubles do not hold, given all findings.
std::vector<Call> StarvedCallsTest::CallsOfUnlimitedRange() {
  const auto said = [](bool isDone, std::span<const double> numbers) {
    if (!isDone) return REFUSED;
    std::string all;
    for (double number : numbers) all += std::to_string(number) + " ";
    return all;
  };
  return {
      {"GetNodeBeliefs_bn",
       [=, this] {
         const probtype* belief = GetNodeBeliefs_bn(At("rain"));
         return said(IsBeliefUpdated_bn(At("rain")), std::vector<double>(belief, belief + AMOUNTS));
       }},
      {"JointBeliefs_bn",
       [=, this] {
         const Nodelist both(List({At("rain"), At("season")}));
         std::vector<double> probs(2 * AMOUNTS);
         return said(both && JointBeliefs_bn(both.get(), probs.data()) == 0, probs);
       }},
      {"InformationGains_bn",
       [=, this] {
         const Nodelist others(List({At("season"), At("rain")}));
         std::vector<double> bits(2);
         return said(others && InformationGains_bn(At("season"), others.get(), bits.data()) == 0, bits);
       }},
      {"BeliefSensitivity_bn",
       [=, this] {
         std::vector<double> numbers(4);
         const statetype row[] = {0};
         return said(BeliefSensitivity_bn(At("rain"), 0, At("w3"), row, 0, numbers.data()) == 0, numbers);
       }},
      {"MostProbableStates_bn",
       [=, this] {
         const Nodelist both(List({At("rain"), At("season")}));
         statetype states[2];
         const bool isDone = both && MostProbableStates_bn(both.get(), states, nullptr) == 0;
         return said(isDone, std::vector<double>{double(states[0]), double(states[1])});
       }},
      {"MostProbableConfigs_bn",
       [=, this] {
         std::vector<statetype> states(2 * (2 + WITNESSES));
         const bool isDone = MostProbableConfigs_bn(net.get(), 2, states.data(), nullptr) == 2;
         return said(isDone, std::vector<double>(states.begin(), states.end()));
       }},
      {"BeliefsOfCases_bn",
       [=, this] {
         const std::vector<statetype> states(All() ? std::size_t(LengthNodeList_bn(All())) : 0, 0);
         const Nodelist targets(List({At("rain"), At("season")})), observed(DupNodeList_bn(All()));
         if (!targets || !observed) return REFUSED;
         RemoveNthNode_bn(observed.get(), 0);
         RemoveNthNode_bn(observed.get(), 0);
         std::vector<probtype> beliefs(AMOUNTS + 2, -1.0f);
         double log = 0;
         const long answer =
             BeliefsOfCases_bn(observed.get(), states.data(), 1, targets.get(), beliefs.data(), &log, 1);
         std::vector<double> numbers(beliefs.begin(), beliefs.end());
         numbers.push_back(log);
         return said(answer == 0, numbers);
       }},
      {"ExpectCounts_bn",
       [=, this] {
         const std::vector<statetype> states(WITNESSES, 0);
         const Nodelist nodes(List({At("rain"), At("season")})), observed(DupNodeList_bn(All()));
         if (!nodes || !observed) return REFUSED;
         RemoveNthNode_bn(observed.get(), 0);
         RemoveNthNode_bn(observed.get(), 0);
         const Counts counts(NewCounts_bn(nodes.get()));
         double log;
         if (!counts || ExpectCounts_bn(counts.get(), observed.get(), states.data(), nullptr, 1, &log, 1) < 0)
           return REFUSED;
         return SaidOf(counts);
       }},
  };
}

void StarvedCallsTest::Try(const std::string& text, const std::vector<Call>& calls) {
  for (const Call& call : calls) {
    int numRefused = 0;
    std::string expected, after;
    bool reached = true;
    for (long n = -1; reached; n += 1 + std::max(n, 0L) / EVERY_REQUEST_TO) {
      for (bool away : {false, true}) {
        SCOPED_TRACE(std::string(call.name) + ", request " + std::to_string(n));
        Build(text);
        file = FileNamed_ns(path.c_str(), env);
        const std::string before = Written(net) + ReadWhole(path);
        const std::size_t used = MemoryUsed();
        std::string answer;
        Starve(n, away, [&] { answer = call.make(); });
        reached = n < 0 || failed;
        const std::string reports = Reports(5), look = Written(net) + ReadWhole(path);
        if (n < 0) {
          expected = answer;
          after = look;
          ASSERT_EQ(reports, "");
          ASSERT_EQ(answer.find(REFUSED), answer.npos);
        } else if (answer != expected) {
          ASSERT_NE(answer.find(REFUSED), answer.npos) << answer;
          ASSERT_EQ(reports.find("inconsistent"), reports.npos) << reports;
          ASSERT_NE(reports, "") << "refused, and not said";
          // Of several calls some may have been made.
          if (!std::strchr(call.name, ',') || look != after) ASSERT_EQ(look, before) << reports;
          ++numRefused;
        } else {
          ASSERT_EQ(look, after) << reports;
        }
        // What beliefs are computed with is kept as well.
        if (look == before && text != UNLIKELY) {
          // What stays of a call that changed nothing is what the file keeps for the next one.
          FreeFileSpec_ns(std::exchange(file, nullptr));
          EXPECT_LE(MemoryUsed(), used + 4096);
        }
        FreeFileSpec_ns(file);
      }
    }
    RecordProperty(call.name, numRefused);
  }
  Reports(0);
}

TEST_F(StarvedCallsTest, LearningIsDoneOrRefused) {
  Try(NET, CallsOfLearning());
}

TEST_F(StarvedCallsTest, OthersAreDoneOrRefused) {
  Try(NET, OtherCalls());
}

TEST_F(StarvedCallsTest, NumbersOfUnlimitedRangeAreAnsweredOrRefused) {
  Try(UNLIKELY, CallsOfUnlimitedRange());
}

TEST_F(StarvedCallsTest, EstimatesAreMadeOrRefused) {
  double entries = 0;
  Try(UNCOMPILED, {{"EstimateCompile_bn", [&] {
                      return EstimateCompile_bn(net.get(), &entries, nullptr, nullptr) < 0 ? REFUSED
                                                                                           : std::to_string(entries);
                    }}});
}

TEST_F(StarvedCallsTest, DecisionsAreAnsweredOrRefused) {
  Try(DECISIONS, {
                     {"SolveDecisions_bn, GetExpectedUtility_bn",
                      [&] {
                        return SolveDecisions_bn(net.get(), 1) == undef_dbl_ns ? REFUSED
                                                                               : Said(GetExpectedUtility_bn(net.get()));
                      }},
                     {"ValueOfObserving_bn", [&] { return Said(ValueOfObserving_bn(At("season"), At("umbrella"))); }},
                 });
}

}  // namespace
}  // namespace bravic::testing
