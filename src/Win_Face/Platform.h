// What the operating system is asked for. PlatformPosix.cpp and PlatformWin32.cpp each give all of it.
#pragma once

#include <cstdint>

namespace bravic {

enum class Rename { Done, Failed };

std::uint32_t TickMilliseconds();  // wraps; for progress timing and delays
long CalendarSeconds();
// Major version of the system and whether it is of the NT family; answers false where the version cannot be told.
bool SystemVersion(int* major, bool* ntFamily);
void StartupMessageBox(const char* title, const char* text);
void WarningSound();
// The abort gesture: on Win32 a key held with the left mouse button; elsewhere an interrupt signal that the
// program around the library passes on with RequestAbort.
bool AbortGesture();
void RequestAbort(bool on);

bool FileExists(const char* path);
bool DirectoryExists(const char* path);
Rename ReplaceFile(const char* from, const char* to);  // atomic where the system can

}  // namespace bravic
