#include "Bn/engine/learn/Intervals.h"

#include <algorithm>
#include <cmath>

#include "Basic/Logarithm.h"

namespace bravic::engine {
namespace {

// Between two different numbers: above the lower one, and not above the other.
double CutBetween(double below, double above) {
  const double middle = below / 2 + above / 2;
  return middle > below && middle < above ? middle : above;
}

double Power(double base, int exponent) {
  double power = 1;
  for (int i = 0; i < exponent; ++i) power *= base;
  return power;
}

void CutByWidth(std::span<const ClassedValue> values, int mostbins, Vector<double>* cuts) {
  const double first = values.front().value, last = values.back().value;
  for (int i = 1; i < mostbins; ++i) {
    const double share = static_cast<double>(i) / mostbins, cut = first * (1 - share) + last * share;
    if (cut > first && cut <= last && (cuts->empty() || cut > cuts->back())) cuts->push_back(cut);
  }
}

// Each cut at the change of value that is nearest to where it should be, the earlier one of two equally near.
void CutByCounts(std::span<const ClassedValue> values, int mostbins, Vector<double>* cuts) {
  const std::size_t count = values.size();
  const auto changesAt = [&](std::size_t i) { return values[i - 1].value < values[i].value; };
  std::size_t before = 0;  // the last cut's place
  for (int i = 1; i < mostbins; ++i) {
    const auto wanted = static_cast<std::size_t>(static_cast<double>(count) * i / mostbins + 0.5);
    std::size_t low = std::min(wanted, count - 1), high = std::max<std::size_t>(wanted, 1);
    while (low > before && !(low > 0 && changesAt(low))) --low;
    while (high < count && !changesAt(high)) ++high;
    std::size_t at = low > before ? low : high;
    if (low > before && high < count && high - wanted < wanted - low) at = high;
    if (at >= count || at <= before) continue;
    before = at;
    cuts->push_back(CutBetween(values[at - 1].value, values[at].value));
  }
}

// The numbers from..to, and their best cut.
struct Segment {
  std::size_t from, to, cut = 0;
  double saved = 0;  // nats that the cut saves beyond its cost; 0: it has none
};

class InformationCutter {
 public:
  InformationCutter(std::span<const ClassedValue> values, LongWork& work) : values_(values), work_(work) {}
  bool Prepare();  // false without memory
  bool FindCuts(int mostbins, Vector<double>* cuts);

 private:
  double Term(long long count) const { return terms_[static_cast<std::size_t>(count)]; }
  bool FindCut(Segment* segment);
  double Saved(const Segment& segment, double sum, double sumBelow, double sumAbove, int numtargets, int numBelow,
               int numAbove) const;

