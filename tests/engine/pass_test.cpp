// Passes over random shapes: plans against the entry-by-entry way, and every instruction set against plain code bit
// for bit.
#include "Bn/engine/Pass.h"

#include "Bn/engine/InstructionSets.h"
#include "Bn/engine/PlainPass.h"
#include "support/random.h"
#include "support/test.h"

namespace bravic::testing {
namespace {

using engine::KERNEL_SLACK;
using engine::PassPlan;
using engine::PassRoom;
using engine::PassShape;
using engine::PassTarget;

// A shape with its tables filled: axes shuffled in the other tables, some axes fixed in the potential.
struct Case {
  PassShape shape;
  std::vector<std::vector<float>> tables;
  std::vector<std::size_t> targetSizes;

  explicit Case(Random& random) {
    const int axes = random.Below(7);
    shape.Clear(axes);
    const bool large = random.Chance(0.3);
    std::size_t stride = 1;
    for (int a = axes; a-- > 0;) {
      shape.sizes[std::size_t(a)] =
          random.Chance(large ? 0.05 : 0.02) ? random.Between(2, 300) : random.Between(2, large ? 9 : 4);
      if (random.Chance(0.15)) stride *= std::size_t(random.Between(2, 5));  // a known variable
      shape.Strides(0)[a] = int(stride);
      stride *= std::size_t(shape.sizes[std::size_t(a)]);
      if (stride > 300000) shape.sizes[std::size_t(a)] = 2;
    }
    tables.push_back(Fill(random, stride));
    for (int f = random.Below(7); f > 0; --f) {
      const double keep = random.Share();
      tables.push_back(Fill(random, Place(random, shape.AddFactor(), keep)));
    }
    for (int t = random.Between(1, 4); t > 0; --t)
      targetSizes.push_back(Place(random, shape.AddTarget(), random.Share()));
  }

  Case() = default;

  // A potential over all axes in their order, a factor, and targets that keep each axis with those probabilities.
  void AddTables(Random& random, std::initializer_list<double> targets) {
    tables.push_back(Fill(random, Place(random, shape.Strides(0), 1)));
    tables.push_back(Fill(random, Place(random, shape.AddFactor(), 0.5)));
    for (double keep : targets) targetSizes.push_back(Place(random, shape.AddTarget(), keep));
  }

  std::size_t Place(Random& random, int* strides, double keep) {
    std::vector<int> own;
    for (int a = 0; a < shape.numAxes; ++a)
      if (random.Chance(keep)) own.push_back(a);
    if (random.Chance(0.4))
      for (std::size_t i = own.size(); i > 1; --i) std::swap(own[i - 1], own[std::size_t(random.Below(int(i)))]);
    std::size_t size = 1;
    for (std::size_t i = own.size(); i-- > 0;) {
      strides[own[i]] = int(size);
      size *= std::size_t(shape.sizes[std::size_t(own[i])]);
    }
    return size;
  }

  static std::vector<float> Fill(Random& random, std::size_t size) {
    std::vector<float> table(size + KERNEL_SLACK);
    const double zeros = random.Chance(0.5) ? 0 : 0.5;
    for (float& x : table) x = random.Chance(zeros) ? 0.0f : float(random.Share());
    return table;
  }

  std::vector<const float*> Factors() const {
    std::vector<const float*> factors;
    for (std::size_t f = 1; f < tables.size(); ++f) factors.push_back(tables[f].data());
    return factors;
  }
};

struct Sums {
  std::vector<std::vector<double>> wide;
  std::vector<std::vector<float>> narrow;
  std::vector<PassTarget> targets;

