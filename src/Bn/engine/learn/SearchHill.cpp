// Greedy search: the link whose adding, removing or turning round gains most, again and again. Where nothing gains any
// more the change that loses least is made, and links changed lately are left as they are (tabu search; Glover 1989),
// until so many changes in a row have led nowhere; then from the best links, with some of them changed at random.
//
// What each change of one parent would gain its child stands in a matrix, of which a change leaves all but one or two
// rows as they are. Of each row the best change that may be made is known.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

#include "Basic/RandomStream.h"
#include "Bn/engine/learn/LinkSearch.h"

namespace bravic::engine {

namespace {

constexpr double NEVER = -std::numeric_limits<double>::infinity();
constexpr int TABU_STEPS = 10;  // that a changed link is left alone
constexpr int STEPS_LED_NOWHERE = 15;
constexpr double LEAST_GAIN = 1e-10;  // of the score: what is less may be rounding

struct Change {
  enum Kind : unsigned char { ADD, REMOVE, TURN } kind = ADD;
  int from = -1, to = -1;  // the link as it is, or is to be
  double gain = NEVER;
};

class Climber {
 public:
  explicit Climber(const LinkSearch& search)
      : search_(search),
        scores_(*search.scores),
        rules_(*search.rules),
        n_(search.scores->NumNodes()),
        random_(search.seed),
        began_(Clock::now()) {}

  FoundLinks Search() {
    gains_ = TryMakeBlock<double>(static_cast<std::size_t>(n_) * n_);
    if (!gains_) return Stopped(Status::NoMemory);
    SetLinks(search_.start);
    best_ = links_;
    bestScore_ = score_;
    Climb();
    for (int k = 0; k < search_.restarts && !Stops(); ++k) {
      SetLinks(best_);
      Shake();
      Climb();
    }
    if (!scores_.IsReady()) return Stopped(Status::NoMemory);
    if (search_.interrupt && search_.interrupt->halted) return Stopped(Status::Halted);
    FoundLinks found;
    found.score = scores_.Score(best_);
    found.parents = std::move(best_);
    found.steps = steps_;
    return found;
  }

 private:
  using Clock = std::chrono::steady_clock;

  static FoundLinks Stopped(Status status) {
    FoundLinks found;
    found.status = status;
    return found;
  }
  bool Stops() const {
    if (!scores_.IsReady() || (search_.interrupt && search_.interrupt->halted)) return true;
    return search_.maxSeconds > 0 && std::chrono::duration<double>(Clock::now() - began_).count() >= search_.maxSeconds;
  }

  double& GainOf(int from, int to) { return gains_[static_cast<std::size_t>(to) * n_ + from]; }
  bool IsParent(int from, int to) const { return std::binary_search(links_[to].begin(), links_[to].end(), from); }

  // Rows of nodes that keep their parents stay as they are.
  void SetLinks(const Links& links) {
    const bool isFirst = links_.empty();
    links_.resize(n_);
    nodeScores_.resize(n_);
    rowBest_.resize(n_);
    rejected_.Reset(n_);
    rejectedTurns_.Reset(n_);
    tabu_.clear();
    isStale_.assign(n_, 1);
    score_ = 0;
    for (int node = 0; node < n_ && !Stops(); ++node) {
      if (isFirst || links_[node] != links[node]) {
        links_[node] = links[node];
        ScoreRow(node);
      }
      score_ += nodeScores_[node];
    }
    FindReached();
  }

  void FindReached() {
    reached_.Reset(n_);
    const Vector<int> order = ParentsFirst(links_);
    for (int i = order.size(); i-- > 0;) {
      for (int parent : links_[order[i]]) {
        reached_.SetAll(parent, order[i]);
        reached_.Set(parent, order[i]);
      }
    }
  }

