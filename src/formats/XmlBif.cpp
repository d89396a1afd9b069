// XMLBIF 0.3, the interchange format for Bayesian networks in XML (F. Cozman and others, 1998): BIF/NETWORK with a
// VARIABLE for each node, of TYPE nature, decision or utility, and a DEFINITION for its parents and table.

#include <algorithm>
#include <cstring>
#include <iterator>

#include "formats/Formats.h"
#include "formats/NetBuilder.h"
#include "formats/NodeIndex.h"
#include "formats/NumberText.h"
#include "formats/Properties.h"
#include "formats/Xml.h"

namespace formats {
namespace {

struct KindName {
  const char* name;
  Kind kind;
};
constexpr KindName KINDS[] = {{"nature", Kind::Chance}, {"decision", Kind::Decision}, {"utility", Kind::Utility}};

class Reader {
 public:
  Reader(std::string_view text, NetDescription* net, Problems* problems)
      : file_(text, problems), net_(net), problems_(problems) {}

  void Read() {
    problems_->CallNodes("VARIABLE");
    if (!file_.Parse("BIF")) return;
    const pugi::xml_node network = file_.OnlyChild(file_.Root(), "NETWORK", "BIF");
    if (!network) return;
    if (const pugi::xml_node name = file_.OptionalChild(network, "NAME", "NETWORK")) net_->name = file_.TextOf(name);
    // Tables may stand before the nodes that they are about.
    for (pugi::xml_node element : network) {
      if (Is(element, "VARIABLE")) {
        ReadVariable(element);
      } else if (Is(element, "PROPERTY")) {
        for (const std::string& line : LinesOf(file_.TextOf(element).text)) AddLine(net_->comment, line);
      } else if (!Is(element, "NAME") && !Is(element, "DEFINITION")) {
        PassOver(element, "NETWORK");
      }
    }
    index_ = NodeIndex(*net_);
    for (pugi::xml_node element : network.children("DEFINITION")) ReadDefinition(element);
  }

 private:
  static bool Is(pugi::xml_node element, const char* name) { return std::strcmp(element.name(), name) == 0; }

  void PassOver(pugi::xml_node element, const std::string& owner) {
    if (element.type() == pugi::node_element) file_.Report(ELEMENT_PASSED_OVER, element, {owner, element.name()});
  }

  void ReadVariable(pugi::xml_node element) {
    NodeDescription node;
    const pugi::xml_node name = file_.OnlyChild(element, "NAME", "VARIABLE");
    if (!name) return;
    node.name = file_.TextOf(name);
    const std::string owner = NamedElement("VARIABLE", node.name.text);
    if (!ReadKind(element, owner, node)) return;
    for (pugi::xml_node child : element) {
      if (Is(child, "OUTCOME") || Is(child, "VALUE")) {
        node.states.push_back(file_.TextOf(child));
      } else if (Is(child, "PROPERTY")) {
        TakeProperty(node, file_.TextOf(child).text);
      } else if (!Is(child, "NAME")) {
        PassOver(child, owner);
      }
    }
    if (node.kind == Kind::Utility) {
      if (node.states.size() > 1)
        file_.Report(UTILITY_WITH_STATES, element, {owner, std::to_string(node.states.size())});
      node.states.clear();
    }
    net_->nodes.push_back(std::move(node));
  }

  bool ReadKind(pugi::xml_node element, const std::string& owner, NodeDescription& node) {
    const pugi::xml_attribute type = element.attribute("TYPE");
    if (!type) return true;
    for (const KindName& known : KINDS) {
      if (std::strcmp(type.value(), known.name) != 0) continue;
      node.kind = known.kind;
      return true;
    }
    file_.Report(NOT_REPRESENTED, element, {owner + " of TYPE '" + type.value() + "'"});
    return false;
  }

  void ReadDefinition(pugi::xml_node element) {
    const pugi::xml_node subject = file_.OnlyChild(element, "FOR", "DEFINITION");
    if (!subject) return;
    const Word name = file_.TextOf(subject);
    const int found = index_.Find(name.text);
    if (found < 0) {
      file_.Report(UNKNOWN_NODE, subject, {name.text});
      return;
    }
    NodeDescription& node = net_->nodes[static_cast<std::size_t>(found)];
    const std::string owner = NamedElement("VARIABLE", name.text);
    NodeDescription relation;
    relation.relationLine = file_.LineOf(element);
    for (pugi::xml_node child : element) {
      if (Is(child, "GIVEN")) {
        relation.parents.push_back(file_.TextOf(child));
      } else if (!Is(child, "FOR") && !Is(child, "TABLE") && !Is(child, "PROPERTY")) {
        PassOver(child, NamedElement("DEFINITION", name.text));
      }
    }
    if (const pugi::xml_node table = file_.OptionalChild(element, "TABLE", owner))
      ReadTable(table, owner, node, relation);
    AddRelation(&node, std::move(relation), problems_);
  }

  void ReadTable(pugi::xml_node table, const std::string& owner, const NodeDescription& node,
                 NodeDescription& relation) {
    relation.tableLine = file_.LineOf(table);
    const bool isRead = file_.ReadNumbers(table, owner, std::max<std::size_t>(node.states.size(), 1), &relation.values,
                                          &relation.rowLines);
    relation.table = isRead ? TableState::Given : TableState::Broken;
  }

  XmlFile file_;
  NetDescription* net_;
  Problems* problems_;
  NodeIndex index_;
};

void WriteVariable(const NodeDescription& node, std::string* xml) {
  const KindName* kind =
      std::find_if(std::begin(KINDS), std::end(KINDS), [&](const KindName& known) { return known.kind == node.kind; });
  xml->append("<VARIABLE TYPE=\"").append(kind->name).append("\">\n");
  AppendElement(xml, "\t", "NAME", node.name.text);
  for (const Word& state : node.states) AppendElement(xml, "\t", "OUTCOME", state.text);
  for (const std::string& property : PropertiesOf(node)) AppendElement(xml, "\t", "PROPERTY", property);
  *xml += "</VARIABLE>\n";
}

void WriteDefinition(const NodeDescription& node, std::string* xml) {
  *xml += "<DEFINITION>\n";
  AppendElement(xml, "\t", "FOR", node.name.text);
  for (const Word& parent : node.parents) AppendElement(xml, "\t", "GIVEN", parent.text);
  if (node.table == TableState::Given && node.kind != Kind::Decision) {
    const std::size_t perRow = std::max<std::size_t>(node.states.size(), 1);
    *xml += "\t<TABLE>";
    for (std::size_t i = 0; i < node.values.size(); ++i) {
      *xml += i % perRow == 0 ? "\n\t\t" : " ";
      AppendFloat(node.values[i], xml);
    }
    *xml += "\n\t</TABLE>\n";
  }
  *xml += "</DEFINITION>\n";
}

}  // namespace

void ReadXmlBif(std::string* text, NetDescription* net, Problems* problems) {
  Reader(*text, net, problems).Read();
}

void WriteXmlBif(const NetDescription& net, std::string* text) {
  *text += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<BIF VERSION=\"0.3\">\n<NETWORK>\n";
  AppendElement(text, "", "NAME", net.name.text);
  for (const std::string& line : LinesOf(net.comment)) AppendElement(text, "", "PROPERTY", line);
  for (const NodeDescription& node : net.nodes) WriteVariable(node, text);
  for (const NodeDescription& node : net.nodes) WriteDefinition(node, text);
  *text += "</NETWORK>\n</BIF>\n";
}

}  // namespace formats
