// Shapes of nets, by name and number of nodes, for tests and benchmarks: numbers of states and parents, parents first.
#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace bravic::testing {

struct NetShape {
  std::vector<int> states;
  std::vector<std::vector<int>> parents;

  int Count() const { return static_cast<int>(states.size()); }
  int Add(int numstates, std::vector<int> itsParents) {
    states.push_back(numstates);
    parents.push_back(std::move(itsParents));
    return Count() - 1;
  }
};

// Calls visit(states, row) for each row of node i's table, with the states of its parents and one more.
template <class Visit>
void ForEachRow(const NetShape& shape, int i, Visit visit) {
  const std::vector<int>& parents = shape.parents[static_cast<std::size_t>(i)];
  std::vector<int> states(parents.size() + 1, 0);
  for (int row = 0;; ++row) {
    visit(states, row);
    std::size_t k = parents.size();
    while (k > 0 && ++states[k - 1] == shape.states[static_cast<std::size_t>(parents[k - 1])]) states[--k] = 0;
    if (k == 0) return;
  }
}

// Two genes a person, each from one of the genes of a parent, as a hidden switch has it, and what is seen of both.
// Couples are often related, which makes loops.
inline NetShape Pedigree(int num) {
  constexpr unsigned SEED = 3, RELATED_OF_100 = 36, FOUNDERS = 6, LIVING = 24, MOST_CHILDREN = 3;
  constexpr int ALLELES = 4;
  struct Person {
    int fromFather, fromMother;
  };
  NetShape shape;
  std::mt19937 random(SEED);
  std::vector<Person> people;
  auto enter = [&](int fromFather, int fromMother) {
    shape.Add(2, {fromFather, fromMother});
    people.push_back({fromFather, fromMother});
    return people.back();
  };
  auto founder = [&] {
    const int fromFather = shape.Add(ALLELES, {});
    return enter(fromFather, shape.Add(ALLELES, {}));
  };
  for (unsigned i = 0; i < FOUNDERS; ++i) founder();
  while (shape.Count() < num - 8) {
    const std::size_t living = std::min<std::size_t>(people.size(), LIVING);
    auto anyone = [&] { return people[people.size() - 1 - random() % living]; };
    const Person father = anyone(), mother = random() % 100 < RELATED_OF_100 ? anyone() : founder();
    if (father.fromFather == mother.fromFather) continue;
    for (unsigned children = 1 + random() % MOST_CHILDREN; children > 0; --children) {
      const int ofFather = shape.Add(2, {}), ofMother = shape.Add(2, {});
      const int fromFather = shape.Add(ALLELES, {father.fromFather, father.fromMother, ofFather});
      enter(fromFather, shape.Add(ALLELES, {mother.fromFather, mother.fromMother, ofMother}));
    }
  }
  return shape;
}

// Of two to seven states each; some few nodes have children everywhere, the others nearby.
inline NetShape Medical(int num) {
  constexpr unsigned SEED = 1, HUB_OF_100 = 15, NEAR = 7;
  constexpr int HUBS = 6;
  NetShape shape;
  std::mt19937 random(SEED);
  for (int i = 0; i < num; ++i) {
    const bool isLarge = i < HUBS || random() % 3 != 0;
    const int states = static_cast<int>(isLarge ? 5 + random() % 3 : 2 + random() % 4);
    std::vector<int> parents;
    unsigned count = i < HUBS ? random() % 2 : 1 + (random() % 100 < 60) + (random() % 100 < 15);
    for (; i > 0 && count > 0; --count) {
      const bool isHub = random() % 100 < HUB_OF_100 && i > HUBS;
      const int parent =
          isHub ? static_cast<int>(random() % HUBS) : std::max(0, i - 1 - static_cast<int>(random() % NEAR));
      if (std::find(parents.begin(), parents.end(), parent) == parents.end()) parents.push_back(parent);
    }
    shape.Add(states, parents);
  }
  return shape;
}

inline std::vector<int> ParentsInGrid(int i, int width) {
  std::vector<int> parents;
  if (i >= width) parents.push_back(i - width);
  if (i % width > 0) parents.push_back(i - 1);
  return parents;
}

// The parents of node i in a net of nodes of two states.
inline std::vector<int> ParentsInShape(const std::string& shape, int i) {
  if (shape == "chain" && i > 0) return {i - 1};
  if (shape == "tree" && i > 0) return {(i - 1) / 2};
  // Every second node is a root beside a child of the one before it.
  if (shape == "polytree" && i > 1 && i % 2 == 0) return {i - 2 - 2 * (i / 2 % 3 == 2 && i > 3), i - 1};
  if (shape == "hub" && i > 0) return {0};
  if (shape == "hubs" && i % 100 > 0) return {i - i % 100};
  if (shape == "sinks" && i % 4 == 3) return {i - 3, i - 2, i - 1};
  if (shape == "grid") return ParentsInGrid(i, 3);
  if (shape == "grid8") return ParentsInGrid(i, 8);
  return {};
}

inline NetShape MakeShape(const std::string& name, int num) {
  if (name == "pedigree") return Pedigree(num);
  if (name == "medical") return Medical(num);
  NetShape shape;
  for (int i = 0; i < num; ++i) shape.Add(2, ParentsInShape(name, i));
  return shape;
}

}  // namespace bravic::testing
