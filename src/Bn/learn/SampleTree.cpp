#include "Bn/learn/SampleTree.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Basic/Random.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/engine/Axes.h"

namespace bravic {
namespace {

constexpr double ENTRY_WORK = 4;  // nanoseconds, about, to multiply one

// value x 2^(STEP x scale), value 0 or well within the range of doubles: a product of any number of probabilities.
struct Scaled {
  static constexpr int STEP = 400;
  static constexpr double UP = 0x1p400, DOWN = 1 / UP;
  double value = 0;
  long long scale = 0;

  void Multiply(double by) {
    value *= by;
    if (value == 0 || value >= DOWN) return;
    value *= UP;
    --scale;
  }
  void Multiply(const Scaled& by) {
    Multiply(by.value);
    scale += by.scale;
  }
  // What is two steps smaller is beyond the digits of the other.
  void Add(const Scaled& other) {
    if (other.value == 0) return;
    if (value == 0 || other.scale > scale + 1) {
      *this = other;
    } else if (other.scale == scale) {
      value += other.value;
    } else if (other.scale == scale + 1) {
      value = value * DOWN + other.value;
      scale = other.scale;
    } else if (other.scale == scale - 1) {
      value += other.value * DOWN;
    }
  }
  // In proportion to another; 0 where it is too small to be told.
  double Over(const Scaled& other) const {
    const long long steps = scale - other.scale;
    return value == 0 || steps < -2 ? 0 : std::ldexp(value / other.value, static_cast<int>(steps) * STEP);
  }
};

// Configurations of some nodes, the last fastest, with the place of each in tables over subsets of them.
class Walk {
 public:
  Walk(std::span<const int> members, std::span<const int> numstates) : members_(members), at_(members.size(), 0) {
    for (int m : members) sizes_.push_back(numstates[m]);
  }
  // A table over some of the members in their own order, its last node fastest; answers its number.
  int AddTable(std::span<const int> nodes) {
    Vector<std::size_t> strides(members_.size(), 0);
    std::size_t stride = 1;
    for (int k = Count(nodes); k-- > 0;) {
      const auto m = std::find(members_.begin(), members_.end(), nodes[k]) - members_.begin();
      strides[m] += stride;
      stride *= sizes_[m];
    }
    strides_.push_back(std::move(strides));
    places_.push_back(0);
    return places_.size() - 1;
  }
  std::size_t Place(int table) const { return places_[table]; }
  bool Next() {
    const auto move = [this](int m, int steps) {
      for (int t = 0; t < places_.size(); ++t) places_[t] += steps * strides_[t][m];
    };
    return engine::StepOn(sizes_.size(), sizes_.data(), at_.data(), move) >= 0;
  }

 private:
  std::span<const int> members_;
  Vector<int> sizes_, at_;
  Vector<Vector<std::size_t>> strides_;  // [table][member]
  Vector<std::size_t> places_;
};

// Whether the state agrees with the finding, as a weight of at most 1.
double FindingWeight(const bnode& node, statetype state, float largest) {
  if (node.evidence >= 0) return state == node.evidence;
  return node.likelihood ? double{node.likelihood[state]} / largest : 1;
}

}  // namespace

class TreeSampler::Collector {
 public:
  Collector(TreeSampler& sampler, const CompiledNet& net, std::span<const node_bn> nodes, LongWork& work)
      : sampler_(sampler), net_(net), tree_(net.computingTree), work_(work), isSampled_(net.nodes.size(), 0) {
    for (node_bn node : nodes) isSampled_[node->compiledIndex] = 1;
    messages_.resize(tree_.cliques.size());
  }

  // From the last clique inward, so that every message is there when it is multiplied in.
  bool Collect() {
    OrderCliques();
    sampler_.cliques_.resize(order_.size());
    for (int i = order_.size(); i-- > 0;) {
      if (!CollectAt(i)) return false;
    }
    Scaled whole{1, 0};
    for (int c : order_) {
      if (before_[c] < 0) whole.Multiply(messages_[c].table[0]);
    }
    sampler_.acceptance_ = whole.value > 0 ? std::max(whole.Over({1, 0}), std::numeric_limits<double>::min()) : 0;
    return true;
  }

 private:
  struct Message {
    Vector<int> members;
    Vector<Scaled> table;
  };

  // Outward from the first clique; one clique per component has none before it.
  void OrderCliques() {
    before_.assign(tree_.cliques.size(), -1);
    Vector<unsigned char> found(tree_.cliques.size(), 0);
    for (int start = 0; start < found.size(); ++start) {
      if (found[start]) continue;
      found[start] = 1;
      order_.push_back(start);
      for (int head = order_.size() - 1; head < order_.size(); ++head) {
        for (int next : tree_.cliques[order_[head]].neighbours) {
          if (found[next]) continue;
          found[next] = 1;
          before_[next] = order_[head];
          order_.push_back(next);
        }
      }
    }
  }

  // First what the clique shares with the one before it, in the order of their separator.
  void ArrangeMembers(int c, Clique& clique) {
    const engine::Clique& from = tree_.cliques[c];
    for (int k = 0; k < from.neighbours.size(); ++k) {
      if (from.neighbours[k] != before_[c]) continue;
      const Vector<int>& shared = tree_.separators[from.separators[k]].members;
      clique.members.assign(shared.begin(), shared.end());
    }
    clique.numShared = clique.members.size();
    for (int m : from.members) {
      if (std::find(clique.members.begin(), clique.members.end(), m) != clique.members.end()) continue;
      clique.members.push_back(m);
      clique.numOwn *= net_.numstates[m];
    }
  }

