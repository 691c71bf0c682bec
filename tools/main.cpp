// `vrn`: BMP files in and out through the vrn library.  Each subcommand is a
// thin adapter over one library call; failures are one line on standard
// error and a non-zero exit code, and nothing is written then.
#include <cstdio>
#include <cstring>
#include <string>

#include "commands.h"

using namespace vrntool;

namespace {

void printHelp() {
  std::printf(
      "usage: vrn COMMAND [ARGUMENTS] [OPTIONS]\n\n"
      "Reads and writes BMP files through the vrn image library.\n\n"
      "commands:\n"
      "  info FILE.bmp             what the file holds and how the library reads it\n"
      "  convert IN.bmp OUT.bmp    write IN again with other bits, palette, dither, RLE\n"
      "  jaehne OUT.bmp            write the library's test pattern\n");
  for (const Operation& op : operations()) {
    std::string args = std::string(op.name) + (op.inputs == 2 ? " A.bmp B.bmp" : " IN.bmp") + " OUT.bmp" +
                       (op.params == 2 ? " WxH" : op.params == 1 ? " N" : "");
    std::printf("  %-25s %s\n", args.c_str(), op.summary);
  }
  std::printf(
      "  demo [DIR]                write a gallery of example pictures into DIR\n\n"
      "Run 'vrn COMMAND --help' for the arguments and options of a command.\n"
      "Exit codes: 0 done, 1 a file or the library failed, 2 bad arguments.\n");
}

}  // namespace

int main(int argc, char** argv) {
  installReportHandler();
  if (argc < 2) {
    printHelp();
    return kExitUsage;
  }
  const std::string command = argv[1];
  if (command == "--help" || command == "-h" || command == "help") {
    printHelp();
    return 0;
  }
  const int restc = argc - 2;
  char** restv = argv + 2;
  if (command == "info") return runInfo(restc, restv);
  if (command == "convert") return runConvert(restc, restv);
  if (command == "jaehne") return runJaehne(restc, restv);
  if (command == "demo") return runDemo(restc, restv);
  for (const Operation& op : operations())
    if (command == op.name) return runOperation(op, restc, restv);
  std::fprintf(stderr, "vrn: unknown command '%s' (see: vrn --help)\n", command.c_str());
  return kExitUsage;
}
