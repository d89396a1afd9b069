// Inference on a junction tree by lazily kept messages (Shenoy & Shafer 1990; Lauritzen & Spiegelhalter 1988). A
// clique's potential is the product of its tables and never changes with the findings; what neighbouring cliques
// tell each other stands in two messages per separator, one each way, remade only when something behind them has
// changed. A finding is entered at one clique, so a change of it leaves every message towards that clique valid.
//
// A state finding takes its variable out of every pass over a clique that holds it; a message made meanwhile holds
// that one state only, so it is dense over the variables that were free. What numbers of limited range may have lost is
// judged in Range.h.
//
// The work is done by parts that each own their data; here they are put together, each knowing those above it in the
// list, and told of what changes.
#include "Bn/engine/infer/Inference.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/infer/Answers.h"
#include "Bn/engine/infer/AxisOrder.h"
#include "Bn/engine/infer/JointSums.h"

namespace bravic::engine {

struct Inference::Impl {
  Impl(const JunctionTree& tree, std::span<const int> numstates, std::span<const Vector<int>> parents)
      : structure(tree, numstates, parents) {}

  Mode mode;
  Structure structure;
  bool hasAxisOrder = false;  // had with the first question
  Findings findings{structure};
  NodeTables tables{structure};
  Potentials potentials{structure, tables, mode};
  Messages messages{structure, findings, potentials, mode};
  CliquePasses passes{structure, findings, potentials, messages, mode};
  SharedTree shared{structure, findings, messages, passes, mode};
  WidePropagation wide{structure, findings, tables, potentials, mode};
  Marginals marginals{structure, findings, mode};
  Propagation propagation{structure, findings, tables, potentials, messages, passes, shared, wide, marginals, mode};
  SeparatorBeliefs separatorBeliefs{structure, findings, messages, marginals, mode};
  Sweep sweep{structure, findings, potentials, messages, passes, shared, propagation, marginals, separatorBeliefs};
  CliqueSums cliqueSums{structure, findings, tables, potentials, messages, passes, wide, propagation, mode};
  JointSums joint{structure, findings, tables, cliqueSums, mode};
  Costs costs{structure, findings, potentials, messages, passes, propagation};
  StraightSweep straight{structure, findings, tables, marginals, mode};
  Question question{structure, findings, tables, marginals, propagation, costs, mode};
  ReducedModels reduced{structure, findings, tables, propagation, costs, mode};
  Answers answers{structure, findings,         potentials, tables,   messages, passes,  wide,  propagation,
                  marginals, separatorBeliefs, sweep,      question, straight, reduced, costs, mode};
  unsigned long long stamp = 1;

