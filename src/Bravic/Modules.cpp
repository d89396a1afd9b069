#include "Bravic/Modules.h"

#include <cstddef>
#include <iterator>

#include "Basic/Random.h"
#include "Bn/compiled/Changes.h"
#include "Bn/learn/CaseCounts.h"
#include "Bn/model/Net.h"
#include "Bn/model/SharedAnswers.h"
#include "Win_Face/FileSpec.h"

namespace bravic {
namespace {

// In the order of starting: each may use those before it.
struct Module {
  void (*start)();  // either may be NULL
  void (*stop)();
};

constexpr Module MODULES[] = {
    {nullptr, FreeAllFileSpecs},  {StartRandom, StopRandom},  {StartModel, StopModel},
    {nullptr, FreeSharedAnswers}, {ListenToChanges, nullptr}, {StartCounts, StopCounts},
};

}  // namespace

void StartModules() {
  for (const Module& module : MODULES) {
    if (module.start) module.start();
  }
}

void StopModules() {
  for (std::size_t i = std::size(MODULES); i-- > 0;) {
    if (MODULES[i].stop) MODULES[i].stop();
  }
}

}  // namespace bravic
