// One pass over a clique's potential: every entry is multiplied by the entries of other tables that agree with it,
// and the products are summed (or maximized) onto tables over some of the clique's variables. Nothing of the
// clique's size is stored. How the work is divided up is said by a plan (PassPlan.h). Sums of rows run in one order on
// every machine, so that results are the same bits.
#pragma once

#include "Bn/engine/Kernels.h"
#include "Bn/engine/PassPlan.h"

namespace bravic::engine {

// Without a potential (NULL, strides 0) the factors alone are multiplied. All products are computed, and stand in the
// targets, times the lift. The room has been grown for the plan: a run allocates nothing.
void RunPlan(const PassPlan& plan, const Kernels& kernels, const float* potential, const float* const* factors,
             const PassTarget* targets, PassRoom* room, bool maximize, float lift = 1);
// What RunPlan does with a plan of several slices, so that threads may share it: all slices are run, in any order; then
// the sums that each but the first has kept apart are added to the targets, in the order of slices.
void RunSlice(const PassPlan& plan, int slice, const Kernels& kernels, const float* potential,
              const float* const* factors, const PassTarget* targets, double* sumsApart, PassRoom* room, bool maximize,
              float lift);
void AddSumsApart(const PassPlan& plan, const double* sumsApart, const PassTarget* targets, bool maximize);
// The product alone, or (not -1) that slice of it: to takes the place of the potential, which is not read; its rows
// must be dense.
void RunProduct(const PassPlan& plan, int slice, const Kernels& kernels, float* to, const float* const* factors,
                PassRoom* room);

}  // namespace bravic::engine