  // What changes of the node's parents would gain.
  void ScoreRow(int node) {
    nodeScores_[node] = scores_.Score(node, links_[node]);
    others_.clear();
    const bool isFull = links_[node].size() >= rules_.MostParents();
    for (int other = 0; other < n_; ++other) {
      GainOf(other, node) = NEVER;
      const bool isParent = IsParent(other, node);
      if (isParent ? !rules_.Requires(other, node) : !isFull && rules_.Allows(other, node)) others_.push_back(other);
    }
    found_.resize(others_.size());
    scores_.ScoreToggled(node, links_[node], others_, found_.data());
    for (int k = 0; k < others_.size(); ++k) GainOf(others_[k], node) = found_[k] - nodeScores_[node];
    isStale_[node] = 1;
  }

  bool IsTabu(int a, int b) const {
    const NetLink pair = {std::min(a, b), std::max(a, b)};
    return std::any_of(tabu_.begin(), tabu_.end(), [&](const Tabu& tabu) { return tabu.pair == pair; });
  }

  bool HasOtherWay(int from, int to) const {
    return std::any_of(links_[to].begin(), links_[to].end(),
                       [&](int parent) { return parent != from && reached_.Has(from, parent); });
  }

  bool IsFit(const Change& change) const {
    if (change.gain == NEVER || IsTabu(change.from, change.to)) return false;
    switch (change.kind) {
      case Change::ADD:
        return !reached_.Has(change.to, change.from) && !rejected_.Has(change.to, change.from);
      case Change::REMOVE:
        return !rejected_.Has(change.to, change.from);
      case Change::TURN:
        return !HasOtherWay(change.from, change.to) && !rejectedTurns_.Has(change.to, change.from);
    }
    return false;
  }

  void FindRowBest(int to) {
    Change best;
    const auto look = [&](const Change& change) {
      if (change.gain > best.gain && IsFit(change)) best = change;
    };
    for (int from = 0; from < n_; ++from) {
      const double gain = GainOf(from, to);
      if (gain == NEVER) continue;
      const bool isParent = IsParent(from, to);
      look({isParent ? Change::REMOVE : Change::ADD, from, to, gain});
      if (isParent) look({Change::TURN, from, to, gain + GainOf(to, from)});
    }
    rowBest_[to] = best;
    isStale_[to] = 0;
  }

  // The best change that may be made, the first of equals; without a gain when there is none.
  Change FindBest() {
    for (;;) {
      Change best;
      for (int to = 0; to < n_; ++to) {
        if (isStale_[to]) FindRowBest(to);
        if (rowBest_[to].gain > best.gain) best = rowBest_[to];
      }
      if (best.gain == NEVER) return best;
      if (!IsFit(best)) {
        isStale_[best.to] = 1;
      } else if (FitsLimit(best)) {
        return best;
      } else {
        (best.kind == Change::TURN ? rejectedTurns_ : rejected_).Set(best.to, best.from);
        isStale_[best.to] = 1;
      }
      if (Stops()) return {};
    }
  }

  bool FitsLimit(const Change& change) {
    if (!search_.limit) return true;
    if (change.kind == Change::ADD) {
      Vector<int> family = links_[change.to];
      family.push_back(change.from);
      return search_.limit->AllowsFamily(links_, change.to, family);
    }
    Links changed = links_;
    Toggle(change.from, change.to, &changed);
    if (change.kind == Change::TURN) Toggle(change.to, change.from, &changed);
    return search_.limit->Allows(changed);
  }

  static void Toggle(int from, int to, Links* links) {
    Vector<int>& parents = (*links)[to];
    const auto at = std::lower_bound(parents.begin(), parents.end(), from);
    if (at != parents.end() && *at == from) {
      parents.erase(at);
    } else {
      parents.insert(at, from);
    }
  }

  void Make(const Change& change) {
    Toggle(change.from, change.to, &links_);
    if (change.kind == Change::TURN) Toggle(change.to, change.from, &links_);
    if (change.kind == Change::ADD) {
      for (int node = 0; node < n_; ++node) {
        if (node != change.from && !reached_.Has(node, change.from)) continue;
        reached_.SetAll(node, change.to);
        reached_.Set(node, change.to);
      }
    } else {
      // What was refused for a cycle or for the entries may fit now.
      FindReached();
      rejected_.Reset(n_);
      rejectedTurns_.Reset(n_);
      isStale_.assign(n_, 1);
    }
    Rescore(change.to);
    if (change.kind == Change::TURN) Rescore(change.from);
    NoteTabu(change);
    ++steps_;
  }

