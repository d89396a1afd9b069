// A net for calls that are refused, and what every refusal must leave behind.
#pragma once

#include "Basic/Environ.h"
#include "Basic/Memory.h"
#include "support/net_fixture.h"

namespace bravic::testing {

// What a function answers, as text.
inline std::string Say(const char* text) {
  return text;
}
inline std::string Say(double number) {
  return number == undef_dbl_ns ? "undefined" : (std::ostringstream() << number).str();
}
inline std::string Say(int number) {
  return std::to_string(number);
}
inline std::string Say(long number) {
  return std::to_string(number);
}
inline std::string Say(const void* handle) {
  return handle ? "something" : "NULL";
}
inline std::string Say(const probtype* vector) {
  return vector ? Say(double{vector[0]}) : "NULL";
}

class BadCallTest : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    other.reset(NewNet_bn("Other", env));
    cause = AddNode(net, "cause", {"yes", "no"}, {}, {0.25f, 0.75f});
    node = AddNode(net, "node", {"low", "mid", "high"}, {"cause"}, {0.5f, 0.25f, 0.25f, 0, 0.5f, 0.5f});
    orphan = AddNode(net, "orphan", {"on", "off"}, {});
    node_bn lost = AddNode(net, "lost", {"a", "b"});
    AddLink_bn(lost, orphan);
    DeleteNode_bn(lost);  // kept for undo
    stub = NthNode_bn(GetNodeParents_bn(orphan), 0);
    real = New("real", 0);
    deleted = New("gone");
    DeleteNode_bn(deleted);
    foreignNode = NewNode_bn("foreign", 2, other.get());
    file = FileNamed_ns(directory.Path("file.cas").c_str(), env);
    CompileNet_bn(net.get());  // refused: the orphan
    Reports();
    look = Written(net);
    parents = GetNodeParents_bn(node);
  }
  void TearDown() override {
    ArgumentChecking_ns(25, env);
    FreeFileSpec_ns(file);
    other.reset();
    NetTest::TearDown();
  }

  // Runs the call; it must report just that, answer that, and leave no trace.
  void Expect(const std::function<std::string()>& call, const std::string& gist, const std::string& answer) {
    SCOPED_TRACE(gist);
    const std::size_t used = MemoryUsed();
    EXPECT_EQ(call(), answer);
    EXPECT_EQ(currentFunction, nullptr);
    currentFunction = nullptr;
    EXPECT_EQ(Gist(1), gist.empty() ? "" : "5 " + gist);
    EXPECT_EQ(MemoryUsed(), used);
  }

  void AtEachLevel(const std::function<void(int level)>& check) {
    for (int level : {24, 25, 26}) {
      ArgumentChecking_ns(level, env);
      check(level);
    }
    ArgumentChecking_ns(25, env);
    EXPECT_EQ(Written(net), look);
  }

  Net other;
  node_bn cause, node, orphan, stub, real, deleted, foreignNode;
  filespec_ns file;
  nodelist_bn parents;
  std::string look;
  long position = FIRST_CASE;
  const probtype row[3] = {0.5f, 0.25f, 0.25f};
  const double levels[4] = {0, 1, 2, 3};
  const statetype states[2] = {0, 0};
};

}  // namespace bravic::testing
