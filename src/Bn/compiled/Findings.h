// Findings: entered, accumulated, read back and retracted on nodes, with the checks that refuse contradictions.
#pragma once

#include "Bn/model/Net.h"

namespace bravic {

enum FindingCode : int { LIKELIHOOD_FINDING = -6, NEGATIVE_FINDING = -7, NO_FINDING = -8 };

// Adding: to what is known of the node, which must not contradict it. Replacing: in place of it, so that UNDEF_STATE,
// UNDEF_DBL or no vector retracts it.
enum class Entry { Adding, Replacing };
// 0 entered, 1 no change, -1 refused with an error posted. What is entered is recorded for undo, and the net's beliefs
// are updated when its autoupdate is on.
int EnterState(node_bn node, statetype state, Entry entry);
int EnterLikelihood(node_bn node, const float* likelihood, Entry entry);
int EnterValue(node_bn node, double value, Entry entry);
int EnterNot(node_bn node, statetype state);  // added to what is known
void RetractFinding(node_bn node);
void RetractAllFindings(net_bn net);
int FindingOf(const bnode& node);
// One weight a state, whatever the form of the finding; valid until the node's finding or beliefs change.
const float* ShownLikelihood(node_bn node);
double ValueOf(const bnode& node);  // of a discrete node that of the level; UNDEF_DBL without one
// Direct storing without checks or updating, for case sampling: recorded, and counts and flags kept right. Takes the
// vector, which may be NULL.
void StoreFinding(node_bn node, statetype state, double value, float* likelihood);

}  // namespace bravic
