#include "Bn/compiled/TreeReport.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "Basic/Text.h"
#include "Bn/compiled/CompiledNet.h"

namespace bravic {
namespace {

void Add(Vector<char>& text, std::string_view more) {
  text.insert(text.end(), more.begin(), more.end());
}

void AddInt(Vector<char>& text, int value) {
  char digits[16];
  Add(text, {digits, std::to_chars(digits, digits + sizeof digits, value).ptr});
}

// As "%g".
void AddReal(Vector<char>& text, double value) {
  char digits[32];
  Add(text, {digits, std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 6).ptr});
}

constexpr int SIZE_COLUMN = 25, MAX_BLANKS = 80;
constexpr double LARGEST_INT_SIZE = 2147483647.0;  // larger sizes are written as real numbers

// A line: its number, its neighbours, its size right-aligned in its column, its members.
void AddClique(Vector<char>& text, const CompiledNet& compiled, int index) {
  const engine::Clique& clique = compiled.tree.cliques[index];
  Vector<char> line;
  if (index < 10) line.push_back(' ');
  AddInt(line, index);
  Add(line, "  [");
  for (int k = 0; k < clique.neighbours.size(); ++k) {
    if (k > 0) line.push_back(' ');
    AddInt(line, clique.neighbours[k]);
  }
  line.push_back(']');
  Vector<char> size;
  if (clique.size < LARGEST_INT_SIZE) {
    AddInt(size, static_cast<int>(clique.size));
  } else {
    AddReal(size, clique.size);
  }
  line.insert(line.end(), std::clamp(SIZE_COLUMN - line.size() - size.size(), 1, MAX_BLANKS), ' ');
  Add(line, std::string_view(size.begin(), size.end()));
  Add(line, "  (");
  for (int k = 0; k < clique.members.size(); ++k) {
    const int member = clique.members[k];
    if (k > 0) Add(line, ", ");
    if (compiled.tree.home[member] == index) line.push_back('*');
    Add(line, OrEmpty(compiled.nodes[member]->name));
  }
  Add(line, ")\n");
  Add(text, std::string_view(line.begin(), line.end()));
}

}  // namespace

const char* JunctionTreeReport(net_bn net) {
  Vector<char> text;
  if (!net->compiled) {
    Add(text, "Net '");
    Add(text, OrEmpty(net->name));
    Add(text, "' has no junction tree\n");
  } else {
    const engine::JunctionTree& tree = net->compiled->tree;
    Add(text, "Clique  [Joined To]  Size   Member nodes (* means home)\n");
    for (int i = 0; i < tree.cliques.size(); ++i) AddClique(text, *net->compiled, i);
    double total = 0;
    for (const engine::Clique& clique : tree.cliques) total += clique.size;
    Add(text, "Total state space = ");
    AddReal(text, total);
    Add(text, "\n");
  }
  Free(net->report);
  return net->report = DupText(std::string_view(text.data(), text.size()));
}

}  // namespace bravic
