// Search over orders of the nodes, in each of which the nodes choose from lists of parent sets made beforehand (after
// Scanagatta, de Campos, Corani & Zaffalon 2015). It begins from what greedy search finds, and from random orders. Once
// it has come to rest the sets next to those chosen are looked at as well, with any one parent added or taken out, and
// so are changes of single links; where some are better the walk goes on with longer lists.
//
// The walk knows nothing of a limit on entries. With one, links are added greedily along each of the orders that it
// came to rest in, and then changed freely, as far as the limit lets them.
#include <algorithm>
#include <chrono>
#include <numeric>

#include "Bn/engine/learn/CandidateSets.h"
#include "Bn/engine/learn/OrderWalk.h"

namespace bravic::engine {
namespace {

// How far all goes: as far as so much work lets it, in cells counted and in pairs of nodes, of which a walk that comes
// to rest and a leap look at each some times.
constexpr double CELLS_FOR_LISTS = 1.5e9, LEAST_ROWS = 1000;
constexpr double PAIRS_FOR_WALKS = 4e6, PAIRS_FOR_LEAPS = 3e7, PAIRS_FOR_LIMIT = 1e5;
constexpr int LEAST_LEAPS = 10, NODE_LEAPS_LED_NOWHERE = 10;  // the latter in a row, for each node
constexpr int MOST_ROUNDS = 6;

class OrderSearch {
 public:
  explicit OrderSearch(const LinkSearch& search)
      : search_(search),
        scores_(*search.scores),
        rules_(*search.rules),
        interrupt_(search.interrupt ? *search.interrupt : ownInterrupt_),
        n_(scores_.NumNodes()),
        random_(search.seed),
        began_(Clock::now()) {}

  FoundLinks Search() {
    best_.parents = search_.start;
    best_.score = scores_.Score(search_.start);
    listed_.resize(n_);
    ListLinks(search_.start);
    Climb(best_.parents);
    order_ = ParentsFirst(best_.parents);
    for (int round = 0; round < MOST_ROUNDS && !Stops(); ++round) {
      MakeLists();
      Walk(round == 0 ? 1 + search_.restarts : 1);
      if (search_.limit) ChooseWithinLimit();
      const bool hasNew = ListNeighbours();
      if (!Climb(best_.parents) && !hasNew) break;
    }
    best_.steps = steps_;
    best_.status = !scores_.IsReady() ? Status::NoMemory : interrupt_.halted ? Status::Halted : Status::Done;
    return std::move(best_);
  }

 private:
  using Clock = std::chrono::steady_clock;

  double SecondsSoFar() const { return std::chrono::duration<double>(Clock::now() - began_).count(); }
  double SecondsLeft() const {
    constexpr double LEAST = 1e-6;  // since 0 is no end at all
    return search_.maxSeconds > 0 ? std::max(search_.maxSeconds - SecondsSoFar(), LEAST) : 0;
  }
  bool Stops() const {
    if (interrupt_.halted || !scores_.IsReady()) return true;
    return search_.maxSeconds > 0 && SecondsSoFar() >= search_.maxSeconds;
  }

  void ListLinks(const Links& links) {
    for (int node = 0; node < n_; ++node) List(node, links[node]);
  }

  bool List(int node, const Vector<int>& set) {
    Vector<Vector<int>>& sets = listed_[node];
    if (std::ranges::find(sets, set) != sets.end()) return false;
    sets.push_back(set);
    return true;
  }

  // Late, what has been listed by then is all there is.
  void MakeLists() {
    const double numRows = std::max<double>(static_cast<double>(scores_.Cases().NumRows()), LEAST_ROWS);
    SetSearch search = ChooseSetSearch(CELLS_FOR_LISTS / numRows / std::max(n_, 1), n_);
    sets_.clear();
    for (int node = 0; node < n_; ++node) {
      if (Stops()) search = {};
      sets_.push_back(BestParentSets(scores_, rules_, node, search, listed_[node]));
    }
  }

  // From the best order, and from random ones.
  void Walk(int numWalks) {
    const double numPairs = static_cast<double>(n_) * n_;
    numWalks = std::max(std::min(numWalks, static_cast<int>(PAIRS_FOR_WALKS / numPairs)), 1);
    const int numLeaps = static_cast<int>(std::max<double>(PAIRS_FOR_LEAPS / numPairs / numWalks, LEAST_LEAPS));
    for (int number = 0; number < numWalks && (number == 0 || !Stops()); ++number) {
      OrderWalk walk(sets_, number == 0 ? order_ : RandomOrder(), random_.Bits(), interrupt_);
      if (!Stops()) walk.Climb();
      for (int k = 0, numNowhere = 0; k < numLeaps && numNowhere < NODE_LEAPS_LED_NOWHERE * n_ && !Stops(); ++k)
        numNowhere = walk.Leap() ? 0 : numNowhere + 1;
      Take(walk);
    }
  }

