// What a node's likelihood finding weighs. Hosts see floats. A likelihood made of several may weigh what floats cannot
// hold, so the product stands behind them in the same block, in numbers of any size.
#pragma once

#include <span>

#include "Bn/engine/Numbers.h"
#include "Bn/model/Net.h"

namespace bravic {

// The entries, those of the node's likelihood multiplied in if it has one.
Vector<engine::WideNumber> CombinedWeights(const bnode& node, std::span<const float> more);
// The weights of the node's likelihood, which it must have.
Vector<engine::WideNumber> LikelihoodWeights(const bnode& node);
// A block for the node's likelihood. Weights beyond the range of floats are shown in proportion, no positive one as 0.
Block<float> MakeLikelihood(std::span<const engine::WideNumber> weights);
// From the numbers of a file.
Block<float> MakeLikelihood(std::span<const double> numbers);
// Whether the floats are not all of it, and the weights as a file has them: in proportion where need be.
bool IsBeyondFloats(const bnode& node);
Vector<double> LikelihoodNumbers(const bnode& node);

}  // namespace bravic
