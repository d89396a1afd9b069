#include "Library.h"

#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace binding {
namespace {

constexpr int NOTICE = 3, WARNING = 4, ERROR = 5, ALL = 6;  // dangers
constexpr int HALTED = 2450;
constexpr auto SIGNALS_EVERY = std::chrono::milliseconds(100);

struct Record {
  int number, danger;
  std::string message;
};

environ_ns theEnviron = nullptr;
std::timed_mutex theLock;
std::atomic<std::thread::id> owner{};  // who is inside
std::mutex laterLock;
std::vector<std::pair<void (*)(void*), void*>> freedLater;  // how, what
std::unique_ptr<nb::python_error> thrownInCallback;
bool listenerWasCalled = false;
PyObject* listener = nullptr;  // owned; called as listener(what, done, seconds), and with None at the end
PyObject *errorClass = nullptr, *warningClass = nullptr, *logNotice = nullptr;

// From the calling thread, with the interpreter lock or without.
int BRAVIC_CALL OnProgress(void*, const char* what, double done, double seconds) {
  nb::gil_scoped_acquire interpreter;
  if (PyErr_CheckSignals() != 0) {
    thrownInCallback = std::make_unique<nb::python_error>();
    return 1;
  }
  if (!listener) return 0;
  listenerWasCalled = true;
  try {
    return nb::cast<bool>(nb::handle(listener)(what, done, seconds)) ? 1 : 0;
  } catch (nb::python_error& error) {
    thrownInCallback = std::make_unique<nb::python_error>(std::move(error));
  } catch (const nb::cast_error&) {
    return 0;
  }
  return 1;
}

bool IsInside() {
  return owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

void Enter() {
  if (IsInside()) throw Refusal{CALLED_FROM_WITHIN, ERROR, "the library was called from within one of its own calls"};
  while (!theLock.try_lock()) {
    bool entered = false;
    {
      nb::gil_scoped_release others;
      entered = theLock.try_lock_for(SIGNALS_EVERY);
    }
    if (entered) break;
    if (PyErr_CheckSignals() != 0) throw nb::python_error();
  }
  owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
}

void FreeThoseLeft() {
  decltype(freedLater) left;
  {
    const std::lock_guard guard(laterLock);
    if (freedLater.empty()) return;
    left.swap(freedLater);
  }
  for (const auto& [free, what] : left) free(what);
}

void FreeSoon(void (*free)(void*), void* what) {
  if (!what) return;
  if (!IsInside() && theLock.try_lock()) {
    owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    free(what);
    owner.store({}, std::memory_order_relaxed);
    theLock.unlock();
    return;
  }
  const std::lock_guard guard(laterLock);
  freedLater.emplace_back(free, what);
}

std::vector<Record> TakeRecords() {
  std::vector<Record> records;
  for (report_ns error = GetError_ns(theEnviron, NOTICE, nullptr); error;
       error = GetError_ns(theEnviron, NOTICE, error))
    records.push_back({ErrorNumber_ns(error), ErrorDanger_ns(error), ErrorMessage_ns(error)});
  ClearErrors_ns(theEnviron, ALL);
  return records;
}

nb::str ToText(const std::string& bytes) {
  return nb::steal<nb::str>(
      PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "surrogateescape"));
}

void Warn(const Record& record) {
  if (record.danger == WARNING) {
    if (PyErr_WarnEx(warningClass, ToText(record.message).c_str(), 2) < 0) throw nb::python_error();
  } else {
    nb::handle(logNotice)(ToText(record.message));
  }
}

// The first error gives the number, the most dangerous one the danger; all are told.
void RaiseOrWarn(const std::vector<Record>& records, int expected) {
  std::optional<Refusal> refusal;
  for (const Record& record : records) {
    if (record.danger < ERROR || record.number == expected) continue;
    if (!refusal) {
      refusal = Refusal{record.number, record.danger, record.message};
    } else {
      refusal->danger = std::max(refusal->danger, record.danger);
      refusal->message += "\n" + record.message;
    }
  }
  for (const Record& record : records)
    if (record.danger < ERROR && !(refusal && record.danger == NOTICE)) Warn(record);
  if (refusal) throw *refusal;
}

void SetListener(nb::object wanted) {
  PyObject* old = listener;
  listener = wanted.is_none() ? nullptr : wanted.release().ptr();
  Py_XDECREF(old);
}

void TranslateRefusal(const std::exception_ptr& thrown, void*) {
  try {
    std::rethrow_exception(thrown);
  } catch (const Refusal& refusal) {
    try {
      const nb::object error = nb::handle(errorClass)(refusal.number, refusal.danger, ToText(refusal.message));
      PyErr_SetObject(errorClass, error.ptr());
    } catch (nb::python_error& failure) {
      failure.restore();
    }
  }
}

// What a child process inherits is whole: forks wait until nobody is inside.
bool forkHasLock = false;
void BeforeFork() {
  forkHasLock = false;
  if (IsInside()) return;
  Enter();
  forkHasLock = true;
}
void AfterFork() {
  if (!forkHasLock) return;
  forkHasLock = false;
  owner.store({}, std::memory_order_relaxed);
  theLock.unlock();
}

}  // namespace

