#include "Bn/files/CaseFile.h"

#include <cstdint>
#include <filesystem>

#include "Basic/Text.h"
#include "Bn/compiled/Beliefs.h"
#include "Bn/compiled/Findings.h"
#include "Bn/files/CaseReader.h"
#include "Bn/files/CaseWriter.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Platform.h"

namespace bravic {

namespace {

void RememberCaseFile(net_bn net, const char* name) {
  char* copy = DupText(name);
  Free(net->casefilename);
  net->casefilename = copy;
}

// A row that was not written whole is taken away again; a file that was to be new is left empty.
void TakeBack(const char* filename, long length) {
  std::error_code ignored;
  std::filesystem::resize_file(filename, length, ignored);
}

}  // namespace

long WriteCase(std::span<const node_bn> nodes, filespec_ns file, long id, double freq) {
  CasePlan plan;
  if (Failure failure = PlanCases(file->name, nodes, true, id != -1, freq != -1, &plan)) {
    Post(std::move(failure));
    return -1;
  }
  // A row keeps the columns of its file: what was not given is written as "none" and "one".
  if (plan.append && freq == -1) freq = 1;
  CaseWriter writer;
  if (!writer.Open(file->name, plan)) {
    Report(CANT_OPEN_CASES_FOR_WRITING, ShownPath(file->name).text);
    return -1;
  }
  Vector<statetype> states;
  Vector<double> values;
  for (const PlannedColumn& column : plan.columns) {
    states.push_back(column.node ? column.node->evidence : UNDEF_STATE);
    values.push_back(column.node ? column.node->value : UNDEF_DBL);
  }
  writer.Row(states.data(), values.data(), id, freq);
  if (!writer.Close()) {
    Report(CANT_WRITE_CASE, ShownPath(file->name).text);
    if (KindOfFile(file->name) == FileKind::Regular) TakeBack(file->name, plan.position);
    return -1;
  }
  if (!nodes.empty()) RememberCaseFile(nodes[0]->innet, file->name);
  return plan.append ? plan.position : writer.HeaderLength();
}

namespace {

Failure CouldntMove(filespec_ns file, long position) {
  const ShownPath path(file->name);
  if (position == NEXT_CASE) return Fail(CANT_MOVE_TO_NEXT_CASE, path.text, file->nextCase);
  return Fail(NO_CASE_AT_POSITION, path.text, position);
}

// Goes to where the row to read begins.
Failure MoveToCase(CaseReader& reader, filespec_ns file, long position) {
  if (position == NO_MORE_CASES) return Fail(NO_MORE_CASES_PASSED, ShownPath(file->name).text);
  if (position == FIRST_CASE || (position == NEXT_CASE && file->nextCase < 0)) return nullptr;
  return reader.Seek(position == NEXT_CASE ? file->nextCase : position) ? nullptr : CouldntMove(file, position);
}

// Of a walk through a file: the first row with such entries is told, what came after it at the end of the file.
void WarnOfUnknown(const CaseReader& reader, filespec_ns file, bool atEnd) {
  if (atEnd && file->numUntold > 0) Post(reader.Prefixed(Fail(MORE_UNKNOWN_STATES, file->numUntold)));
  if (atEnd) file->numUntold = 0;
  if (reader.NumUnknown() == 0) return;
  if (file->toldUnknown)
    file->numUntold += reader.NumUnknown();
  else
    Post(reader.WarningOfUnknown());
  file->toldUnknown = true;
}

// The row in place of the net's findings. Without a row the nodes' own are cleared.
void EnterRow(net_bn net, std::span<const node_bn> nodes, const CaseRow* row) {
  UndoGroup group(UNDO_ALL_FINDINGS, net);
  int autoupdate = net->autoupdate;
  net->autoupdate = 0;
  if (row) RetractAllFindings(net);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (row && nodes[i]->discrete != DISCRETE && row->values[i] != UNDEF_DBL)
      EnterValue(nodes[i], row->values[i], Entry::Replacing);
    else if (row && row->states[i] >= 0)
      EnterState(nodes[i], row->states[i], Entry::Replacing);
    else if (HasFinding(*nodes[i]))
      RetractFinding(nodes[i]);
  }
  net->autoupdate = autoupdate;
  AutoUpdate(net);
}

}  // namespace

void ReadCase(long* position, filespec_ns file, std::span<const node_bn> nodes, long* id, double* freq) {
  net_bn net = nodes.empty() ? nullptr : nodes[0]->innet;
  const long from = position ? *position : long{FIRST_CASE};
  if (from == FIRST_CASE) file->toldColumns = false;
  if (from != NEXT_CASE) {
    file->toldUnknown = false;
    file->numUntold = 0;
  }
  // Where a pipe could only wait for more, nothing is opened.
  if ((from >= 0 || (from == NEXT_CASE && file->nextCase >= 0)) && KindOfFile(file->name) == FileKind::Other) {
    Post(CouldntMove(file, from));
    return;
  }
  CaseReader reader;
  reader.warnsOfColumns = !file->toldColumns;
  Failure failure = reader.Open(file->name, net, nodes);
  if (!failure) failure = reader.Prefixed(MoveToCase(reader, file, from));
  if (failure) {
    Post(std::move(failure));
    return;
  }
  file->toldColumns = true;
  CaseRow row;
  row.states.resize(nodes.size());
  row.values.resize(nodes.size());
  const CaseReader::Result result = reader.Next(&row);
  reader.Close();
  const bool isRow = result == CaseReader::Result::Row, atEnd = result == CaseReader::Result::End;
  if (net) EnterRow(net, nodes, isRow ? &row : nullptr);
  if (isRow || atEnd) WarnOfUnknown(reader, file, atEnd);
  if (atEnd && position) *position = NO_MORE_CASES;
  if (atEnd && !position) Post(reader.Prefixed(Fail(FILE_HAS_NO_CASES, ShownPath(file->name).text)));
  if (!isRow) return;
  if (position && *position < 0) *position = reader.RowStart();
  file->nextCase = reader.Position();
  if (net) RememberCaseFile(net, file->name);
  if (id) *id = row.id;
  if (freq) *freq = row.freq;
}

}  // namespace bravic
