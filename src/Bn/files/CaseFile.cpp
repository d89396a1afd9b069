#include "Bn/files/CaseFile.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "Basic/Text.h"
#include "Bn/compiled/Beliefs.h"
#include "Bn/compiled/Findings.h"
#include "Bn/files/CaseWriter.h"
#include "Bn/files/KeptReader.h"
#include "Bn/model/Lists.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Interaction.h"
#include "Win_Face/Platform.h"

namespace bravic {

namespace {

// Bytes read at a time where cases are asked for one by one: a few hundred of them, and not many more than one where
// they are read in any order.
constexpr std::size_t SINGLE_CASE_BLOCK = 64 * 1024;

void RememberCaseFile(net_bn net, const char* name) {
  if (EqualText(net->casefilename, name)) return;
  char* copy = DupText(name);
  Free(net->casefilename);
  net->casefilename = copy;
}

}  // namespace

long WriteCase(std::span<const node_bn> nodes, filespec_ns file, long id, double freq) {
  DropKept(file);
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
    // A row that was not written whole is taken away again; a file that was to be new is left empty.
    if (KindOfFile(file->name) == FileKind::Regular) CutFile(file->name, plan.position);
    return -1;
  }
  if (!nodes.empty()) RememberCaseFile(nodes[0]->innet, file->name);
  return plan.append ? static_cast<long>(std::min<long long>(plan.position, LONG_MAX)) : writer.HeaderLength();
}

