// The exported functions. No exception passes them: short memory becomes an error record like everything else.
#include <exception>

#include "bravic_formats.h"
#include "formats/Encoding.h"
#include "formats/Files.h"
#include "formats/Formats.h"
#include "formats/Guards.h"
#include "formats/MemoryLimit.h"
#include "formats/NetBuilder.h"
#include "formats/NetDescriber.h"
#include "formats/Uai.h"

using namespace formats;

namespace {

// Which format a host means. isOwn: the library's own, which has no row.
struct Chosen {
  const Format* format = nullptr;
  bool isOwn = false;
};

bool ChooseNamed(const char* name, Chosen* chosen, Problems* problems) {
  chosen->isOwn = name == OWN_FORMAT;
  chosen->format = FormatNamed(name);
  if (chosen->isOwn || chosen->format) return true;
  problems->Add(UNKNOWN_FORMAT_NAME, 0, {name, NamesOfFormats()});
  return false;
}

bool ChooseByContent(const std::string& text, Chosen* chosen, Problems* problems) {
  std::string start;
  chosen->isOwn = false;
  if (TellFormat(text, &chosen->format, &start)) {
    chosen->isOwn = !chosen->format;
    return true;
  }
  std::string plain = text;
  MakePlain(&plain, problems);
  if (problems->HasErrors()) return false;
  start.empty() ? problems->Add(EMPTY_CONTENT, 0) : problems->Add(UNKNOWN_CONTENT, 0, {start});
  return false;
}

bool ChooseByExtension(const std::string& path, Chosen* chosen, Problems* problems) {
  chosen->format = FormatOfExtension(path);
  chosen->isOwn = !chosen->format && path.ends_with(OWN_EXTENSION);
  if (chosen->isOwn || chosen->format) return true;
  problems->Add(UNKNOWN_EXTENSION, 0, {ExtensionsOfFormats()});
  return false;
}

bool CheckFiles(const char* path, environ_ns env, Problems* problems) {
  if (!path || !*path) {
    problems->Add(NO_PATH, 0);
  } else if (HasFileIO_ns(-1, env) == 0) {
    problems->Add(FILES_TURNED_OFF, 0);
  }
  return !problems->HasErrors();
}

// The name of a file without its folder and extension.
std::string StemOf(const std::string& path) {
  const std::size_t folder = path.find_last_of("/\\") + 1, point = path.rfind('.');
  return path.substr(folder, point == std::string::npos || point <= folder ? std::string::npos : point - folder);
}

net_bn ReadText(std::string* text, const char* formatName, const std::string& name, environ_ns env,
                Problems* problems) {
  Chosen chosen;
  if (!(formatName ? ChooseNamed(formatName, &chosen, problems) : ChooseByContent(*text, &chosen, problems)))
    return nullptr;
  if (chosen.isOwn) return ReadNetText_bn(text->data(), static_cast<long>(text->size()), name.c_str(), env);
  MakePlain(text, problems);
  if (HoldsNothing(*text)) problems->Add(EMPTY_CONTENT, 0);
  if (problems->HasErrors()) return nullptr;
  NetDescription description;
  chosen.format->read(text, &description, problems);
  CheckNet(&description, chosen.format->rowsAreCounts, problems);
  if (problems->HasErrors()) return nullptr;
  return BuildNet(description, StemOf(name), env);
}

bool WriteText(net_bn net, const Format& format, std::string* text, Problems* problems) {
  NetDescription description;
  DescribeNet(net, format, &description, problems);
  if (problems->HasErrors()) return false;
  format.write(description, text);
  return true;
}

int WriteOwn(net_bn net, const char* path, environ_ns env) {
  const ErrorsSince errors(env);
  const filespec_ns file = FileNamed_ns(path, env);
  if (!file) return -1;
  WriteNet_bn(net, file);
  FreeFileSpec_ns(file);
  return errors.Any() ? -1 : 0;
}

// The node that a file of findings calls by a number: "X" and the number, else the one that is written in that place.
node_bn NodeOfVariable(net_bn net, int variable) {
  const std::string name = "X" + std::to_string(variable);
  if (const node_bn node = FindNode_bn(name.c_str(), net)) return node;
  const nodelist_bn nodes = GetNetNodes_bn(net);
  return variable < LengthNodeList_bn(nodes) ? NthNode_bn(nodes, variable) : nullptr;
}

// Answers the findings entered; before the first of them all are looked at.
int EnterFindings(net_bn net, const UaiCase& findings, environ_ns env, Problems* problems) {
  std::vector<node_bn> nodes;
  for (const UaiFinding& finding : findings) {
    nodes.push_back(NodeOfVariable(net, finding.variable));
    const std::string variable = std::to_string(finding.variable);
    if (!nodes.back()) {
      const int count = LengthNodeList_bn(GetNetNodes_bn(net));
      problems->Add(NO_SUCH_VARIABLE, finding.line, {variable, std::to_string(count)});
    } else if (const int count = GetNodeNumberStates_bn(nodes.back()); finding.state >= count) {
      problems->Add(NO_SUCH_STATE_NUMBER, finding.line,
                    {variable, std::to_string(finding.state), std::to_string(count)});
    }
  }
  if (problems->HasErrors()) return -1;
  const ErrorsSince errors(env);
  std::vector<std::vector<probtype>> before;  // of each node, empty where it had no finding
  for (std::size_t i = 0; i < nodes.size() && !errors.Any(); ++i) {
    const probtype* const likelihood = GetNodeLikelihood_bn(nodes[i]);
    const bool had = GetNodeFinding_bn(nodes[i]) != NO_FINDING;
    before.emplace_back(likelihood, likelihood + (had ? GetNodeNumberStates_bn(nodes[i]) : 0));
    EnterFinding_bn(nodes[i], findings[i].state);
  }
  if (!errors.Any()) return static_cast<int>(nodes.size());
  for (std::size_t i = before.size(); i-- > 0;) {
    RetractNodeFindings_bn(nodes[i]);
    if (!before[i].empty()) EnterNodeLikelihood_bn(nodes[i], before[i].data());
  }
  return -1;
}

// Runs the body and records its problems; name: what messages call the file.
template <class Answer, class Body>
Answer Guarded(const char* function, const char* name, environ_ns env, Answer failure, Body body) {
  Answer answer = failure;
  const MemoryLimit limit(env);
#if !defined(__cpp_exceptions)  // short memory ends the program
  Problems problems;
  answer = body(&problems);
  problems.Report(function, name && *name ? name : "text", env);
#else
  try {
    Problems problems;
    try {
      answer = body(&problems);
    } catch (const std::exception&) {  // nothing here throws but for lack of memory
      problems.Add(NO_MEMORY_FOR_FORMATS, 0);
    }
    problems.Report(function, name && *name ? name : "text", env);
  } catch (const std::exception&) {
    ReportError_ns(env, -NO_MEMORY_FOR_FORMATS.number, ERROR_ERR, NO_MEMORY_FOR_FORMATS.text);
  }
#endif
  return answer;
}

// A bad environment is told of on the standard error stream.
bool IsGood(environ_ns env) {
  return GetBravicVersion_bn(env, nullptr) > 0;
}

}  // namespace

