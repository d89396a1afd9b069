// Messages: what neighbouring cliques tell each other, kept as long as nothing behind them changes (Shenoy & Shafer
// 1990). This holds their numbers and knows which are valid; how they are computed is left to Propagation.h.
//
// A message is scaled by a power of two to a largest entry in [0.5, 1); exponents add up along the tree. It is dense
// over the variables of its separator that were free when it was made. When more of them become known later it
// serves on, and only where it begins to be read moves.
#pragma once

#include "Bn/engine/PassShape.h"
#include "Bn/engine/infer/Findings.h"
#include "Bn/engine/infer/Potentials.h"
#include "Bn/engine/infer/Slabs.h"

namespace bravic::engine {

inline constexpr int WIDE_TARGET = 1 << 20;  // larger messages are summed and kept in floats

struct Message {
  // Entries over the free variables, last fastest. One may be NULL: doubles for large separators, floats where all that
  // read them are small cliques. Both stand in slabs.
  double* probs = nullptr;
  float* floats = nullptr;
  double unscale = 1;      // probs are floats * unscale
  long long exponent = 0;  // the weights are probs * 2^exponent, all that lies behind the message included
  bool valid = false;
  bool vacuous = false;   // 1 throughout, whatever the tables behind it
  bool promised = false;  // not valid, but being made by one of several threads, and not vacuous
  // Made by division through its opposite, which is 0 somewhere; there the quotient is unknown and stands at 0. That
  // is right as long as the opposite stays valid, and no longer.
  bool trustsZeros = false;
  Range range;
  int numFixed = 0;     // variables at which it holds one state alone
  Vector<int> fixedAt;  // [variable of the separator] that state, or FREE
};

// The sums of a pass onto a message's separator.
struct MessageSums {
  PassTarget sums;
  double unscale = 1;      // by which they are to be multiplied
  long long exponent = 0;  // and 2^ this
  int lost = NO_LOSS;      // what each may lack, see Range.h
};

class Messages {
 public:
  Messages(const Structure& structure, const Findings& findings, Potentials& potentials, const Mode& mode);

  // Room for both messages of the separator; false without memory.
  bool Allocate(int separator);
  bool HasRoom(int separator) const { return messages_[2 * separator].probs || messages_[2 * separator].floats; }
  void Drop();

  const Message& operator[](MessageId id) const { return messages_[id.Number()]; }
  bool IsValid(MessageId id) const { return messages_[id.Number()].valid; }
  // Whether both are valid, so that the separator's belief can be read.
  bool AreBothValid(int separator) const {
    return messages_[2 * separator].valid && messages_[2 * separator + 1].valid;
  }
  // Calls visit(message) for the messages into the clique but that of one of its links (-1: for all).
  template <class Visit>
  void ForEachIncoming(int clique, int exceptLink, Visit visit) const {
    const Vector<Link>& links = structure_.cliques[clique].links;
    for (int k = 0; k < links.size(); ++k)
      if (k != exceptLink) visit(messages_[links[k].in.Number()]);
  }
  long long IncomingExponent(int clique, int exceptLink) const;
  // How many messages and findings tell the clique more than 1 throughout.
  int NumInformative(int clique);
  // Whether all that tells the clique something came in over the link; numInformative: as above. The message back is 1
  // throughout then, if no node homed in the clique is in the separator.
  bool IsToldOnlyOver(const Link& link, int numInformative) const {
    const Message& in = (*this)[link.in];
    return numInformative == Informs(in);
  }
  // The links of the clique, but to where we come from, over which messages are missing. Those that tell nothing are
  // made at once and left out.
  void ChooseOutgoing(int clique, int source, Vector<int>* links);

  // Makes invalid the messages out of the clique and all that was made from them.
  void InvalidateFrom(int clique);
  void InvalidateAll();
  // Makes invalid what holds one state of the node alone.
  void InvalidateState(int node);

  // 1 throughout.
  void StoreVacuous(MessageId id);
  // The sums, scaled. divides: they have the opposite message multiplied in, and are divided by it.
  Outcome Store(MessageId id, const MessageSums& from, bool divides) {
    Describe(id);
    return StorePromised(id, from, divides);
  }
  // The same in two steps, between which the message counts as one that tells something; the second, which may be done
  // by another thread, touches nothing else. The sums may stand in the message's own place.
  void Promise(MessageId id) {
    Describe(id);
    messages_[id.Number()].promised = true;
  }
  Outcome StorePromised(MessageId id, const MessageSums& from, bool divides);
  void EndPromise(MessageId id) { messages_[id.Number()].promised = false; }

  // A number that changes with the clique's layout: with which variables are known, have likelihoods or stand fixed in
  // incoming messages.
  unsigned LayoutNumber(int clique) const { return layoutNumbers_[clique]; }
  void LayoutChanged(int node);  // of the cliques that hold the node

 private:
  static bool Informs(const Message& message) { return (message.valid || message.promised) && !message.vacuous; }
  bool KeepsDoubles(int separator) const { return structure_.tree->separators[separator].size <= WIDE_TARGET; }
  bool KeepsFloats(int separator) const {
    const Separator& at = structure_.tree->separators[separator];
    return !potentials_.IsSmall(at.cliques[0]) || !potentials_.IsSmall(at.cliques[1]);
  }
  double BytesExpected() const;
  void Invalidate(MessageId id);
  void Describe(MessageId id);
  template <class Number>
  Outcome StoreEntries(MessageId id, Number* entries, const MessageSums& from, bool divides);
  template <class Number>
  bool DivideByOpposite(MessageId id, Number* entries, int size) const;

  const Structure& structure_;
  const Findings& findings_;
  Potentials& potentials_;
  const Mode& mode_;
  Vector<Message> messages_;
  Slabs slabs_;                     // of their entries
  Vector<unsigned> layoutNumbers_;  // [clique] from 1
  Vector<MessageId> work_;          // scratch
};

}  // namespace bravic::engine
