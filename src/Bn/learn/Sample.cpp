#include "Bn/learn/Sample.h"

#include <algorithm>
#include <cmath>

#include "Basic/Random.h"
#include "Basic/Text.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/compiled/Findings.h"
#include "Bn/files/CaseWriter.h"
#include "Bn/learn/SampleTree.h"
#include "Bn/model/Condition.h"
#include "Bn/model/Levels.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Interaction.h"

namespace bravic {
namespace {

constexpr double NODE_WORK = 16;  // nanoseconds, about, to sample one
// Forward draws for each case that are still no reason to ask the user, or to draw from the junction tree instead.
constexpr double DRAWS_A_CASE = 40;
constexpr int SAMPLE_HALTED = -14;  // within this file

// One node of the sampling order with what a draw needs at hand.
struct Step {
  node_bn node = nullptr;
  enum Source : unsigned char { NoTable, States, Values, Probs } source = NoTable;
  int numstates = 0;
  Vector<int> parents;         // places in the order
  Vector<std::size_t> stride;  // of each parent in rows
};

// The case slots stand beside the order: states and values of every step.
struct SampleOrder {
  Vector<Step> steps;
  Vector<int> listed;  // the place of each listed node
  Vector<statetype> states;
  Vector<double> values;
};

Failure FindSource(node_bn node, Step& step) {
  step.source = node->determin    ? Step::States
                : node->determinv ? Step::Values
                : node->probs     ? Step::Probs
                                  : Step::NoTable;
  return step.source == Step::Probs ? MakeProbs(node) : nullptr;
}

// Marks the nodes and all their ancestors, and takes the numbers off them.
void MarkWithAncestors(std::span<const node_bn> nodes, int mark) {
  Vector<node_bn> open(nodes.begin(), nodes.end());
  while (!open.empty()) {
    node_bn node = open.back();
    open.pop_back();
    if (node->mark == mark) continue;
    node->mark = mark;
    node->scratch = -1;
    for (node_bn parent : node->preds) {
      if (TagOf(parent) != STUB_TAG) open.push_back(parent);
    }
  }
}

// The places and strides of the parents. Every parent has its place by then, but for one on a cycle.
Failure FindParents(node_bn node, int mark, Step& step) {
  std::size_t stride = 1;
  step.parents.resize(node->preds.num);
  step.stride.resize(node->preds.num);
  for (int i = node->preds.num; i-- > 0;) {
    node_bn parent = node->preds.ar[i];
    step.stride[i] = stride;
    stride *= std::max(parent->numstates, 1);
    if (TagOf(parent) == STUB_TAG) {
      step.source = Step::NoTable;
      continue;
    }
    if (parent->mark != mark || parent->scratch >= node->scratch || parent->scratch < 0) {
      return Fail(CYCLE_TO_SAMPLE);
    }
    step.parents[i] = parent->scratch;
  }
  return nullptr;
}

// The listed nodes and their ancestors, parents first. While it is in use, scratch is a node's place in it.
Failure PrepareOrder(std::span<const node_bn> nodes, SampleOrder& order) {
  const std::span<const node_bn> ordered =
      Entries(OrderedNodes(nodes[0]->innet));  // before marking: ordering marks too
  const int mark = NewMark();
  MarkWithAncestors(nodes, mark);
  for (node_bn node : ordered) {
    if (node->mark != mark) continue;
    node->scratch = order.steps.size();
    Step step;
    step.node = node;
    step.numstates = node->numstates;
    if (Failure failure = FindSource(node, step)) return failure;
    if (Failure failure = FindParents(node, mark, step)) return failure;
    order.steps.push_back(std::move(step));
  }
  for (node_bn node : nodes) {
    if (TagOf(node) == STUB_TAG) return Fail(PLACEHOLDER_TO_SAMPLE, node->name);
    order.listed.push_back(node->scratch);
  }
  order.states.assign(order.steps.size(), UNDEF_STATE);
  order.values.assign(order.steps.size(), UNDEF_DBL);
  return nullptr;
}

int ReportImpossible(const Step& step, const SampleOrder& order) {
  Vector<statetype> states;
  for (int parent : step.parents) {
    statetype state = order.states[parent];
    states.push_back(state < 0 ? EVERY_STATE : state);
  }
  char condition[300];
  Report(IMPOSSIBLE_CONDITION_SAMPLED, ConditionText(*step.node, states.data(), condition, sizeof condition));
  return SAMPLE_IMPOSSIBLE;
}

// Uniform within the state's interval; an unbounded interval gives its finite end.
double ValueWithin(const bnode& node, statetype state) {
  double low = node.levels[state], high = node.levels[state + 1];
  if (low == -INF_DBL) return high == INF_DBL ? 0 : high;
  if (high == INF_DBL) return low;
  return DrawUniform(low, high);
}

// Whether the draw disagrees with what is known of the node.
bool IsRejected(const bnode& node, statetype state, double value) {
  if (state < 0 && (node.evidence >= 0 || node.likelihood)) state = StateOfValue(node, value, LEVEL_TOLERANCE);
  if (node.evidence >= 0 && state != node.evidence) return true;
  if (node.discrete != DISCRETE && node.value != UNDEF_DBL && value != node.value) return true;
  if (!node.likelihood) return false;
  if (state < 0) return true;
  // A likelihood is met with the probability that it gives the state, relative to its largest entry.
  float largest = *std::max_element(node.likelihood, node.likelihood + node.numstates);
  float entry = node.likelihood[state];
  return entry < largest && !(entry > 0 && DrawReal() * largest < entry);
}

// The row of the step's tables that the parents' states choose; false where a parent's value is in none of its
// states, with that reported.
bool FindRow(const Step& step, const SampleOrder& order, std::size_t* row) {
  *row = 0;
  for (int i = 0; i < step.parents.size(); ++i) {
    const int parent = step.parents[i];
    statetype state = order.states[parent];
    if (state < 0) state = StateOfValue(*order.steps[parent].node, order.values[parent], LEVEL_TOLERANCE);
    if (state < 0) {
      ReportImpossible(step, order);
      return false;
    }
    *row += state * step.stride[i];
  }
  return true;
}

// The level of a state, or a number drawn within its interval.
double ValueOfState(const bnode& node, statetype state) {
  if (state < 0 || !node.levels) return UNDEF_DBL;
  return node.discrete == DISCRETE ? node.levels[state] : ValueWithin(node, state);
}

// A state by the row's probabilities: one random number is used up, state by state, from the first on.
int DrawState(const float* probs, int numstates, statetype* state) {
  float rest = DrawReal();
  const statetype last = numstates - 1;
  for (*state = 0; *state < last; ++*state) {
    if (probs[*state] == UNDEF_PROB) return SAMPLE_NO_TABLE;
    rest -= probs[*state];
    if (rest < 0) break;
  }
  return probs[last] == UNDEF_PROB ? SAMPLE_NO_TABLE : SAMPLED;
}

// Draws the node, whose parents have been drawn, into the order's slots.
int SampleNode(const Step& step, SampleOrder& order, int at) {
  node_bn node = step.node;
  std::size_t row = 0;
  if (!FindRow(step, order, &row)) return SAMPLE_IMPOSSIBLE;
  statetype state = UNDEF_STATE;
  double value = UNDEF_DBL;
  switch (step.source) {
    case Step::NoTable:
      return SAMPLE_NO_TABLE;
    case Step::States:
      state = node->determin[row];
      if (state == IMPOS_STATE) return ReportImpossible(step, order);
      if (state < 0) return SAMPLE_NO_TABLE;
      break;
    case Step::Values:
      if (node->determinv[row] == IMPOS_PROB) return ReportImpossible(step, order);
      if (node->determinv[row] == UNDEF_PROB) return SAMPLE_NO_TABLE;
      value = node->determinv[row];
      break;
    case Step::Probs: {
      const float* probs = node->probs + row * step.numstates;
      if (probs[0] == IMPOS_PROB) return ReportImpossible(step, order);
      if (const int code = DrawState(probs, step.numstates, &state); code != SAMPLED) return code;
      break;
    }
  }
  if (step.source != Step::Values) value = ValueOfState(*node, state);
  order.states[at] = state;
  order.values[at] = value;
  return IsRejected(*node, state, value) ? SAMPLE_REJECTED : SAMPLED;
}

// All nodes in order, until the first failure; *failed then is its place.
int DrawCase(SampleOrder& order, LongWork& work, int* failed) {
  for (int at = 0; at < order.steps.size(); ++at) {
    if (work.Halts(NODE_WORK)) return SAMPLE_HALTED;
    int code = SampleNode(order.steps[at], order, at);
    if (code == SAMPLED) continue;
    *failed = at;
    return code;
  }
  return SAMPLED;
}

void KeepAsFindings(std::span<const node_bn> nodes, const SampleOrder& order) {
  UndoGroup group(UNDO_ALL_FINDINGS, nodes[0]->innet);
  for (int i = 0; i < Count(nodes); ++i) {
    const int at = order.listed[i];
    statetype state = order.states[at];
    double value = order.values[at];
    // A function's value has its place among the levels like any other, and is no finding beyond them.
    if (state < 0 && value != UNDEF_DBL) {
      state = StateOfValue(*nodes[i], value, LEVEL_TOLERANCE);
      if (!IsWithinBounds(*nodes[i], value)) value = UNDEF_DBL;
    }
    StoreFinding(nodes[i], state, value, nullptr);
  }
}

}  // namespace

long RandomCase(std::span<const node_bn> nodes, double maxdraws) {
  if (nodes.empty()) return SAMPLED;
  SampleOrder order;
  if (Failure failure = PrepareOrder(nodes, order)) {
    Report(CANT_GENERATE_CASE, failure->mesg);
    return SAMPLE_ERROR;
  }
  const double draws = maxdraws >= 1 ? std::floor(maxdraws) : 0;
  if (draws < 1) return SAMPLE_REJECTED;
  LongWork work("Generating a case", draws * NODE_WORK * order.steps.size(), Showing::Always);
  int code = SAMPLE_REJECTED;
  for (double draw = 0; draw < draws && code == SAMPLE_REJECTED; ++draw) {
    int failed = 0;
    code = DrawCase(order, work, &failed);
    if (code == SAMPLE_NO_TABLE) Report(NO_TABLE_TO_SAMPLE_FROM, order.steps[failed].node->name);
  }
  if (code == SAMPLED || code == SAMPLE_REJECTED) KeepAsFindings(nodes, order);
  if (code != SAMPLE_HALTED) return code;
  Post(FailHalted());
  return SAMPLE_ERROR;
}

namespace {

struct GenerateFile {
  CaseWriter writer;
  Vector<int> columns;  // place in the order of each column, -1 without a node
};

Failure OpenGenerated(std::span<const node_bn> nodes, const SampleOrder& order, const char* filename,
                      const GenerateOptions& options, GenerateFile& file) {
  CasePlan plan;
  if (Failure failure = PlanCases(filename, nodes, options.append, options.firstid >= 0, options.freq != 0, &plan))
    return failure;
  for (int i = 0; i < Count(nodes); ++i) nodes[i]->scratch = order.listed[i];
  for (const PlannedColumn& column : plan.columns) file.columns.push_back(column.node ? column.node->scratch : -1);
  if (file.writer.Open(filename, plan)) return nullptr;
  return options.append ? Fail(CANT_OPEN_CASES_TO_APPEND, ShownPath(filename).text)
                        : Fail(CANT_OPEN_CASES_FOR_WRITING, ShownPath(filename).text);
}

// Writes what is drawn, row by row.
struct Generator {
  SampleOrder& order;
  GenerateFile& file;
  const GenerateOptions& options;
  LongWork& work;
  Vector<statetype> states;
  Vector<double> values;
  long numdone = 0;

