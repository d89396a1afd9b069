#include "Net.h"

#include <unordered_set>

namespace binding {

Net::Net(net_bn net) : net_(net) {
  if (!net) throw Refusal{NET_GONE, 5, "no net"};
}

// Nobody else uses it by then.
Net::~Net() {
  FreeLater(net_);
}

void Net::Free() {
  Ask([&] {
    FreeNet_bn(net_);
    net_ = nullptr;
    nodes_.clear();
    keys_.clear();
  });
}

net_bn Net::Get() const {
  if (!net_) throw Refusal{NET_GONE, 5, "the net was freed"};
  return net_;
}

node_bn Net::At(Key key) const {
  Get();
  if (key < 0 || key >= static_cast<Key>(nodes_.size()) || !nodes_[static_cast<std::size_t>(key)])
    throw Refusal{NODE_GONE, 5, "the node is no longer in its net"};
  return nodes_[static_cast<std::size_t>(key)];
}

Key Net::KeyOf(node_bn node) {
  if (!node) return NO_NODE;
  const auto [place, isNew] = keys_.try_emplace(node, static_cast<Key>(nodes_.size()));
  if (isNew) nodes_.push_back(node);
  return place->second;
}

// Lookups by name never find placeholders.
Key Net::KeyOfParent(node_bn node) {
  if (const auto place = keys_.find(node); place != keys_.end()) return place->second;
  return FindNode_bn(GetNodeName_bn(node), net_) == node ? KeyOf(node) : NO_NODE;
}

std::vector<Key> Net::KeysOf(nodelist_bn nodes) {
  std::vector<Key> keys;
  const int count = LengthNodeList_bn(nodes);
  for (int i = 0; i < count; ++i) keys.push_back(KeyOf(NthNode_bn(nodes, i)));
  return keys;
}

void Net::Forget(Key key) {
  node_bn& node = nodes_.at(static_cast<std::size_t>(key));
  keys_.erase(node);
  node = nullptr;
}

void Net::ForgetThoseGone() {
  const nodelist_bn all = GetNetNodes_bn(net_);
  const int count = LengthNodeList_bn(all);
  std::unordered_set<node_bn> present;
  for (int i = 0; i < count; ++i) present.insert(NthNode_bn(all, i));
  for (std::size_t key = 0; key < nodes_.size(); ++key)
    if (nodes_[key] && present.count(nodes_[key]) == 0) Forget(static_cast<Key>(key));
}

NodeList::NodeList(const Net& net, const std::vector<Key>& keys) {
  std::vector<node_bn> nodes;
  for (Key key : keys) nodes.push_back(net.At(key));
  list_ = NewNodeList_bn(static_cast<int>(nodes.size()), Env());
  for (std::size_t i = 0; list_ && i < nodes.size(); ++i) SetNthNode_bn(list_, static_cast<int>(i), nodes[i]);
}

Rows::Rows(node_bn node) {
  const nodelist_bn parents = GetNodeParents_bn(node);
  const int count = LengthNodeList_bn(parents);
  for (int i = 0; i < count; ++i) sizes_.push_back(GetNodeNumberStates_bn(NthNode_bn(parents, i)));
  states_.assign(sizes_.size() + 1, 0);  // never without an address
}

bool Rows::Next() {
  for (std::size_t i = sizes_.size(); i-- > 0;) {
    if (++states_[i] < sizes_[i]) return true;
    states_[i] = 0;
  }
  return false;
}

double NumberOfRows(node_bn node) {
  const nodelist_bn parents = GetNodeParents_bn(node);
  const int count = LengthNodeList_bn(parents);
  double rows = 1;
  for (int i = 0; i < count; ++i) rows *= GetNodeNumberStates_bn(NthNode_bn(parents, i));
  return rows;
}

}  // namespace binding