net_bn BRAVIC_CALL ReadNetFormat_bn(const char* path, const char* format, environ_ns env) {
  if (!IsGood(env)) return nullptr;
  return Guarded("ReadNetFormat_bn", path, env, net_bn(), [&](Problems* problems) -> net_bn {
    std::string text;
    if (!CheckFiles(path, env, problems) || !ReadFile(path, &text, problems)) return nullptr;
    return ReadText(&text, format, path, env, problems);
  });
}

int BRAVIC_CALL WriteNetFormat_bn(net_bn net, const char* path, const char* format) {
  const environ_ns env = GetNetEnviron_bn(net);
  if (!env) return -1;
  return Guarded("WriteNetFormat_bn", path, env, -1, [&](Problems* problems) {
    Chosen chosen;
    if (!CheckFiles(path, env, problems)) return -1;
    if (!(format ? ChooseNamed(format, &chosen, problems) : ChooseByExtension(path, &chosen, problems))) return -1;
    if (chosen.isOwn) return WriteOwn(net, path, env);
    std::string text;
    return WriteText(net, *chosen.format, &text, problems) && WriteFile(path, text, problems) ? 0 : -1;
  });
}

net_bn BRAVIC_CALL ReadNetFormatText_bn(const char* text, long length, const char* format, const char* name,
                                        environ_ns env) {
  if (!IsGood(env)) return nullptr;
  return Guarded("ReadNetFormatText_bn", name, env, net_bn(), [&](Problems* problems) -> net_bn {
    if (!text || length < 0) {
      problems->Add(NO_TEXT, 0);
      return nullptr;
    }
    MemoryLimit::Claim(static_cast<double>(length));
    std::string copy(text, static_cast<std::size_t>(length));
    return ReadText(&copy, format, name ? name : "", env, problems);
  });
}

long BRAVIC_CALL WriteNetFormatText_bn(net_bn net, const char* format, char* text, long size) {
  const environ_ns env = GetNetEnviron_bn(net);
  if (!env) return -1;
  return Guarded("WriteNetFormatText_bn", GetNetName_bn(net), env, -1L, [&](Problems* problems) {
    Chosen chosen;
    if (!format) {
      problems->Add(NO_FORMAT_NAMED, 0);
      return -1L;
    }
    if (size < 0) {
      problems->Add(NO_TEXT, 0);
      return -1L;
    }
    if (!ChooseNamed(format, &chosen, problems)) return -1L;
    if (chosen.isOwn) return WriteNetText_bn(net, text, size);
    std::string written;
    if (!WriteText(net, *chosen.format, &written, problems)) return -1L;
    const long needed = static_cast<long>(written.size()) + 1;
    if (text && needed <= size) written.copy(text, written.size()), text[written.size()] = '\0';
    return needed;
  });
}

int BRAVIC_CALL ReadFindingsFormat_bn(net_bn net, const char* path, long number) {
  const environ_ns env = GetNetEnviron_bn(net);
  if (!env) return -1;
  return Guarded("ReadFindingsFormat_bn", path, env, -1, [&](Problems* problems) {
    std::string text;
    if (!CheckFiles(path, env, problems) || !ReadFile(path, &text, problems)) return -1;
    MakePlain(&text, problems);
    if (problems->HasErrors()) return -1;
    const std::vector<UaiCase> cases = ReadUaiFindings(text, problems);
    if (problems->HasErrors()) return -1;
    if (number < 1 || number > static_cast<long>(cases.size())) {
      problems->Add(NO_SUCH_CASE, 0, {std::to_string(number), std::to_string(cases.size())});
      return -1;
    }
    return EnterFindings(net, cases[number - 1], env, problems);
  });
}
