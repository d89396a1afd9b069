#include "Session.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "Files.h"
#include "Formats.h"
#include "NetText.h"
#include "Signals.h"
#include "Terminal.h"
#include "bravic_formats.h"

namespace {

constexpr int WARNING = 4, ERROR = 5;
constexpr int OUT_OF_BOUNDS = 2086, NO_STATE = 2473;

// Other programs' files: what the library of formats reports, each headed by file and line.
constexpr int FIRST_OF_FORMATS = 800, LAST_OF_FORMATS = 899;
// Those of their warnings after which the net lacks something that the file has.
constexpr int EXPERIENCE_LEFT_OUT = 855, LEVELS_LEFT_OUT = 856, LEFT_OUT = 860;

bool IsOfFormats(int number) {
  return number >= FIRST_OF_FORMATS && number <= LAST_OF_FORMATS;
}

bool TellsOfLoss(report_ns report) {
  const int number = ErrorNumber_ns(report);
  return ErrorDanger_ns(report) >= ERROR || !IsOfFormats(number) || number == EXPERIENCE_LEFT_OUT ||
         number == LEVELS_LEFT_OUT || number == LEFT_OUT;
}

// The name of the library's function that a message begins with, taken off it; empty where it begins with none.
std::string TakeFunction(std::string* message) {
  const auto colon = message->find(": ");
  if (colon == std::string::npos) return "";
  const std::string name = message->substr(0, colon);
  if (name.find(' ') != name.npos || !(name.ends_with("_bn") || name.ends_with("_ns"))) return "";
  message->erase(0, colon + 2);
  return name;
}

// A message that begins "Error reading file 'x.dne':  " and holds a line number becomes "x.dne:12: ...", as the library
// of formats has it.
std::string WithLineInFront(const std::string& message) {
  constexpr std::string_view MIDDLE = "':  ", LINE = "line ", COMMA = ", ";
  const auto open = message.find('\''), close = message.find(MIDDLE);
  if (!message.substr(0, open).ends_with(" reading file ") || close == message.npos) return message;
  std::string place = message.substr(open + 1, close - open - 1), text = message.substr(close + MIDDLE.size());
  if (const auto line = text.rfind(LINE); line != text.npos) {
    const auto digits = line + LINE.size(), end = std::min(text.find_first_not_of("0123456789", digits), text.size());
    if (end > digits) place += ":" + text.substr(digits, end - digits);
    if (end == text.size() && text.substr(0, line).ends_with(COMMA)) text.erase(line - COMMA.size());
  }
  return place + ": " + text;
}

// Takes "alarm.bif:12: " off a message: its place.
std::string TakePlace(std::string* message) {
  const auto colon = message->find(": ");
  if (colon == message->npos) return "";
  const std::string place = message->substr(0, colon);
  const auto line = place.find_last_not_of("0123456789");
  if (line == place.npos || line + 1 == place.size() || place[line] != ':') return "";
  message->erase(0, colon + 2);
  return place;
}

std::string Quoted(const std::string& name) {
  return "'" + name + "'";
}

}  // namespace

void Complain(const Message& message) {
  const std::string text = (message.isError ? "" : "warning: ") + message.text;
  message.place.empty() ? Complain(text) : ComplainAt(message.place, text);
}

Session::Session(long memoryLimit) : env_(NewBravicEnviron_bn()) {
  char message[MESG_LEN_ns] = "";
  if (InitBravic_bn(env_, message) < 0) throw Refusal(message);
  SetMemoryLimit_ns(memoryLimit, env_);
  LimitUnpacking(memoryLimit);
  SetProgressCallback_ns(ShowProgressBar, nullptr, env_);
}

Session::~Session() {
  char message[MESG_LEN_ns];
  EndProgressBar();
  CloseBravic_bn(env_, message);
}

Message Session::MessageOf(report_ns report) const {
  Message message{.isError = ErrorDanger_ns(report) >= ERROR, .number = ErrorNumber_ns(report)};
  message.text = ErrorMessage_ns(report);
  const std::string function = TakeFunction(&message.text);
  for (const auto& [path, shown] : shownNames_) {
    std::string& text = message.text;
    for (std::size_t at; (at = text.find(path)) != std::string::npos;) text.replace(at, path.size(), shown);
  }
  const bool isOfFormats = IsOfFormats(message.number);
  const bool isOfNetFile = function.starts_with("ReadNet");
  if (isOfNetFile && !isOfFormats) message.text = WithLineInFront(message.text);
  if (isOfNetFile || isOfFormats) message.place = TakePlace(&message.text);
  return message;
}

