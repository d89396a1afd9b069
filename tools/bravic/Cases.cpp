#include "Cases.h"

#include <algorithm>
#include <filesystem>

#include "Terminal.h"

namespace {

// A block takes no more memory than that; the first is small, since most files are.
constexpr std::size_t MEMORY = std::size_t{32} << 20, LEAST_ROOM = 256, MOST_ROOM = 65536;

}  // namespace

bool CanBeKnown(node_bn node) {
  const int kind = GetNodeKind_bn(node);
  return GetNodeNumberStates_bn(node) > 0 && (kind == NATURE_NODE || kind == DECISION_NODE);
}

bool CanBeTarget(node_bn node) {
  return GetNodeNumberStates_bn(node) > 0 && GetNodeKind_bn(node) == NATURE_NODE;
}

void AddStrict(Command* command, bool* strict) {
  command->Add({.names = "--strict",
                .help = "refuse entries that name no state and values out of bounds, which else count as missing",
                .value = strict});
}

CaseBlocks::CaseBlocks(const InputFile& input, const Net& net, Session& session)
    : session_(session), file_(session.Named(input)) {
  const NodeList list(CaseFileNodes_bn(file_.get(), net.get()));
  session.Check();
  for (node_bn node : Nodes(list.get())) {
    if (CanBeKnown(node)) columns_.push_back(node);
  }
  std::error_code unknown;
  fileSize_ = static_cast<double>(std::filesystem::file_size(input.Path(), unknown));
  if (unknown) fileSize_ = 0;
}

void CaseBlocks::Choose(std::vector<node_bn> nodes, std::size_t bytesPerCase) {
  const std::size_t bytes = nodes.size() * sizeof(statetype) + bytesPerCase + sizeof(long) + sizeof(double);
  mostRoom_ = std::clamp(MEMORY / bytes, LEAST_ROOM, MOST_ROOM);
  nodes_ = std::move(nodes);
  list_ = MakeList(nodes_, session_);
  MakeRoom(LEAST_ROOM);
}

void CaseBlocks::MakeRoom(std::size_t room) {
  states_.resize(room * nodes_.size());
  ids_.resize(room);
  weights_.resize(room);
}

bool CaseBlocks::Next() {
  first_ += static_cast<long>(size_);
  if (size_ == ids_.size()) MakeRoom(std::min(4 * size_, mostRoom_));
  const long read = ReadCaseStates_bn(file_.get(), list_.get(), &position_, static_cast<long>(ids_.size()),
                                      states_.data(), ids_.data(), weights_.data());
  session_.CheckCases();
  size_ = read > 0 ? static_cast<std::size_t>(read) : 0;
  return size_ > 0;
}

double CaseBlocks::ShareRead() const {
  return fileSize_ > 0 ? position_ / fileSize_ : 1;
}

std::size_t CaseQuestion::NumStates() const {
  std::size_t sum = 0;
  for (node_bn node : targets) sum += static_cast<std::size_t>(GetNodeNumberStates_bn(node));
  return sum;
}

void CaseQuestion::Ask(std::span<const node_bn> observed, const std::vector<statetype>& states, std::size_t numcases,
                       Session& session) {
  beliefs.resize(numcases * NumStates());
  logprobs.resize(numcases);
  const NodeList known = MakeList(observed, session), asked = MakeList(targets, session);
  BeliefsOfCases_bn(known.get(), states.data(), static_cast<long>(numcases), asked.get(), beliefs.data(),
                    logprobs.data(), numthreads);
  session.Check();
}