  // What was answered holds no more.
  void Forget() {
    propagation.Forget();
    costs.Forget();
    ++stamp;
  }
  // Something is different at the clique, and nowhere else.
  void ChangedAt(int clique) {
    messages.InvalidateFrom(clique);
    propagation.SetPivot(clique);
    Forget();
  }
  void ChangedEverywhere() {
    messages.InvalidateAll();
    Forget();
  }
  // Before anything is laid out by the order of axes.
  void BeginQuestion() {
    if (!hasAxisOrder) ChooseAxisOrders(&structure);
    hasAxisOrder = true;
  }
  bool AllocateClique(int c) {
    if (!potentials.Allocate(c)) return false;
    for (const Link& link : structure.cliques[c].links)
      if (!messages.HasRoom(link.separator) && !messages.Allocate(link.separator)) return false;
    return true;
  }
  void SetTables(TableSource source, const CutTables* cut) {
    tables.Set(std::move(source), cut);
    for (int c = 0; c < structure.cliques.size(); ++c) potentials.Forget(c);
    question.ForgetTables();
    straight.TablesChanged();
    findings.ForgetChecks();
    ChangedEverywhere();
  }
  // FREE and no weights: nothing is known.
  void SetFinding(int node, int state, std::span<const WideNumber> weights) {
    const Finding& finding = findings[node];
    if (finding.state != FREE && finding.state != state) messages.InvalidateState(node);
    if ((finding.state == FREE) != (state == FREE) || finding.weighted == weights.empty()) messages.LayoutChanged(node);
    findings.Set(node, state, weights);
    ChangedAt(structure.entry[node]);
  }
};

Inference::Inference(const JunctionTree& tree, std::span<const int> numstates, std::span<const Vector<int>> parents)
    : impl_(NewObject<Impl>(tree, numstates, parents)) {}

Inference::~Inference() {
  DeleteObject(impl_);
}

Owned<Inference> Inference::Make(const JunctionTree& tree, std::span<const int> numstates,
                                 std::span<const Vector<int>> parents) {
  return MakeOwned<Inference>(tree, numstates, parents);
}

Status Inference::AllocatePotentials(int* failedClique) {
  // Steps of single questions may be kept in a small part of what the tree takes, or in little enough.
  constexpr double KEPT_SHARE = 1.0 / 16, LEAST_KEPT = 16384, MOST_KEPT = 1048576;
  Impl& impl = *impl_;
  if (impl.potentials.AreAllocated()) return Status::Done;
  for (int c = 0; c < impl.structure.cliques.size(); ++c) {
    if (impl.AllocateClique(c)) continue;
    if (failedClique) *failedClique = c;
    DropPotentials();
    return Status::NoMemory;
  }
  impl.potentials.FinishAllocation();
  const double kept = std::clamp(impl.structure.tree->totalSize * KEPT_SHARE, LEAST_KEPT, MOST_KEPT);
  impl.question.Keep(static_cast<std::size_t>(kept));
  return Status::Done;
}

void Inference::DropPotentials() {
  impl_->potentials.Drop();
  impl_->messages.Drop();
  impl_->straight.Drop();
  impl_->reduced.Drop();
  impl_->tables.Drop();
  impl_->ChangedEverywhere();
}

void Inference::SetTables(std::function<const float*(int)> table) {
  impl_->SetTables(std::move(table), nullptr);
}

void Inference::SetCutTables(const CutTables& cut, Interrupt* watch, std::function<const float*(int)> table) {
  impl_->mode.watch = watch;
  impl_->SetTables(std::move(table), &cut);
}

void Inference::TableChanged(int node) {
  const int c = impl_->structure.tree->home[node];
  impl_->potentials.Forget(c);
  impl_->tables.Forget(node);
  impl_->question.ForgetTables();
  impl_->straight.TableChanged(c);
  impl_->findings.ForgetChecks();
  impl_->ChangedAt(c);
}

void Inference::SetState(int node, int state) {
  const Finding& finding = impl_->findings[node];
  if (impl_->structure.numstates[node] == 1) return ClearFinding(node);
  if (finding.state != state || finding.weighted) impl_->SetFinding(node, state, {});
}

void Inference::SetLikelihood(int node, std::span<const float> weights) {
  Vector<WideNumber> numbers;
  for (float w : weights) numbers.push_back(ToWide(w));
  SetLikelihood(node, numbers);
}

void Inference::SetLikelihood(int node, std::span<const WideNumber> weights) {
  const Finding& finding = impl_->findings[node];
  if (finding.weighted && std::equal(weights.begin(), weights.end(), finding.weights.begin())) return;
  impl_->SetFinding(node, FREE, weights);
}

void Inference::ClearFinding(int node) {
  if (!impl_->findings[node].IsNone()) impl_->SetFinding(node, FREE, {});
}

void Inference::SetMaximize(bool on) {
  if (impl_->mode.maximize == on) return;
  impl_->mode.maximize = on;
  impl_->ChangedEverywhere();
}

Status Inference::Propagate() {
  impl_->BeginQuestion();
  return impl_->propagation.Propagate(-1, {});
}

ScaledNumber Inference::ScaledProbability() const {
  return impl_->propagation.Probability();
}

double Inference::Probability() const {
  const ScaledNumber probability = ScaledProbability();
  return ToDouble({probability.value, 0}, probability.exponent);
}

double Inference::LogProbability() const {
  const ScaledNumber probability = ScaledProbability();
  if (!(probability.value > 0)) return -std::numeric_limits<double>::infinity();
  return NaturalLogarithm(probability.value, probability.exponent);
}

Status Inference::Check() {
  impl_->BeginQuestion();
  return impl_->answers.Check();
}

Status Inference::CheckState(int node, int state) {
  const Vector<WideNumber> weights = impl_->findings[node].weights;
  const int before = impl_->findings[node].state;
  SetState(node, state);
  const Status status = Check();
  if (before != FREE)
    SetState(node, before);
  else if (!weights.empty())
    SetLikelihood(node, weights);
  else
    ClearFinding(node);
  return status;
}

Status Inference::Belief(int node, std::span<float> out) {
  impl_->BeginQuestion();
  return impl_->answers.Belief(node, out);
}

void Inference::SetWay(Way way) {
  impl_->mode.way = way;
}

bool Inference::SweepPays() const {
  return impl_->costs.SweepPays();
}

bool Inference::IsSweepSmall() const {
  return impl_->straight.Serves() && impl_->straight.Cost() <= cost::SMALL_SWEEP;
}

Status Inference::AllBeliefs(const BeliefPlace& out) {
  Status answer;
  if (impl_->answers.AllStraight(out, &answer)) return answer;
  impl_->BeginQuestion();
  return impl_->answers.AllBeliefs(out);
}

Status Inference::Joint(std::span<const int> nodes, double* to, double* entries) {
  *entries = 0;
  impl_->BeginQuestion();
  const Status status = impl_->propagation.Propagate(-1, {});
  return status == Status::Done ? impl_->joint.Find(nodes, to, entries) : status;
}

void Inference::BeginWeights() {
  impl_->BeginQuestion();
  impl_->cliqueSums.BeginWithoutTables();
  impl_->propagation.Forget();
}

// What does not agree with the findings weighs nothing.
Status Inference::WeightsOfTable(int node, std::span<double> weights, long long* exponent) {
  ScaledTable sums;
  if (!impl_->cliqueSums.ReadWithoutTable(node, &sums))
    return impl_->mode.watch->halted ? Status::Halted : Status::NoMemory;
  std::fill(weights.begin(), weights.end(), 0.0);
  const double* from = sums.entries.data();
  impl_->findings.ForEachFree(impl_->structure.families[node], {},
                              [&](int index) { weights[index] = *from++ * sums.unscale; });
  *exponent = sums.exponent;
  return Status::Done;
}

void Inference::StartLong(const ProgressFunction& progress, int sweeps) {
  const Structure& structure = impl_->structure;
  const double entries = structure.tree->totalSize + cost::ENTRIES_OF_A_PASS * structure.cliques.size();
  impl_->mode.interrupt.Start(progress, sweeps * entries);
}

bool Inference::FinishLong() {
  const bool isHalted = impl_->mode.interrupt.halted;
  impl_->mode.interrupt.Start(nullptr, 1);
  if (!isHalted) return false;
  impl_->reduced.Drop();
  impl_->ChangedEverywhere();
  return true;
}

bool Inference::Halts(double entries) {
  return impl_->mode.interrupt.Halts(entries);
}

unsigned long long Inference::Stamp() const {
  return impl_->stamp;
}

}  // namespace bravic::engine