std::vector<Message> Session::TakeMessages() {
  EndProgressBar();
  std::vector<Message> messages;
  for (report_ns report = nullptr; (report = GetError_ns(env_, WARNING, report));) {
    Message message = MessageOf(report);
    if (std::find(ignored_.begin(), ignored_.end(), message.number) == ignored_.end())
      messages.push_back(std::move(message));
  }
  ClearErrors_ns(env_, 6);
  messages.insert(messages.end(), own_.begin(), own_.end());
  own_.clear();
  return messages;
}

void Session::Check() {
  std::optional<Message> error;
  for (const Message& message : TakeMessages()) {
    if (!message.isError) {
      Complain(message);
    } else if (!error) {
      error = message;
    }
  }
  if (error) throw Refusal(error->text, error->place);
}

void Session::CheckCases() {
  for (report_ns report = nullptr; isStrict_ && (report = GetError_ns(env_, WARNING, report));) {
    if (ErrorNumber_ns(report) != OUT_OF_BOUNDS && ErrorNumber_ns(report) != NO_STATE) continue;
    std::string text = WithLineInFront(MessageOf(report).text);
    const std::string place = TakePlace(&text);
    ClearErrors_ns(env_, 6);
    throw Refusal(text, place);
  }
  for (report_ns report = nullptr; (report = GetError_ns(env_, ERROR, report));) {
    if (ErrorNumber_ns(report) != OUT_OF_BOUNDS) break;
    Message message = MessageOf(report);
    message.isError = false;
    Complain(message);
    ClearError_ns(report);
    report = nullptr;
  }
  Check();
}

File Session::Named(const std::string& path) {
  File file(FileNamed_ns(path.c_str(), env_));
  Check();
  return file;
}

void Session::Show(const std::string& path, const std::string& shown) {
  if (path != shown) shownNames_.emplace_back(path, shown);
}

File Session::Named(const InputFile& file) {
  Show(file.Path(), file.ShownName());
  return Named(file.Path());
}

Net Session::ReadAsFarAsPossible(const std::string& path, const std::string& format) {
  const InputFile file(path);
  Show(file.Path(), file.ShownName());
  Net net(ReadNetFormat_bn(file.Path().c_str(), format.empty() ? nullptr : format.c_str(), env_));
  if (const int number = net ? NumberOfNets(file.Path()) : 0; number > 1) {
    own_.push_back({.text = "file " + Quoted(file.ShownName()) + " holds " + std::to_string(number) +
                            " nets; the first is taken"});
  }
  bool isPart = !own_.empty();
  for (report_ns report = nullptr; (report = GetError_ns(env_, WARNING, report));)
    isPart = isPart || TellsOfLoss(report);
  if (isPart) partlyRead_ = IsStandard(path) ? "/dev/stdin" : path;
  return net;
}

Net Session::Read(const std::string& path) {
  Net net = ReadAsFarAsPossible(path);
  Check();
  if (!net) throw Refusal("file " + Quoted(path) + " holds no net");
  return net;
}

void Session::Write(const Net& net, const std::string& path, bool force, const std::string& format) {
  if (!force && !partlyRead_.empty() && IsSameFile(partlyRead_, path)) {
    throw Refusal("file " + Quoted(path) +
                  " was not written: what could not be read of it would be lost (--force writes it all the same)");
  }
  std::string chosen = format.empty() ? FormatOfExtension(path) : format;
  if (chosen.empty()) chosen = OWN_FORMAT;
  if (chosen == OWN_FORMAT && IsReplaceable(path)) {
    const SignalsHeld held;  // for the temporary file of the library's own
    WriteNet_bn(net.get(), Named(path).get());
    Check();
    return;
  }
  OutputFile output(path);
  Show(output.TemporaryPath(), IsStandard(path) ? "<standard output>" : path);
  {
    const SignalsHeld held;
    WriteNetFormat_bn(net.get(), output.TemporaryPath().c_str(), chosen.c_str());
  }
  Check();
  output.Finish();
}

void Session::Compile(const Net& net) {
  CompileNet_bn(net.get());
  Check();
}

std::vector<node_bn> Nodes(nodelist_bn list) {
  std::vector<node_bn> nodes;
  const int length = LengthNodeList_bn(list);
  for (int i = 0; i < length; ++i) nodes.push_back(NthNode_bn(list, i));
  return nodes;
}

NodeList MakeList(std::span<const node_bn> nodes, const Session& session) {
  NodeList list(NewNodeList_bn(static_cast<int>(nodes.size()), session.Environment()));
  for (std::size_t i = 0; i < nodes.size(); ++i) SetNthNode_bn(list.get(), static_cast<int>(i), nodes[i]);
  return list;
}

std::string TitleOf(const Net& net) {
  const std::string title = GetNetTitle_bn(net.get());
  return title.empty() ? GetNetName_bn(net.get()) : title;
}
