// Nets, nodes, links and what is said of them.
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include "Net.h"

namespace binding {
namespace {

using GetText = const char*(BRAVIC_CALL*)(node_bn);
using SetText = int(BRAVIC_CALL*)(node_bn, const char*);
using GetNetText = const char*(BRAVIC_CALL*)(net_bn);
using SetNetText = int(BRAVIC_CALL*)(net_bn, const char*);

template <GetText GET>
Text TextOf(Net& net, Key node) {
  return Ask([&] { return Text(GET(net.At(node))); });
}
template <SetText SET>
void ChangeText(Net& net, Key node, const Text& text) {
  const char* z = text.Z();
  Ask([&] { SET(net.At(node), z); });
}
template <GetNetText GET>
Text NetTextOf(Net& net) {
  return Ask([&] { return Text(GET(net.Get())); });
}
template <SetNetText SET>
void ChangeNetText(Net& net, const Text& text) {
  const char* z = text.Z();
  Ask([&] { SET(net.Get(), z); });
}

std::vector<Text> StateNames(Net& net, Key key) {
  return Ask([&] {
    node_bn node = net.At(key);
    std::vector<Text> names;
    const int count = GetNodeNumberStates_bn(node);
    for (int i = 0; i < count; ++i) names.emplace_back(GetNodeStateName_bn(node, i));
    return names;
  });
}

void SetStateNames(Net& net, Key key, const std::vector<Text>& names) {
  for (const Text& name : names) name.Z();
  Ask([&] {
    node_bn node = net.At(key);
    const Change change(net);
    // By way of names of nobody's, so that states may exchange theirs.
    const int count = static_cast<int>(names.size());
    for (int i = 0; i < count; ++i) {
      const std::string& name = names[static_cast<std::size_t>(i)].bytes;
      const char* old = GetNodeStateName_bn(node, i);
      if (*old && name != old) SetNodeStateName_bn(node, i, ("between_names_" + std::to_string(i)).c_str());
    }
    for (int i = 0; i < count && !Failed(); ++i)
      SetNodeStateName_bn(node, i, names[static_cast<std::size_t>(i)].bytes.c_str());
  });
}

std::vector<double> Levels(Net& net, Key key) {
  return Ask([&] {
    node_bn node = net.At(key);
    std::vector<double> levels;
    const int states = GetNodeNumberStates_bn(node);
    const int count = GetNodeDiscrete_bn(node) ? states : states > 0 ? states + 1 : 0;
    for (int i = 0; i < count; ++i) {
      const double level = GetNodeLevel_bn(node, i);
      if (level == undef_dbl_ns) return std::vector<double>();
      levels.push_back(Infinite(level));
    }
    return levels;
  });
}

// Infinite ones as the library has them.
void SetLevels(Net& net, Key key, int states, std::vector<double> levels) {
  for (double& level : levels)
    if (level > inf_dbl_ns || level < -inf_dbl_ns) level = level > 0 ? inf_dbl_ns : -inf_dbl_ns;
  Ask([&] { SetNodeLevels_bn(net.At(key), states, levels.empty() ? nullptr : levels.data()); });
}

std::vector<Key> Parents(Net& net, Key key) {
  return Ask([&] {
    const nodelist_bn parents = GetNodeParents_bn(net.At(key));
    std::vector<Key> keys;
    const int count = LengthNodeList_bn(parents);
    for (int i = 0; i < count; ++i) keys.push_back(net.KeyOfParent(NthNode_bn(parents, i)));
    return keys;
  });
}

std::vector<int> ParentSizes(Net& net, Key key) {
  return Ask([&] {
    const nodelist_bn parents = GetNodeParents_bn(net.At(key));
    std::vector<int> sizes;
    const int count = LengthNodeList_bn(parents);
    for (int i = 0; i < count; ++i) sizes.push_back(GetNodeNumberStates_bn(NthNode_bn(parents, i)));
    return sizes;
  });
}

// The net's nodes as pictures and reports need them, all at once: number and name.
std::vector<std::pair<Key, Text>> Names(Net& net) {
  return Ask([&] {
    const nodelist_bn all = GetNetNodes_bn(net.Get());
    std::vector<std::pair<Key, Text>> names;
    const int count = LengthNodeList_bn(all);
    for (int i = 0; i < count; ++i) {
      node_bn node = NthNode_bn(all, i);
      names.emplace_back(net.KeyOf(node), Text(GetNodeName_bn(node)));
    }
    return names;
  });
}

void BindNodes(NetClass& bound) {
  bound
      .def("new_node",
           [](Net& net, const Text& name, int states) {
             const char* z = name.Z();
             return Ask([&] { return net.KeyOf(NewNode_bn(*z ? z : nullptr, states, net.Get())); });
           })
      .def("delete_node",
           [](Net& net, Key node) {
             Ask([&] {
               DeleteNode_bn(net.At(node));
               net.ForgetThoseGone();
             });
           })
      .def("nodes", [](Net& net) { return Ask([&] { return net.KeysOf(GetNetNodes_bn(net.Get())); }); })
      .def("find_node",
           [](Net& net, const Text& spelling) {
             if (spelling.bytes.find('\0') != std::string::npos) return NO_NODE;
             return Ask([&] { return net.KeyOf(FindNode_bn(spelling.bytes.c_str(), net.Get())); });
           })
      .def("duplicate",
           [](Net& net, const std::vector<Key>& nodes, Net& into) {
             return Ask([&] {
               const Change change(into);
               const NodeList copies(DuplicateNodes_bn(NodeList(net, nodes), into.Get()));
               return into.KeysOf(copies);
             });
           })
      .def("is_alive",
           [](Net& net, Key node) {
             try {
               return Ask([&] { return net.At(node) != nullptr; });
             } catch (const Refusal&) {
               return false;
             }
           })
      .def("add_link", [](Net& net, Key parent, Key child) { Ask([&] { AddLink_bn(net.At(parent), net.At(child)); }); })
      .def("delete_link", [](Net& net, int link, Key child) { Ask([&] { DeleteLink_bn(link, net.At(child)); }); })
      .def("switch_parent", [](Net& net, int link, Key child,
                               Key parent) { Ask([&] { SwitchNodeParent_bn(link, net.At(child), net.At(parent)); }); })
      .def("reverse_link",
           [](Net& net, Key parent, Key child) { AskLong([&] { ReverseLink_bn(net.At(parent), net.At(child)); }); })
      .def("absorb",
           [](Net& net, const std::vector<Key>& keys) {
             AskLong([&] {
               std::vector<node_bn> nodes;
               for (Key key : keys) nodes.push_back(net.At(key));
               const nodelist_bn list = NewNodeList_bn(static_cast<int>(nodes.size()), Env());
               for (std::size_t i = 0; i < nodes.size(); ++i) SetNthNode_bn(list, static_cast<int>(i), nodes[i]);
               AbsorbNodes_bn(list);  // which frees the list
               net.ForgetThoseGone();
             });
           })
      .def("parents", Parents)
      .def("parent_sizes", ParentSizes)
      .def("children",
           [](Net& net, Key node) { return Ask([&] { return net.KeysOf(GetNodeChildren_bn(net.At(node))); }); })
      .def("names", [](Net& net) {
        nb::list answer;
        for (const auto& [key, name] : Names(net)) answer.append(nb::make_tuple(key, name));
        return answer;
      });
}

void BindAttributes(NetClass& bound) {
  bound.def("node_name", TextOf<GetNodeName_bn>)
      .def("set_node_name", ChangeText<SetNodeName_bn>)
      .def("node_title", TextOf<GetNodeTitle_bn>)
      .def("set_node_title", ChangeText<SetNodeTitle_bn>)
      .def("node_comment", TextOf<GetNodeComment_bn>)
      .def("set_node_comment", ChangeText<SetNodeComment_bn>)
      .def("name", NetTextOf<GetNetName_bn>)
      .def("set_name", ChangeNetText<SetNetName_bn>)
      .def("title", NetTextOf<GetNetTitle_bn>)
      .def("set_title", ChangeNetText<SetNetTitle_bn>)
      .def("comment", NetTextOf<GetNetComment_bn>)
      .def("set_comment", ChangeNetText<SetNetComment_bn>)
      .def("node_text",
           [](Net& net, Key node, const Text& key) {
             const char* z = key.Z();
             return Ask([&] { return Text(GetNodeText_bn(net.At(node), z)); });
           })
      .def("set_node_text",
           [](Net& net, Key node, const Text& key, const Text& text) {
             const char *zKey = key.Z(), *zText = text.Z();
             Ask([&] { SetNodeText_bn(net.At(node), zKey, zText); });
           })
      .def("text",
           [](Net& net, const Text& key) {
             const char* z = key.Z();
             return Ask([&] { return Text(GetNetText_bn(net.Get(), z)); });
           })
      .def("set_text",
           [](Net& net, const Text& key, const Text& text) {
             const char *zKey = key.Z(), *zText = text.Z();
             Ask([&] { SetNetText_bn(net.Get(), zKey, zText); });
           })
      .def("kind", [](Net& net, Key node) { return Ask([&] { return GetNodeKind_bn(net.At(node)); }); })
      .def("set_kind", [](Net& net, Key node, int kind) { Ask([&] { SetNodeKind_bn(net.At(node), kind); }); })
      .def("is_discrete", [](Net& net, Key node) { return Ask([&] { return GetNodeDiscrete_bn(net.At(node)) == 1; }); })
      .def("num_states", [](Net& net, Key node) { return Ask([&] { return GetNodeNumberStates_bn(net.At(node)); }); })
      .def("state_names", StateNames)
      .def("set_state_names", SetStateNames)
      .def("find_state",
           [](Net& net, Key node, const Text& spelling) {
             if (spelling.bytes.find('\0') != std::string::npos) return static_cast<int>(UNDEF_STATE);
             return Ask([&] { return FindState_bn(spelling.bytes.c_str(), net.At(node)); });
           })
      .def("levels", Levels)
      .def("set_levels", SetLevels)
      .def("undo",
           [](Net& net) {
             return AskLong([&] {
               const int done = UndoLastChange_bn(net.Get());
               net.ForgetThoseGone();
               return done == 1;
             });
           })
      .def("redo",
           [](Net& net) {
             return AskLong([&] {
               const int done = RedoLastChange_bn(net.Get());
               net.ForgetThoseGone();
               return done == 1;
             });
           })
      .def("set_undo_depth", [](Net& net, int depth) { return Ask([&] { return SetUndoDepth_bn(depth, net.Get()); }); })
      .def("free", &Net::Free)
      .def("is_free", &Net::IsFree);
}

}  // namespace

void BindModel(NetClass& bound) {
  BindNodes(bound);
  BindAttributes(bound);
}

}  // namespace binding
