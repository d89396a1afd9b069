// The links of a node being read: names of parents and what stands for them, and the names of the links themselves.
#pragma once

#include "Bn/files/NetReader.h"

namespace bravic {

// By the name as it was written in its block, or as it was mended there.
node_bn FindEntry(const NetReader& reader, std::string_view word);
// Resolves the parents, if all names are known, and makes preds. final: unknown names are errors.
bool LinkParents(NetReader& reader, NodeEntry& entry, bool final);
void ReadInputs(NetReader& reader, NodeEntry& entry);  // once the parents are linked

}  // namespace bravic
