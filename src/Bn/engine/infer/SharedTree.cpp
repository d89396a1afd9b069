#include "Bn/engine/infer/SharedTree.h"

#include <algorithm>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/Pass.h"
#include "Bn/engine/PlainPass.h"

namespace bravic::engine {

SharedTree::SharedTree(const Structure& structure, const Findings& findings, Messages& messages, CliquePasses& passes,
                       const Mode& mode)
    : structure_(structure), findings_(findings), messages_(messages), passes_(passes), mode_(mode) {}

bool SharedTree::IsWorthThreads() const {
  return structure_.tree->totalSize >= cost::ENTRIES_WORTH_THREADS && ThreadsToUse() > 1;
}

void SharedTree::AddStep(int clique, int from, int above) {
  double size = cost::ENTRIES_OF_A_PASS;
  double entries = 1;
  for (int v : structure_.cliques[clique].variables)
    if (findings_.IsFree(v)) entries *= structure_.numstates[v];
  size += entries;
  work_->Add(above, size, 1);
  Step& step = steps_.emplace_back();
  step.clique = clique;
  step.from = from;
  step.above = above;
}

PassRequest SharedTree::RequestOf(const Step& step) const {
  PassRequest request;
  request.kind = step.kind;
  request.clique = step.clique;
  request.outLinks = std::span<const int>(links_.data() + step.firstLink, static_cast<std::size_t>(step.numLinks));
  if (step.kind == PassRequest::Kind::SEND) {
    request.exceptLink = step.from;
  } else {
    request.ontoNodes = step.readsLone;
    request.nodes = {0, structure_.cliques[step.clique].lone};
  }
  return request;
}

// Whether the sums can stand where the messages are kept, and the pass needs no memory while it runs.
bool SharedTree::HasPlaces(const Step& step) const {
  const CliqueFacts& clique = structure_.cliques[step.clique];
  for (int i = 0; i < step.numLinks; ++i) {
    const MessageId id = clique.links[links_[step.firstLink + i]].out;
    const Message& message = messages_[id];
    if (!message.probs && findings_.FreeSize(structure_.VariablesOf(id)) <= WIDE_TARGET) return false;
  }
  if (!step.pass->isPlain) return true;
  bool hasDoubles = step.pass->shape.NumTables() <= MOST_PLAIN_TABLES;
  messages_.ForEachIncoming(step.clique, -1, [&](const Message& message) { hasDoubles &= message.probs != nullptr; });
  return hasDoubles;
}

// The step's pass, and the promise of what it makes.
void SharedTree::Prepare(Step* step, int number) {
  const CliqueFacts& clique = structure_.cliques[step->clique];
  if (step->numLinks == 0 && !step->readsLone) return;
  step->pass = &passes_.PreparePass(RequestOf(*step));
  step->canRun = HasPlaces(*step);
  passes_.ReserveFor(*step->pass, &most_);
  if (step->readsLone) {
    step->loneAt = numSums_;
    step->loneSize = findings_.FreeSize(clique.lone);
    numSums_ += step->loneSize;
  }
  const PassPlan& plan = step->pass->plan;
  if (!step->pass->isPlain && plan.numSlices > 1) {
    work_->SetSlices(number, plan.numSlices);
    step->apartAt = numSums_;
    numSums_ += plan.numSlices * plan.sumsApart;
  }
  for (int i = 0; i < step->numLinks; ++i) messages_.Promise(clique.links[links_[step->firstLink + i]].out);
}

void SharedTree::Run(TreeWork::Direction direction) {
  sums_.GrowTo(numSums_);
  while (seats_.size() < numThreads_) seats_.push_back(MakeOwned<Seat>(structure_, findings_, messages_, mode_));
  for (int i = 0; i < numThreads_; ++i) seats_[i]->place.GrowAs(most_);
  if (!mode_.watch->halted) work_->Run(direction, numThreads_, this, mode_.watch);
  for (const Step& step : steps_)
    for (int i = 0; i < step.numLinks; ++i)
      messages_.EndPromise(structure_.cliques[step.clique].links[links_[step.firstLink + i]].out);
}

// Nothing is to be done yet.
void SharedTree::Begin() {
  if (!work_) work_ = MakeOwned<TreeWork>();
  work_->Clear();
  steps_.clear();
  links_.clear();
  numSums_ = 0;
}

void SharedTree::Collect(int root) {
  if (!IsWorthThreads()) return;
  Begin();
  // Outward, as far as messages inward are missing.
  auto addBelow = [&](int c, int source, int above) {
    for (const Link& link : structure_.cliques[c].links)
      if (link.neighbour != source && !messages_.IsValid(link.in)) AddStep(link.neighbour, link.back, above);
  };
  addBelow(root, -1, -1);
  for (int i = 0; i < steps_.size(); ++i) {
    const int c = steps_[i].clique;
    addBelow(c, structure_.cliques[c].links[steps_[i].from].neighbour, i);
  }
  if (!SetThreads()) return;
  for (int i = steps_.size(); i-- > 0 && !mode_.watch->halted;) {
    Step& step = steps_[i];
    const Link& link = structure_.cliques[step.clique].links[step.from];
    step.firstLink = links_.size();
    if (!link.tellsOfHomed && messages_.IsToldOnlyOver(link, messages_.NumInformative(step.clique))) {
      messages_.StoreVacuous(link.out);
    } else {
      links_.push_back(step.from);
      step.numLinks = 1;
    }
    Prepare(&step, i);
  }
  Run(TreeWork::Direction::INWARD);
}

// How many threads the steps are worth; false when that is one.
bool SharedTree::SetThreads() {
  const double size = work_->TotalSize();
  const double most = size / cost::ENTRIES_WORTH_THREADS;
  numThreads_ = most < 1 ? 1 : static_cast<int>(std::min<double>(ThreadsToUse(), 1 + most));
  return numThreads_ > 1;
}

// Calls visit(separator) for the separators that are read with the step: those outward of its clique.
template <class Visit>
void SharedTree::ForEachRead(const Step& step, Visit visit) const {
  for (const Link& link : structure_.cliques[step.clique].links) {
    if (link.neighbour == step.from || structure_.separators[link.separator].read.empty()) continue;
    if (messages_[link.out].probs) visit(link.separator);
  }
}

// The places of beliefs are asked for now, and room is had for all that is read.
void SharedTree::PrepareReading(const BeliefPlace& out) {
  places_.assign(structure_.NumNodes(), nullptr);
  placeOf_ = [this](int node) { return places_[node]; };
  cliquesDone_.assign(structure_.cliques.size(), 0);
  separatorsRead_.assign(structure_.separators.size(), 0);
  int mostEntries = 0, mostStates = 0;
  auto place = [&](int node) {
    if (!findings_.IsFree(node)) return;
    places_[node] = out(node);
    mostStates = std::max(mostStates, structure_.numstates[node]);
  };
  for (const Step& step : steps_) {
    for (int node : structure_.cliques[step.clique].lone) place(node);
    ForEachRead(step, [&](int s) {
      for (int node : structure_.separators[s].read) place(node);
      mostEntries = std::max(mostEntries, findings_.FreeSize(structure_.separators[s].variables));
    });
  }
  for (int i = 0; i < numThreads_; ++i) {
    if (i == seats_.size()) seats_.push_back(MakeOwned<Seat>(structure_, findings_, messages_, mode_));
    seats_[i]->marginals.Reserve(mostStates);
    seats_[i]->beliefs.Reserve(mostEntries);
  }
}

void SharedTree::ReadAll(int pivot, const BeliefPlace& out) {
  cliquesDone_.clear();
  separatorsRead_.clear();
  if (!IsWorthThreads()) return;
  Begin();
  AddStep(pivot, -1, -1);
  for (int i = 0; i < steps_.size(); ++i) {
    const int c = steps_[i].clique, source = steps_[i].from;
    for (const Link& link : structure_.cliques[c].links)
      if (link.neighbour != source) AddStep(link.neighbour, c, i);
  }
  if (!SetThreads()) return;
  PrepareReading(out);
  Vector<int> outgoing;
  for (int i = 0; i < steps_.size() && !mode_.watch->halted; ++i) {
    Step& step = steps_[i];
    const Vector<int>& lone = structure_.cliques[step.clique].lone;
    messages_.ChooseOutgoing(step.clique, step.from, &outgoing);
    step.kind = PassRequest::Kind::SWEEP;
    step.firstLink = links_.size();
    step.numLinks = outgoing.size();
    links_.insert(links_.end(), outgoing.begin(), outgoing.end());
    step.readsLone = std::any_of(lone.begin(), lone.end(), [&](int v) { return findings_.IsFree(v); });
    Prepare(&step, i);
  }
  Run(TreeWork::Direction::OUTWARD);
}

void SharedTree::SetTargets(const Step& step, PassPlace* place) {
  place->targets.clear();
  for (int i = 0; i < step.numLinks; ++i) {
    const MessageId id = structure_.cliques[step.clique].links[links_[step.firstLink + i]].out;
    const Message& message = messages_[id];
    const bool isWide = findings_.FreeSize(structure_.VariablesOf(id)) <= WIDE_TARGET || !message.floats;
    place->targets.push_back(isWide ? PassTarget{message.probs, nullptr} : PassTarget{nullptr, message.floats});
  }
  if (step.readsLone) place->targets.push_back({sums_.data() + step.loneAt, nullptr});
}

bool SharedTree::BeginStep(int number, int worker) {
  Step& step = steps_[number];
  if (!step.pass || !step.canRun) return false;
  PassPlace& place = seats_[worker]->place;
  SetTargets(step, &place);
  const bool isSweep = step.kind == PassRequest::Kind::SWEEP;
  bool hasFloats = false;
  for (const PassTarget& target : place.targets) hasFloats |= target.narrow != nullptr;
  step.result = passes_.Describe(*step.pass, RequestOf(step), place.targets[0].narrow != nullptr);
  step.canRun = (step.pass->isPlain || step.result.inFloats) && !(isSweep && passes_.MayLose(step.clique, hasFloats));
  if (!step.canRun) return false;
  for (int i = 0; i < place.targets.size(); ++i) {
    const PassTarget& target = place.targets[i];
    const int size = i < step.numLinks ? findings_.FreeSize(structure_.VariablesOf(
                                             structure_.cliques[step.clique].links[links_[step.firstLink + i]].out))
                                       : step.loneSize;
    if (target.wide)
      std::fill_n(target.wide, size, 0.0);
    else
      std::fill_n(target.narrow, size, 0.0f);
  }
  return true;
}

void SharedTree::RunSlice(int number, int slice, int worker) {
  Step& step = steps_[number];
  PassPlace& place = seats_[worker]->place;
  if (slice > 0) SetTargets(step, &place);
  const PassPlan& plan = step.pass->plan;
  const bool isSliced = !step.pass->isPlain && plan.numSlices > 1;
  PassResult result = step.result;
  double* apart = sums_.data() + step.apartAt + slice * (isSliced ? plan.sumsApart : 0);
  passes_.RunPrepared(*step.pass, RequestOf(step), isSliced ? slice : -1, apart, &place, &result);
  if (slice == 0) step.unscale = result.unscale;
}

// What the slices have summed becomes messages and beliefs.
bool SharedTree::EndStep(int number, int worker) {
  Step& step = steps_[number];
  if (!step.canRun) return false;
  Seat& seat = *seats_[worker];
  const CliqueFacts& clique = structure_.cliques[step.clique];
  const bool isSweep = step.kind == PassRequest::Kind::SWEEP;
  if (step.pass) {
    SetTargets(step, &seat.place);
    const Vector<PassTarget>& targets = seat.place.targets;
    const PassPlan& plan = step.pass->plan;
    for (int slice = 1; !step.pass->isPlain && slice < plan.numSlices; ++slice)
      AddSumsApart(plan, sums_.data() + step.apartAt + slice * plan.sumsApart, targets.data(), mode_.maximize);
    const long long exponent = messages_.IncomingExponent(step.clique, isSweep ? -1 : step.from);
    for (int i = 0; i < step.numLinks; ++i) {
      const MessageId id = clique.links[links_[step.firstLink + i]].out;
      const int size = findings_.FreeSize(structure_.VariablesOf(id));
      const int lost = isSweep ? NO_LOSS : step.result.LostInSums(size, mode_.maximize);
      const MessageSums sums = {targets[i], step.unscale, exponent, lost};
      if (messages_.StorePromised(id, sums, isSweep) != Outcome::GOOD) return false;
    }
    if (step.readsLone && seat.marginals.ReadAll(targets.back().wide, clique.lone, NO_LOSS, placeOf_) != Outcome::GOOD)
      return false;
  }
  if (!isSweep) return true;
  cliquesDone_[step.clique] = 1;
  ForEachRead(step, [&](int s) {
    if (messages_.AreBothValid(s)) separatorsRead_[s] = seat.beliefs.Read(s, structure_.separators[s].read, placeOf_);
  });
  return true;
}

}  // namespace bravic::engine
