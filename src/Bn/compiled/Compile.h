// Compiling a net into a junction tree with potentials (Lauritzen & Spiegelhalter 1988): checks that the net is ready,
// takes its elimination order or searches one and stores it, and gives the engine trees and tables.
#pragma once

#include "Basic/Errors.h"
#include "Bn/model/Records.h"

namespace bravic {

// Empty on success, and when the net was compiled already. What compiling still finds in order is kept: the tree after
// a change of tables, and the other tables then.
Failure CompileNet(net_bn net);

}  // namespace bravic
