#include "Drawing.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "Characters.h"
#include "Spelling.h"

namespace {

constexpr std::size_t LINE_WIDTH = 24, MOST_LINES = 3;  // of titles, in characters
constexpr int MOST_STATES = 24;                         // of a node that are drawn one by one
constexpr int BAR_WIDTH = 64, BAR_HEIGHT = 9;           // in points
constexpr char BAR[] = "#7aa0d2", FOUND_BAR[] = "#d9a21b", REST_OF_BAR[] = "#edf0f4";
constexpr char EDGE[] = "#5a6472";

struct Look {
  const char *shape, *style, *fill, *line;
};
constexpr Look NATURE = {"box", "rounded,filled", "#ffffff", "#5b7ba6"},
               FOUND = {"box", "rounded,filled,bold", "#fdf0cf", "#b07d10"},
               WEIGHED = {"box", "rounded,filled,dashed", "#fdf7e6", "#b07d10"},
               DECISION = {"box", "filled", "#dff0dc", "#4d8b45"},
               DECIDED = {"box", "filled,bold", "#fdf0cf", "#4d8b45"},
               UTILITY = {"hexagon", "filled", "#fbe3d6", "#c0703a"},
               CONSTANT = {"box", "filled,dotted", "#f2f2f2", "#808080"};

constexpr int NO_FINDING = -8;

Look LookOf(node_bn node) {
  const int kind = GetNodeKind_bn(node);
  const int finding = GetNodeNumberStates_bn(node) > 0 ? GetNodeFinding_bn(node) : NO_FINDING;
  if (kind == UTILITY_NODE) return UTILITY;
  if (kind == DECISION_NODE) return finding >= 0 ? DECIDED : DECISION;
  if (kind != NATURE_NODE) return CONSTANT;
  return finding >= 0 ? FOUND : finding == NO_FINDING ? NATURE : WEIGHED;
}

// As characters; line ends and other controls are blanks.
std::vector<std::string> ShownCharacters(const std::string& text) {
  std::vector<std::string> characters = CharactersOf(text);
  for (std::string& character : characters)
    if (IsControl(character)) character = " ";
  return characters;
}

// Within a label of the kind that is written like HTML.
std::string Escape(const std::string& text) {
  std::string escaped;
  for (const std::string& character : ShownCharacters(text)) {
    switch (character[0]) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += character;
    }
  }
  return escaped;
}

// Broken into lines at blanks, or within what is longer than a line; what is too much for all lines is cut.
std::string Wrap(const std::string& text) {
  std::vector<std::string> left = ShownCharacters(text);
  std::string lines;
  for (std::size_t number = 1; !left.empty(); ++number) {
    std::size_t end = left.size(), next = end;
    if (left.size() > LINE_WIDTH) {
      end = next = LINE_WIDTH;
      for (std::size_t k = LINE_WIDTH; k > LINE_WIDTH / 3; --k) {
        if (left[k] != " ") continue;
        end = k;
        next = k + 1;
        break;
      }
    }
    const bool isCut = number == MOST_LINES && next < left.size();
    if (number > 1) lines += "<BR/>";
    for (std::size_t k = 0; k < end; ++k) lines += Escape(left[k]);
    if (isCut) {
      lines += "...";
      break;
    }
    left.erase(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(next));
  }
  return lines;
}

std::string TitleOf(node_bn node) {
  for (const char* text : {GetNodeTitle_bn(node), GetNodeText_bn(node, "label")})
    if (text && *text) return text;
  return GetNodeName_bn(node);
}

// 0 and 100 alone are impossible and certain.
std::string PercentText(double probability) {
  constexpr double LEAST_FIXED = 0.0005;
  if (probability == 0 || probability == 1) return probability == 0 ? "0" : "100";
  char text[32];
  std::snprintf(text, sizeof text, probability >= LEAST_FIXED ? "%.1f" : "%.2g", 100 * probability);
  return text;
}

std::string Cell(int width, const char* colour) {
  return "<TD WIDTH=\"" + std::to_string(width) + "\" HEIGHT=\"" + std::to_string(BAR_HEIGHT) +
         "\" FIXEDSIZE=\"TRUE\" BGCOLOR=\"" + colour + "\"></TD>";
}

std::string BarOf(double probability, const char* colour) {
  int width = static_cast<int>(std::lround(probability * BAR_WIDTH));
  if (probability > 0) width = std::max(width, 1);
  std::string bar = "<TD ALIGN=\"LEFT\"><TABLE BORDER=\"0\" CELLBORDER=\"0\" CELLSPACING=\"0\" CELLPADDING=\"0\"><TR>";
  if (width > 0) bar += Cell(width, colour);
  if (width < BAR_WIDTH) bar += Cell(BAR_WIDTH - width, REST_OF_BAR);
  return bar + "</TR></TABLE></TD>";
}

std::string RowOf(const std::string& state, const double* probability, bool isFound) {
  const std::string name = isFound ? "<B>" + Escape(state) + "</B>" : Escape(state);
  std::string row = "<TR><TD ALIGN=\"LEFT\">" + name + "</TD>";
  if (probability)
    row +=
        BarOf(*probability, isFound ? FOUND_BAR : BAR) + "<TD ALIGN=\"RIGHT\">" + PercentText(*probability) + "</TD>";
  return row + "</TR>";
}