  Sums(const Case& c, bool inDoubles) {
    for (std::size_t size : c.targetSizes) {
      wide.emplace_back(size, 0.0);
      narrow.emplace_back(size, 0.0f);
    }
    for (std::size_t t = 0; t < wide.size(); ++t)
      targets.push_back(inDoubles ? PassTarget{wide[t].data(), nullptr} : PassTarget{nullptr, narrow[t].data()});
  }
};

#if BRAVIC_WIDE_KERNELS
TEST(Pass, InstructionSetsAreThoseThatTheCompilerFinds) {
  const bool hasAvx512 =
      __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq");
  EXPECT_EQ(engine::NumWideSets(), __builtin_cpu_supports("avx2") ? 1 + hasAvx512 : 0);
}
#endif

TEST(Pass, PlansAgreeWithThePlainWayOnEveryInstructionSet) {
  for (std::uint64_t seed = 1; seed <= 600; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Case c(random);
    const bool maximize = random.Chance(0.3), inDoubles = random.Chance(0.7);
    const auto factors = c.Factors();
    Sums exact(c, true);
    RunPlainly(c.shape, c.tables[0].data(), factors.data(), exact.targets.data(), maximize);
    PassPlan plan;
    MakePlan(c.shape, &plan);
    Sums first(c, inDoubles);
    for (int k = 0; k < engine::NumKernels(); ++k) {
      Sums sums(c, inDoubles);
      PassRoom room;
      room.GrowFor(plan);
      std::fill(room.arena.begin(), room.arena.end(), std::nanf(""));
      RunPlan(plan, engine::KernelsNumber(k), c.tables[0].data(), factors.data(), sums.targets.data(), &room, maximize);
      if (k == 0) first = sums;
      EXPECT_EQ(sums.wide, first.wide) << engine::KernelsNumber(k).name;
      EXPECT_EQ(sums.narrow, first.narrow) << engine::KernelsNumber(k).name;
    }
    for (std::size_t t = 0; t < exact.wide.size(); ++t)
      for (std::size_t i = 0; i < exact.wide[t].size(); ++i)
        ASSERT_NEAR(inDoubles ? first.wide[t][i] : first.narrow[t][i], exact.wide[t][i], 3e-6 * exact.wide[t][i])
            << "target " << t << " entry " << i;
  }
}

// Large shapes of a few axes, whose targets may lack any of them.
TEST(Pass, SlicesMayBeRunInAnyOrder) {
  int numSliced = 0, numApart = 0;
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Case c;
    const int axes = random.Between(3, 5), most = axes == 3 ? 80 : axes == 4 ? 30 : 14;
    c.shape.Clear(axes);
    for (int a = 0; a < axes; ++a) c.shape.sizes[std::size_t(a)] = random.Between(most / 2, most);
    c.AddTables(random, {random.Share() < 0.5 ? 1.0 : 0.8, 0.2});
    PassPlan plan;
    MakePlan(c.shape, &plan);
    if (plan.numSlices == 1) continue;
    ++numSliced;
    numApart += plan.sumsApart > 0;
    const bool maximize = random.Chance(0.3);
    const auto factors = c.Factors();
    PassRoom room;
    room.GrowFor(plan);
    Sums whole(c, true), sliced(c, true);
    RunPlan(plan, engine::BestKernels(), c.tables[0].data(), factors.data(), whole.targets.data(), &room, maximize);
    std::vector<double> apart(std::size_t(plan.numSlices * plan.sumsApart), std::nan(""));
    for (int slice = plan.numSlices; slice-- > 0;)
      RunSlice(plan, slice, engine::KernelsNumber(0), c.tables[0].data(), factors.data(), sliced.targets.data(),
               apart.data() + slice * plan.sumsApart, &room, maximize, 1);
    for (int slice = 1; slice < plan.numSlices; ++slice)
      AddSumsApart(plan, apart.data() + slice * plan.sumsApart, sliced.targets.data(), maximize);
    EXPECT_EQ(sliced.wide, whole.wide);
    Sums exact(c, true);
    RunPlainly(c.shape, c.tables[0].data(), factors.data(), exact.targets.data(), maximize);
    for (std::size_t t = 0; t < exact.wide.size(); ++t)
      for (std::size_t i = 0; i < exact.wide[t].size(); ++i)
        ASSERT_NEAR(whole.wide[t][i], exact.wide[t][i], 3e-6 * exact.wide[t][i]) << "target " << t << " entry " << i;
  }
  EXPECT_GT(numSliced, 20);
  EXPECT_GT(numApart, 10);
}

TEST(Pass, ProductFillsThePotential) {
  for (std::uint64_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Case c(random);
    PassShape shape;
    shape.Clear(c.shape.numAxes);
    shape.sizes = c.shape.sizes;
    int size = 1;
    for (int a = shape.numAxes; a-- > 0;) {
      shape.Strides(0)[a] = size;
      size *= shape.sizes[std::size_t(a)];
    }
    for (int f = 1; f <= c.shape.numFactors; ++f) {
      int* strides = shape.AddFactor();
      std::copy_n(c.shape.Strides(f), shape.numAxes, strides);
    }
    PassPlan plan;
    MakePlan(shape, &plan);
    PassRoom room;
    room.GrowFor(plan);
    std::vector<float> product(std::size_t(size), -1.0f);
    const auto factors = c.Factors();
    RunProduct(plan, -1, engine::BestKernels(), product.data(), factors.data(), &room);
    // The same as the sum onto a table of all axes, of a potential of ones.
    int* strides = shape.AddTarget();
    std::copy_n(shape.Strides(0), shape.numAxes, strides);
    const std::vector<float> ones(std::size_t(size), 1.0f);
    std::vector<double> exact(std::size_t(size), 0.0);
    const PassTarget target{exact.data(), nullptr};
    RunPlainly(shape, ones.data(), factors.data(), &target, false);
    for (std::size_t i = 0; i < exact.size(); ++i) ASSERT_NEAR(product[i], exact[i], 1e-6 * exact[i]);
  }
}

// Floats alone would stop growing at 2^24 terms.
TEST(Pass, LongSumsKeepTheirPrecision) {
  PassShape shape;
  shape.Clear(5);
  const int size = 32;
  for (int a = 0, stride = size * size * size * size; a < 5; ++a, stride /= size) {
    shape.sizes[std::size_t(a)] = size;
    shape.Strides(0)[a] = stride;
  }
  shape.AddTarget();
  shape.AddTarget()[0] = 1;
  PassPlan plan;
  MakePlan(shape, &plan);
  const std::vector<float> potential(33554432 + KERNEL_SLACK, 0.1f);
  PassRoom room;
  room.GrowFor(plan);
  double whole = 0, part[32] = {};
  const PassTarget targets[] = {{&whole, nullptr}, {part, nullptr}};
  RunPlan(plan, engine::BestKernels(), potential.data(), nullptr, targets, &room, false);
  EXPECT_NEAR(whole / (33554432.0 * 0.1f), 1, 1e-6);
  EXPECT_NEAR(part[31] / (1048576.0 * 0.1f), 1, 1e-6);
}

}  // namespace
}  // namespace bravic::testing
