// The options by which a command line states findings, and entering them.
#pragma once

#include <string>
#include <vector>

#include "CommandLine.h"
#include "Session.h"

struct FindingOptions {
  std::vector<std::string> states, nots, likelihoods, values;  // each "NODE=..."
  std::string evidence;                                        // a file
  long number = 1;                                             // of the case in it
  bool leaveStored = false;                                    // the findings that the net file holds
};

// Whether a value has the form NODE=...
std::string CheckAssignment(const std::string& text);
void AddFindingOptions(Command* command, FindingOptions* options);
// Among them: whether to leave aside the findings that the net holds.
void AddStoredFindingsOption(Command* command, bool* leave);
// Retracts them, or says which there are.
void TakeStoredFindings(bool leave, const Net& net, Session& session);
void EnterFindings(const FindingOptions& options, const Net& net, Session& session);

// "NODE=STATE", "NODE!=STATE,STATE" or "NODE (likelihood)"; empty where nothing is known of it.
std::string FindingText(node_bn node);
// Of the findings of a compiled net a smallest set that contradict each other, to be freed; NULL where they are
// possible.
nodelist_bn Contradiction(const Net& net);
// Refuses findings that contradict each other, and names a smallest set that do. Answers their probability.
double CheckPossible(const Net& net, Session& session);

// How a node's finding bears on one of its states.
enum class Mark { None, Found, Excluded, Weighed };
Mark MarkOf(node_bn node, statetype state);
// "found", "excluded", "weighed", or empty.
const char* MarkText(Mark mark);