  std::span<const ClassedValue> values_;
  LongWork& work_;
  int numTargets_ = 0;
  Block<double> terms_;               // [values + 1] of each count, it times its logarithm
  Block<std::size_t> below_, above_;  // [targets] of the segment at hand
};

bool InformationCutter::Prepare() {
  for (const ClassedValue& value : values_) numTargets_ = std::max(numTargets_, value.target + 1);
  terms_ = TryMakeBlock<double>(values_.size() + 1);
  below_ = TryMakeBlock<std::size_t>(numTargets_);
  above_ = TryMakeBlock<std::size_t>(numTargets_);
  if (!terms_ || !below_ || !above_) return false;
  terms_[0] = 0;
  for (std::size_t i = 1; i <= values_.size(); ++i)
    terms_[i] = static_cast<double>(i) * NaturalLog(static_cast<double>(i));
  return true;
}

// What the cut saves beyond the length of its description (Fayyad & Irani, criterion of section 3.4), times the number
// of values, in nats. sum: the terms of the counts of all, and of those below and above; num: how many targets occur.
double InformationCutter::Saved(const Segment& segment, double sum, double sumBelow, double sumAbove, int numtargets,
                                int numBelow, int numAbove) const {
  constexpr int MANY = 30;  // from there on 3^n - 2 is 3^n
  const std::size_t all = segment.to - segment.from, below = segment.cut - segment.from,
                    above = segment.to - segment.cut;
  const double bits = Term(all) - sum, bitsBelow = Term(below) - sumBelow, bitsAbove = Term(above) - sumAbove;
  const double choices = numtargets > MANY ? numtargets * NaturalLog(3.0) : NaturalLog(Power(3, numtargets) - 2);
  const double delta =
      choices - (numtargets * bits / static_cast<double>(all) - numBelow * bitsBelow / static_cast<double>(below) -
                 numAbove * bitsAbove / static_cast<double>(above));
  return bits - bitsBelow - bitsAbove - NaturalLog(static_cast<double>(all - 1)) - delta;
}

// False when it is halted.
bool InformationCutter::FindCut(Segment* segment) {
  std::fill_n(below_.get(), numTargets_, 0);
  std::fill_n(above_.get(), numTargets_, 0);
  for (std::size_t i = segment->from; i < segment->to; ++i) ++above_[values_[i].target];
  double sum = 0, sumBelow = 0;
  for (int k = 0; k < numTargets_; ++k) sum += Term(above_[k]);
  double sumAbove = sum, best = -HUGE_VAL;
  int numBelow = 0, numAbove = 0, bestBelow = 0, bestAbove = 0;
  double bestSumBelow = 0, bestSumAbove = 0;
  for (int k = 0; k < numTargets_; ++k) numAbove += above_[k] > 0;
  const int numtargets = numAbove;
  const std::size_t size = segment->to - segment->from;
  if (work_.Halts(static_cast<double>(size) * 4)) return false;
  for (std::size_t i = segment->from + 1; i < segment->to; ++i) {
    const int target = values_[i - 1].target;
    std::size_t &below = below_[target], &above = above_[target];
    sumBelow += Term(below + 1) - Term(below);
    sumAbove += Term(above - 1) - Term(above);
    numBelow += below++ == 0;
    numAbove -= --above == 0;
    if (values_[i - 1].value == values_[i].value) continue;
    // The more the terms of the parts add up to, the less entropy is left.
    const double kept = sumBelow - Term(i - segment->from) + sumAbove - Term(segment->to - i);
    if (kept <= best) continue;
    best = kept;
    segment->cut = i;
    bestBelow = numBelow, bestAbove = numAbove;
    bestSumBelow = sumBelow, bestSumAbove = sumAbove;
  }
  if (segment->cut > 0)
    segment->saved = std::max(Saved(*segment, sum, bestSumBelow, bestSumAbove, numtargets, bestBelow, bestAbove), 0.0);
  return true;
}

bool InformationCutter::FindCuts(int mostbins, Vector<double>* cuts) {
  Vector<Segment> segments = {{0, values_.size()}};
  if (!FindCut(&segments[0])) return false;
  while (segments.size() < mostbins) {
    Segment& most = *std::max_element(segments.begin(), segments.end(),
                                      [](const Segment& a, const Segment& b) { return a.saved < b.saved; });
    if (most.saved <= 0) break;
    cuts->push_back(CutBetween(values_[most.cut - 1].value, values_[most.cut].value));
    Segment above = {most.cut, most.to};
    most = {most.from, most.cut};
    if (!FindCut(&most) || !FindCut(&above)) return false;
    segments.push_back(above);
  }
  std::sort(cuts->begin(), cuts->end());
  return true;
}

}  // namespace

bool FindCuts(std::span<ClassedValue> values, CutMethod method, int mostbins, LongWork& work, Vector<double>* cuts,
              bool* lacks) {
  *lacks = false;
  if (work.Halts(static_cast<double>(values.size()) * 100)) return false;
  std::sort(values.begin(), values.end(), [](const ClassedValue& a, const ClassedValue& b) {
    return a.value != b.value ? a.value < b.value : a.target < b.target;
  });
  if (method == CutMethod::EqualWidth) CutByWidth(values, mostbins, cuts);
  if (method == CutMethod::EqualCounts) CutByCounts(values, mostbins, cuts);
  if (method != CutMethod::Information) return true;
  InformationCutter cutter(values, work);
  *lacks = !cutter.Prepare();
  return !*lacks && cutter.FindCuts(mostbins, cuts);
}

}  // namespace bravic::engine
