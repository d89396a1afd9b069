// The judge of probability vectors, and the normal form of rows.

#include "Bn/model/VectorCheck.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

const float U = UNDEF_PROB, X = IMPOS_PROB;

using VectorsTest = NetTest;

TEST_F(VectorsTest, AcceptedOrRefusedInTheirWords) {
  const float nan = std::nanf("");
  const std::string negative = "has a negative probability", above = "has a probability greater than 1",
                    missing = "has a missing probability", sum = "sum of probabilities isn't 1",
                    zero = "sum of probabilities is 0 (and no unspecified probabs)",
                    impossible = "indicates an impossible condition",
                    mixed = "some probabilities indicate an impossible condition and some don't", also = ", ";
  const struct {
    std::vector<float> probs;
    std::string text;
    bool accepted = false;
  } cases[] = {
      {{1, 0}, "okay", true},
      {{0.5f, 0.499999f}, "okay", true},
      {{0.5f, 0.500001f}, "okay", true},
      {{0.5f, 0.500003f}, sum},
      {{0.5f, 0.499997f}, sum},
      {{0, 0}, zero},
      {{1.0000001f, 0}, above},
      {{2, 0}, above + also + sum},
      {{-0.5f, 1}, negative},
      {{-0.5f, 0.5f}, negative + also + sum},
      {{nan, 1}, negative},
      {{INFINITY, 0}, above + also + sum},
      {{X, X}, impossible, true},
      {{X, 0.5f}, mixed},
      {{X, 0}, mixed},
      {{U, U}, missing, true},
      {{U, 0.25f}, missing, true},
      {{U, 0}, missing, true},
      {{U, 1.5f}, above + also + sum + also + missing},
      {{X, U}, missing + also + impossible, true},
      {{-1, -2}, negative + also + zero},
  };
  node_bn node = New("A");
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.probs));
    char text[320];
    const unsigned flags = ValidateVector(c.probs);
    EXPECT_EQ(VectorFaultText(flags, false, text), c.text);
    EXPECT_EQ(VectorFaultText(flags, true, text), c.text.substr(0, c.text.find(also)));
    // Below the level that looks at vectors the setter beneath judges them all the same.
    for (int level : {25, 24}) {
      ArgumentChecking_ns(level, env);
      SetNodeProbs_bn(node, nullptr, c.probs.data());
      EXPECT_EQ(HasRelation_bn(node), c.accepted);
      const std::string begin = level == 25 ? "5133 SetNodeProbs_bn: Passed probability vector "
                                            : "3072 SetNodeProbs_bn: Can't change the probabilities of node 'A', "
                                              "because new vector ";
      const std::string reports = Reports();
      EXPECT_EQ(reports.substr(0, reports.find(" (node 'A'; sum ")), c.accepted ? "" : "5 " + begin + c.text);
      DeleteNodeRelation_bn(node);
    }
  }
  ArgumentChecking_ns(25, env);
  const statetype second = 1;
  const float row[] = {0.5f, 0.500003f};
  SetNodeProbs_bn(New("B", 2, {node}), &second, row);
  EXPECT_EQ(Reports(),
            "5 5133 SetNodeProbs_bn: Passed probability vector " + sum + " (node 'B' given A=1; sum 1.000003)\n");
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
    EXPECT_EQ(NormalizeRow(c.row.data(), int(c.row.size()), &sum), c.form);
    EXPECT_EQ(c.row, c.normal);
    EXPECT_EQ(sum, c.sum);
  }
}

}  // namespace
}  // namespace bravic::testing
