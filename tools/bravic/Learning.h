// What the commands that learn from cases have in common: how links are searched for, and nets made of the columns of a
// case file.
#pragma once

#include <string>
#include <vector>

#include "CommandLine.h"
#include "Files.h"
#include "Session.h"

// How to search for links.
struct SearchOptions {
  std::string score = "bic", method;
  double ess = 0, maxEntries = 0, seconds = 0;
  int maxParents = 0;
};

// Naive Bayes is no search of the library's: a command that knows it makes the links itself.
inline constexpr char NAIVE[] = "naive";

// The options of a search but --method. needs: the option without which they make no sense, or nothing.
void AddSearchOptions(Command* command, SearchOptions* options, const std::string& needs);
// The options as the library takes them; the method has to be one of its own.
learn_links_bn HowToSearch(const SearchOptions& options);

// Checks of --method: the library's, and those with naive Bayes.
std::string CheckSearchMethod(const std::string& text);
std::string CheckMethodOrNaive(const std::string& text);

// Which columns of a case file become nodes.
struct ColumnOptions {
  std::vector<std::string> omitted;
  int maxStates = 0;
};

// excludes: the option that names a net, for which none is made.
void AddColumnOptions(Command* command, ColumnOptions* options, const std::string& excludes);
inline constexpr int COLUMNS_SKIPPED = 2472;  // the warning that columns have no node
// A net with a node for each column of the file, those of numbers without states. Columns that are left out on request
// are not warned of from then on.
Net NetOfCases(const ColumnOptions& options, const std::vector<std::string>& numbers, const InputFile& input,
               const char* name, Session& session);

// A net file and the case files that its tables are learned from, and where the net goes.
struct LearnOptions {
  std::string net = {}, output = {};
  std::vector<std::string> cases = {}, nodes = {};
  bool force = false, strict = false;
};

// outputHelp: what --output says.
void AddLearnOptions(Command* command, LearnOptions* options, const std::string& outputHelp);
