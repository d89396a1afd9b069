// Case files as commands go through them: in blocks of rows, whose probabilities are asked for all at once.
#pragma once

#include <span>
#include <vector>

#include "CommandLine.h"
#include "Files.h"
#include "Session.h"

// The rows of a case file, as states of the nodes that can be known in cases and have a column.
class CaseBlocks {
 public:
  CaseBlocks(const InputFile& input, const Net& net, Session& session);  // input: has to stay
  const std::vector<node_bn>& Columns() const { return columns_; }
  // Of the columns these alone are read, and blocks are of a size that fits numbers of bytesPerCase beside each case.
  void Choose(std::vector<node_bn> nodes, std::size_t bytesPerCase);

  bool Next();  // the next block; false at the end of the file
  std::size_t Size() const { return size_; }
  std::vector<statetype>& States() { return states_; }                            // [Size() x nodes chosen]
  long Number(std::size_t row) const { return first_ + static_cast<long>(row); }  // of the case in the file, from 1
  long Id(std::size_t row) const { return ids_[row]; }                            // -1 without one
  double Weight(std::size_t row) const { return weights_[row] < 0 ? 1 : weights_[row]; }
  double ShareRead() const;

 private:
  void MakeRoom(std::size_t room);

  Session& session_;
  File file_;
  std::vector<node_bn> columns_, nodes_;
  NodeList list_;
  double position_ = 0, fileSize_ = 0;
  long first_ = 1;
  std::size_t size_ = 0, mostRoom_ = 0;  // cases in the block at hand, and in the largest
  std::vector<statetype> states_;
  std::vector<long> ids_;
  std::vector<double> weights_;
};

// What is asked of the cases of a block.
struct CaseQuestion {
  std::vector<node_bn> targets;
  int numthreads;
  std::vector<probtype> beliefs;  // [cases x states of the targets], as far as there are targets
  std::vector<double> logprobs;   // [cases]

  CaseQuestion(std::vector<node_bn> about, int threads) : targets(std::move(about)), numthreads(threads) {}
  std::size_t NumStates() const;  // of all targets
  // observed: the nodes whose states the block's are.
  void Ask(std::span<const node_bn> observed, const std::vector<statetype>& states, std::size_t numcases,
           Session& session);
};

bool CanBeKnown(node_bn node);   // in cases
bool CanBeTarget(node_bn node);  // has beliefs

// The option --strict, for every command that reads cases; its value goes to Session::BeStrict.
void AddStrict(Command* command, bool* strict);

inline constexpr char THREADS_HELP[] = "how many threads to use; 0 for as many as there are processors";
