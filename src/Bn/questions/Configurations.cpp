#include "Bn/questions/Configurations.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "Bn/compiled/CompiledNet.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/engine/configs/BestConfigs.h"
#include "Bn/model/Lists.h"
#include "Bn/model/Net.h"
#include "Bn/questions/Asked.h"
#include "Win_Face/Interaction.h"

namespace bravic {
namespace {

engine::ConfigQuestion MakeQuestion(const CompiledNet& compiled) {
  engine::ConfigQuestion question{{}, compiled.parents, TablesOf(compiled), {}};
  const int n = compiled.nodes.size();
  question.numstates = compiled.numstates;
  question.known.resize(n);
  for (int i = 0; i < n; ++i) {
    const bnode& node = *compiled.nodes[i];
    if (node.evidence != UNDEF_STATE)
      question.known[i].state = node.evidence;
    else if (node.likelihood)
      question.known[i].weights = LikelihoodWeights(node);
  }
  return question;
}

class Progress {
 public:
  Progress() { work_.Begin(); }
  engine::ProgressFunction Function() {
    return [this](double fraction) {
      work_.SetShare(fraction);
      return work_.Halts(LongWork::BETWEEN_LOOKS);
    };
  }

 private:
  LongWork work_{"Finding most probable configurations", 0, Showing::WithEstimate};
};

// What is posted where there is no answer.
void PostStatus(engine::Status status) {
  if (status == engine::Status::Inconsistent)
    Report(FINDINGS_INCONSISTENT);
  else
    Post(FailAnswer(status));
}

// 0 is kept for a contradiction.
double ProbabilityOf(const engine::BestConfig& config) {
  return std::max(engine::ToDouble(config.probability, 0), std::numeric_limits<double>::min());
}

statetype StateOf(const bnode& node, const engine::BestConfig& config) {
  const int i = CompiledIndex(node);
  return i >= 0 ? config.states[i] : UNDEF_STATE;
}

}  // namespace

int MostProbableConfigs(net_bn net, int count, statetype* states, double* probs) {
  if (!CheckCompiled(*net)) return -1;
  if (count == 0) return 0;
  Vector<engine::BestConfig> configs;
  const CompiledNet& compiled = *net->compiled;
  Progress progress;
  const engine::Status status =
      FindBestConfigs(MakeQuestion(compiled), compiled.computingTree, count, progress.Function(), &configs);
  if (status != engine::Status::Done) {
    PostStatus(status);
    return status == engine::Status::Inconsistent ? 0 : -1;
  }
  for (int i = 0; i < configs.size(); ++i) {
    for (const bnode* node : Entries(net->nodes)) *states++ = StateOf(*node, configs[i]);
    if (probs) probs[i] = ProbabilityOf(configs[i]);
  }
  return configs.size();
}

int MostProbableStates(const nodelist_rec& nodes, statetype* states, double* prob) {
  net_bn net;
  if (!FindNetAsked({&nodes}, &net)) return -1;
  if (!net) {
    Report(NO_NODES_ASKED);
    return -1;
  }
  if (!CheckCompiled(*net)) return -1;
  Vector<int> asked;
  for (node_bn node : Entries(nodes)) {
    if (CompiledIndex(*node) < 0) {
      Report(ASKED_WITHOUT_STATES, node->name);
      return -1;
    }
    asked.push_back(node->compiledIndex);
  }
  const engine::ConfigQuestion question = MakeQuestion(*net->compiled);
  const Vector<unsigned char> matters = FindMattering(question, asked);
  const engine::BucketOrder order = OrderAround(question, asked, matters);
  constexpr double MOST_ENTRIES = 1e13;  // to go over: most of a day
  if (order.largest >= engine::MAX_TABLE_ENTRIES || order.cost > MOST_ENTRIES) {
    Report(STATES_TOO_LARGE, asked.size(), order.largest, order.largest * sizeof(double), order.cost);
    return -1;
  }
  engine::BestConfig best;
  Progress progress;
  const engine::Status status = FindBestStates(question, order, matters, progress.Function(), &best);
  if (status != engine::Status::Done) {
    PostStatus(status);
    return -1;
  }
  for (const bnode* node : Entries(nodes)) *states++ = StateOf(*node, best);
  if (prob) *prob = ProbabilityOf(best);
  return 0;
}

}  // namespace bravic
