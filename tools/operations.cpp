// The table of image operations the tool offers.  Each entry is one library
// call; adding an operation is adding a line here (its subcommand, help line
// and demo picture follow from the entry).
#include "commands.h"

namespace vrntool {

const std::vector<Operation>& operations() {
  static const std::vector<Operation> table = {
      {"add", "OUT = A + B, saturated at the depth's top", 2, 0, "vrnAdd",
       [](VrnImage* const* s, VrnImage* d, const int*) { vrnAdd(s[0], s[1], d); }, ""},
      {"or", "OUT = A OR B, bit by bit", 2, 0, "vrnOr",
       [](VrnImage* const* s, VrnImage* d, const int*) { vrnOr(s[0], s[1], d); }, ""},
      {"and", "OUT = A AND B, bit by bit", 2, 0, "vrnAnd",
       [](VrnImage* const* s, VrnImage* d, const int*) { vrnAnd(s[0], s[1], d); }, ""},
      {"xor", "OUT = A XOR B, bit by bit", 2, 0, "vrnXor",
       [](VrnImage* const* s, VrnImage* d, const int*) { vrnXor(s[0], s[1], d); }, ""},
      {"not", "OUT = NOT IN, every bit inverted", 1, 0, "vrnNot",
       [](VrnImage* const* s, VrnImage* d, const int*) { vrnNot(s[0], d); }, ""},
      {"blur", "OUT = mean over a WxH box centred on each pixel", 1, 2, "vrnBlur",
       [](VrnImage* const* s, VrnImage* d, const int* p) { vrnBlur(s[0], d, p[0], p[1], p[0] / 2, p[1] / 2); },
       "9x9"},
      // Switched on when its family lands:
      {"sub", "OUT = A - B, saturated at 0", 2, 0, "vrnSubtract",
       [](VrnImage* const* s, VrnImage* d, const int*) { vrnSubtract(s[0], s[1], d); }, ""},
  };
  return table;
}

}  // namespace vrntool
