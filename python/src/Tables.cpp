// Tables of nodes: whole ones, into and out of arrays.
#include <cmath>

#include "Net.h"

namespace binding {
namespace {

using GetNumber = double(BRAVIC_CALL*)(node_bn, const statetype*);
using SetNumber = void(BRAVIC_CALL*)(node_bn, const statetype*, double);

// Answers whether the node has a table; the array is not filled where it has none.
bool GetProbs(Net& net, Key key, nb::handle object) {
  const Array<float> probs(object, true);
  return Ask([&] {
    node_bn node = net.At(key);
    const int states = GetNodeNumberStates_bn(node);
    probs.CheckSize(NumberOfRows(node) * states);
    if (probs.Size() == 0 || !HasRelation_bn(node)) return false;
    float* out = probs.Data();
    Rows rows(node);
    do {
      const probtype* row = GetNodeProbs_bn(node, rows.States());
      if (!row || Failed()) return false;
      std::memcpy(out, row, sizeof(float) * static_cast<std::size_t>(states));
      out += states;
    } while (rows.Next());
    return true;
  });
}

// A row that is refused leaves the table as it was.
void SetProbs(Net& net, Key key, nb::handle object) {
  const Array<float> probs(object, false);
  Ask([&] {
    node_bn node = net.At(key);
    const int states = GetNodeNumberStates_bn(node);
    probs.CheckSize(NumberOfRows(node) * states);
    if (probs.Size() == 0) return;
    const Change change(net);
    const float* in = probs.Data();
    Rows rows(node);
    do {
      SetNodeProbs_bn(node, rows.States(), in);
      in += states;
    } while (!Failed() && rows.Next());
  });
}

// The value of a function, or undefined: entries not given yet, of a table of which others are, come as they are kept.
double BRAVIC_CALL FunctionValue(node_bn node, const statetype* parents) {
  constexpr double LEAST_VALUE = -3.39e38;
  const double value = GetNodeFuncValue_bn(node, parents);
  const bool isGiven = value >= (GetNodeDiscrete_bn(node) ? 0 : LEAST_VALUE) || value == -inf_dbl_ns;
  return isGiven ? value : undef_dbl_ns;
}

// Answers whether any row has such a number; NaN for those that have none.
template <GetNumber GET>
bool GetNumbers(Net& net, Key key, nb::handle object) {
  const Array<double> numbers(object, true);
  return Ask([&] {
    node_bn node = net.At(key);
    numbers.CheckSize(NumberOfRows(node));
    if (numbers.Size() == 0) return false;
    bool any = false;
    double* out = numbers.Data();
    Rows rows(node);
    do {
      const double number = GET(node, rows.States());
      any |= number != undef_dbl_ns;
      *out++ = number == undef_dbl_ns ? NAN : Infinite(number);
    } while (rows.Next());
    return any;
  });
}

// NaN: that row stays as it is.
template <SetNumber SET>
void SetNumbers(Net& net, Key key, nb::handle object) {
  const Array<double> numbers(object, false);
  Ask([&] {
    node_bn node = net.At(key);
    numbers.CheckSize(NumberOfRows(node));
    if (numbers.Size() == 0) return;
    const Change change(net);
    const double* in = numbers.Data();
    Rows rows(node);
    do {
      if (!std::isnan(*in)) SET(node, rows.States(), *in);
      ++in;
    } while (!Failed() && rows.Next());
  });
}

}  // namespace

void BindTables(NetClass& bound) {
  bound.def("get_probs", GetProbs)
      .def("set_probs", SetProbs)
      .def("get_experience", GetNumbers<GetNodeExperience_bn>)
      .def("set_experience", SetNumbers<SetNodeExperience_bn>)
      .def("get_function", GetNumbers<FunctionValue>)
      .def("set_function", SetNumbers<SetNodeFuncValue_bn>)
      .def("has_table", [](Net& net, Key node) { return Ask([&] { return HasRelation_bn(net.At(node)) == 1; }); })
      .def("delete_table", [](Net& net, Key node) { Ask([&] { DeleteNodeRelation_bn(net.At(node)); }); })
      .def("is_deterministic",
           [](Net& net, Key node) { return Ask([&] { return IsNodeDeterministic_bn(net.At(node)) == 1; }); });
}

}  // namespace binding