  // Of those that keep what is required.
  Vector<int> RandomOrder() {
    Vector<int> name(n_), place(n_);
    std::iota(name.begin(), name.end(), 0);
    for (int k = n_; k > 1; --k) std::swap(name[k - 1], name[random_.Below(k)]);
    for (int k = 0; k < n_; ++k) place[name[k]] = k;
    Links renamed(n_);
    for (int k = 0; k < n_; ++k)
      for (int parent : rules_.Required(name[k])) renamed[k].push_back(place[parent]);
    Vector<int> order = ParentsFirst(renamed);
    for (int& node : order) node = name[node];
    return order;
  }

  void Take(const OrderWalk& walk) {
    steps_ += walk.NumMoves();
    orders_.push_back(Vector<int>(walk.Order().begin(), walk.Order().end()));
    Links links;
    for (int node = 0; node < n_; ++node) {
      const std::span<const int> set = sets_[node].Set(walk.Choice()[node]);
      links.push_back(Vector<int>(set.begin(), set.end()));
    }
    if (chosen_.empty() || walk.Score() > chosenScore_) {
      chosenScore_ = walk.Score();
      chosen_ = links;
      order_ = orders_.back();
    }
    if (search_.limit && !search_.limit->Allows(links)) return;
    if (walk.Score() <= best_.score) return;
    best_.score = scores_.Score(links);
    best_.parents = std::move(links);
  }

  // The better ones of the sets that differ by one parent from those chosen; whether there are any new ones.
  bool ListNeighbours() {
    bool hasNew = false;
    for (int node = 0; node < n_ && !Stops(); ++node) {
      const Vector<int>& set = chosen_[node];
      Vector<int> others;
      for (int other = 0; other < n_; ++other) {
        const bool isParent = std::binary_search(set.begin(), set.end(), other);
        if (rules_.Requires(other, node) || !rules_.Allows(other, node)) continue;
        if (isParent || set.size() < rules_.MostParents()) others.push_back(other);
      }
      Vector<double> found(others.size());
      scores_.ScoreToggled(node, set, others, found.data());
      const double present = scores_.Score(node, set);
      List(node, set);
      for (int k = 0; k < others.size(); ++k) {
        if (!(found[k] > present)) continue;
        Vector<int> changed = set;
        const auto at = std::lower_bound(changed.begin(), changed.end(), others[k]);
        if (at != changed.end() && *at == others[k]) {
          changed.erase(at);
        } else {
          changed.insert(at, others[k]);
        }
        hasNew = List(node, changed) || hasNew;
      }
    }
    return hasNew;
  }

  // Changes links one by one, and lists what that leads to; whether it leads beyond the best so far.
  bool Climb(const Links& links) {
    if (Stops()) return false;
    LinkSearch changes = search_;
    changes.start = links;
    changes.restarts = 0;
    changes.maxSeconds = SecondsLeft();
    const FoundLinks found = SearchHill(changes);
    if (found.status != Status::Done || found.score <= best_.score) return false;
    best_.parents = found.parents;
    best_.score = found.score;
    steps_ += found.steps;
    ListLinks(found.parents);
    return true;
  }

  void ChooseWithinLimit() {
    const int most = static_cast<int>(PAIRS_FOR_LIMIT / (static_cast<double>(n_) * n_));
    for (int tried = 0; numChosen_ < orders_.size() && tried <= most && !Stops(); ++numChosen_, ++tried) {
      const FoundLinks found = ClimbWithin(orders_[numChosen_]);
      if (found.status == Status::Done) Climb(found.parents);
    }
  }

  // From what is required, by links along that order alone.
  FoundLinks ClimbWithin(std::span<const int> order) {
    LinkRules rules = rules_;
    for (int k = 0; k < n_; ++k)
      for (int later = k + 1; later < n_; ++later) rules.Forbid({order[later], order[k]});
    LinkSearch along = search_;
    along.rules = &rules;
    for (int node = 0; node < n_; ++node) along.start[node] = rules_.Required(node);
    along.maxSeconds = SecondsLeft();
    return SearchHill(along);
  }

  const LinkSearch& search_;
  FamilyScores& scores_;
  const LinkRules& rules_;
  Interrupt ownInterrupt_, &interrupt_;
  const int n_;
  RandomStream random_;
  const Clock::time_point began_;

  Vector<Vector<Vector<int>>> listed_;  // [node] sets to be listed in any case
  Vector<ParentSets> sets_;
  Vector<int> order_;           // of the best walk
  Vector<Vector<int>> orders_;  // that walks ended in
  Links chosen_;                // of the best walk, whatever the limit says
  double chosenScore_ = 0;
  FoundLinks best_;
  int steps_ = 0, numChosen_ = 0;
};

}  // namespace

FoundLinks SearchOrders(const LinkSearch& search) {
  return OrderSearch(search).Search();
}

}  // namespace bravic::engine
