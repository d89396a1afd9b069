// A long life: nets are built, read, compiled, asked, learned, changed, taken back, saved and freed at random, with the
// deepest checks of arguments, for as long as is wanted. Every tenth of the time it prints how much has been done and
// what the process holds. The same net must always give the same beliefs, and the most that is held in
// the second half of the time must be about the most of the first half; else it exits with 1.
//
//   bench_soak [minutes] [seed]
#include <algorithm>
#include <cmath>
#include <fstream>
#include <random>

#include "bench.h"
#include "bravic_formats.h"

namespace {

constexpr int NUM_PLACES = 8, NUM_TENTHS = 10, DEEPEST = 26, STEPS_BETWEEN_LOOKS = 50;
constexpr double MOST_GROWTH = 1.05, SLACK_KILOBYTES = 1024;

std::mt19937_64 draws;

int Below(int n) {
  return static_cast<int>(draws() % static_cast<unsigned>(n));
}

double ResidentKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double kilobytes = 0;
    if (word == "VmRSS:" && status >> kilobytes) return kilobytes;
  }
  return 0;
}

// A net that comes again and again, with what it was first seen to believe.
struct Known {
  std::string path;
  double beliefs = 0;
};

struct Soak {
  std::vector<Known> files;
  net_bn places[NUM_PLACES] = {};
  std::string folder;
  long numDone = 0, numWrong = 0;

  std::string Path(const char* name) const { return folder + "/" + name; }
  void Step();
  net_bn Build();
  void Change(net_bn net);
  void Learn(net_bn net);
  void SaveAndRead(net_bn* net);
};

node_bn AnyNode(net_bn net) {
  const nodelist_bn nodes = GetNetNodes_bn(net);
  const int count = LengthNodeList_bn(nodes);
  return count > 0 ? NthNode_bn(nodes, Below(count)) : nullptr;
}

double SumOfBeliefs(net_bn net) {
  double sum = 0;
  const nodelist_bn nodes = GetNetNodes_bn(net);
  for (int i = 0; i < LengthNodeList_bn(nodes); ++i)
    sum += (i + 1) * static_cast<double>(GetNodeBeliefs_bn(NthNode_bn(nodes, i))[0]);
  return sum;
}

net_bn Soak::Build() {
  const net_bn net = NewNet_bn("Soak", env);
  std::vector<node_bn> nodes;
  for (int i = 0, count = 2 + Below(40); i < count; ++i) {
    const node_bn node = NewNode_bn(nullptr, 2 + Below(3), net);
    std::vector<node_bn> earlier = nodes;
    for (int k = 0; k < 3 && !earlier.empty() && Below(3) > 0; ++k) {
      const auto at = earlier.begin() + Below(static_cast<int>(earlier.size()));
      const node_bn parent = *at;
      earlier.erase(at);
      AddLink_bn(parent, node);
    }
    std::vector<statetype> row(4, EVERY_STATE);
    std::vector<probtype> probs(static_cast<std::size_t>(GetNodeNumberStates_bn(node)));
    SetNodeProbs_bn(node, row.data(), [&] {
      double sum = 0;
      for (probtype& entry : probs) sum += static_cast<double>(entry = static_cast<probtype>(1 + Below(100)));
      for (probtype& entry : probs) entry = static_cast<probtype>(static_cast<double>(entry) / sum);
      return probs.data();
    }());
    nodes.push_back(node);
  }
  return net;
}

void Soak::Change(net_bn net) {
  const node_bn node = AnyNode(net);
  if (!node) return;
  switch (Below(8)) {
    case 0:
      DeleteNode_bn(node);
      break;
    case 1:
      AddLink_bn(AnyNode(net), node);
      break;
    case 2:
      DeleteLink_bn(0, node);
      break;
    case 3:
      SetNodeTitle_bn(node, std::string(static_cast<std::size_t>(Below(200)), 'x').c_str());
      break;
    case 4:
      EnterFinding_bn(node, Below(GetNodeNumberStates_bn(node)));
      break;
    case 5:
      RetractAllFindings_bn(net);
      break;
    case 6:
      UndoLastChange_bn(net);
      break;
    default:
      RedoLastChange_bn(net);
  }
}

