// Which of many numbers is the least, kept while single numbers change.
#pragma once

#include <bit>

#include "Basic/Memory.h"

namespace bravic::engine {

// Leaves are players in order; every inner place holds the winner of its two, the left one of equals.
class Tournament {
 public:
  // n players, all of them out.
  void Reset(int n) {
    width_ = std::bit_ceil(static_cast<std::size_t>(n));
    cost_.resize(n);
    winner_.assign(2 * width_, -1);
  }
  double Cost(int player) const { return cost_[player]; }
  int Best() const { return winner_[1]; }  // -1 when all are out
  // Takes part from the next BuildAll on.
  void Place(int player, double cost) {
    cost_[player] = cost;
    winner_[width_ + player] = player;
  }
  void BuildAll() {
    for (std::size_t place = width_ - 1; place > 0; --place) Play(place);
  }
  void Change(int player, double cost) {
    cost_[player] = cost;
    PlayAbove(player);
  }
  void Remove(int player) {
    winner_[width_ + player] = -1;
    PlayAbove(player);
  }

 private:
  void Play(std::size_t place) {
    const int left = winner_[2 * place], right = winner_[2 * place + 1];
    winner_[place] = left < 0 || (right >= 0 && cost_[right] < cost_[left]) ? right : left;
  }
  void PlayAbove(int player) {
    for (std::size_t place = (width_ + player) / 2; place > 0; place /= 2) Play(place);
  }

  std::size_t width_ = 1;
  Vector<double> cost_;
  Vector<int> winner_;
};

}  // namespace bravic::engine