namespace {

Failure CouldntMove(filespec_ns file, long position) {
  const ShownPath path(file->name);
  if (position == NEXT_CASE) return Fail(CANT_MOVE_TO_NEXT_CASE, path.text, static_cast<long>(file->nextCase));
  return Fail(NO_CASE_AT_POSITION, path.text, position);
}

// Goes to where the row to read begins.
Failure MoveToCase(CaseReader& reader, filespec_ns file, long position) {
  if (position == NO_MORE_CASES) return Fail(NO_MORE_CASES_PASSED, ShownPath(file->name).text);
  // A new reader is there already, which a pipe's must be.
  if (position == FIRST_CASE) return nullptr;
  if (position == NEXT_CASE && file->nextCase < 0) return reader.SeekFirst() ? nullptr : CouldntMove(file, position);
  return reader.Seek(position == NEXT_CASE ? file->nextCase : position) ? nullptr : CouldntMove(file, position);
}

// Of a walk through a file: the first entries of that kind are told when they come, the others at its end.
void WarnOfUnknown(const CaseReader& reader, filespec_ns file, bool atEnd) {
  if (reader.NumUnknown() > 0) {
    if (file->toldUnknown)
      file->numUntold += reader.NumUnknown();
    else
      Post(reader.WarningOfUnknown());
    file->toldUnknown = true;
  }
  if (!atEnd) return;
  if (file->numUntold > 0) Post(AboutCases(file->name, Fail(MORE_UNKNOWN_STATES, file->numUntold)));
  file->numUntold = 0;
}

// A walk from the file's first row on is told again what of the file fits nothing.
void BeginWalk(filespec_ns file, bool isFirst, bool isElsewhere) {
  if (isFirst) {
    DropKept(file);
    file->toldColumns = false;
  }
  if (isElsewhere) {
    file->toldUnknown = false;
    file->numUntold = 0;
  }
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
  BeginWalk(file, from == FIRST_CASE, from != NEXT_CASE);
  // Where a pipe could only wait for more, nothing is opened.
  if ((from >= 0 || (from == NEXT_CASE && file->nextCase >= 0)) && KindOfFile(file->name) == FileKind::Other) {
    Post(CouldntMove(file, from));
    return;
  }
  CaseReader* reader = nullptr;
  Failure failure = TakeReader(file, net, nodes, SINGLE_CASE_BLOCK, &reader);
  if (!failure) failure = AboutCases(file->name, MoveToCase(*reader, file, from));
  if (failure) {
    DropKept(file);
    Post(std::move(failure));
    return;
  }
  Vector<statetype> states(nodes.size());
  Vector<double> values(nodes.size());
  CaseRow row = {states.data(), values.data()};
  const CaseReader::Result result = reader->Next(&row, &failure);
  const bool isRow = result == CaseReader::Result::Row, atEnd = result == CaseReader::Result::End;
  if (failure) Post(std::move(failure));
  reader->Close();
  if (net) EnterRow(net, nodes, isRow ? &row : nullptr);
  if (isRow || atEnd) WarnOfUnknown(*reader, file, atEnd);
  if (isRow) {
    if (position && *position < 0 && reader->RowStart() <= LONG_MAX) *position = static_cast<long>(reader->RowStart());
    file->nextCase = reader->Position();
  } else {
    DropKept(file);
  }
  if (atEnd && position) *position = NO_MORE_CASES;
  if (atEnd && !position) Post(AboutCases(file->name, Fail(FILE_HAS_NO_CASES, ShownPath(file->name).text)));
  if (!isRow) return;
  if (net) RememberCaseFile(net, file->name);
  if (id) *id = row.id;
  if (freq) *freq = row.freq;
}

namespace {

constexpr long ROWS_BETWEEN_LOOKS = 1024;
constexpr double ENTRY_WORK = 5;  // nanoseconds, about, to read one

// Fills the block, as far as there are rows. Answers how the last attempt at one ended; *end: where the last row does.
CaseReader::Result FillBlock(CaseReader& reader, const CaseBlock& block, int numnodes, long* numcases, long long* end,
                             Failure* failure) {
  LongWork work("Reading cases", 0, Showing::Always);
  for (long& i = *numcases; i < block.maxcases; ++i) {
    if (i % ROWS_BETWEEN_LOOKS == 0) {
      work.SetShare(reader.ShareRead());
      if (work.Halts(ROWS_BETWEEN_LOOKS * ENTRY_WORK * (numnodes + 1))) {
        *failure = FailHalted();
        return CaseReader::Result::Lost;
      }
    }
    CaseRow row = {block.states + static_cast<std::size_t>(i) * numnodes};
    const CaseReader::Result result = reader.Next(&row, failure);
    if (result != CaseReader::Result::Row) return result;
    *end = reader.Position();
    if (block.ids) block.ids[i] = row.id;
    if (block.freqs) block.freqs[i] = row.freq;
  }
  return CaseReader::Result::Row;
}

// Goes to where the block begins.
Failure MoveToBlock(CaseReader& reader, filespec_ns file, long long position) {
  if (position == 0 || reader.Seek(position)) return nullptr;  // a new reader is at the first row
  return AboutCases(file->name, CouldntMove(file, static_cast<long>(position)));
}

}  // namespace

long ReadCaseStates(filespec_ns file, std::span<const node_bn> nodes, const CaseBlock& block) {
  const auto from = static_cast<long long>(*block.position);
  BeginWalk(file, from == 0, from != file->nextCase);
  if (from > 0 && KindOfFile(file->name) == FileKind::Other) {
    Post(CouldntMove(file, static_cast<long>(from)));
    return -1;
  }
  CaseReader* reader = nullptr;
  Failure failure = TakeReader(file, nodes.empty() ? nullptr : nodes[0]->innet, nodes, CASE_BLOCK, &reader);
  if (!failure) failure = MoveToBlock(*reader, file, from);
  long numcases = 0;
  auto result = CaseReader::Result::Lost;
  long long end = from;
  if (!failure) result = FillBlock(*reader, block, Count(nodes), &numcases, &end, &failure);
  // A bad row that others came before is left to the next call.
  const bool isBad = result == CaseReader::Result::Bad && numcases == 0;
  const bool isLost = result == CaseReader::Result::Lost;
  if (isBad) end = reader->Position();
  if (isBad || isLost) {
    Post(std::move(failure));
  } else {
    WarnOfUnknown(*reader, file, result == CaseReader::Result::End);
  }
  if (!isLost) *block.position = static_cast<double>(end);
  if (numcases > 0 && !isLost) file->nextCase = end;
  if (result == CaseReader::Result::Row)
    reader->Close();
  else
    DropKept(file);
  return isBad || isLost ? -1 : numcases;
}

nodelist_bn ListCaseNodes(filespec_ns file, net_bn net) {
  CaseReader reader;
  if (Failure failure = reader.Open({file->name, net, {}, false})) {
    Post(std::move(failure));
    return nullptr;
  }
  Vector<node_bn> nodes;
  for (const CaseColumn& column : reader.Columns()) {
    if (column.node) nodes.push_back(column.node);
  }
  nodelist_bn list = NewList(nodes.size());
  if (!list) Report(NO_MEMORY_FOR_LIST, nodes.size());
  for (int i = 0; list && i < nodes.size(); ++i) PutAt(static_cast<HostList&>(*list), i, nodes[i]);
  return list;
}

}  // namespace bravic
