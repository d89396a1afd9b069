#include "Graphviz.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

#include "Files.h"
#include "Refusal.h"

#ifdef _WIN32
#include <process.h>
#else
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;
#endif

namespace {

constexpr char PROGRAM[] = "dot";

#ifdef _WIN32
std::string Quoted(const std::string& path) {
  return '"' + path + '"';
}
// Answers the exit code, or -1 where the program could not be started (errno says why).
int Start(const std::string& format, const std::string& to, const std::string& from) {
  const std::string out = Quoted(to), in = Quoted(from);
  const char* const arguments[] = {PROGRAM, "-q", format.c_str(), "-o", out.c_str(), in.c_str(), nullptr};
  return static_cast<int>(_spawnvp(_P_WAIT, PROGRAM, arguments));
}
#else
int Start(const std::string& format, const std::string& to, const std::string& from) {
  std::string words[] = {PROGRAM, "-q", format, "-o", to, from};
  char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(),
                       words[4].data(), words[5].data(), nullptr};
  pid_t process;
  errno = posix_spawnp(&process, PROGRAM, nullptr, nullptr, arguments, environ);
  if (errno != 0) return -1;
  int status = 0;
  while (waitpid(process, &status, 0) < 0)
    if (errno != EINTR) return -1;
  constexpr int KILLED = 128;
  return WIFEXITED(status) ? WEXITSTATUS(status) : KILLED + WTERMSIG(status);
}
#endif

}  // namespace

void MakePicture(const std::string& graph, const std::string& format, const std::string& path) {
  const TemporaryFile source(std::filesystem::temp_directory_path().string());
  WriteWhole(graph, source.Path());
  const int code = Start("-T" + format, path, source.Path());
  if (code < 0 && errno == ENOENT)
    throw Refusal("pictures are drawn by Graphviz's program 'dot', which is not there (Debian: apt install graphviz)");
  if (code < 0) throw Refusal(std::string("couldn't start Graphviz's program 'dot': ") + std::strerror(errno));
  if (code != 0) throw Refusal("Graphviz's program 'dot' failed with exit code " + std::to_string(code));
}
