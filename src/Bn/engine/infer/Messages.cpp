#include "Bn/engine/infer/Messages.h"

#include <algorithm>
#include <type_traits>

namespace bravic::engine {

namespace {

template <class Number>
void Scale(const Kernels& kernels, const Number* entries, int size, double scale, const Message& to) {
  if constexpr (std::is_same_v<Number, double>)
    if (to.probs) return kernels.scale(entries, size, scale, to.probs, scale / to.unscale, to.floats);
  if (to.probs)
    for (int i = 0; i < size; ++i) to.probs[i] = entries[i] * scale;
  scale /= to.unscale;
  if (to.floats)
    for (int i = 0; i < size; ++i) to.floats[i] = static_cast<float>(entries[i] * scale);
}

// Behind the entries, where vectors read beyond them.
void ClearSlack(const Message& message, int size) {
  if (message.floats) std::fill_n(message.floats + size, KERNEL_SLACK, 0.0f);
}

// A quotient by 0 is 0 here: what it is multiplied with is 0 as well.
template <class Number, class Divisor>
bool DivideEntry(Number* entry, Divisor divisor) {
  const bool isZero = divisor == 0;
  *entry = isZero ? 0 : *entry / static_cast<Number>(divisor);
  return isZero;
}

}  // namespace

Messages::Messages(const Structure& structure, const Findings& findings, Potentials& potentials, const Mode& mode)
    : structure_(structure),
      findings_(findings),
      potentials_(potentials),
      mode_(mode),
      messages_(2 * structure.separators.size()),
      layoutNumbers_(structure.cliques.size(), 1) {
  for (int s = 0; s < structure.separators.size(); ++s)
    for (int sender = 0; sender < 2; ++sender)
      messages_[MessageId(s, sender).Number()].fixedAt.assign(structure.separators[s].variables.size(), FREE);
  slabs_.Expect(BytesExpected());
}

double Messages::BytesExpected() const {
  double nbytes = 0;
  for (int s = 0; s < structure_.separators.size(); ++s) {
    const double size = structure_.tree->separators[s].size;
    if (KeepsDoubles(s)) nbytes += 2 * Slabs::SizeOf<double>(size);
    if (KeepsFloats(s)) nbytes += 2 * Slabs::SizeOf<float>(size);
  }
  return nbytes;
}

bool Messages::Allocate(int s) {
  if (!(structure_.tree->separators[s].size < MAX_TABLE_ENTRIES)) return false;
  const int size = static_cast<int>(structure_.tree->separators[s].size);
  for (int sender = 0; sender < 2; ++sender) {
    Message& message = messages_[MessageId(s, sender).Number()];
    if (KeepsDoubles(s) && !(message.probs = slabs_.Take<double>(size))) return false;
    if (KeepsFloats(s) && !(message.floats = slabs_.Take<float>(size))) return false;
  }
  return true;
}

void Messages::Drop() {
  for (Message& message : messages_) {
    message.probs = nullptr;
    message.floats = nullptr;
  }
  slabs_.Drop();
  slabs_.Expect(BytesExpected());
}

long long Messages::IncomingExponent(int clique, int exceptLink) const {
  long long exponent = 0;
  ForEachIncoming(clique, exceptLink, [&](const Message& message) { exponent += message.exponent; });
  return exponent;
}

int Messages::NumInformative(int c) {
  int count = mode_.maximize || !potentials_.HomedAreProper(c);
  ForEachIncoming(c, -1, [&](const Message& message) { count += Informs(message); });
  for (int node : structure_.cliques[c].entered) count += !findings_[node].IsNone();
  return count;
}

void Messages::ChooseOutgoing(int c, int source, Vector<int>* links) {
  const CliqueFacts& clique = structure_.cliques[c];
  links->clear();
  const int numInformative = NumInformative(c);
  for (int k = 0; k < clique.links.size(); ++k) {
    const Link& link = clique.links[k];
    if (link.neighbour == source || IsValid(link.out)) continue;
    if (!link.tellsOfHomed && IsToldOnlyOver(link, numInformative))
      StoreVacuous(link.out);
    else
      links->push_back(k);
  }
}

// An invalid message takes with it all that was made from it: the messages further on, and the one against it where
// that trusted its zeros.
void Messages::Invalidate(MessageId first) {
  work_.clear();
  auto invalidate = [&](MessageId id) {
    Message& message = messages_[id.Number()];
    if (!message.valid) return;
    message.valid = false;
    work_.push_back(id);
  };
  invalidate(first);
  while (!work_.empty()) {
    const MessageId id = work_.back();
    work_.pop_back();
    for (const Link& link : structure_.cliques[structure_.ReceiverOf(id)].links)
      if (link.in != id) invalidate(link.out);
    if ((*this)[id.Opposite()].trustsZeros) invalidate(id.Opposite());
  }
}

void Messages::InvalidateFrom(int clique) {
  for (const Link& link : structure_.cliques[clique].links) Invalidate(link.out);
}

void Messages::InvalidateAll() {
  for (Message& message : messages_) message.valid = false;
}

void Messages::InvalidateState(int node) {
  for (int s : structure_.separatorsOf[node]) {
    const Vector<int>& variables = structure_.separators[s].variables;
    const auto at = std::find(variables.begin(), variables.end(), node) - variables.begin();
    for (int sender = 0; sender < 2; ++sender) {
      const MessageId id(s, sender);
      if ((*this)[id].fixedAt[at] != FREE) Invalidate(id);
    }
  }
}

void Messages::LayoutChanged(int node) {
  for (int c : structure_.cliquesOf[node]) ++layoutNumbers_[c];
}

// Writes down which states the message is made for.
void Messages::Describe(MessageId id) {
  Message& message = messages_[id.Number()];
  const std::span<const int> variables = structure_.VariablesOf(id);
  bool isOtherLayout = false;
  int numFixed = 0;
  for (int k = 0; k < Count(variables); ++k) {
    const int state = findings_[variables[k]].state;
    isOtherLayout |= (message.fixedAt[k] == FREE) != (state == FREE);
    numFixed += state != FREE;
    message.fixedAt[k] = state;
  }
  message.numFixed = numFixed;
  if (isOtherLayout) ++layoutNumbers_[structure_.ReceiverOf(id)];
  message.trustsZeros = message.vacuous = false;
}

void Messages::StoreVacuous(MessageId id) {
  Describe(id);
  Message& message = messages_[id.Number()];
  const int size = findings_.FreeSize(structure_.VariablesOf(id));
  if (message.probs) std::fill_n(message.probs, size, 1.0);
  if (message.floats) std::fill_n(message.floats, size, 1.0f);
  ClearSlack(message, size);
  message.unscale = 1;
  message.exponent = 0;
  message.range = {};
  message.vacuous = message.valid = true;
}

// Entries over what is free now, each divided by its counterpart in the opposite message, which may have been made when
// more was free. Answers whether any of those was 0.
template <class Number>
bool Messages::DivideByOpposite(MessageId id, Number* entries, int size) const {
  const Message& against = (*this)[id.Opposite()];
  auto divideBy = [&]<class Divisor>(const Divisor* divisors) {
    bool hasZeros = false;
    if (against.numFixed == (*this)[id].numFixed) {
      if constexpr (std::is_same_v<Number, double> && std::is_same_v<Divisor, double>)
        return mode_.kernels.divide(entries, divisors, static_cast<std::size_t>(size));
      else
        for (int i = 0; i < size; ++i) hasZeros |= DivideEntry(entries + i, divisors[i]);
    } else {
      findings_.ForEachFree(structure_.VariablesOf(id), against.fixedAt,
                            [&](int index) { hasZeros |= DivideEntry(entries++, divisors[index]); });
    }
    return hasZeros;
  };
  return against.probs ? divideBy(against.probs) : divideBy(against.floats);
}

template <class Number>
Outcome Messages::StoreEntries(MessageId id, Number* entries, const MessageSums& from, bool divides) {
  Message& message = messages_[id.Number()];
  const int size = findings_.FreeSize(structure_.VariablesOf(id));
  message.exponent = from.exponent;
  if (divides) {
    message.exponent -= (*this)[id.Opposite()].exponent;
    message.trustsZeros = DivideByOpposite(id, entries, size);
  }
  Number largest, least;
  if constexpr (std::is_same_v<Number, double>)
    mode_.kernels.findRange(entries, size, &largest, &least);
  else
    FindRange(entries, size, &largest, &least);
  const Outcome outcome = Judge(largest, from.lost);
  message.valid = outcome == Outcome::GOOD;
  if (!message.valid) return outcome;
  // The range says what the stored entries are like, so that every message further on can be judged.
  const int exponent = Exponent(largest * from.unscale);
  const int floor = message.probs ? DOUBLE_FLOOR : FLOAT_FLOOR;
  const bool spreads = potentials_.SpreadsRounding();
  message.range = StoredRange(least, Exponent(largest), from.lost, floor);
  message.range.low -= 2 * spreads;
  // Where doubles stand beside the floats, these are free to be scaled: to spread their rounding, and to hold entries
  // that are too small for them.
  message.unscale = spreads && message.probs ? 1 / SpreadFactor(id.Number()) : 1;
  if (message.range.low < FLOAT_FLOOR && message.probs) message.unscale *= PowerOfTwo(-LIFT);
  Scale(mode_.kernels, entries, size, from.unscale * PowerOfTwo(NormalExponent(-exponent)), message);
  ClearSlack(message, size);
  message.exponent += exponent;
  return outcome;
}

Outcome Messages::StorePromised(MessageId id, const MessageSums& from, bool divides) {
  return from.sums.wide ? StoreEntries(id, from.sums.wide, from, divides)
                        : StoreEntries(id, from.sums.narrow, from, divides);
}

}  // namespace bravic::engine