  bool IsDone() const { return numdone >= options.numcases || file.writer.HasFailed(); }
  void WriteRow();
};

void Generator::WriteRow() {
  states.resize(file.columns.size(), UNDEF_STATE);
  values.resize(file.columns.size(), UNDEF_DBL);
  for (int i = 0; i < file.columns.size(); ++i) {
    if (file.columns[i] < 0) continue;
    states[i] = order.states[file.columns[i]];
    values[i] = order.values[file.columns[i]];
  }
  const long id = options.firstid >= 0 ? options.firstid + numdone : -1;
  file.writer.Row(states.data(), values.data(), id, options.freq != 0 ? options.freq : 1);
  if (!file.writer.HasFailed()) ++numdone;
  work.SetShare(static_cast<double>(numdone) / static_cast<double>(options.numcases));
}

// Forward, until enough draws meet the findings. Where few do, the user is asked now and then.
int WriteForwardDraws(Generator& generator) {
  const double numcases = static_cast<double>(generator.options.numcases);
  double limit = DRAWS_A_CASE * numcases, attempts = 0;
  for (; !generator.IsDone(); ++attempts) {
    if (attempts > limit) {
      if (AskYesNo(true, "Many cases are being rejected. Cancel operation")) {
        Report(GENERATING_CANCELLED, generator.numdone, attempts);
        return SAMPLE_ERROR;
      }
      limit *= 2;
    }
    int failed = 0;
    const int code = DrawCase(generator.order, generator.work, &failed);
    if (code == SAMPLE_REJECTED) continue;
    if (code == SAMPLE_NO_TABLE) Report(NO_TABLE_TO_GENERATE_FROM, generator.order.steps[failed].node->name);
    if (code != SAMPLED) return code;
    generator.WriteRow();
  }
  if (attempts != numcases && !generator.file.writer.HasFailed()) Report(ACCEPTANCE_RATIO, numcases * 100 / attempts);
  return SAMPLED;
}

// All of the order from the junction tree; what is real-valued follows from the states.
int TakeDraw(SampleOrder& order, const TreeSampler& sampler) {
  for (int at = 0; at < order.steps.size(); ++at) {
    const Step& step = order.steps[at];
    if (step.source == Step::Values) {
      std::size_t row = 0;
      if (!FindRow(step, order, &row)) return SAMPLE_IMPOSSIBLE;
      order.states[at] = UNDEF_STATE;
      order.values[at] = step.node->determinv[row];
    } else {
      order.states[at] = sampler.State(*step.node);
      order.values[at] = ValueOfState(*step.node, order.states[at]);
    }
    if (step.node->discrete != DISCRETE && step.node->value != UNDEF_DBL) order.values[at] = step.node->value;
  }
  return SAMPLED;
}

int WriteTreeDraws(Generator& generator, TreeSampler& sampler) {
  while (!generator.IsDone()) {
    if (generator.work.Halts(NODE_WORK * generator.order.steps.size())) return SAMPLE_HALTED;
    sampler.Draw();
    if (const int code = TakeDraw(generator.order, sampler); code != SAMPLED) return code;
    generator.WriteRow();
  }
  return SAMPLED;
}

// Whether draws from the tree are to be had and worth it.
bool PrepareTree(const SampleOrder& order, LongWork& work, TreeSampler& sampler) {
  const net_bn net = order.steps[0].node->innet;
  bool isObserved = false;
  Vector<node_bn> nodes;
  for (const Step& step : order.steps) {
    if (step.source == Step::NoTable || !step.node->probs || CompiledIndex(*step.node) < 0) return false;
    isObserved = isObserved || HasFinding(*step.node);
    nodes.push_back(step.node);
  }
  return isObserved && net->potentialsMade && sampler.Prepare(net, nodes, work) && sampler.Acceptance() > 0 &&
         sampler.Acceptance() < 1.0 / DRAWS_A_CASE;
}

int WriteCases(Generator& generator) {
  TreeSampler sampler;
  const bool usesTree = PrepareTree(generator.order, generator.work, sampler);
  int code = SAMPLE_HALTED;
  if (!generator.work.IsHalted()) {
    code = usesTree ? WriteTreeDraws(generator, sampler) : WriteForwardDraws(generator);
  }
  if (code != SAMPLE_HALTED) return code;
  Post(FailHalted());
  return SAMPLE_ERROR;
}

}  // namespace

int GenerateCases(std::span<const node_bn> nodes, filespec_ns spec, const GenerateOptions& options) {
  if (nodes.empty()) return SAMPLED;
  LongWork work("Generating cases", 0, Showing::Always);
  work.Begin();
  SampleOrder order;
  DropKept(spec);
  GenerateFile file;
  if (Failure failure = PrepareOrder(nodes, order)) {
    Report(CANT_GENERATE_CASES, failure->mesg);
    return SAMPLE_ERROR;
  }
  if (Failure failure = OpenGenerated(nodes, order, spec->name, options, file)) {
    Post(std::move(failure));
    return SAMPLE_ERROR;
  }
  Generator generator{order, file, options, work, {}, {}};
  const int code = WriteCases(generator);
  if (!file.writer.Close()) {
    Report(CANT_WRITE_CASES, ShownPath(spec->name).text);
    return SAMPLE_ERROR;
  }
  return code;
}

}  // namespace bravic
