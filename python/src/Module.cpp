// The compiled module bravic._bravic: functions of bravic.h on nets and numbers of nodes, without any comfort. Comfort
// is in the Python sources beside it.
#include "Net.h"

NB_MODULE(_bravic, module) {
  nb::set_leak_warnings(false);  // nets may well be there when the interpreter ends
  module.attr("__version__") = BRAVIC_PACKAGE_VERSION;
  binding::StartLibrary();
  binding::BindLibrary(module);
  binding::NetClass net(module, "Net");
  binding::BindModel(net);
  binding::BindTables(net);
  binding::BindFindings(net);
  binding::BindQuestions(net);
  binding::BindCases(module, net);
  binding::BindColumns(module);
  binding::BindLearning(module, net);
  binding::BindFiles(module, net);
}
