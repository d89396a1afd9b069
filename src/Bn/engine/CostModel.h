// What computing takes, estimated: everything by which the engine chooses between ways of doing the same thing.
//
// All costs are in nanoseconds, measured on one x86-64 machine with 512-bit vectors; only their proportions matter.
// What they lead to is measured by `script/bench`; docs/performance.md names the machine and the times. On another one,
// a 2-core Intel Xeon (gcc 12.2, release build), passes by a plan over random shapes of 30 to 324,000 entries took 0.6
// of their estimate in the middle, half of them between 0.5 and 0.7. A wrong estimate costs time, never an answer.
//
// An entry costs differently from one place to another because different things are done to it: plain arithmetic in
// doubles, vector arithmetic in floats by a plan, and reading and dividing messages beside that in a whole sweep.
#pragma once

#include <algorithm>
#include <cmath>

namespace bravic::engine::cost {

// A pass by a plan (PassPlan.cpp). Blocks of rows are multiplied and summed a row of vectors at a time.
inline constexpr double PLAN_RUN = 40;                          // to begin
inline constexpr double BLOCK = 12;                             // to step to a block
inline constexpr double ROW = 0.7, ROW_ENTRY = 0.035;           // one vector operation over a row, by its padded length
inline constexpr double TABLE_OF_BLOCK = 8;                     // a target's share in a block,
inline constexpr double FACTOR_OF_BLOCK = 4;                    //   and that of a factor of one scale a row
inline constexpr double FOLD = 15;                              // to fold gathered rows onto the target, by row:
inline constexpr double WHOLE_ROW = 2, WHOLE_ROW_ENTRY = 0.12;  //   whole rows, gathered first,
inline constexpr double DIRECT_ROW_ENTRY = 0.15;                //   or straight from the block,
inline constexpr double LANE_ROW = 5, LANE_ENTRY = 1.2;         //   and rows whose lanes go to other places
inline constexpr double SPREAD_ROW = 4, SPREAD_ENTRY = 0.8;     // to spread entries of a factor over a row
// Smaller passes go entry by entry, in place of a plan, and those of the second size until they come again; in entries.
inline constexpr double PLAIN_ALWAYS = 12, PLAIN_AT_FIRST = 160;
// The order of axes is searched for in cliques of so many entries (AxisOrder.cpp), trying one order for so much of what
// a pass over them takes.
inline constexpr double AXIS_ORDER_WORTH_A_SEARCH = 512, PASS_PER_AXIS_ORDER = 1500;

// Passes take longer over an entry the fewer states there are: by so much of what they take where there are two. In
// small tables that does not matter.
inline double ShareOfShort(double numAxes, double entries) {
  return entries > PLAIN_AT_FIRST ? numAxes / std::log2(entries) : 0.5;
}

// Messages (Costs.cpp).
inline constexpr double MESSAGE = 120;        // to make one, beside its entries
inline constexpr double NEW_LAYOUT = 250;     // to prepare its pass for findings about other nodes,
inline constexpr double NEW_PLAN = 3800;      //   or one that goes by a plan
inline constexpr double MESSAGE_ENTRY = 0.9;  // an entry of the clique passed over, to make a message
inline constexpr double SWEEP_ENTRY = 1.6;    //   or in one of the two passes of a sweep, where states are two
inline constexpr double FILL_ENTRY = 0.8;     // an entry of a potential that is still to be filled
inline constexpr double LOOK = 20;            // to look at a clique on the way

// Straight sweeps over small trees (StraightSweep.cpp).
inline constexpr double STRAIGHT_CLIQUE = 60;     // both ways, beside its entries,
inline constexpr double STRAIGHT_ENTRY = 1.0;     //   each of which meets every neighbour and every lone variable
inline constexpr double MAKE_STRAIGHT_ENTRY = 4;  // the first, in memory not touched before
inline constexpr double SMALL_SWEEP = 20000;      // one that is made before it is known to be wanted
inline constexpr double STRAIGHT_ALWAYS = 512;    // entries of a tree for which no other way is looked at
inline constexpr double MOST_STRAIGHT_ENTRIES = 1 << 16;  // of a tree

// Single questions (Question.cpp).
inline constexpr double QUESTION = 1000;          // to begin
inline constexpr double RELEVANT_NODE = 45;       // to find a node that matters, and gather its tables
inline constexpr double RELEVANT_VARIABLE = 180;  // the least that its elimination takes
inline constexpr double SMALL = 1500;             // what is not worth a look at other ways

// Steps of variable elimination (EliminationOrder.cpp).
inline constexpr double BUCKET = 180;         // a step, beside its entries
inline constexpr double SINGLE_ENTRY = 2;     // an entry in doubles, one by one
inline constexpr double PLANNED_FROM = 4096;  // entries from which on a step goes by a plan
inline constexpr double MAKE_PLAN = 3000;     // to make a plan for a large step,
inline constexpr double PLANNED_ENTRY = 0.7;  //   and an entry then

// Models without the known nodes (ReducedModels.cpp).
inline constexpr double MAKE_MODEL_NODE = 2500;  // to make one, by free nodes
inline constexpr double MODEL_NODE = 1000;       // a sweep over one,
inline constexpr double MODEL_ENTRY = 1.2,
                        MODEL_SHORT_ENTRY = 2.2;  //   by entries, and that beside it where states are two

// Threads (TreeWork.cpp, SharedTree.cpp). Work is worth several from so many entries on, and comes in tasks of so many.
inline constexpr double ENTRIES_WORTH_THREADS = 1000000, ENTRIES_OF_A_TASK = 16384;
inline constexpr int FILL_WORTH_THREADS = 100000;  // of one potential

// Orders and trees.
inline constexpr double GREEDY_NODE = 300,
                        GREEDY_LOOK = 3;          // a greedy run, by nodes and by looks at neighbours (GreedyRun.h)
inline constexpr double ENTRIES_OF_A_PASS = 100;  // what a pass or a message takes beside its entries, in entries

// Passes of case programs (PassMaker.cpp), in vector operations.
inline constexpr double CASE_GROUP = 6, CASE_ROW = 4, CASE_ENTRY = 2;  // each, beside its tables:
inline constexpr double CASE_FACTOR = 1, CASE_TARGET = 3;              //   a multiplication, a sum
inline constexpr double CASE_OFFSET = 0.5;                             //   and where it stands
// A tree of so many entries is computed in lanes (ManyCases.cpp), a larger one for a case at a time, without what is
// known of it; and so many cases are a task for one thread.
inline constexpr double MOST_CASE_ENTRIES = 131072;
inline constexpr int CASES_OF_TASK = 512, SINGLE_CASES_OF_TASK = 16;
// Single cases, each pass beside its entries: over cliques of the tree (SingleCase.cpp), and over what is left of the
// net (CaseElimination.cpp), where an order is found first, by free variables and by nodes.
inline constexpr double CASE_CLIQUE = 800, CASE_CLIQUE_ENTRY = 5, CASE_BUCKET = 400, CASE_BUCKET_ENTRY = 4,
                        CASE_FREE = 200, CASE_NODE = 50;

// What a search for a better tree than one of that many entries may take: the larger it is, the more is to be had.
inline double TreeWorthSearching(double entries) {
  constexpr double SHARE = 1.5e-8, MOST = 5e8;
  return std::min(SHARE * entries * entries, MOST);
}

}  // namespace bravic::engine::cost
