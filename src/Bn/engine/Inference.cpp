// Inference on a junction tree by lazily kept messages (Shenoy & Shafer 1990; Lauritzen & Spiegelhalter 1988). A
// clique's potential is the product of its tables and never changes with the findings; what neighbouring cliques
// tell each other stands in two messages per separator, one each way, remade only when something behind them has
// changed. A finding is entered at one clique, so a change of it leaves every message towards that clique valid.
//
// A state finding takes its variable out of every pass over a clique that holds it; a message made meanwhile holds
// that one state only, so it is dense over the variables that were free. Messages are scaled by a power of two to a
// largest entry in [0.5, 1); exponents add up along the tree, so that the probability of the findings keeps full
// precision however small it is.
//
// When all beliefs are asked for, each clique is passed over once with every incoming message multiplied in, and an
// outgoing message is the sum on its separator divided by the incoming one. Where that was 0 the quotient is
// unknown and set to 0, which is right as long as the incoming 0 stays: such a message is marked as resting on the
// one against it.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "Bn/engine/Engine.h"
#include "Bn/engine/Pass.h"

namespace bravic::engine {

namespace {

std::size_t At(int i) {
  return static_cast<std::size_t>(i);
}

constexpr int FREE = -1;

// A message from one clique to a neighbour; 2 * s from the first clique of separator s to the second, 2 * s + 1 back.
struct Message {
  float* probs = nullptr;  // points into the separator's block; entries over the free variables, last fastest
  long long exponent = 0;  // the weights are probs * 2^exponent, all that lies behind it included
  bool valid = false;
  bool rests = false;   // on the opposite message's zeros
  Vector<int> fixedAt;  // [variable of the separator] the state it holds alone, or FREE
};

struct Link {
  int neighbour, separator, in, out;  // in, out: messages
};

// Variables of one state are left out of tables.
struct CliqueState {
  Vector<int> variables;  // first varies slowest
  Vector<Link> links;
  Vector<int> homed;    // nodes whose tables are multiplied in here
  Vector<int> entered;  // nodes whose findings are entered here
  Block<float> potential;
  std::size_t size = 1;
};

struct SeparatorState {
  Vector<int> variables;
  Block<float> tables;  // both messages
  std::size_t size = 1;
};

struct Finding {
  int state = FREE;
  Vector<float> weights;  // empty, or largest entry 1
  double scale = 1;
};

int Exponent(double x) {
  int exponent;
  std::frexp(x, &exponent);
  return exponent;
}

}  // namespace

struct Inference::Impl {
  const JunctionTree* tree = nullptr;
  std::span<const Vector<int>> parents;
  Vector<int> numstates;
  Vector<CliqueState> cliques;
  Vector<SeparatorState> separators;
  Vector<Message> messages;
  Vector<Finding> findings;
  Vector<int> entry;                 // [node] smallest clique that holds it
  Vector<Vector<int>> separatorsOf;  // [node]
  Vector<int> parentClique, depth;   // with the first clique as root
  bool allocated = false, filled = false;
  bool maximize = false;

  bool propagated = false;
  Status status = Status::Done;
  int pivot = 0;  // clique to which messages were collected; where the latest change was
  double total = 0;
  long long totalExponent = 0;
  unsigned long long stamp = 1;

  PassShape shape;
  PassData data;
  Vector<Vector<double>> sums;
  Vector<int> path, cursor, work;

  // --- structure -----------------------------------------------------------------------------------------------

  void Build();
  void RootTree();

  // --- validity ------------------------------------------------------------------------------------------------

  void Invalidate(int message);
  void InvalidateFrom(int clique);
  void Changed(int clique);
  void InvalidateAll();
  void ForgetState(int node);

  // --- passes --------------------------------------------------------------------------------------------------

