// Readiness and consistency checks of nets.
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Bn/model/Records.h"

namespace bravic {

enum class Purpose { Compile, Optimize };
enum class Extent { Structure, Tables };  // tables as well as the structure
// What keeps the nodes, which are to be compiled or optimized together, from it.
Failure CheckFitness(std::span<const node_bn> nodes, Purpose purpose, Extent extent);
// The same as "can't compile net ..., because ...".
Failure CheckReadiness(std::span<const node_bn> nodes, Purpose purpose, Extent extent, net_bn net);

}  // namespace bravic
