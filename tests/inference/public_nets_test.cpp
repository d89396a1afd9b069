// Public benchmark nets with beliefs computed elsewhere in double precision. The folder is named by BRAVIC_NETS.

#include "support/library.h"
#include "support/nets.h"

#if __has_include(<nlohmann/json.hpp>)
#include <nlohmann/json.hpp>

namespace bravic::testing {
namespace {

using nlohmann::json;

std::filesystem::path Folder() {
  const char* given = std::getenv("BRAVIC_NETS");
  return given ? std::filesystem::path(given) : std::filesystem::path(BRAVIC_SOURCE_DIR) / "../shared/nets";
}

class PublicNets : public LibraryTest {
 protected:
  Net Read(const std::filesystem::path& path) {
    filespec_ns file = FileNamed_ns(path.c_str(), env);
    Net net(ReadNet_bn(file, 0));
    FreeFileSpec_ns(file);
    return net;
  }

  static void ExpectCase(const Net& net, const json& expected) {
    RetractAllFindings_bn(net.get());
    for (const auto& [node, state] : expected["findings"].items()) {
      Observe(net, node.c_str(), state.get<std::string>().c_str());
    }
    double probability = CaseProbability_bn(net.get());
    double logprob = expected["log_probability"];
    if (logprob > -700) {
      EXPECT_NEAR(std::log(probability), logprob, 1e-3);
    }
    for (const auto& [name, beliefs] : expected["beliefs"].items()) {
      node_bn node = Named(net, name);
      ASSERT_NE(node, nullptr) << name;
      ASSERT_EQ(std::size_t(NumStates(node)), beliefs.size()) << name;
      const float* belief = GetNodeBeliefs_bn(node);
      for (std::size_t s = 0; s < beliefs.size(); ++s) {
        EXPECT_NEAR(belief[s], beliefs[s].get<double>(), 2e-5) << name << " state " << s;
      }
    }
  }
};

TEST_F(PublicNets, AgreeWithTheExactBeliefs) {
  if (!std::filesystem::exists(Folder() / "expected")) {
    GTEST_SKIP() << "no folder " << Folder() << " (set BRAVIC_NETS to where the nets are)";
  }
  int cases = 0;
  for (const auto& entry : std::filesystem::directory_iterator(Folder() / "expected")) {
    if (entry.path().extension() != ".json") continue;
    SCOPED_TRACE(entry.path().filename().string());
    json expected = json::parse(std::ifstream(entry.path()));
    Net net = Read(Folder() / (entry.path().stem().string() + ".dne"));
    ASSERT_NE(net, nullptr) << Reports();
    CompileNet_bn(net.get());
    for (std::size_t i = 0; i < expected["cases"].size(); ++i) {
      SCOPED_TRACE("case " + std::to_string(i));
      ExpectCase(net, expected["cases"][i]);
      ++cases;
    }
    EXPECT_EQ(Reports(), "");
  }
  EXPECT_GT(cases, 0);
}

}  // namespace
}  // namespace bravic::testing

#endif
