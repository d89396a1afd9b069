#include "Bn/learn/FindIntervals.h"

#include <cmath>

#include "Basic/Errors.h"
#include "Basic/NumberText.h"
#include "Bn/engine/learn/Intervals.h"

namespace bravic {

long FindIntervals(std::span<const double> values, const int* classes, int method, int mostbins, double* bounds) {
  const auto numvalues = static_cast<long>(values.size());
  const Block<engine::ClassedValue> kept = TryMakeBlock<engine::ClassedValue>(values.size());
  if (!kept) {
    Report(NO_MEMORY_TO_CUT, numvalues);
    return -1;
  }
  std::size_t count = 0;
  const auto way = static_cast<engine::CutMethod>(method);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const int target = way == engine::CutMethod::Information ? classes[i] : 0;
    if (std::fabs(values[i]) < INF_DBL && values[i] != UNDEF_DBL && target >= 0) kept[count++] = {values[i], target};
  }
  if (count == 0) {
    Report(NO_VALUES_TO_CUT);
    return -1;
  }
  LongWork work("Cutting numbers into intervals", 0, Showing::Always);
  Vector<double> cuts;
  bool lacks = false;
  if (!engine::FindCuts({kept.get(), count}, way, mostbins, work, &cuts, &lacks)) {
    if (lacks)
      Report(NO_MEMORY_TO_CUT, numvalues);
    else
      Post(FailHalted());
    return -1;
  }
  *bounds++ = -INF_DBL;
  for (double cut : cuts) *bounds++ = cut;
  *bounds = INF_DBL;
  return cuts.size() + 1;
}

}  // namespace bravic
