// Single cases for hosts: the current findings written as a row, a row read and entered as findings.

#include <algorithm>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/model/NetCall.h"
#include "Bn/model/Undo.h"
#include "Bn/services/Beliefs.h"
#include "Bn/services/CaseReader.h"
#include "Bn/services/CaseWriter.h"
#include "Bn/services/Findings.h"
#include "Win_Face/Platform.h"

namespace bravic {

namespace {

void RememberCaseFile(net_bn net, const char* name) {
  char* copy = DupText(name);
  Free(net->casefilename);
  net->casefilename = copy;
}

long FileLength(const char* filename) {
  std::FILE* file = std::fopen(filename, "rb");
  if (!file) return -1;
  long length = std::fseek(file, 0, SEEK_END) == 0 ? std::ftell(file) : -1;
  std::fclose(file);
  return length;
}

long WriteCase(std::span<const node_bn> nodes, filespec_ns file, long id, double freq) {
  net_bn net = nodes.empty() ? nullptr : nodes[0]->innet;
  AppendPlan plan;
  if (Failure failure = PlanAppend(file->name, net, nodes, &plan)) {
    Post(std::move(failure));
    return -1;
  }
  CaseWriter writer;
  bool open;
  if (plan.isCaseFile) {
    open = writer.Append(file->name, plan.columns);
    // A row keeps the columns of its file: what was not given is written as "none" and "one".
    if (freq == -1) freq = 1;
  } else {
    plan.columns = NewColumns(nodes, id != -1, freq != -1);
    open = writer.Create(file->name, plan.columns);
  }
  if (!open) {
    ReportError(-2079, "Couldn't open file for writing cases '%s'", ShownPath(file->name).text);
    return -1;
  }
  Vector<statetype> states;
  Vector<double> values;
  for (const PlannedColumn& column : plan.columns) {
    states.push_back(column.node ? column.node->evidence : UNDEF_STATE);
    values.push_back(column.node ? column.node->value : UNDEF_DBL);
  }
  long position = plan.isCaseFile ? FileLength(file->name) : writer.HeaderLength();
  writer.Row(states.data(), values.data(), id, freq);
  if (!writer.Close()) {
    ReportError(-2120, "couldn't write a case to file '%s'", ShownPath(file->name).text);
    return -1;
  }
  if (net) RememberCaseFile(net, file->name);
  return position;
}

// Goes to where the row to read begins.
Failure MoveToCase(CaseReader& reader, filespec_ns file, const long* position) {
  if (!position || *position == FIRST_CASE) return nullptr;
  if (*position == NO_MORE_CASES)
    return Fail(-5524, "called with argument '*case_posn' being NO_MORE_CASES (to read file '%s')",
                ShownPath(file->name).text);
  if (*position == NEXT_CASE) {
    if (file->nextCase < 0 || reader.Seek(file->nextCase)) return nullptr;
    return Fail(-2128, "couldn't move to next case in file '%s' (position %ld)", ShownPath(file->name).text,
                file->nextCase);
  }
  if (reader.Seek(*position)) return nullptr;
  return Fail(-2273, "couldn't find that case in file '%s' (position %ld)", ShownPath(file->name).text, *position);
}

void EnterRow(net_bn net, std::span<const node_bn> nodes, const CaseRow& row) {
  UndoGroup group(UNDO_ALL_FINDINGS, net);
  int autoupdate = net->autoupdate;
  net->autoupdate = 0;
  RetractAllFindings(net);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (nodes[i]->discrete != DISCRETE && row.values[i] != UNDEF_DBL)
      EnterValue(nodes[i], row.values[i], false);
    else if (row.states[i] >= 0)
      EnterState(nodes[i], row.states[i], false);
    else if (HasFinding(*nodes[i]))
      RetractFinding(nodes[i]);
  }
  net->autoupdate = autoupdate;
  AutoUpdate(net);
}

void ReadCase(long* position, filespec_ns file, std::span<const node_bn> nodes, long* id, double* freq) {
  net_bn net = nodes.empty() ? nullptr : nodes[0]->innet;
  CaseReader reader;
  if (Failure failure = reader.Open(file->name, net, nodes)) {
    Post(std::move(failure));
    return;
  }
  if (Failure failure = reader.Prefixed(MoveToCase(reader, file, position))) {
    Post(std::move(failure));
    return;
  }
  CaseRow row;
  row.states.resize(nodes.size());
  row.values.resize(nodes.size());
  CaseReader::Result result = reader.Next(&row);
  if (result == CaseReader::Result::Bad) return;
  if (result == CaseReader::Result::End) {
    if (position)
      *position = NO_MORE_CASES;
    else
      Post(reader.Prefixed(Fail(-5525, "file '%s' has no cases (and called with argument case_posn = NULL)",
                                ShownPath(file->name).text)));
    return;
  }
  if (position && *position < 0) *position = reader.RowStart();
  file->nextCase = reader.Position();
  reader.Close();
  if (net) {
    EnterRow(net, nodes, row);
    RememberCaseFile(net, file->name);
  }
  if (id) *id = row.id;
  if (freq) *freq = row.freq;
}

}  // namespace

}  // namespace bravic

using namespace bravic;

extern "C" long BRAVIC_CALL WriteCase_bn(nodelist_bn nodes, filespec_ns file, long idnum, double freq) {
  NetCall call("WriteCase_bn");
  if (!call.HasReserve(-5134) || !call.Check(nodes, NetCall::ALLOW_NONE) || !call.Check(file)) return -1;
  if (NetCall::Basic() && idnum < -1) {
    ReportError(-5522, "argument 'ID_num' is less than -1 (it is %ld)", idnum);
    return -1;
  }
  if (NetCall::Basic() && freq != -1 && !(freq >= 0)) {
    ReportError(-5523, "argument 'freq' is less than 0 (it is %g)", freq);
    return -1;
  }
  return WriteCase(nodes ? Entries(*nodes) : std::span<const node_bn>(), file, idnum, freq);
}

extern "C" void BRAVIC_CALL ReadCase_bn(long* caseposn, filespec_ns file, nodelist_bn nodes, long* idnum,
                                        double* freq) {
  NetCall call("ReadCase_bn");
  if (!call.HasReserve(-5135) || !call.Check(file)) return;
  if (nodes && !call.Check(nodes, NetCall::ALLOW_NONE)) return;
  ReadCase(caseposn, file, nodes ? Entries(*nodes) : std::span<const node_bn>(), idnum, freq);
}
