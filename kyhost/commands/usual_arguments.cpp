#include "kyhost/commands/usual_arguments.h"

#include <utility>

namespace kyhost {

void addPath(Arguments& arguments, std::string& path) {
  arguments.add("PATH", &path, "Clip description of a card (.SMI, .XML), take list (.mzl) or media file")
      .mandatory();
}

void addStream(Arguments& arguments, int& stream, std::string what) {
  arguments.add("--stream", &stream, std::move(what)).called("N");
}

void addRange(Arguments& arguments, std::string& from, std::string& to) {
  arguments.add("--from", &from, "First position; default: the first").called("POSITION");
  arguments.add("--to", &to, "Position behind the last; default: the end").called("POSITION");
}

Argument& addOutput(Arguments& arguments, std::string& output, std::string what) {
  return arguments.add("-o,--output", &output, std::move(what)).called("FILE");
}

void addOverlay(Arguments& arguments, int& overlay) {
  arguments.add("--overlay", &overlay, "Draw this bitmap subtitle stream, counted from 0")
      .called("N")
      .notBelowZero();
}

void addJson(Arguments& arguments, bool& json) { arguments.add("--json", &json, "JSON for programs"); }

}  // namespace kyhost
