// Many cases at once, case files, random cases.
#include <nanobind/stl/vector.h>

#include "Net.h"

namespace binding {
namespace {

// A file specification for the length of a call.
class File {
 public:
  explicit File(const char* path) : file_(FileNamed_ns(path, Env())) {}
  ~File() { FreeFileSpec_ns(file_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  operator filespec_ns() const { return file_; }

 private:
  filespec_ns file_;
};

double NumStates(const Net& net, const std::vector<Key>& nodes) {
  double states = 0;
  for (Key node : nodes) states += GetNodeNumberStates_bn(net.At(node));
  return states;
}

// states [cases x observed] is nobody else's, so that it stays as it is while it is looked at.
long BeliefsOfCases(Net& net, const std::vector<Key>& observed, nb::handle statesIn, long cases,
                    const std::vector<Key>& targets, nb::handle beliefsOut, nb::handle logprobsOut, int threads) {
  const Array<statetype> states(statesIn, false);
  const Array<probtype> beliefs(beliefsOut, true);
  const Array<double> logprobs(logprobsOut, true);
  return AskLong([&] {
    CompileNet_bn(net.Get());
    states.CheckSize(static_cast<double>(cases) * static_cast<double>(observed.size()));
    beliefs.CheckSize(static_cast<double>(cases) * NumStates(net, targets));
    logprobs.CheckSize(static_cast<double>(cases));
    if (Failed()) return -1L;
    const long impossible = BeliefsOfCases_bn(NodeList(net, observed), states.Data(), cases, NodeList(net, targets),
                                              beliefs.Data(), logprobs.Data(), threads);
    double* out = logprobs.Data();
    for (long i = 0; out && i < cases; ++i) out[i] = Infinite(out[i]);
    return impossible;
  });
}

void Generate(Net& net, const std::vector<Key>& nodes, long cases, const Text& path) {
  const char* z = path.Z();
  AskLong([&] {
    const File file(z);
    if (file) GenerateCases_bn(NodeList(net, nodes), cases, file, -1, 0, 0);
  });
}

// Answers how many rows were read into states [room x nodes].
long ReadStates(Net& net, const Text& path, const std::vector<Key>& nodes, nb::handle statesOut, long room) {
  const char* z = path.Z();
  const Array<statetype> states(statesOut, true);
  return AskLong([&] {
    states.CheckSize(static_cast<double>(room) * static_cast<double>(nodes.size()));
    const File file(z);
    double position = 0;
    return file ? ReadCaseStates_bn(file, NodeList(net, nodes), &position, room, states.Data(), nullptr, nullptr) : -1L;
  });
}

}  // namespace

void BindCases(nb::module_&, NetClass& bound) {
  bound
      .def("beliefs_of_cases", BeliefsOfCases, nb::arg("observed"), nb::arg("states").none(), nb::arg("cases"),
           nb::arg("targets"), nb::arg("beliefs").none(), nb::arg("logprobs").none(), nb::arg("threads"))
      .def("generate", Generate)
      .def("read_states", ReadStates)
      .def("learn_file",
           [](Net& net, const Text& path, const std::vector<Key>& nodes, double degree) {
             const char* z = path.Z();
             AskLong([&] {
               const File file(z);
               if (file) CaseFileRevisesProbs_bn(file, NodeList(net, nodes), 0, degree);
             });
           })
      .def("fade", [](Net& net, Key node, double degree) { AskLong([&] { FadeProbs_bn(net.At(node), degree); }); });
}

}  // namespace binding
