#include "Bn/engine/cases/FreeOrder.h"

#include <algorithm>
#include <utility>

namespace bravic::engine {

FreeOrder::FreeOrder(std::span<const int> numstates)
    : numstates_(numstates),
      neighbours_(Count(numstates) * MOST_NEIGHBOURS),
      degree_(Count(numstates), 0),
      bucketOf_(Count(numstates), -1),
      takesPart_(Count(numstates), 0),
      isSimple_(Count(numstates), 0),
      placeOf_(Count(numstates), -1) {
  for (Vector<int>* list : {&variables_, &simple_, &players_}) list->reserve(numstates.size());
  buckets_.reserve(numstates.size());
  tournament_.Reset(Count(numstates));  // so that later ones have room
}

void FreeOrder::Begin() {
  for (int v : variables_) {
    takesPart_[v] = isSimple_[v] = 0;
    degree_[v] = 0;
    bucketOf_[v] = placeOf_[v] = -1;
  }
  for (Vector<int>* list : {&variables_, &simple_, &players_}) list->clear();
  buckets_.clear();
  numEntries_ = 0;
  fits_ = true;
}

void FreeOrder::AddNeighbour(int v, int other) {
  if (degree_[v] == MOST_NEIGHBOURS) {
    fits_ = false;
    return;
  }
  neighbours_[v * MOST_NEIGHBOURS + degree_[v]++] = other;
}

void FreeOrder::AddEdge(int a, int b) {
  const std::span<const int> known = Neighbours(a);
  if (std::find(known.begin(), known.end(), b) != known.end()) return;
  AddNeighbour(a, b);
  AddNeighbour(b, a);
}

void FreeOrder::Join(std::span<const int> variables) {
  for (int v : variables) {
    if (takesPart_[v]) continue;
    takesPart_[v] = 1;
    variables_.push_back(v);
  }
  for (std::size_t i = 0; i < variables.size() && fits_; ++i)
    for (std::size_t k = 0; k < i && fits_; ++k) AddEdge(variables[i], variables[k]);
}

double FreeOrder::SpaceOf(int v) {
  double space = numstates_[v];
  for (int other : Neighbours(v)) space *= numstates_[other];
  return space;
}

// Its neighbours are joined; they are the bucket's others, in the room that it leaves.
void FreeOrder::Eliminate(int v) {
  const std::span<int> others = Neighbours(v);
  buckets_.push_back({v, others, SpaceOf(v), -1});
  numEntries_ += buckets_.back().size;
  bucketOf_[v] = buckets_.size() - 1;
  for (int other : others) {
    const std::span<int> around = Neighbours(other);
    *std::find(around.begin(), around.end(), v) = around.back();
    --degree_[other];
  }
  for (std::size_t i = 0; i < others.size() && fits_; ++i)
    for (std::size_t k = 0; k < i && fits_; ++k) AddEdge(others[i], others[k]);
  for (int other : others) {
    if (placeOf_[other] >= 0) tournament_.Change(placeOf_[other], SpaceOf(other));
    AddIfSimple(other);
  }
}

// One that is simple stays so, since those that go before it are.
void FreeOrder::AddIfSimple(int v) {
  if (degree_[v] <= 1 && !std::exchange(isSimple_[v], 1)) simple_.push_back(v);
}

bool FreeOrder::Find(double mostEntries) {
  for (int v : variables_) AddIfSimple(v);
  const auto eliminateSimple = [&] {
    while (!simple_.empty() && fits_) {
      const int v = simple_.back();
      simple_.pop_back();
      if (placeOf_[v] >= 0) tournament_.Remove(placeOf_[v]);
      Eliminate(v);
    }
  };
  eliminateSimple();
  for (int v : variables_) {
    if (bucketOf_[v] >= 0) continue;
    placeOf_[v] = players_.size();
    players_.push_back(v);
  }
  if (fits_ && !players_.empty()) {
    tournament_.Reset(players_.size());
    for (int place = 0; place < players_.size(); ++place) tournament_.Place(place, SpaceOf(players_[place]));
    tournament_.BuildAll();
    for (int place; fits_ && numEntries_ <= mostEntries && (place = tournament_.Best()) >= 0;) {
      tournament_.Remove(place);
      Eliminate(players_[place]);
      eliminateSimple();
    }
  }
  if (!fits_ || numEntries_ > mostEntries) return false;
  for (Bucket& bucket : buckets_)
    for (int other : bucket.others)
      if (bucket.next < 0 || bucketOf_[other] < bucket.next) bucket.next = bucketOf_[other];
  return true;
}

}  // namespace bravic::engine