  void Rescore(int node) {
    score_ -= nodeScores_[node];
    ScoreRow(node);
    score_ += nodeScores_[node];
    // Turning a link round to the node is a change of its child's row.
    for (int child = 0; child < n_; ++child)
      if (IsParent(node, child)) isStale_[child] = 1;
  }

  void NoteTabu(const Change& change) {
    for (const Tabu& tabu : tabu_) {
      if (tabu.step > steps_) continue;
      isStale_[tabu.pair.from] = isStale_[tabu.pair.to] = 1;
    }
    std::erase_if(tabu_, [this](const Tabu& tabu) { return tabu.step <= steps_; });
    tabu_.push_back({{std::min(change.from, change.to), std::max(change.from, change.to)}, steps_ + TABU_STEPS});
  }

  void Climb() {
    double reached = score_;
    for (int numNowhere = 0; numNowhere < STEPS_LED_NOWHERE && !Stops(); ++numNowhere) {
      const Change change = FindBest();
      if (change.gain == NEVER) return;
      Make(change);
      if (!scores_.IsReady()) return;
      if (IsBetter(score_, reached)) {
        reached = score_;
        numNowhere = -1;
      }
      if (!IsBetter(score_, bestScore_)) continue;
      best_ = links_;
      bestScore_ = score_;
    }
  }

  static bool IsBetter(double score, double than) { return score > than + LEAST_GAIN * std::abs(than); }

  // Some changes at random around one node, whatever they lose.
  void Shake() {
    constexpr int LEAST_CHANGES = 3, MORE_CHANGES = 8, TRIES = 10;
    if (n_ < 2) return;
    const int center = random_.Below(n_), wanted = LEAST_CHANGES + random_.Below(MORE_CHANGES);
    Vector<int> around = links_[center];
    around.push_back(center);
    for (int node = 0; node < n_; ++node)
      if (IsParent(center, node)) around.push_back(node);
    for (int k = 0, made = 0; k < TRIES * wanted && made < wanted && !Stops(); ++k) {
      Change change;
      change.to = around[random_.Below(around.size())];
      // Half of the tries are about links that there are.
      const Vector<int>& parents = links_[change.to];
      change.from =
          random_.Below(2) == 0 || parents.empty() ? random_.Below(n_) : parents[random_.Below(parents.size())];
      change.gain = GainOf(change.from, change.to);
      if (IsParent(change.from, change.to)) {
        change.kind = random_.Below(2) == 0 ? Change::TURN : Change::REMOVE;
        if (change.kind == Change::TURN) change.gain += GainOf(change.to, change.from);
      }
      if (!IsFit(change) || !FitsLimit(change)) continue;
      Make(change);
      ++made;
    }
  }

  struct Tabu {
    NetLink pair;
    int step;  // until which it is
  };

  const LinkSearch& search_;
  FamilyScores& scores_;
  const LinkRules& rules_;
  const int n_;
  RandomStream random_;
  const Clock::time_point began_;

  Links links_, best_;
  double score_ = 0, bestScore_ = 0;
  int steps_ = 0;
  Vector<double> nodeScores_;         // [node]
  Block<double> gains_;               // [child x other] of the other made a parent, or made none; NEVER: may not be
  BitRows reached_;                   // by node: its descendants
  BitRows rejected_, rejectedTurns_;  // by child: the limit refused it, with no fewer links than there are
  Vector<Change> rowBest_;            // [child]
  Vector<unsigned char> isStale_;     // [child] whether a better change may have come into its row
  Vector<Tabu> tabu_;
  Vector<int> others_;
  Vector<double> found_;
};

}  // namespace

FoundLinks SearchHill(const LinkSearch& search) {
  return Climber(search).Search();
}

}  // namespace bravic::engine