  void BeginPass(int clique);
  void AddFactor(int clique, std::span<const int> variables, std::span<const int> fixedAt, const float* table);
  void AddIncoming(int clique, int exceptLink);
  double* AddTarget(int clique, std::span<const int> variables);
  void Run() { RunPlainly(shape, data, maximize); }
  bool StoreMessage(int message, double* sums, bool divide);
  bool MakeMessage(int clique, int link);
  bool Collect(int clique);
  long long IncomingExponent(int clique, int exceptLink) const;
  std::size_t FreeSize(std::span<const int> variables) const;
  bool Normalize(const double* from, std::span<float> to) const;
  void StepTowards(int from, int to, Vector<int>* path);
  int CliqueForReading(int node);
  void Multiply(int clique, int node, const float* table);
  void FillClique(int clique, const std::function<const float*(int)>& table);
};

// ---------------------------------------------------------------------------------------------------------------

void Inference::Impl::Build() {
  const std::size_t numCliques = tree->cliques.size(), n = numstates.size();
  cliques.resize(numCliques);
  separators.resize(tree->separators.size());
  messages.resize(2 * separators.size());
  separatorsOf.resize(n);
  findings.resize(n);
  entry.assign(n, -1);
  auto variables = [&](const Vector<int>& members) {
    Vector<int> list;
    for (int m : members)
      if (numstates[At(m)] > 1) list.push_back(m);
    return list;
  };
  for (std::size_t c = 0; c < numCliques; ++c) {
    const Clique& from = tree->cliques[c];
    CliqueState& clique = cliques[c];
    clique.variables = variables(from.members);
    for (std::size_t k = 0; k < from.neighbours.size(); ++k) {
      const int s = from.separators[k];
      const int second = tree->separators[At(s)].cliques[1] == static_cast<int>(c);
      clique.links.push_back({from.neighbours[k], s, 2 * s + 1 - second, 2 * s + second});
    }
    for (int m : from.members)
      if (entry[At(m)] < 0 || from.size < tree->cliques[At(entry[At(m)])].size) entry[At(m)] = static_cast<int>(c);
  }
  for (std::size_t s = 0; s < separators.size(); ++s) {
    separators[s].variables = variables(tree->separators[s].members);
    for (std::size_t way = 0; way < 2; ++way)
      messages[2 * s + way].fixedAt.assign(separators[s].variables.size(), FREE);
    for (int m : separators[s].variables) separatorsOf[At(m)].push_back(static_cast<int>(s));
  }
  for (std::size_t i = 0; i < n; ++i) {
    if (tree->home[i] >= 0) cliques[At(tree->home[i])].homed.push_back(static_cast<int>(i));
    if (entry[i] >= 0) cliques[At(entry[i])].entered.push_back(static_cast<int>(i));
  }
  RootTree();
}

void Inference::Impl::RootTree() {
  parentClique.assign(cliques.size(), -1);
  depth.assign(cliques.size(), 0);
  Vector<int> queue;
  if (!cliques.empty()) queue.push_back(0);
  for (std::size_t head = 0; head < queue.size(); ++head) {
    const int c = queue[head];
    for (const Link& link : cliques[At(c)].links) {
      if (link.neighbour == parentClique[At(c)]) continue;
      parentClique[At(link.neighbour)] = c;
      depth[At(link.neighbour)] = depth[At(c)] + 1;
      queue.push_back(link.neighbour);
    }
  }
}

// What rests on an invalid message is invalid: all messages further on, and the one against it when that was
// divided by a zero of it.
void Inference::Impl::Invalidate(int message) {
  if (!messages[At(message)].valid) return;
  messages[At(message)].valid = false;
  work.assign(1, message);
  while (!work.empty()) {
    const int m = work.back();
    work.pop_back();
    const Separator& separator = tree->separators[At(m / 2)];
    const int to = separator.cliques[1 - m % 2];
    for (const Link& link : cliques[At(to)].links) {
      if (link.in == m || !messages[At(link.out)].valid) continue;
      messages[At(link.out)].valid = false;
      work.push_back(link.out);
    }
    if (messages[At(m ^ 1)].valid && messages[At(m ^ 1)].rests) {
      messages[At(m ^ 1)].valid = false;
      work.push_back(m ^ 1);
    }
  }
}

void Inference::Impl::InvalidateFrom(int clique) {
  for (const Link& link : cliques[At(clique)].links) Invalidate(link.out);
}

void Inference::Impl::Changed(int clique) {
  InvalidateFrom(clique);
  pivot = clique;
  propagated = false;
  ++stamp;
}

void Inference::Impl::InvalidateAll() {
  for (Message& message : messages) message.valid = false;
  propagated = false;
  ++stamp;
}

// Messages that hold one state of the node only are of no use any more.
void Inference::Impl::ForgetState(int node) {
  for (int s : separatorsOf[At(node)]) {
    const Vector<int>& variables = separators[At(s)].variables;
    const auto at = std::find(variables.begin(), variables.end(), node) - variables.begin();
    for (int m = 2 * s; m < 2 * s + 2; ++m)
      if (messages[At(m)].fixedAt[static_cast<std::size_t>(at)] != FREE) Invalidate(m);
  }
}

// ---------------------------------------------------------------------------------------------------------------

std::size_t Inference::Impl::FreeSize(std::span<const int> variables) const {
  std::size_t size = 1;
  for (int v : variables)
    if (findings[At(v)].state == FREE) size *= At(numstates[At(v)]);
  return size;
}

void Inference::Impl::BeginPass(int c) {
  const CliqueState& clique = cliques[At(c)];
  shape.sizes.clear();
  shape.potentialStrides.clear();
  shape.factors.clear();
  shape.targets.clear();
  data.factors.clear();
  data.targets.clear();
  data.potential = clique.potential.get();
  int stride = 1;
  for (std::size_t k = clique.variables.size(); k-- > 0;) {
    const int v = clique.variables[k];
    if (findings[At(v)].state == FREE) {
      shape.sizes.insert(shape.sizes.begin(), numstates[At(v)]);
      shape.potentialStrides.insert(shape.potentialStrides.begin(), stride);
    } else {
      data.potential += findings[At(v)].state * stride;
    }
    stride *= numstates[At(v)];
  }
}

void Inference::Impl::AddFactor(int c, std::span<const int> variables, std::span<const int> fixedAt,
                                const float* table) {
  Vector<int> strideOf(variables.size(), 0);
  int stride = 1;
  for (std::size_t k = variables.size(); k-- > 0;) {
    if (!fixedAt.empty() && fixedAt[k] != FREE) continue;
    const int state = findings[At(variables[k])].state;
    if (state == FREE)
      strideOf[k] = stride;
    else
      table += state * stride;
    stride *= numstates[At(variables[k])];
  }
  PassTable entryStrides;
  for (int v : cliques[At(c)].variables) {
    if (findings[At(v)].state != FREE) continue;
    const auto found = std::find(variables.begin(), variables.end(), v);
    entryStrides.strides.push_back(
        found == variables.end() ? 0 : strideOf[static_cast<std::size_t>(found - variables.begin())]);
  }
  shape.factors.push_back(std::move(entryStrides));
  data.factors.push_back(table);
}

void Inference::Impl::AddIncoming(int c, int exceptLink) {
  const CliqueState& clique = cliques[At(c)];
  for (std::size_t k = 0; k < clique.links.size(); ++k) {
    if (static_cast<int>(k) == exceptLink) continue;
    const Message& message = messages[At(clique.links[k].in)];
    AddFactor(c, separators[At(clique.links[k].separator)].variables, message.fixedAt, message.probs);
  }
  for (int node : clique.entered) {
    const Finding& finding = findings[At(node)];
    if (!finding.weights.empty()) AddFactor(c, std::span<const int>(&node, 1), {}, finding.weights.data());
  }
}

double* Inference::Impl::AddTarget(int c, std::span<const int> variables) {
  Vector<int> strideOf(variables.size(), 0);
  int stride = 1;
  for (std::size_t k = variables.size(); k-- > 0;) {
    if (findings[At(variables[k])].state != FREE) continue;
    strideOf[k] = stride;
    stride *= numstates[At(variables[k])];
  }
  PassTable entryStrides;
  for (int v : cliques[At(c)].variables) {
    if (findings[At(v)].state != FREE) continue;
    const auto found = std::find(variables.begin(), variables.end(), v);
    entryStrides.strides.push_back(
        found == variables.end() ? 0 : strideOf[static_cast<std::size_t>(found - variables.begin())]);
  }
  shape.targets.push_back(std::move(entryStrides));
  const std::size_t k = data.targets.size();
  if (sums.size() <= k) sums.resize(k + 1);
  sums[k].assign(FreeSize(variables), 0.0);
  data.targets.push_back(sums[k].data());
  return sums[k].data();
}

long long Inference::Impl::IncomingExponent(int c, int exceptLink) const {
  long long exponent = 0;
  const CliqueState& clique = cliques[At(c)];
  for (std::size_t k = 0; k < clique.links.size(); ++k)
    if (static_cast<int>(k) != exceptLink) exponent += messages[At(clique.links[k].in)].exponent;
  return exponent;
}

// The exponent that the entries carry so far stands in the message; answers whether any entry is above 0.
bool Inference::Impl::StoreMessage(int m, double* entries, bool divide) {
  Message& message = messages[At(m)];
  const SeparatorState& separator = separators[At(m / 2)];
  const std::size_t size = FreeSize(separator.variables);
  for (std::size_t k = 0; k < separator.variables.size(); ++k)
    message.fixedAt[k] = findings[At(separator.variables[k])].state;
  if (divide) {
    const Message& against = messages[At(m ^ 1)];
    message.exponent -= against.exponent;
    message.rests = false;
    Vector<int> at(separator.variables.size(), 0);
    for (std::size_t i = 0; i < size; ++i) {
      std::size_t index = 0;
      for (std::size_t k = 0; k < separator.variables.size(); ++k) {
        if (against.fixedAt[k] != FREE) continue;
        const int state = message.fixedAt[k] == FREE ? at[k] : message.fixedAt[k];
        index = index * At(numstates[At(separator.variables[k])]) + At(state);
      }
      if (against.probs[index] == 0) {
        entries[i] = 0;
        message.rests = true;
      } else {
        entries[i] /= against.probs[index];
      }
      for (std::size_t k = separator.variables.size(); k-- > 0;) {
        if (message.fixedAt[k] != FREE) continue;
        if (++at[k] < numstates[At(separator.variables[k])]) break;
        at[k] = 0;
      }
    }
  }
  const double largest = *std::max_element(entries, entries + size);
  if (!(largest > 0)) return false;
  const int exponent = Exponent(largest);
  const double scale = std::ldexp(1.0, -exponent);
  for (std::size_t i = 0; i < size; ++i) message.probs[i] = static_cast<float>(entries[i] * scale);
  message.exponent += exponent;
  message.valid = true;
  return true;
}

bool Inference::Impl::MakeMessage(int c, int k) {
  const Link& link = cliques[At(c)].links[At(k)];
  BeginPass(c);
  AddIncoming(c, k);
  double* entries = AddTarget(c, separators[At(link.separator)].variables);
  Run();
  Message& message = messages[At(link.out)];
  message.exponent = IncomingExponent(c, k);
  message.rests = false;
  return StoreMessage(link.out, entries, false);
}

// Makes every message into the clique valid, deepest first; false when one of them is all 0.
bool Inference::Impl::Collect(int root) {
  // path: cliques from the root down to the one looked at; cursor: the link of each looked at next.
  path.assign(1, root);
  cursor.assign(1, 0);
  while (!path.empty()) {
    const int c = path.back();
    const CliqueState& clique = cliques[At(c)];
    const int above = path.size() > 1 ? path[path.size() - 2] : -1;
    bool descended = false;
    while (At(cursor.back()) < clique.links.size()) {
      const Link& link = clique.links[At(cursor.back()++)];
      if (link.neighbour == above || messages[At(link.in)].valid) continue;
      path.push_back(link.neighbour);
      cursor.push_back(0);
      descended = true;
      break;
    }
    if (descended) continue;
    if (above >= 0) {
      int k = 0;
      while (clique.links[At(k)].neighbour != above) ++k;
      if (!MakeMessage(c, k)) return false;
    }
    path.pop_back();
    cursor.pop_back();
  }
  return true;
}

bool Inference::Impl::Normalize(const double* from, std::span<float> to) const {
  double whole = 0;
  for (std::size_t i = 0; i < to.size(); ++i) whole = maximize ? std::max(whole, from[i]) : whole + from[i];
  if (!(whole > 0)) {
    std::fill(to.begin(), to.end(), 0.0f);
    return false;
  }
  for (std::size_t i = 0; i < to.size(); ++i) to[i] = static_cast<float>(from[i] / whole);
  return true;
}

// The cliques from one to another, both included.
void Inference::Impl::StepTowards(int from, int to, Vector<int>* way) {
  way->clear();
  Vector<int> down;
  while (from != to) {
    if (depth[At(from)] >= depth[At(to)]) {
      way->push_back(from);
      from = parentClique[At(from)];
    } else {
      down.push_back(to);
      to = parentClique[At(to)];
    }
  }
  way->push_back(from);
  way->insert(way->end(), down.rbegin(), down.rend());
}

// Of the cliques that hold the node, the nearest to where messages were collected.
int Inference::Impl::CliqueForReading(int node) {
  StepTowards(entry[At(node)], pivot, &path);
  int best = path[0];
  for (std::size_t i = 1; i < path.size(); ++i) {
    const Vector<int>& members = tree->cliques[At(path[i])].members;
    if (std::find(members.begin(), members.end(), node) == members.end()) break;
    best = path[i];
  }
  return best;
}

// ---------------------------------------------------------------------------------------------------------------

void Inference::Impl::Multiply(int c, int node, const float* table) {
  CliqueState& clique = cliques[At(c)];
  // Strides of the table over the clique's variables.
  Vector<int> strides(clique.variables.size(), 0), at(clique.variables.size(), 0);
  auto place = [&](int v, int stride) {
    const auto found = std::find(clique.variables.begin(), clique.variables.end(), v);
    if (found != clique.variables.end()) strides[static_cast<std::size_t>(found - clique.variables.begin())] = stride;
  };
  const int own = numstates[At(node)];
  place(node, 1);
  int stride = own;
  const Vector<int>& family = parents[At(node)];
  for (std::size_t k = family.size(); k-- > 0;) {
    place(family[k], stride);
    stride *= numstates[At(family[k])];
  }
  Vector<float> clean;
  if (std::any_of(table, table + stride, [](float x) { return x < 0; })) {
    clean.assign(table, table + stride);
    for (auto row = clean.begin(); row != clean.end(); row += own)
      if (std::any_of(row, row + own, [](float x) { return x < 0; })) std::fill(row, row + own, 0.0f);
    table = clean.data();
  }
  int index = 0;
  for (std::size_t i = 0; i < clique.size; ++i) {
    clique.potential[i] *= table[index];
    for (std::size_t k = clique.variables.size(); k-- > 0;) {
      index += strides[k];
      if (++at[k] < numstates[At(clique.variables[k])]) break;
      index -= at[k] * strides[k];
      at[k] = 0;
    }
  }
}

void Inference::Impl::FillClique(int c, const std::function<const float*(int)>& table) {
  CliqueState& clique = cliques[At(c)];
  std::fill_n(clique.potential.get(), clique.size, 1.0f);
  for (int node : clique.homed)
    if (const float* rows = table(node)) Multiply(c, node, rows);
}

// ---------------------------------------------------------------------------------------------------------------

Inference::Inference() : impl_(NewObject<Impl>()) {}

Inference::~Inference() {
  DeleteObject(impl_);
}

Owned<Inference> Inference::Make(const JunctionTree& tree, std::span<const int> numstates,
                                 std::span<const Vector<int>> parents) {
  Owned<Inference> inference = MakeOwned<Inference>();
  Impl& impl = *inference->impl_;
  impl.tree = &tree;
  impl.parents = parents;
  impl.numstates.assign(numstates.begin(), numstates.end());
  impl.Build();
  return inference;
}

Status Inference::AllocatePotentials(int* failedClique) {
  Impl& impl = *impl_;
  if (impl.allocated) return Status::Done;
  auto allocate = [&](Block<float>* block, double entries) {
    if (!(entries < MAX_TABLE_ENTRIES)) return false;
    *block = TryMakeBlock<float>(static_cast<std::size_t>(entries));
    return *block != nullptr;
  };
  for (std::size_t c = 0; c < impl.cliques.size(); ++c) {
    CliqueState& clique = impl.cliques[c];
    bool good = allocate(&clique.potential, impl.tree->cliques[c].size);
    if (good) clique.size = static_cast<std::size_t>(impl.tree->cliques[c].size);
    for (const Link& link : clique.links) {
      SeparatorState& separator = impl.separators[At(link.separator)];
      if (!good || separator.tables) continue;
      const double size = impl.tree->separators[At(link.separator)].size;
      good = size < MAX_TABLE_ENTRIES && allocate(&separator.tables, 2 * size);
      if (!good) continue;
      separator.size = static_cast<std::size_t>(size);
      impl.messages[2 * At(link.separator)].probs = separator.tables.get();
      impl.messages[2 * At(link.separator) + 1].probs = separator.tables.get() + separator.size;
    }
    if (!good) {
      if (failedClique) *failedClique = static_cast<int>(c);
      DropPotentials();
      return Status::NoMemory;
    }
  }
  impl.allocated = true;
  return Status::Done;
}

void Inference::DropPotentials() {
  Impl& impl = *impl_;
  for (CliqueState& clique : impl.cliques) clique.potential.reset();
  for (SeparatorState& separator : impl.separators) separator.tables.reset();
  impl.allocated = impl.filled = false;
  impl.InvalidateAll();
}

Status Inference::FillPotentials(const std::function<const float*(int)>& table) {
  Impl& impl = *impl_;
  if (!impl.allocated) return Status::NoMemory;
  for (std::size_t c = 0; c < impl.cliques.size(); ++c) impl.FillClique(static_cast<int>(c), table);
  impl.InvalidateAll();
  impl.filled = true;
  return Status::Done;
}

Status Inference::RefillHome(int node, const std::function<const float*(int)>& table) {
  Impl& impl = *impl_;
  if (!impl.filled) return Status::NoMemory;
  const int c = impl.tree->home[At(node)];
  impl.FillClique(c, table);
  impl.Changed(c);
  return Status::Done;
}

void Inference::SetState(int node, int state) {
  Impl& impl = *impl_;
  Finding& finding = impl.findings[At(node)];
  if (finding.state == state && finding.weights.empty()) return;
  if (impl.numstates[At(node)] == 1) {
    ClearFinding(node);
    return;
  }
  if (finding.state != FREE) impl.ForgetState(node);
  finding.state = state;
  finding.weights.clear();
  finding.scale = 1;
  impl.Changed(impl.entry[At(node)]);
}

void Inference::SetLikelihood(int node, std::span<const float> weights) {
  Impl& impl = *impl_;
  Finding& finding = impl.findings[At(node)];
  const float largest = std::max(0.0f, *std::max_element(weights.begin(), weights.end()));
  Vector<float> scaled(weights.begin(), weights.end());
  for (float& w : scaled) w = w > 0 ? w / largest : 0;
  if (finding.state == FREE && finding.weights == scaled && finding.scale == largest) return;
  if (finding.state != FREE) impl.ForgetState(node);
  finding.state = FREE;
  finding.weights = std::move(scaled);
  finding.scale = largest;
  impl.Changed(impl.entry[At(node)]);
}

void Inference::ClearFinding(int node) {
  Impl& impl = *impl_;
  Finding& finding = impl.findings[At(node)];
  if (finding.state == FREE && finding.weights.empty()) return;
  if (finding.state != FREE) impl.ForgetState(node);
  finding.state = FREE;
  finding.weights.clear();
  finding.scale = 1;
  impl.Changed(impl.entry[At(node)]);
}

void Inference::SetMaximize(bool on) {
  if (impl_->maximize == on) return;
  impl_->maximize = on;
  impl_->InvalidateAll();
}

Status Inference::Propagate() {
  Impl& impl = *impl_;
  if (impl.propagated) return impl.status;
  if (!impl.filled) return Status::NoMemory;
  impl.propagated = true;
  impl.status = Status::Inconsistent;
  impl.total = 0;
  impl.totalExponent = 0;
  if (impl.cliques.empty()) {
    impl.total = 1;
    return impl.status = Status::Done;
  }
  if (!impl.Collect(impl.pivot)) return impl.status;
  impl.BeginPass(impl.pivot);
  impl.AddIncoming(impl.pivot, -1);
  const double* sum = impl.AddTarget(impl.pivot, {});
  impl.Run();
  impl.total = *sum;
  impl.totalExponent = impl.IncomingExponent(impl.pivot, -1);
  for (const Finding& finding : impl.findings) {
    if (finding.weights.empty()) continue;
    impl.total *= finding.scale;
    if (!(impl.total > 0)) break;
    const int exponent = Exponent(impl.total);
    impl.total = std::ldexp(impl.total, -exponent);
    impl.totalExponent += exponent;
  }
  if (impl.total > 0) impl.status = Status::Done;
  return impl.status;
}

double Inference::Probability() const {
  const long long exponent = std::clamp(impl_->totalExponent, -100000LL, 100000LL);
  return std::ldexp(impl_->total, static_cast<int>(exponent));
}

double Inference::LogProbability() const {
  if (!(impl_->total > 0)) return -std::numeric_limits<double>::infinity();
  return std::log(impl_->total) + static_cast<double>(impl_->totalExponent) * 0.69314718055994530942;
}

bool Inference::Beliefs(int node, std::span<float> out) {
  Impl& impl = *impl_;
  const int state = impl.findings[At(node)].state;
  std::fill(out.begin(), out.end(), 0.0f);
  if (Propagate() != Status::Done) return false;
  if (state != FREE || out.size() == 1) {
    out[At(std::max(state, 0))] = 1;
    return true;
  }
  const int c = impl.CliqueForReading(node);
  if (!impl.Collect(c)) return false;
  impl.BeginPass(c);
  impl.AddIncoming(c, -1);
  const double* sum = impl.AddTarget(c, std::span<const int>(&node, 1));
  impl.Run();
  return impl.Normalize(sum, out);
}

bool Inference::AllBeliefs(const std::function<float*(int)>& out) {
  Impl& impl = *impl_;
  if (Propagate() != Status::Done) return false;
  bool good = true;
  // Outward from the pivot; each clique's marginals are taken as it is passed.
  Vector<int> queue, from;
  if (!impl.cliques.empty()) queue.push_back(impl.pivot), from.push_back(-1);
  for (std::size_t head = 0; head < queue.size(); ++head) {
    const int c = queue[head];
    const CliqueState& clique = impl.cliques[At(c)];
    Vector<int> outgoing;
    for (std::size_t k = 0; k < clique.links.size(); ++k) {
      const Link& link = clique.links[k];
      if (link.neighbour == from[head]) continue;
      queue.push_back(link.neighbour);
      from.push_back(c);
      if (!impl.messages[At(link.out)].valid) outgoing.push_back(static_cast<int>(k));
    }
    impl.BeginPass(c);
    impl.AddIncoming(c, -1);
    for (int k : outgoing) impl.AddTarget(c, impl.separators[At(clique.links[At(k)].separator)].variables);
    for (int node : clique.entered) impl.AddTarget(c, std::span<const int>(&node, 1));
    impl.Run();
    for (std::size_t i = 0; i < outgoing.size(); ++i) {
      const Link& link = clique.links[At(outgoing[i])];
      impl.messages[At(link.out)].exponent = impl.IncomingExponent(c, -1);
      good &= impl.StoreMessage(link.out, impl.sums[i].data(), true);
    }
    for (std::size_t i = 0; i < clique.entered.size(); ++i) {
      const int node = clique.entered[i];
      float* belief = out(node);
      if (!belief) continue;
      const std::size_t numstates = At(impl.numstates[At(node)]);
      const int state = impl.findings[At(node)].state;
      if (state != FREE) {
        std::fill_n(belief, numstates, 0.0f);
        belief[state] = 1;
      } else {
        good &= impl.Normalize(impl.sums[outgoing.size() + i].data(), {belief, numstates});
      }
    }
  }
  return good;
}

bool Inference::FamilyMarginal(int node, std::span<float> out) {
  Impl& impl = *impl_;
  std::fill(out.begin(), out.end(), 0.0f);
  if (Propagate() != Status::Done) return false;
  const int c = impl.tree->home[At(node)];
  if (!impl.Collect(c)) return false;
  Vector<int> family(impl.parents[At(node)].begin(), impl.parents[At(node)].end());
  family.push_back(node);
  impl.BeginPass(c);
  impl.AddIncoming(c, -1);
  const double* sums = impl.AddTarget(c, family);
  impl.Run();
  // The sums are dense over the free variables; the rest of the table stays 0.
  Vector<float> normalized(impl.FreeSize(family));
  const bool good = impl.Normalize(sums, normalized);
  Vector<int> at(family.size(), 0);
  for (float value : normalized) {
    std::size_t index = 0;
    for (std::size_t k = 0; k < family.size(); ++k) {
      const int state = impl.findings[At(family[k])].state;
      index = index * At(impl.numstates[At(family[k])]) + At(state == FREE ? at[k] : state);
    }
    out[index] = value;
    for (std::size_t k = family.size(); k-- > 0;) {
      if (impl.findings[At(family[k])].state != FREE) continue;
      if (++at[k] < impl.numstates[At(family[k])]) break;
      at[k] = 0;
    }
  }
  return good;
}

unsigned long long Inference::Stamp() const {
  return impl_->stamp;
}

double Inference::Bytes() const {
  double entries = 0;
  if (impl_->allocated) {
    for (const CliqueState& clique : impl_->cliques) entries += static_cast<double>(clique.size);
    for (const SeparatorState& separator : impl_->separators) entries += 2 * static_cast<double>(separator.size);
  }
  return entries * sizeof(float);
}

}  // namespace bravic::engine
