// What a host asks of a search for links, checked and put into the engine's terms.
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Bn/engine/learn/LinkSearch.h"
#include "Bn/model/Records.h"

namespace bravic {

enum class LinkMethod { Hill, Order, Exact, Tree, Tan };

// Nodes are numbered by their places among the sorted ones.
struct LinkOptions {
  engine::ScoreKind score = engine::ScoreKind::BIC;
  LinkMethod method = LinkMethod::Hill;
  double prior = 1;
  int numThreads = 1;
  bool fillsMissing = false;  // structural EM
  double mostEntries = 0;     // 0: no limit
  engine::LinkRules rules{0};
  engine::LinkSearch search;  // without scores, rules, limit and interrupt
};

// The host's own, of whatever version it was compiled for; NULL: all defaults.
Failure CopyOptions(const learn_links_bn* how, learn_links_bn* copy);
// The score and its prior alone.
Failure CheckScore(int score, double prior, LinkOptions* options);
// listed: as the host has them, parallel to tiers; nodes: the same, sorted. The nodes that a file or arrays give no
// choice for, constant ones, are without links already.
Failure SetOptions(const learn_links_bn& how, std::span<const node_bn> listed, std::span<const node_bn> nodes,
                   const engine::CaseColumns& data, LinkOptions* options);

}  // namespace bravic
