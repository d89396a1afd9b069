// Times reading and writing nets in every format, in memory.
//
//   bench_formats [--rounds=9] [--copies=1] NET ...
//
// The nets may be as many copies of themselves. Prints, for each net and format, the size of its text, and how many of
// its megabytes are read and written in a second of processor time (the median round), and the milliseconds that
// freeing the net takes.
#include <algorithm>

#include "bench.h"
#include "bravic_formats.h"

namespace {

net_bn ReadText(const std::string& text, const char* format) {
  net_bn net = ReadNetFormatText_bn(text.data(), static_cast<long>(text.size()), format, "text", env);
  if (!net) Fail(format);
  return net;
}

long WriteText(net_bn net, const char* format, std::string* text) {
  return WriteNetFormatText_bn(net, format, text->data(), static_cast<long>(text->size()));
}

template <class Body>
double MedianSeconds(int rounds, Body body) {
  std::vector<double> seconds;
  for (int i = 0; i < rounds; ++i) {
    const double began = Seconds(CLOCK_PROCESS_CPUTIME_ID);
    body();
    seconds.push_back(Seconds(CLOCK_PROCESS_CPUTIME_ID) - began);
  }
  std::sort(seconds.begin(), seconds.end());
  return seconds[seconds.size() / 2];
}

void TimeFormat(const std::string& path, net_bn net, const char* format, int rounds) {
  const long size = WriteNetFormatText_bn(net, format, nullptr, 0);
  ClearErrors_ns(env, 4);
  if (size <= 0) {
    ClearErrors_ns(env, 5);  // decision networks
    return;
  }
  std::string text(static_cast<std::size_t>(size), '\0');
  const double writing = MedianSeconds(rounds, [&] {
    if (WriteText(net, format, &text) != size) Fail(format);
    ClearErrors_ns(env, 4);
  });
  text.pop_back();
  std::vector<net_bn> read;
  const double reading = MedianSeconds(rounds, [&] { read.push_back(ReadText(text, format)); });
  const double freeing = MedianSeconds(rounds, [&] {
    FreeNet_bn(read.back());
    read.pop_back();
  });
  const double megabytes = static_cast<double>(size) / 1e6;
  std::printf("| %s | %s | %.2f | %.0f | %.0f | %.2f |\n", std::filesystem::path(path).stem().string().c_str(), format,
              megabytes, megabytes / reading, megabytes / writing, freeing * 1e3);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  BeginEnvironment();
  int rounds = 9, copies = 1;
  std::puts("| Net | Format | MB | Read, MB/s | Write, MB/s | Free, ms |");
  std::puts("| --- | --- | ---: | ---: | ---: | ---: |");
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.starts_with("--rounds=")) {
      rounds = std::atoi(argument.c_str() + 9);
      continue;
    }
    if (argument.starts_with("--copies=")) {
      copies = std::atoi(argument.c_str() + 9);
      continue;
    }
    net_bn net = ReadNetFormat_bn(argument.c_str(), nullptr, env);
    if (!net) Fail(argument);
    SetUndoDepth_bn(0, net);
    nodelist_bn nodes = DupNodeList_bn(GetNetNodes_bn(net));
    for (int copy = 1; copy < copies; ++copy) FreeNodeList_bn(DuplicateNodes_bn(nodes, net));
    FreeNodeList_bn(nodes);
    for (const char* format : {"bif", "xmlbif", "net", "uai", "xdsl", "dne"}) TimeFormat(argument, net, format, rounds);
    FreeNet_bn(net);
  }
  CloseEnvironment();
}