void Soak::Learn(net_bn net) {
  filespec_ns file = FileNamed_ns(Path("cases.cas").c_str(), env);
  const nodelist_bn nodes = GetNetNodes_bn(net);
  RetractAllFindings_bn(net);
  GenerateCases_bn(nodes, 50, file, 1, 1, 0);
  switch (Below(4)) {
    case 0:
      CaseFileRevisesProbs_bn(file, nodes, 0, 1);
      break;
    case 1:
      LearnTablesEM_bn(file, nodes, 2, 0, 1, nullptr);
      break;
    case 2: {
      learn_links_bn how = {};
      how.size = sizeof how;
      how.restarts = -1;
      how.maxparents = 2;
      LearnLinks_bn(file, nodes, &how, nullptr);
      break;
    }
    default:
      FreeNet_bn(NewNetOfCases_bn(file, "Cases", nullptr));
  }
  FreeFileSpec_ns(file);
}

void Soak::SaveAndRead(net_bn* net) {
  constexpr const char* NAMES[] = {"net.dne", "net.xdsl", "net.bif", "net.net"};
  const std::string path = Path(NAMES[Below(4)]);
  if (WriteNetFormat_bn(*net, path.c_str(), nullptr) < 0) return;
  FreeNet_bn(*net);
  *net = ReadNetFormat_bn(path.c_str(), nullptr, env);
}

void Soak::Step() {
  net_bn& net = places[Below(NUM_PLACES)];
  ++numDone;
  if (!net) {
    net = Build();
  } else {
    switch (Below(8)) {
      case 0:
        FreeNet_bn(net);
        net = nullptr;
        break;
      case 1:
        SaveAndRead(&net);
        break;
      case 2:
        CompileNet_bn(net);
        Learn(net);
        break;
      case 3: {
        Known& known = files[static_cast<std::size_t>(Below(static_cast<int>(files.size())))];
        FreeNet_bn(net);
        net = ReadOrFail(known.path);
        CompileNet_bn(net);
        const double sum = SumOfBeliefs(net);
        if (known.beliefs == 0) known.beliefs = sum;
        if (known.beliefs != sum) ++numWrong;
        break;
      }
      case 4: {
        CompileNet_bn(net);
        std::vector<statetype> states(static_cast<std::size_t>(LengthNodeList_bn(GetNetNodes_bn(net))));
        MostProbableConfigs_bn(net, 1, states.data(), nullptr);
        break;
      }
      case 5:
        CompileNet_bn(net);
        SumOfBeliefs(net);
        break;
      default:
        Change(net);
    }
  }
  // Internal errors and damaged handles are never right; refusals are.
  for (report_ns report = nullptr; (report = GetError_ns(env, 6, report));) {
    std::printf("%s\n", ErrorMessage_ns(report));
    ++numWrong;
  }
  ClearErrors_ns(env, 6);
}

}  // namespace

int main(int argc, char** argv) {
  BeginEnvironment();
  const double minutes = argc > 1 ? std::atof(argv[1]) : 1;
  draws.seed(argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1);
  ArgumentChecking_ns(DEEPEST, env);
  SetUndoDepth_bn(20, NewNet_bn("Depth", env));
  Soak soak;
  soak.folder = std::filesystem::temp_directory_path().string() + "/bravic_soak." + std::to_string(draws());
  std::filesystem::create_directory(soak.folder);
  for (const char* name : {"chest_clinic", "heat_pump"})
    soak.files.push_back({BRAVIC_SOURCE_DIR "/examples/nets/" + std::string(name) + ".dne"});
  const double began = Seconds(CLOCK_MONOTONIC), length = minutes * 60;
  double most[2] = {};  // of each half
  for (int tenth = 1; tenth <= NUM_TENTHS; ++tenth) {
    double& ofHalf = most[tenth > NUM_TENTHS / 2];
    while (Seconds(CLOCK_MONOTONIC) - began < length * tenth / NUM_TENTHS) {
      soak.Step();
      if (soak.numDone % STEPS_BETWEEN_LOOKS == 0) ofHalf = std::max(ofHalf, ResidentKilobytes());
    }
    std::printf("%10ld steps, at most %8.0f kilobytes held in this half, %ld wrong\n", soak.numDone, ofHalf,
                soak.numWrong);
    std::fflush(stdout);
  }
  std::filesystem::remove_all(soak.folder);
  CloseEnvironment();
  return soak.numWrong > 0 || most[1] > most[0] * MOST_GROWTH + SLACK_KILOBYTES ? 1 : 0;
}
