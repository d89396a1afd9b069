// The one environment: its creation, the stages of start-up and close, the settings functions, the version.
#pragma once

namespace bravic {

// How start-up asks for the operating system's version; NULL puts the platform's own question back. Tests stand in
// for systems that are too old.
using SystemVersionQuestion = bool (*)(int* major, bool* ntFamily);
void SetSystemVersionQuestion(SystemVersionQuestion question);
// Likewise for the box that a start-up without a message buffer shows.
using StartupBox = void (*)(const char* title, const char* text);
void SetStartupBox(StartupBox box);

}  // namespace bravic
