// The judge of probability vectors, and the normal form of rows.
#include <cmath>
#include <cstring>

#include "Bn/model/Tables.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

const float U = UNDEF_PROB, X = IMPOS_PROB;

struct VectorCase {
  std::vector<float> probs;
  const char* text;
  const char* first;  // the first phrase alone; NULL: the text
  bool accepted;
};

std::vector<VectorCase> VectorCases() {
  const float nan = std::nanf("");
  const char* negative = "has a negative probability";
  const char* mixed = "some probabilities indicate an impossible condition and some don't";
  const char* zero = "sum of probabilities is 0 (and no unspecified probabs)";
  const char* above = "has a probability greater than 1";
  const char* sum = "sum of probabilities isn't 1";
  return {
      {{1, 0}, "okay", nullptr, true},
      {{0.5f, 0.499999f}, "okay", nullptr, true},
      {{0.5f, 0.500001f}, "okay", nullptr, true},
      {{0.5f, 0.500003f}, sum, nullptr, false},
      {{0.5f, 0.499997f}, sum, nullptr, false},
      {{0, 0}, zero, nullptr, false},
      {{1.0000001f, 0}, above, nullptr, false},
      {{2, 0}, "has a probability greater than 1, sum of probabilities isn't 1", above, false},
      {{-0.5f, 1}, negative, nullptr, false},
      {{-0.5f, 0.5f}, "has a negative probability, sum of probabilities isn't 1", negative, false},
      {{nan, 1}, negative, nullptr, false},
      {{INFINITY, 0}, "has a probability greater than 1, sum of probabilities isn't 1", above, false},
      {{X, X}, "indicates an impossible condition", nullptr, true},
      {{X, 0.5f}, mixed, nullptr, false},
      {{X, 0}, mixed, nullptr, false},
      {{U, U}, "has a missing probability", nullptr, true},
      {{U, 0.25f}, "has a missing probability", nullptr, true},
      {{U, 0}, "has a missing probability", nullptr, true},
      {{U, 1.5f},
       "has a probability greater than 1, sum of probabilities isn't 1, has a missing probability",
       above,
       false},
      {{X, U}, "has a missing probability, indicates an impossible condition", "has a missing probability", true},
      {{-1, -2}, "has a negative probability, sum of probabilities is 0 (and no unspecified probabs)", negative, false},
  };
}

class VectorsTest : public LibraryTest {};

TEST_F(VectorsTest, AcceptedOrRefusedInTheirWords) {
  Net net(NewNet_bn("Test", env));
  node_bn node = NewNode_bn("A", 2, net.get());
  for (const VectorCase& c : VectorCases()) {
    SCOPED_TRACE(::testing::PrintToString(c.probs));
    char text[320];
    const unsigned flags = ValidateVector(c.probs);
    EXPECT_STREQ(VectorFaultText(flags, false, text), c.text);
    EXPECT_STREQ(VectorFaultText(flags, true, text), c.first ? c.first : c.text);
    SetNodeProbs_bn(node, nullptr, c.probs.data());
    EXPECT_EQ(HasRelation_bn(node), c.accepted);
    EXPECT_EQ(Reports(),
              c.accepted ? "" : std::string("5 5133 SetNodeProbs_bn: Passed probability vector ") + c.text + "\n");
    // Below the level that looks at vectors the setter beneath judges them all the same.
    DeleteNodeRelation_bn(node);
    ArgumentChecking_ns(24, env);
    SetNodeProbs_bn(node, nullptr, c.probs.data());
    ArgumentChecking_ns(25, env);
    EXPECT_EQ(HasRelation_bn(node), c.accepted);
    EXPECT_EQ(Reports(), c.accepted ? ""
                                    : std::string("5 3072 SetNodeProbs_bn: Can't change the probabilities of node 'A', "
                                                  "because new vector ") +
                                          c.text + "\n");
    DeleteNodeRelation_bn(node);
  }
}

TEST_F(VectorsTest, EveryPhraseFitsItsBuffer) {
  char text[320];
  for (unsigned flags = 0; flags < 128; flags++) EXPECT_LT(std::strlen(VectorFaultText(flags, false, text)), 320u);
}

TEST_F(VectorsTest, RowsAreBroughtToSumOne) {
  const struct {
    std::vector<float> row, normal;
    RowForm form;
    double sum;
  } cases[] = {
      {{1, 3}, {0.25f, 0.75f}, RowForm::Fine, 4}, {{0, 3, 0}, {0, 1, 0}, RowForm::Fine, 3},
      {{0, 0}, {0, 0}, RowForm::ZeroSum, 0},      {{1, U}, {1, U}, RowForm::Missing, 0},
      {{X, X}, {X, X}, RowForm::Impossible, 0},   {{X, U}, {X, U}, RowForm::Missing, 0},
      {{U, X}, {U, X}, RowForm::Impossible, 0},
  };
  for (auto c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.row));
    double sum = -1;
    EXPECT_EQ(NormalizeRow(c.row.data(), static_cast<int>(c.row.size()), &sum), c.form);
    EXPECT_EQ(c.row, c.normal);
    EXPECT_EQ(sum, c.sum);
  }
}

}  // namespace
}  // namespace bravic::testing
