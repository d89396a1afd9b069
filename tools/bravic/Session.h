// The library as the program sees it: one environment for the run, handles that free themselves, and errors turned
// into refusals that carry the library's own messages.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Refusal.h"
#include "bravic.h"

struct FreeHandle {
  void operator()(net_bn net) const { FreeNet_bn(net); }
  void operator()(nodelist_bn list) const { FreeNodeList_bn(list); }
  void operator()(filespec_ns file) const { FreeFileSpec_ns(file); }
};
using Net = std::unique_ptr<bnet, FreeHandle>;
using NodeList = std::unique_ptr<nodelist_rec, FreeHandle>;
using File = std::unique_ptr<filespec_rec, FreeHandle>;

struct Message {
  bool isError = false;
  int number = 0;          // 0 for the program's own
  std::string place = {};  // a line of a file, "alarm.bif:12"; empty for what is about none
  std::string text = {};

  std::string Whole() const { return place.empty() ? text : place + ": " + text; }
};
void Complain(const Message& message);

class InputFile;

class Session {
 public:
  explicit Session(long memoryLimit);  // kilobytes, or 0; throws Refusal when the library does not start
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  environ_ns Environment() const { return env_; }

  // Prints the pending warnings, and throws a Refusal with the first pending error when there is one.
  void Check();
  // Check, but that a value out of bounds, which counts as missing, is only complained of, unless the session is
  // strict: then that is refused, and so is what names no state.
  void CheckCases();
  void Ignore(int number) { ignored_.push_back(number); }  // messages of that number are not told from now on
  void BeStrict(bool strict) { isStrict_ = strict; }
  // All pending messages, oldest first; they are cleared.
  std::vector<Message> TakeMessages();

  // Messages call the file of that path by the other name.
  void Show(const std::string& path, const std::string& shown);
  File Named(const std::string& path);
  // A file that messages call by its shown name.
  File Named(const InputFile& file);
  // As far as it can be read, NULL when it holds no net: take the messages. format: empty for what the content tells.
  Net ReadAsFarAsPossible(const std::string& path, const std::string& format = "");
  Net Read(const std::string& path);
  // Over a file that was read with parts left out only when forced. format: empty for what the extension tells, which
  // is the library's own for any that is no other format's.
  void Write(const Net& net, const std::string& path, bool force = false, const std::string& format = "");
  void Compile(const Net& net);

 private:
  void AddMessages(int danger, std::vector<Message>* messages);
  Message MessageOf(report_ns report) const;

  environ_ns env_;
  bool isStrict_ = false;
  std::vector<int> ignored_;
  std::vector<Message> own_;                                     // pending messages that are not the library's
  std::vector<std::pair<std::string, std::string>> shownNames_;  // of paths
  std::string partlyRead_;                                       // the file whose net is not all that it holds
};

// A list's entries; borrowed from the list.
std::vector<node_bn> Nodes(nodelist_bn list);
inline std::vector<node_bn> Nodes(const Net& net) {
  return Nodes(GetNetNodes_bn(net.get()));
}
NodeList MakeList(std::span<const node_bn> nodes, const Session& session);
// The title where there is one, else the name.
std::string TitleOf(const Net& net);
