// Writes XDSL: nodes parents first, as elements cpt, decision and utility; titles, comments and positions in
// extensions/genie where the net has any.

#include <algorithm>
#include <cmath>

#include "formats/Formats.h"
#include "formats/NumberText.h"
#include "formats/Xdsl.h"
#include "formats/Xml.h"

namespace formats {
namespace {

// Of the boxes that nodes are drawn as, in pixels.
constexpr double BOX_WIDTH = 84, BOX_HEIGHT = 48;

void WriteValues(const NodeDescription& node, const char* element, std::string* xml) {
  if (node.table != TableState::Given) return;
  xml->append("\t\t\t<").append(element).append(">");
  for (std::size_t i = 0; i < node.values.size(); ++i) {
    if (i > 0) *xml += ' ';
    AppendFloat(node.values[i], xml);
  }
  xml->append("</").append(element).append(">\n");
}

void WriteNode(const NodeDescription& node, std::string* xml) {
  const char* const element = node.kind == Kind::Chance ? "cpt" : node.kind == Kind::Decision ? "decision" : "utility";
  xml->append("\t\t<").append(element).append(" id=\"");
  AppendEscaped(xml, node.name.text);
  *xml += "\">\n";
  for (const Word& state : node.states) {
    *xml += "\t\t\t<state id=\"";
    AppendEscaped(xml, state.text);
    *xml += "\" />\n";
  }
  if (!node.parents.empty()) {
    std::string parents;
    for (const Word& parent : node.parents) {
      if (!parents.empty()) parents += ' ';
      parents += parent.text;
    }
    AppendElement(xml, "\t\t\t", "parents", parents);
  }
  if (node.kind == Kind::Chance) WriteValues(node, "probabilities", xml);
  if (node.kind == Kind::Utility) WriteValues(node, "utilities", xml);
  xml->append("\t\t</").append(element).append(">\n");
}

// Two edges about the centre, on whole pixels where its double is whole.
void AppendEdges(double centre, double size, std::string* near, std::string* far) {
  centre = std::round(centre * 2) / 2;
  const double edge = std::floor(centre - size / 2);
  AppendDouble(edge, near);
  AppendDouble(2 * centre - edge, far);
}

bool HasLook(const NodeDescription& node) {
  return !node.title.empty() || !node.spelling.empty() || !node.comment.empty() || node.position;
}

void WriteLook(const NodeDescription& node, std::string* xml) {
  *xml += "\t\t\t<node id=\"";
  AppendEscaped(xml, node.name.text);
  *xml += "\">\n";
  const std::string& title = node.title.empty() ? node.spelling : node.title;
  if (!title.empty()) AppendElement(xml, "\t\t\t\t", "name", EscapedLines(title));
  if (!node.comment.empty()) AppendElement(xml, "\t\t\t\t", "comment", EscapedLines(node.comment));
  if (node.position) {
    std::string left, top, right, bottom;
    AppendEdges(node.position->first, BOX_WIDTH, &left, &right);
    AppendEdges(node.position->second, BOX_HEIGHT, &top, &bottom);
    AppendElement(xml, "\t\t\t\t", "position", left + ' ' + top + ' ' + right + ' ' + bottom);
  }
  *xml += "\t\t\t</node>\n";
}

void WriteGenie(const NetDescription& net, std::string* xml) {
  *xml += "\t<extensions>\n\t\t<genie version=\"1.0\" app=\"Bravic\"";
  if (!net.title.empty()) {
    *xml += " name=\"";
    AppendEscaped(xml, EscapedLines(net.title));
    *xml += '"';
  }
  *xml += ">\n";
  if (!net.comment.empty()) AppendElement(xml, "\t\t\t", "comment", EscapedLines(net.comment));
  for (const NodeDescription& node : net.nodes) {
    if (HasLook(node)) WriteLook(node, xml);
  }
  *xml += "\t\t</genie>\n\t</extensions>\n";
}

}  // namespace

std::string Unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char next = text[at] == '\\' && at + 1 < text.size() ? text[at + 1] : '\0';
    plain += next == 'n' ? '\n' : text[at];
    at += next == 'n' || next == '\\';
  }
  return plain;
}

std::string EscapedLines(std::string_view text) {
  std::string escaped;
  for (char c : text) {
    if (c == '\n') {
      escaped += "\\n";
    } else {
      if (c == '\\') escaped += c;
      escaped += c;
    }
  }
  return escaped;
}

void WriteXdsl(const NetDescription& net, std::string* text) {
  *text += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<smile version=\"1.0\" id=\"";
  AppendEscaped(text, net.name.text);
  *text += "\" numsamples=\"10000\" discsamples=\"10000\">\n\t<nodes>\n";
  for (const NodeDescription& node : net.nodes) WriteNode(node, text);
  *text += "\t</nodes>\n";
  if (!net.title.empty() || !net.comment.empty() || std::any_of(net.nodes.begin(), net.nodes.end(), HasLook))
    WriteGenie(net, text);
  *text += "</smile>\n";
}

}  // namespace formats
