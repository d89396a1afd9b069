#include "Bn/learn/LinkOptions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "Bn/engine/learn/SubsetSearch.h"
#include "Bn/model/Lists.h"
#include "Win_Face/Threads.h"

namespace bravic {
namespace {

using engine::LinkRules;
using engine::NetLink;

constexpr int NUM_SCORES = 3, NUM_METHODS = 5;
constexpr int EXACT_PARENTS = 4;  // that a node may have where nothing is said
constexpr int DEFAULT_RESTARTS = 20;

// The number of each node's place is in its scratch field.
struct Numbering {
  std::span<const node_bn> nodes;
  int Of(const bnode& node) const {
    const int at = node.scratch;
    return at >= 0 && at < Count(nodes) && nodes[at] == &node ? at : -1;
  }
};

Failure CheckChoice(const char* field, int value, int most) {
  return value >= 0 && value <= most ? nullptr : Fail(LINK_OPTION_OUT_OF_RANGE, field, value, most);
}

Failure CheckAmount(const char* field, double value) {
  return value >= 0 && std::isfinite(value) ? nullptr : Fail(LINK_AMOUNT_OUT_OF_RANGE, field, value);
}

Failure CheckNumbers(const learn_links_bn& how) {
  constexpr int ANY = 0x7FFFFFFF;
  struct Choice {
    const char* field;
    int value, most;
  };
  for (const Choice& choice : {Choice{"method", how.method, NUM_METHODS - 1},
                               {"maxparents", how.maxparents, ANY},
                               {"numthreads", how.numthreads, MOST_THREADS},
                               {"keeplinks", how.keeplinks, 1},
                               {"missing", how.missing, 1},
                               {"seed", how.seed, ANY}})
    if (Failure failure = CheckChoice(choice.field, choice.value, choice.most)) return failure;
  if (Failure failure = CheckAmount("maxentries", how.maxentries)) return failure;
  return CheckAmount("maxseconds", how.maxseconds);
}

// Pairs of nodes by index; no list stands for an empty one.
template <class Add>
Failure ForEachPair(nodelist_bn from, nodelist_bn to, const char* what, const Numbering& numbering, Add add) {
  const std::span<const node_bn> froms = from ? Entries(*from) : std::span<const node_bn>();
  const std::span<const node_bn> tos = to ? Entries(*to) : std::span<const node_bn>();
  if (froms.size() != tos.size()) return Fail(LINK_LISTS_UNEQUAL, what, Count(froms), Count(tos));
  for (int k = 0; k < Count(froms); ++k) {
    for (node_bn node : {froms[k], tos[k]})
      if (numbering.Of(*node) < 0) return Fail(LINK_NODE_NOT_LISTED, node->name, what);
    add(NetLink{numbering.Of(*froms[k]), numbering.Of(*tos[k])});
  }
  return nullptr;
}

Failure FailRules(LinkRules::Fault fault, const bnode& from, const bnode& to) {
  switch (fault) {
    case LinkRules::Fault::NONE:
      break;
    case LinkRules::Fault::FORBIDDEN:
      return Fail(REQUIRED_LINK_FORBIDDEN, from.name, to.name);
    case LinkRules::Fault::TIERS:
      return Fail(REQUIRED_LINK_AGAINST_TIERS, from.name, to.name);
    case LinkRules::Fault::CYCLE:
      return Fail(REQUIRED_LINK_ON_CYCLE, from.name, to.name);
    case LinkRules::Fault::TOO_MANY_PARENTS:
      return Fail(REQUIRED_LINKS_TOO_MANY, to.name);
  }
  return nullptr;
}

// What follows from the method alone.
Failure SetMethodRules(const Numbering& numbering, const LinkOptions& options, LinkRules* rules) {
  const int n = Count(numbering.nodes), target = options.search.target;
  if (options.method == LinkMethod::Exact && n > engine::MOST_SUBSET_NODES)
    return Fail(TOO_MANY_NODES_FOR_EXACT, n, engine::MOST_SUBSET_NODES);
  if (options.method == LinkMethod::Tree) rules->SetMostParents(1);
  if (options.method != LinkMethod::Tan) return nullptr;
  rules->SetMostParents(std::min(rules->MostParents(), 2));
  if (!rules->Required(target).empty())
    return Fail(TARGET_WITH_PARENT, numbering.nodes[rules->Required(target)[0]]->name, numbering.nodes[target]->name);
  for (int node = 0; node < n; ++node) rules->Forbid({node, target});
  return nullptr;
}

Failure SetRules(const learn_links_bn& how, std::span<const node_bn> listed, const Numbering& numbering,
                 const engine::CaseColumns& data, LinkOptions* options) {
  LinkRules& rules = options->rules = LinkRules(Count(numbering.nodes));
  if (Failure failure = ForEachPair(how.requiredfrom, how.requiredto, "required", numbering,
                                    [&](NetLink link) { rules.Require(link); }))
    return failure;
  if (Failure failure = ForEachPair(how.forbiddenfrom, how.forbiddento, "forbidden", numbering,
                                    [&](NetLink link) { rules.Forbid(link); }))
    return failure;
  if (how.tiers) {
    Vector<int> tiers(listed.size());
    for (int k = 0; k < Count(listed); ++k) tiers[numbering.Of(*listed[k])] = how.tiers[k];
    rules.SetTiers(tiers);
  }
  if (how.maxparents > 0) {
    rules.SetMostParents(how.maxparents);
  } else if (options->method == LinkMethod::Exact) {
    rules.SetMostParents(EXACT_PARENTS);
  }
  if (Failure failure = SetMethodRules(numbering, *options, &rules)) return failure;
  NetLink link;
  const LinkRules::Fault fault = rules.FindFault(&link);
  if (fault != LinkRules::Fault::NONE) return FailRules(fault, *numbering.nodes[link.from], *numbering.nodes[link.to]);
  for (int i = 0; i < Count(numbering.nodes); ++i) {
    if (data.IsConstant(i)) rules.Isolate(i);
  }
  return nullptr;
}

// The required links, and those that there are where they are kept.
Failure SetStart(const learn_links_bn& how, const Numbering& numbering, const engine::CaseColumns& data,
                 LinkOptions* options) {
  const LinkRules& rules = options->rules;
  const bool keepsLinks =
      how.keeplinks && (options->method == LinkMethod::Hill || options->method == LinkMethod::Order);
  engine::Links& start = options->search.start;
  start.resize(numbering.nodes.size());
  for (int i = 0; i < start.size(); ++i) {
    start[i] = rules.Required(i);
    if (!keepsLinks) continue;
    for (node_bn parent : Entries(numbering.nodes[i]->preds)) {
      const int from = numbering.Of(*parent);
      if (data.IsConstant(i) || data.IsConstant(from) || rules.Requires(from, i)) continue;
      if (!rules.Allows(from, i)) return Fail(START_LINK_AGAINST_RULES, parent->name, numbering.nodes[i]->name);
      start[i].push_back(from);
    }
    std::sort(start[i].begin(), start[i].end());
    start[i].erase(std::unique(start[i].begin(), start[i].end()), start[i].end());
    if (start[i].size() > rules.MostParents())
      return Fail(START_PARENTS_TOO_MANY, numbering.nodes[i]->name, start[i].size(), rules.MostParents());
  }
  if (engine::ParentsFirst(start).size() < start.size()) return Fail(START_LINKS_ON_CYCLE);
  return nullptr;
}

}  // namespace

Failure CopyOptions(const learn_links_bn* how, learn_links_bn* copy) {
  *copy = {};
  copy->size = sizeof *copy;
  if (!how) return nullptr;
  constexpr int LEAST_SIZE = offsetof(learn_links_bn, tiers) + sizeof(copy->tiers), MOST_SIZE = 1 << 16;
  const int own = sizeof *copy;
  if (how->size < LEAST_SIZE || how->size > MOST_SIZE) return Fail(LINK_OPTIONS_SIZE, how->size, LEAST_SIZE, own);
  std::memcpy(copy, how, static_cast<std::size_t>(std::min(how->size, own)));
  // What a later version has more must ask for nothing.
  const char* bytes = reinterpret_cast<const char*>(how);
  for (int k = own; k < how->size; ++k)
    if (bytes[k] != 0) return Fail(LINK_OPTIONS_SIZE, how->size, LEAST_SIZE, own);
  return nullptr;
}

Failure CheckScore(int score, double prior, LinkOptions* options) {
  if (Failure failure = CheckChoice("score", score, NUM_SCORES - 1)) return failure;
  if (Failure failure = CheckAmount("prior", prior)) return failure;
  options->score = static_cast<engine::ScoreKind>(score);
  options->prior = prior > 0 ? prior : 1;
  return nullptr;
}

Failure SetOptions(const learn_links_bn& how, std::span<const node_bn> listed, std::span<const node_bn> nodes,
                   const engine::CaseColumns& data, LinkOptions* options) {
  if (Failure failure = CheckScore(how.score, how.prior, options)) return failure;
  if (Failure failure = CheckNumbers(how)) return failure;
  options->method = static_cast<LinkMethod>(how.method);
  options->numThreads = how.numthreads > 0 ? how.numthreads : ThreadsToUse();
  options->fillsMissing = how.missing != 0;
  options->mostEntries = how.maxentries;
  options->search.seed = static_cast<std::uint64_t>(how.seed);
  options->search.restarts = how.restarts == 0 ? DEFAULT_RESTARTS : std::max(how.restarts, 0);
  options->search.maxSeconds = how.maxseconds;
  for (int i = 0; i < Count(nodes); ++i) nodes[i]->scratch = i;
  const Numbering numbering{nodes};
  if (how.target) {
    options->search.target = numbering.Of(*how.target);
    if (options->search.target < 0) return Fail(LINK_NODE_NOT_LISTED, how.target->name, "target");
  } else if (options->method == LinkMethod::Tan) {
    return Fail(NO_TARGET_FOR_LINKS);
  }
  if (Failure failure = SetRules(how, listed, numbering, data, options)) return failure;
  return SetStart(how, numbering, data, options);
}

}  // namespace bravic
