// Readiness and consistency checks of nets.
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Bn/model/Records.h"

namespace bravic {

enum class Purpose { Compile, Optimize };
// mode 2: structure only; 1: ask the user before refusing incomplete tables; else tables without asking.
Failure CheckReadiness(std::span<const node_bn> nodes, bool wrap, Purpose purpose, int mode, net_bn net);
}  // namespace bravic
