// The one library of this process behind one lock: who may call it, what became of a call, and how Python hears of it.
//
// The interpreter lock and the library's lock never wait for each other: whoever has to wait for the library lets the
// interpreter go meanwhile. Within a call no Python object is made, since that may run anybody's code; nets whose last
// reference goes in a bad moment are freed by the next call.
#pragma once

#include <nanobind/nanobind.h>

#include <string>
#include <type_traits>
#include <vector>

#include "bravic.h"

namespace nb = nanobind;

namespace binding {

// Becomes an exception of the class bravic.Error.
struct Refusal {
  int number = 0, danger = 5;
  std::string message;
};

constexpr int CALLED_FROM_WITHIN = 5114, NET_GONE = 5143, NODE_GONE = 5144;  // numbers of the library's errors
constexpr int CONTRADICTION = 2078;

environ_ns Env();
void StartLibrary();
// Now, where the library is idle.
void FreeLater(net_bn net);
void FreeLater(counts_bn counts);

// One call, or several that belong together, from taking the lock on.
class Call {
 public:
  Call();
  ~Call();  // nothing stays in the error list
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  // Lets others in; then raises what went wrong, or warns. An error of the number that is expected does not count.
  void Finish(int expected = 0);

 private:
  void Leave();
  bool inside_ = true;
};

// Asks the library by a function that makes no Python objects. AskLong lets other Python threads run meanwhile.
template <bool IS_LONG = false, class Question>
auto Ask(Question&& question, int expected = 0) {
  Call call;
  const auto ask = [&] {
    if constexpr (IS_LONG) {
      nb::gil_scoped_release others;
      return question();
    } else {
      return question();
    }
  };
  if constexpr (std::is_void_v<std::invoke_result_t<Question>>) {
    ask();
    call.Finish(expected);
  } else {
    auto answer = ask();
    call.Finish(expected);
    return answer;
  }
}

template <class Question>
auto AskLong(Question&& question, int expected = 0) {
  return Ask<true>(std::forward<Question>(question), expected);
}

// The library's two numbers that are none: undefined and infinite, as Python has them.
nb::object Number(double number);
double Infinite(double number);

void BindLibrary(nb::module_& module);

}  // namespace binding
