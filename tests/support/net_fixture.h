// A test with a net of its own, "Test", and files to write nets to and read them from.
#pragma once

#include "support/files.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {

class NetTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    net.reset(NewNet_bn("Test", env));
  }
  void TearDown() override {
    net.reset();
    LibraryTest::TearDown();
  }

  node_bn New(const char* name, int numstates = 2, std::initializer_list<node_bn> parents = {});
  node_bn At(const char* name) { return Named(net, name); }
  nodelist_bn List(const std::vector<node_bn>& nodes);  // to be freed by the caller
  std::string Written(net_bn which);                    // what WriteNet_bn makes of it, without a file
  std::string Written(const Net& which) { return Written(which.get()); }
  Net ReadFrom(const std::string& path, int options = 0);
  Net Read(const std::string& text, int options = 0);

  TemporaryDirectory directory;
  Net net;
};

std::string Names(const std::vector<node_bn>& nodes);  // with blanks between them
inline std::string Names(nodelist_bn list) {
  return Names(Nodes(list));
}

}  // namespace bravic::testing
