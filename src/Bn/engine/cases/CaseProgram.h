// What is computed for every one of many cases: a list of steps over tables, made once and run for as many cases at a
// time as a vector has lanes. Every table has the case as its fastest dimension: a slot is one entry for each of the
// cases. What is known of a node is a table over its states, 1 where the case allows the state and 0 elsewhere, so that
// all cases take the same steps whatever is known in them.
//
// The steps are a propagation over a junction tree: messages inward to a root, then outward to where beliefs are read.
// A message outward is the belief of the separator divided by the message inward (Jensen, Lauritzen & Olesen 1990).
#pragma once

#include "Basic/Memory.h"

namespace bravic::engine {

// A pass over a clique: its potential times factors, summed onto targets. The configurations are run through in groups
// of rows; a row runs through one variable. A factor or target without that variable is met once a row, one that the
// rows of a group have in common once a group. Offsets stand in the program's pool: where slots begin, in bytes.
struct CasePass {
  // Of factors or targets, by how often they are met.
  struct Numbers {
    int ofGroup = 0, ofRow = 0, ofEntry = 0;
  };
  Numbers factors, targets;
  Numbers stored;  // of the targets, the first so many are met but once, and stored in place of being added to
  int rowLength = 1, numGroups = 0;
  int potential = 0;                // first entry; rows in order, those of zeros left out
  int groups = 0;                   // for each: its number of rows, offsets of factors, of targets
  int rows = 0;                     // for each: offsets of row factors, row targets, entry factors, entry targets
  int steps = 0;                    // from one entry of a row to the next, in bytes: of entry factors, of entry targets
  int cleared = 0, numCleared = 0;  // targets: first slot, number of slots
  // No positive product is less than low times, for each case, what stands in the slots; at least, if not -1, gets
  // that.
  double low = 1;
  int lows = 0, numLows = 0;
  int least = -1;
};

// A message made ready: what is known is multiplied in, a message outward divided by the one inward, and where the
// range asks for it the largest entry of each case is scaled to [0.5, 1).
struct CaseMessage {
  int table = 0, size = 1;            // slots
  int divisor = -1;                   // of a message outward: the message inward, whose place it takes
  int low = -1;                       // scaled: slot for the least positive entry
  bool isCounted = false;             //   and whether the exponents taken out belong to the total
  int evidence = 0, numEvidence = 0;  // pool: for each, the offsets that belong to the entries
};

// The belief of a node: sums of entries, scaled to sum 1.
struct CaseReading {
  int slots = 0;  // pool: for each state, the offsets to be added
  int numStates = 0, perState = 0;
  int to = 0;  // first slot
};

struct CaseStep {
  enum class Kind : unsigned char { PASS, EVIDENCE, DIVISION, SCALING, READ } kind;
  int index;
};

// A node that may be known.
struct CaseEvidence {
  int column = 0;  // of the case's states
  int table = 0, numStates = 0;
};

struct CaseProgram {
  // Slots with a meaning of their own: what must be added to the exponent of the total, the total of the root, and, as
  // bits, the cases whose numbers may have left the range.
  static constexpr int EXPONENT = 0, TOTAL = 1, DOUBT = 2, FIRST_FREE = 3;

  explicit CaseProgram(int bytes = 1) : slotBytes(bytes) {}

  int slotBytes;  // of all cases that are computed together
  Vector<CaseStep> steps;
  Vector<CasePass> passes;
  Vector<CaseMessage> messages;
  Vector<CaseReading> readings;
  Vector<CaseEvidence> evidence;
  Vector<int> pool;
  Vector<double> potentials;
  Vector<float> floats;  // the same
  int numSlots = FIRST_FREE;
  int beliefs = 0, numBeliefs = 0;  // slots: the targets' beliefs one after the other
  long long exponent = 0;           // of every case's total: potentials are scaled
};

}  // namespace bravic::engine
