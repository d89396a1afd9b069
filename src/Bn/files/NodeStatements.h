// Statements of a node block that have rules of their own and can be read where they stand, or are left there for
// later. They are called by way of the rules of fields (NodeFields.h); each answers false with the error reported.
#pragma once

#include "Bn/files/NodeBlock.h"

namespace bravic {

bool ReadKind(NodeBlock& block, NodeField field);
bool ReadDiscrete(NodeBlock& block, NodeField field);
bool ReadNumStates(NodeBlock& block, NodeField field);
bool ReadStates(NodeBlock& block, NodeField field);
bool ReadParents(NodeBlock& block, NodeField field);
bool ReadChildren(NodeBlock& block, NodeField field);
bool ReadNumParents(NodeBlock& block, NodeField field);   // checked at the end of the block
bool ReadNumChildren(NodeBlock& block, NodeField field);  // passed over
bool ReadUser(NodeBlock& block, NodeField field);
bool ReadTableStatement(NodeBlock& block, NodeField field);
bool Postpone(NodeBlock& block, NodeField field);  // leaves the value where it stands
bool CannotRead(NodeBlock& block, NodeField field);

}  // namespace bravic
