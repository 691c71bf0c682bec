// The subcommands of the `vrn` tool and what they share: the argument parser
// and the table of image operations.
#pragma once

#include <string>
#include <vector>

#include "library.h"

namespace vrntool {

// Exit codes: 0 done, 1 a file or the library failed, 2 bad arguments.
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

struct OptionSpec {
  const char* name;  // "--bits"
  bool takesValue;
};

struct Args {
  std::vector<std::string> positional;
  std::vector<std::pair<std::string, std::string>> options;
  bool help = false;
  const std::string* get(const std::string& name) const;
};

// Splits argv into positional arguments and known options; prints one line
// and returns false on an unknown or incomplete option.
bool parseArgs(const std::string& command, int argc, char** argv, const std::vector<OptionSpec>& specs,
               Args& args);
// One line about bad arguments, exit code kExitUsage.
int usageError(const std::string& command, const std::string& reason);

// The options that say how an image is written, shared by every command that
// writes one.
extern const std::vector<OptionSpec> kWriteOptionSpecs;
extern const char* const kWriteOptionsHelp;
bool parseWriteOptions(const std::string& command, const Args& args, WriteOptions& out);
bool parseSize(const std::string& text, int& width, int& height);

// An image operation reachable as a subcommand: `inputs` images in, one out,
// plus `params` integers given as one WxH (2) or N (1) argument.
struct Operation {
  const char* name;
  const char* summary;
  int inputs;
  int params;
  const char* libraryCall;
  void (*apply)(VrnImage* const* sources, VrnImage* destination, const int* params);
  const char* demoParams;  // the argument the demo uses, or "" when there is none
};
const std::vector<Operation>& operations();

int runInfo(int argc, char** argv);
int runConvert(int argc, char** argv);
int runJaehne(int argc, char** argv);
int runOperation(const Operation& op, int argc, char** argv);
int runDemo(int argc, char** argv);

}  // namespace vrntool
