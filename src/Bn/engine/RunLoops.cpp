#include "Bn/engine/RunLoops.h"

#include <algorithm>
#include <cstring>

namespace bravic::engine {

namespace {

// Vectors that every machine has.
constexpr int LANES = 2;
using Lanes __attribute__((vector_size(LANES * sizeof(double)))) = double;

// Calls take(first, vector) for all lanes at once as long as there are so many, and take(i, single) for the rest.
template <class TakeLanes, class TakeOne>
inline void ForEachLane(int length, TakeLanes takeLanes, TakeOne takeOne) {
  int i = 0;
  for (; i + LANES <= length; i += LANES) takeLanes(i);
  for (; i < length; ++i) takeOne(i);
}

inline Lanes Load(const double* from) {
  Lanes x;
  std::memcpy(&x, from, sizeof x);
  return x;
}

inline void Store(double* to, Lanes x) {
  std::memcpy(to, &x, sizeof x);
}

template <bool MAXIMUM, class Number>
inline Number Join(Number a, Number b) {
  if constexpr (MAXIMUM)
    return a < b ? b : a;
  else
    return a + b;
}

// Of runs of so many entries (0: any number), which the compiler unrolls then.

template <int LENGTH>
struct Multiply {
  static void Do(const Runs& runs, const double* from, const double* table, const RowPlaces& places, double* to) {
    const int length = LENGTH ? LENGTH : runs.length;
    for (const Run* run = runs.all; run != runs.all + runs.count; ++run) {
      const double* x = from + run->begin;
      const double* t = table + places.offsets[run->row];
      double* out = to + run->begin;
      if (places.runsAlong) {
        t += run->skip;
        if constexpr (LENGTH > 0)
          for (int i = 0; i < length; ++i) out[i] = x[i] * t[i];
        else
          ForEachLane(
              length, [&](int i) { Store(out + i, Load(x + i) * Load(t + i)); }, [&](int i) { out[i] = x[i] * t[i]; });
      } else {
        const double factor = *t;
        if constexpr (LENGTH > 0)
          for (int i = 0; i < length; ++i) out[i] = x[i] * factor;
        else
          ForEachLane(
              length, [&](int i) { Store(out + i, Load(x + i) * factor); }, [&](int i) { out[i] = x[i] * factor; });
      }
    }
  }
};

// The sum of a run: of long ones several sums side by side, in a fixed order.
template <int LENGTH, bool MAXIMUM>
inline double SumOfRun(const double* x, int length) {
  constexpr int SUMS = 4;
  if (LENGTH > 0 || length < SUMS) {
    double sum = x[0];
    for (int i = 1; i < (LENGTH > 0 ? LENGTH : length); ++i) sum = Join<MAXIMUM>(sum, x[i]);
    return sum;
  }
  double sums[SUMS];
  std::copy_n(x, SUMS, sums);
  int i = SUMS;
  for (; i + SUMS <= length; i += SUMS)
    for (int k = 0; k < SUMS; ++k) sums[k] = Join<MAXIMUM>(sums[k], x[i + k]);
  for (int k = 0; i + k < length; ++k) sums[k] = Join<MAXIMUM>(sums[k], x[i + k]);
  return Join<MAXIMUM>(Join<MAXIMUM>(sums[0], sums[1]), Join<MAXIMUM>(sums[2], sums[3]));
}

template <int LENGTH, bool MAXIMUM>
void SumRunsOf(const Runs& runs, const double* from, const RowPlaces& places, double* table) {
  const int length = LENGTH ? LENGTH : runs.length;
  for (const Run* run = runs.all; run != runs.all + runs.count; ++run) {
    const double* x = from + run->begin;
    double* t = table + places.offsets[run->row];
    if (places.runsAlong) {
      t += run->skip;
      if constexpr (LENGTH > 0 || MAXIMUM)
        for (int i = 0; i < length; ++i) t[i] = Join<MAXIMUM>(t[i], x[i]);
      else
        ForEachLane(
            length, [&](int i) { Store(t + i, Load(t + i) + Load(x + i)); }, [&](int i) { t[i] += x[i]; });
    } else {
      *t = Join<MAXIMUM>(*t, SumOfRun<LENGTH, MAXIMUM>(x, length));
    }
  }
}

template <int LENGTH>
struct Sum {
  static void Do(const Runs& runs, const double* from, const RowPlaces& places, bool maximize, double* table) {
    if (maximize)
      SumRunsOf<LENGTH, true>(runs, from, places, table);
    else
      SumRunsOf<LENGTH, false>(runs, from, places, table);
  }
};

// The length of runs chooses among the loops.
template <template <int> class Loop, class... Args>
void RunLoop(int length, const Args&... args) {
  switch (length) {
    case 1:
      return Loop<1>::Do(args...);
    case 2:
      return Loop<2>::Do(args...);
    case 3:
      return Loop<3>::Do(args...);
    case 4:
      return Loop<4>::Do(args...);
    default:
      return Loop<0>::Do(args...);
  }
}

}  // namespace

void MultiplyRuns(const Runs& runs, const double* from, const double* table, const RowPlaces& places, double* to) {
  RunLoop<Multiply>(runs.length, runs, from, table, places, to);
}

void SumRuns(const Runs& runs, const double* from, const RowPlaces& places, bool maximize, double* table) {
  RunLoop<Sum>(runs.length, runs, from, places, maximize, table);
}

double SumAll(const Runs& runs, const double* from, bool maximize) {
  double sum = 0;
  for (int k = 0; k < runs.count; ++k) {
    const double* x = from + runs.all[k].begin;
    sum = maximize ? std::max(sum, SumOfRun<0, true>(x, runs.length)) : sum + SumOfRun<0, false>(x, runs.length);
  }
  return sum;
}

}  // namespace bravic::engine
