#include "Session.h"

#include <cstring>

#include "Files.h"
#include "NetText.h"
#include "Signals.h"
#include "Terminal.h"

namespace {

constexpr int WARNING = 4, ERROR = 5;
constexpr int OUT_OF_BOUNDS = 2086;

// Without the name of the library's function that it begins with.
const char* WithoutFunction(const char* message) {
  const char* colon = std::strstr(message, ": ");
  if (!colon) return message;
  const std::string_view name(message, static_cast<std::size_t>(colon - message));
  const bool isFunction = name.find(' ') == name.npos && (name.ends_with("_bn") || name.ends_with("_ns"));
  return isFunction ? colon + 2 : message;
}

std::string Quoted(const std::string& name) {
  return "'" + name + "'";
}

}  // namespace

void Complain(const Message& message) {
  Complain((message.isError ? "" : "warning: ") + message.text);
}

Session::Session() : env_(NewBravicEnviron_bn()) {
  char message[MESG_LEN_ns] = "";
  if (InitBravic_bn(env_, message) < 0) throw Refusal(message);
  SetProgressCallback_ns(ShowProgressBar, nullptr, env_);
}

Session::~Session() {
  char message[MESG_LEN_ns];
  EndProgressBar();
  CloseBravic_bn(env_, message);
}

std::string Session::Plain(const char* message) const {
  std::string text = WithoutFunction(message);
  for (const auto& [path, shown] : shownNames_) {
    for (std::size_t at; (at = text.find(path)) != std::string::npos;) text.replace(at, path.size(), shown);
  }
  return text;
}

std::vector<Message> Session::TakeMessages() {
  EndProgressBar();
  std::vector<Message> messages;
  for (report_ns report = nullptr; (report = GetError_ns(env_, WARNING, report));)
    messages.push_back({ErrorDanger_ns(report) >= ERROR, ErrorNumber_ns(report), Plain(ErrorMessage_ns(report))});
  ClearErrors_ns(env_, 6);
  messages.insert(messages.end(), own_.begin(), own_.end());
  own_.clear();
  return messages;
}

void Session::Check() {
  std::string error;
  for (const Message& message : TakeMessages()) {
    if (!message.isError) {
      Complain(message);
    } else if (error.empty()) {
      error = message.text;
    }
  }
  if (!error.empty()) throw Refusal(error);
}

void Session::CheckCases() {
  for (report_ns report = nullptr; (report = GetError_ns(env_, ERROR, report));) {
    if (ErrorNumber_ns(report) != OUT_OF_BOUNDS) break;
    Complain(Message{false, OUT_OF_BOUNDS, Plain(ErrorMessage_ns(report))});
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

File Session::Named(const InputFile& file) {
  if (file.Path() != file.ShownName()) shownNames_.emplace_back(file.Path(), file.ShownName());
  return Named(file.Path());
}

Net Session::ReadAsFarAsPossible(const std::string& path) {
  const InputFile file(path);
  Net net(ReadNet_bn(Named(file).get(), 0));
  if (const int number = net ? NumberOfNets(file.Path()) : 0; number > 1) {
    own_.push_back(
        {false, 0,
         "file " + Quoted(file.ShownName()) + " holds " + std::to_string(number) + " nets; the first is taken"});
  }
  if (GetError_ns(env_, WARNING, nullptr) || !own_.empty()) partlyRead_ = IsStandard(path) ? "/dev/stdin" : path;
  return net;
}

Net Session::Read(const std::string& path) {
  Net net = ReadAsFarAsPossible(path);
  Check();
  if (!net) throw Refusal("file " + Quoted(path) + " holds no net");
  return net;
}

void Session::Write(const Net& net, const std::string& path, bool force) {
  if (!force && !partlyRead_.empty() && IsSameFile(partlyRead_, path)) {
    throw Refusal("file " + Quoted(path) +
                  " was not written: what could not be read of it would be lost (--force writes it all the same)");
  }
  if (IsReplaceable(path)) {
    const SignalsHeld held;  // for the temporary file of the library's own
    WriteNet_bn(net.get(), Named(path).get());
    Check();
    return;
  }
  OutputFile output(path);
  WriteNet_bn(net.get(), Named(output.TemporaryPath()).get());
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
