// The modules above the foundation, started and stopped with the environment: one table that gives their order.
#pragma once

namespace bravic {

void StartModules();
void StopModules();  // in the reverse order

}  // namespace bravic