environ_ns Env() {
  return theEnviron;
}

void StartLibrary() {
  char message[MESG_LEN_ns] = "";
  theEnviron = NewBravicEnviron_bn();
  if (!theEnviron || InitBravic_bn(theEnviron, message) < 0) throw std::runtime_error(message);
  SetProgressCallback_ns(OnProgress, nullptr, theEnviron);
}

void FreeLater(net_bn net) {
  FreeSoon([](void* what) { FreeNet_bn(static_cast<net_bn>(what)); }, net);
}

void FreeLater(counts_bn counts) {
  FreeSoon([](void* what) { FreeCounts_bn(static_cast<counts_bn>(what)); }, counts);
}

Call::Call() {
  Enter();
  FreeThoseLeft();
}

Call::~Call() {
  if (!inside_) return;
  ClearErrors_ns(theEnviron, ALL);
  thrownInCallback.reset();
  Leave();
}

void Call::Leave() {
  inside_ = false;
  owner.store({}, std::memory_order_relaxed);
  theLock.unlock();
}

void Call::Finish(int expected) {
  std::unique_ptr<nb::python_error> thrown;
  std::vector<Record> records;
  if (GetError_ns(theEnviron, 0, nullptr)) records = TakeRecords();
  thrown.swap(thrownInCallback);
  const bool tellEnd = listenerWasCalled;
  listenerWasCalled = false;
  Leave();
  if (const nb::handle told(listener); tellEnd && told) told(nb::none(), 1.0, 0.0);
  if (thrown) throw nb::python_error(std::move(*thrown));
  if (!records.empty()) RaiseOrWarn(records, expected);
}

double Infinite(double number) {
  if (number == inf_dbl_ns) return std::numeric_limits<double>::infinity();
  if (number == -inf_dbl_ns) return -std::numeric_limits<double>::infinity();
  return number;
}

nb::object Number(double number) {
  return number == undef_dbl_ns ? nb::none() : nb::object(nb::float_(Infinite(number)));
}

void BindLibrary(nb::module_& module) {
  const nb::module_ errors = nb::module_::import_("bravic._errors");
  errorClass = nb::object(errors.attr("Error")).release().ptr();
  warningClass = nb::object(errors.attr("BravicWarning")).release().ptr();
  logNotice = nb::object(errors.attr("log_notice")).release().ptr();
  nb::register_exception_translator(TranslateRefusal);

  const nb::module_ os = nb::module_::import_("os");
  if (nb::hasattr(os, "register_at_fork")) {
    os.attr("register_at_fork")(nb::arg("before") = nb::cpp_function(BeforeFork),
                                nb::arg("after_in_parent") = nb::cpp_function(AfterFork),
                                nb::arg("after_in_child") = nb::cpp_function(AfterFork));
  }
  module.def("version", [] { return Ask([] { return GetBravicVersion_bn(Env(), nullptr); }); });
  module.def("seed", [](int seed) { Ask([&] { SeedRandom_ns(seed, Env()); }); });
  module.def("set_threads", [](int threads) { return Ask([&] { return SetThreads_ns(threads, Env()); }); });
  module.def("set_listener", SetListener, nb::arg("listener").none());
  module.def("base_experience", [] { return BaseExperience_bn; });
}

}  // namespace binding
