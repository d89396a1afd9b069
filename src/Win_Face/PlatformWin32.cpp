#if defined(_WIN32)

#include <windows.h>
#undef ReplaceFile
#include <io.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "Win_Face/Platform.h"

namespace bravic {
namespace {

constexpr int ABORT_KEY = VK_ESCAPE;  // held together with the left mouse button

volatile LONG abortRequested = 0;
bool interruptsHalt = false;

BOOL WINAPI TakeInterrupt(DWORD event) {
  if (event != CTRL_C_EVENT) return FALSE;
  InterlockedExchange(&abortRequested, 1);
  return TRUE;
}

// The key as the keyboard's own layout has it, so that a remapped key still makes the gesture.
UINT AbortKeyOnKeyboard() {
  BYTE states[256];
  const UINT scan = MapVirtualKeyA(ABORT_KEY, 0);
  const UINT mapped = scan ? MapVirtualKeyA(scan, 1) : 0;
  if (mapped && GetKeyboardState(states) && (states[mapped] & 0x80)) return mapped;
  return ABORT_KEY;
}

bool IsHeld(int key) {
  return (GetAsyncKeyState(key) & 0x8000) != 0;
}

}  // namespace

std::uint32_t TickMilliseconds() {
  return GetTickCount();
}

long CalendarSeconds() {
  return static_cast<long>(std::time(nullptr));
}

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif
bool SystemVersion(int* major, bool* ntFamily) {
  const DWORD version = GetVersion();
  *major = static_cast<int>(version & 0xFF);
  *ntFamily = !(version & 0x80000000u);
  OSVERSIONINFOA extended = {};
  extended.dwOSVersionInfoSize = sizeof extended;
  if (GetVersionExA(&extended)) {
    *major = static_cast<int>(extended.dwMajorVersion);
    *ntFamily = extended.dwPlatformId == VER_PLATFORM_WIN32_NT;
  }
  return true;
}
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

void StartupMessageBox(const char* title, const char* text) {
  MessageBoxA(nullptr, text, title, MB_OK | MB_ICONEXCLAMATION);
}

void WarningSound() {
  MessageBeep(MB_ICONEXCLAMATION);
}

bool AbortGesture() {
  return InterlockedExchange(&abortRequested, 0) ||
         (IsHeld(VK_LBUTTON) && IsHeld(static_cast<int>(AbortKeyOnKeyboard())));
}

void RequestAbort(bool on) {
  abortRequested = on;
}

void HaltOnInterrupts(bool on) {
  if (on == interruptsHalt) return;
  interruptsHalt = on;
  SetConsoleCtrlHandler(TakeInterrupt, on);
  if (!on) InterlockedExchange(&abortRequested, 0);
}

bool InterruptsHalt() {
  return interruptsHalt;
}

void UseLargePages(void*, std::size_t) {}

bool FileExists(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool DirectoryExists(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// Systems that are not of the NT family have no replacing move.
Rename ReplaceFile(const char* from, const char* to) {
  if (MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return Rename::Done;
  if (GetLastError() != ERROR_CALL_NOT_IMPLEMENTED) return Rename::Failed;
  return (DeleteFileA(to) || GetLastError() == ERROR_FILE_NOT_FOUND) && MoveFileA(from, to) ? Rename::Done
                                                                                            : Rename::Failed;
}

FileKind KindOfFile(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) return FileKind::Absent;
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) return FileKind::Directory;
  // Devices such as "NUL" show only once they are opened. A file that another program keeps closed is regular.
  const HANDLE file =
      CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return FileKind::Regular;
  const DWORD type = GetFileType(file);
  CloseHandle(file);
  return type == FILE_TYPE_CHAR || type == FILE_TYPE_PIPE ? FileKind::Other : FileKind::Regular;
}

// Links belong to newer systems than the library asks for; there the new file takes the link's place.
Block<char> LinkTarget(const char*) {
  return nullptr;
}

Creation CreateNewFile(const char* path, bool) {
  const HANDLE file = CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_EXISTS ? Creation::Exists : Creation::Failed;
  CloseHandle(file);
  return Creation::Done;
}

bool IsWriteProtected(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY);
}

// Who may use a file follows from its folder.
void CopyPermissions(const char* from, const char* to) {
  const DWORD attributes = GetFileAttributesA(from);
  if (attributes != INVALID_FILE_ATTRIBUTES) SetFileAttributesA(to, attributes);
}

bool FlushFile(std::FILE* file) {
  if (std::fflush(file) != 0) return false;
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
  return FlushFileBuffers(handle) || GetFileType(handle) != FILE_TYPE_DISK;
}

// The move itself is written through.
void FlushDirectoryOf(const char*) {}

bool IsPathSeparator(char c) {
  return c == '/' || c == '\\' || c == ':';
}

namespace {

std::uint64_t Joined(DWORD high, DWORD low) {
  return static_cast<std::uint64_t>(high) << 32 | low;
}

// The system counts steps of 100 nanoseconds since 1601.
std::int64_t Nanoseconds(const FILETIME& time) {
  constexpr std::int64_t STEPS_TO_1970 = 116444736000000000;
  return (static_cast<std::int64_t>(Joined(time.dwHighDateTime, time.dwLowDateTime)) - STEPS_TO_1970) * 100;
}

bool StampOf(HANDLE file, FileStamp* stamp) {
  BY_HANDLE_FILE_INFORMATION told;
  if (GetFileType(file) != FILE_TYPE_DISK || !GetFileInformationByHandle(file, &told)) return false;
  stamp->volume = told.dwVolumeSerialNumber;
  stamp->index = Joined(told.nFileIndexHigh, told.nFileIndexLow);
  stamp->size = static_cast<std::int64_t>(Joined(told.nFileSizeHigh, told.nFileSizeLow));
  stamp->written = Nanoseconds(told.ftLastWriteTime);
  return true;
}

}  // namespace

bool GetStamp(std::FILE* file, FileStamp* stamp) {
  return StampOf(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file))), stamp);
}

bool GetStamp(const char* path, FileStamp* stamp) {
  const HANDLE file = CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  const bool told = StampOf(file, stamp);
  CloseHandle(file);
  return told;
}

std::int64_t NanosecondsSince1970() {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  return Nanoseconds(now);
}

bool SeekFile(std::FILE* file, std::int64_t offset) {
  return _fseeki64(file, offset, SEEK_SET) == 0;
}

void CutFile(const char* path, std::int64_t length) {
  std::error_code ignored;
  std::filesystem::resize_file(path, static_cast<std::uintmax_t>(length), ignored);
}

}  // namespace bravic

// The library does nothing of its own when it is loaded or unloaded.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) {
  return TRUE;
}

#endif
