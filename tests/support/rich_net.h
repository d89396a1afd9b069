// Random nets that hold something in every field a net file can say.
#pragma once

#include "support/nets.h"

namespace bravic::testing {

// A random net (see RandomNet) whose nodes have been given random kinds, names, levels, units, texts, tables of every
// form with missing and impossible rows, experience, findings, and here and there a parent that was deleted.
Net RandomRichNet(environ_ns env, Random& random);
// Texts with the characters that need care between quotes; often longer than a line.
std::string RandomText(Random& random);

}  // namespace bravic::testing
