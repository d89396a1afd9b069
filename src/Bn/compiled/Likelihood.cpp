#include "Bn/compiled/Likelihood.h"

#include <algorithm>
#include <limits>
#include <memory>

#include "Basic/NumberText.h"
#include "Bn/engine/infer/Range.h"

namespace bravic {

using engine::ToDouble;
using engine::ToWide;
using engine::WideNumber;

namespace {

// The block of a likelihood: [numstates] floats, which hosts see; then, where these are not all of it, [numstates] wide
// numbers from the next place on that is aligned for them. The size of the block tells which of the two it is.
std::size_t WeightsAt(std::size_t numstates) {
  return (numstates * sizeof(float) + alignof(WideNumber) - 1) / alignof(WideNumber) * alignof(WideNumber);
}

std::size_t SizeWithWeights(std::size_t numstates) {
  return WeightsAt(numstates) + numstates * sizeof(WideNumber);
}

const WideNumber* WeightsBehind(const bnode& node) {
  if (BlockSize(node.likelihood) < SizeWithWeights(node.numstates)) return nullptr;
  const char* block = reinterpret_cast<const char*>(node.likelihood);
  return reinterpret_cast<const WideNumber*>(block + WeightsAt(node.numstates));
}

// By which power of two all positive weights come within the limits, 0 if they are; as far as one can do that.
long long ScaleInto(std::span<const WideNumber> weights, long long least, long long largest) {
  bool fits = true;
  for (WideNumber w : weights) fits &= w.mantissa == 0 || (w.exponent > least && w.exponent <= largest);
  return fits ? 0 : -std::max_element(weights.begin(), weights.end())->exponent;
}

// Whether its text is that of a float, too.
bool ReadsAsFloat(double x) {
  char text[NUMBER_TEXT_LEN], ofFloat[NUMBER_TEXT_LEN];
  return std::equal(text, PrintShortest(x, text), ofFloat, PrintShortest(static_cast<float>(x), ofFloat));
}

}  // namespace

Vector<WideNumber> LikelihoodWeights(const bnode& node) {
  if (const WideNumber* weights = WeightsBehind(node)) return {weights, weights + node.numstates};
  Vector<WideNumber> weights;
  for (int s = 0; s < node.numstates; ++s) weights.push_back(ToWide(node.likelihood[s]));
  return weights;
}

Vector<WideNumber> CombinedWeights(const bnode& node, std::span<const float> more) {
  Vector<WideNumber> weights;
  for (float weight : more) weights.push_back(ToWide(weight));
  if (!node.likelihood) return weights;
  const Vector<WideNumber> before = LikelihoodWeights(node);
  for (int s = 0; s < weights.size(); ++s) weights[s] = weights[s] * before[s];
  return weights;
}

Block<float> MakeLikelihood(std::span<const WideNumber> weights) {
  const std::size_t n = weights.size();
  Block<float> block = MakeBlock<float>(SizeWithWeights(n) / sizeof(float));
  constexpr long long LARGEST_FLOAT_EXPONENT = 127;
  const long long scale = ScaleInto(weights, engine::FLOAT_FLOOR + 1, LARGEST_FLOAT_EXPONENT);
  for (std::size_t s = 0; s < n; ++s) {
    const float shown = static_cast<float>(ToDouble(weights[s], scale));
    block[s] = weights[s].mantissa > 0 ? std::max(shown, std::numeric_limits<float>::denorm_min()) : 0;
  }
  char* const behind = reinterpret_cast<char*>(block.get()) + WeightsAt(n);
  std::uninitialized_copy(weights.begin(), weights.end(), reinterpret_cast<WideNumber*>(behind));
  return block;
}

Block<float> MakeLikelihood(std::span<const double> numbers) {
  if (!std::all_of(numbers.begin(), numbers.end(), ReadsAsFloat)) {
    Vector<WideNumber> weights;
    for (double x : numbers) weights.push_back(ToWide(x));
    return MakeLikelihood(weights);
  }
  Block<float> block = MakeBlock<float>(numbers.size());
  std::transform(numbers.begin(), numbers.end(), block.get(), [](double x) { return static_cast<float>(x); });
  return block;
}

bool IsBeyondFloats(const bnode& node) {
  return WeightsBehind(node) != nullptr;
}

Vector<double> LikelihoodNumbers(const bnode& node) {
  const Vector<WideNumber> weights = LikelihoodWeights(node);
  constexpr long long LARGEST_DOUBLE_EXPONENT = 1023;
  const long long scale = ScaleInto(weights, engine::DOUBLE_FLOOR + 1, LARGEST_DOUBLE_EXPONENT);
  Vector<double> numbers;
  for (WideNumber w : weights) {
    const double number = ToDouble(w, scale);
    numbers.push_back(w.mantissa > 0 ? std::max(number, std::numeric_limits<double>::min()) : 0);
  }
  return numbers;
}

}  // namespace bravic
