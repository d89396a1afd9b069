// The one environment: its creation, the stages of start-up and close, the settings functions, the version.
#pragma once

#include <cstdarg>

#include "Basic/Format.h"
#include "bravic.h"

namespace bravic {

// A host's message buffer of MESG_LEN_ns characters, or NULL. What does not fit is cut.
class MessageBuffer {
 public:
  explicit MessageBuffer(char* text) : text_(text) {
    if (text_) text_[0] = 0;
  }
  void Append(const char* format, ...) BRAVIC_PRINTF(2, 3) {
    if (!text_) return;
    std::va_list arguments;
    va_start(arguments, format);
    length_ += FormatTextV(text_ + length_, MESG_LEN_ns - length_, format, arguments);
    va_end(arguments);
    if (length_ >= MESG_LEN_ns) length_ = MESG_LEN_ns - 1;
  }
  explicit operator bool() const { return text_ != nullptr; }

 private:
  char* text_;
  std::size_t length_ = 0;
};

int VersionNumber();        // times 100
const char* VersionText();  // stays

environ_ns CreateEnviron();
// Makes a valid environment the current one; not while a callback runs. The function is the one to be named.
bool ValidateEnviron(environ_ns env, const char* function);
int StartUp(environ_ns env, MessageBuffer* mesg);  // 0, or negative with the reason in the message
void ShutDown(environ_ns env);

// How start-up asks for the operating system's version; NULL puts the platform's own question back. Tests stand in
// for systems that are too old.
using SystemVersionQuestion = bool (*)(int* major, bool* ntFamily);
void SetSystemVersionQuestion(SystemVersionQuestion question);
// Likewise for the box that a start-up without a message buffer shows.
using StartupBox = void (*)(const char* title, const char* text);
void SetStartupBox(StartupBox box);

}  // namespace bravic