  // The product of what is at the clique and behind it: the tables of the nodes at home there with their findings, and
  // the messages, which are not needed afterwards. False when it is halted or there is no room.
  bool Multiply(int c, const Clique& clique, Block<Scaled>& product, std::size_t size) {
    product = TryMakeBlock<Scaled>(size);
    if (!product) return false;
    std::fill_n(product.get(), size, Scaled{1, 0});
    const auto times = [&](std::span<const int> nodes, auto entry) {
      Walk walk(clique.members, net_.numstates);
      walk.AddTable(nodes);
      std::size_t i = 0;
      do {
        if (work_.Halts(ENTRY_WORK)) return;
        entry(product[i++], walk.Place(0));
      } while (walk.Next());
    };
    for (int n = 0; n < net_.nodes.size(); ++n) {
      const bnode& node = *net_.nodes[n];
      if (!isSampled_[n] || tree_.home[n] != c) continue;
      Vector<int> family(net_.parents[n].begin(), net_.parents[n].end());
      family.push_back(n);
      const float largest = node.likelihood ? *std::max_element(node.likelihood, node.likelihood + node.numstates) : 1;
      times(family, [&](Scaled& to, std::size_t place) {
        const auto state = static_cast<statetype>(place % node.numstates);
        to.Multiply(std::max(node.probs[place], 0.0f));
        to.Multiply(FindingWeight(node, state, largest));
      });
    }
    for (int next : tree_.cliques[c].neighbours) {
      if (next == before_[c]) continue;
      const Message& message = messages_[next];
      times(message.members, [&](Scaled& to, std::size_t place) { to.Multiply(message.table[place]); });
      Vector<Scaled>().swap(messages_[next].table);
    }
    return !work_.IsHalted();
  }

  // Makes the clique's message to the one before it, and its rows of running sums, from which draws are made.
  bool CollectAt(int i) {
    const int c = order_[i];
    Clique& clique = sampler_.cliques_[i];
    ArrangeMembers(c, clique);
    std::size_t rows = 1;
    for (int m = 0; m < clique.numShared; ++m) rows *= net_.numstates[clique.members[m]];
    Block<Scaled> product;
    if (!Multiply(c, clique, product, rows * clique.numOwn)) return false;
    Message& message = messages_[c];
    message.members.assign(clique.members.begin(), clique.members.begin() + clique.numShared);
    message.table.assign(rows, {});
    clique.sums.resize(rows * clique.numOwn);
    for (std::size_t row = 0; row < rows; ++row) {
      const std::size_t first = row * clique.numOwn;
      message.table[row] = SumUp({product.get() + first, clique.numOwn}, clique.sums.data() + first);
    }
    return true;
  }

  // Running sums of the weights in proportion to all of them; answers that sum.
  static Scaled SumUp(std::span<const Scaled> weights, double* sums) {
    Scaled sum;
    for (const Scaled& weight : weights) sum.Add(weight);
    // Many weights that were scaled up may add up beyond 1, and products of such sums without end.
    if (sum.value > 1) {
      sum.value *= Scaled::DOWN;
      ++sum.scale;
    }
    double running = 0;
    for (const Scaled& weight : weights) {
      if (sum.value > 0) running += weight.Over(sum);
      *sums++ = running;
    }
    return sum;
  }

  TreeSampler& sampler_;
  const CompiledNet& net_;
  const engine::JunctionTree& tree_;
  LongWork& work_;
  Vector<unsigned char> isSampled_;
  Vector<int> order_, before_;  // cliques in the order of drawing; the one before each, or -1
  Vector<Message> messages_;    // [clique] to the one before it
};

bool TreeSampler::Prepare(net_bn net, std::span<const node_bn> nodes, LongWork& work) {
  const CompiledNet& compiled = *net->compiled;
  numstates_.assign(compiled.numstates.begin(), compiled.numstates.end());
  states_.assign(compiled.nodes.size(), UNDEF_STATE);
  return Collector(*this, compiled, nodes, work).Collect();
}

void TreeSampler::Draw() {
  constexpr float PARTS = 16777216;  // as many as a real draw tells apart; a second one goes between them
  for (const Clique& clique : cliques_) {
    std::size_t row = 0;
    for (int m = 0; m < clique.numShared; ++m) {
      const int i = clique.members[m];
      row = row * numstates_[i] + states_[i];
    }
    const double* begin = clique.sums.data() + row * clique.numOwn;
    const double* end = begin + clique.numOwn;
    const double part = std::floor(double{DrawReal() * PARTS});
    const double drawn = (part + DrawReal()) / PARTS * end[-1];
    // The first that is above; where rounding leaves none, the last that adds anything.
    const double* at = std::upper_bound(begin, end, drawn);
    if (at == end) at = std::lower_bound(begin, end, end[-1]);
    std::size_t own = at - begin;
    for (int m = clique.members.size(); m-- > clique.numShared;) {
      const int i = clique.members[m], numstates = numstates_[i];
      states_[i] = static_cast<statetype>(own % numstates);
      own /= numstates;
    }
  }
}

}  // namespace bravic
