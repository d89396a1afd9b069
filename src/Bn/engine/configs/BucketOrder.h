// The order in which variables leave the product of a net's tables, and what each step then works on. Variables that
// are summed out go before those that are maximized (constrained elimination: Park & Darwiche 2004), since a largest
// sum is no sum of largest entries.
#pragma once

#include "Bn/engine/Tree.h"
#include "Bn/engine/configs/ConfigQuestion.h"

namespace bravic::engine {

struct BucketOrder {
  Vector<int> variables;           // nodes, first eliminated first
  int numSummed = 0;               // so many of them are summed out, the rest maximized
  Vector<int> position;            // [node] its place among the variables, or -1
  Vector<Vector<int>> neighbours;  // [place] nodes over which the step leaves a table, the last eliminated first
  double cost = 0;                 // entries that all steps go over
  double largest = 1;              // entries of the largest table that a step leaves
};

// All variables are maximized, in the order in which the tree's cliques are collected from its leaves.
BucketOrder OrderAlongTree(const ConfigQuestion& question, const JunctionTree& tree);
// The asked nodes are maximized and all others that matter summed out; greedy by the size of what each step works on.
// Where the largest table has MAX_TABLE_ENTRIES or more, it ends there, and is no order of all.
BucketOrder OrderAround(const ConfigQuestion& question, std::span<const int> asked,
                        std::span<const unsigned char> matters);

}  // namespace bravic::engine