std::string RowsOf(node_bn node, bool withBeliefs) {
  const int numStates = GetNodeNumberStates_bn(node), numDrawn = numStates > MOST_STATES ? MOST_STATES - 1 : numStates;
  const bool hasBars = withBeliefs && GetNodeKind_bn(node) == NATURE_NODE;
  const int finding = numStates > 0 ? GetNodeFinding_bn(node) : NO_FINDING;
  const probtype* beliefs = hasBars ? GetNodeBeliefs_bn(node) : nullptr;
  std::string rows;
  double rest = 1;
  for (statetype s = 0; s < numDrawn; ++s) {
    const double probability = beliefs ? beliefs[s] : 0;
    rows += RowOf(StateText(node, s), beliefs ? &probability : nullptr, finding == s);
    rest -= probability;
  }
  rest = std::clamp(rest, 0.0, 1.0);
  if (numDrawn < numStates)
    rows += RowOf(std::to_string(numStates - numDrawn) + " others", beliefs ? &rest : nullptr, finding >= numDrawn);
  return rows;
}

std::string Attributes(const Look& look) {
  return std::string("shape=") + look.shape + ", style=\"" + look.style + "\", fillcolor=\"" + look.fill +
         "\", color=\"" + look.line + "\"";
}

std::string BoxOf(node_bn node, bool inDetail, bool withBeliefs) {
  const Look look = LookOf(node);
  const bool hasStates = inDetail && GetNodeKind_bn(node) != UTILITY_NODE && GetNodeNumberStates_bn(node) > 0;
  std::string label = Wrap(inDetail ? TitleOf(node) : GetNodeName_bn(node));
  if (inDetail) label = "<B>" + label + "</B>";
  if (hasStates) {
    const char* const span = withBeliefs && GetNodeKind_bn(node) == NATURE_NODE ? " COLSPAN=\"3\"" : "";
    label = "<TABLE BORDER=\"0\" CELLBORDER=\"0\" CELLSPACING=\"0\" CELLPADDING=\"2\"><TR><TD" + std::string(span) +
            ">" + label + "</TD></TR><HR/>" + RowsOf(node, withBeliefs) + "</TABLE>";
  }
  return "  \"" + std::string(GetNodeName_bn(node)) + "\" [label=<" + label + ">, " + Attributes(look) + "];\n";
}

// ranks: how far apart they are, in inches. Large graphs are laid out in bounded time, with straight edges.
std::string BeginGraph(const char* kind, const char* ranks, const Net& net, bool inDetail) {
  std::string text = std::string(kind) + " {\n  graph [label=<<B>" + Wrap(TitleOf(net)) +
                     "</B>>, labelloc=t, fontsize=18, nodesep=0.3, ranksep=" + ranks + ", pad=0.2";
  if (!inDetail) text += ", rankdir=LR, splines=line, nslimit=1, nslimit1=1, mclimit=0.2";
  text += "];\n  node [fontname=\"Helvetica,Arial,sans-serif\", fontsize=11, margin=\"0.08,0.04\", height=0.3];\n";
  return text + "  graph [fontname=\"Helvetica,Arial,sans-serif\"];\n  edge [color=\"" + EDGE + "\", arrowsize=0.7];\n";
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

std::vector<std::string> Shared(const CliqueLine& a, const CliqueLine& b) {
  std::vector<std::string> shared;
  for (const std::string& name : a.members)
    if (std::find(b.members.begin(), b.members.end(), name) != b.members.end()) shared.push_back(name);
  return shared;
}

}  // namespace

std::string DrawNet(const Net& net, bool withBeliefs) {
  const std::vector<node_bn> nodes = Nodes(net);
  const bool inDetail = nodes.size() <= MOST_NODES_IN_DETAIL;
  std::string text = BeginGraph("digraph", "0.45", net, inDetail);
  for (node_bn node : nodes) text += BoxOf(node, inDetail, withBeliefs && inDetail);
  for (node_bn node : nodes) {
    for (node_bn parent : Nodes(GetNodeParents_bn(node))) {
      if (GetNodeNet_bn(parent) != net.get()) continue;
      // What is known when a decision is taken.
      const char* const style = GetNodeKind_bn(node) == DECISION_NODE ? " [style=dashed]" : "";
      text += "  \"" + std::string(GetNodeName_bn(parent)) + "\" -> \"" + GetNodeName_bn(node) + "\"" + style + ";\n";
    }
  }
  return text + "}\n";
}

std::string DrawTree(const Net& net, const TreeReport& tree) {
  const std::size_t n = tree.cliques.size();
  const bool inDetail = n <= MOST_NODES_IN_DETAIL;
  std::string text = BeginGraph("graph", "0.2", net, inDetail);
  for (std::size_t i = 0; i < n; ++i) {
    const CliqueLine& clique = tree.cliques[i];
    char size[64];
    std::snprintf(size, sizeof size, "%.10g %s", clique.size, clique.size == 1 ? "entry" : "entries");
    text += "  c" + std::to_string(i) + " [label=<" + Wrap(Joined(clique.members));
    if (inDetail) text += "<BR/><FONT POINT-SIZE=\"9\" COLOR=\"#6b7480\">" + std::string(size) + "</FONT>";
    text += ">, " + Attributes({"ellipse", "filled", "#eaf1fa", NATURE.line}) + "];\n";
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (int neighbour : tree.cliques[i].joined) {
      const auto j = static_cast<std::size_t>(neighbour);
      if (j <= i || j >= n) continue;
      const std::string a = "c" + std::to_string(i), b = "c" + std::to_string(j), between = a + "_" + std::to_string(j);
      if (inDetail) {
        text += "  " + between + " [label=<" + Wrap(Joined(Shared(tree.cliques[i], tree.cliques[j]))) +
                ">, fontsize=9, " + Attributes({"box", "filled", "#f2f2f2", "#9aa4b0"}) + "];\n";
        text += "  " + a + " -- " + between + " -- " + b + ";\n";
      } else {
        text += "  " + a + " -- " + b + ";\n";
      }
    }
  }
  return text + "}\n";
}
