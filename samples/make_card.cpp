#include <fmt/core.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <map>
#include <string>

#include "samples/card_plan.h"
#include "samples/card_writer.h"

namespace {

void report(samples::Take const& take, samples::Clip const& clip) {
  samples::PictureFormat const& format = take.format;
  fmt::print("{}  {}x{}{} {:.4g} Hz, {} frames, {} mono tracks\n", clip.name, format.width, format.height,
             format.interlaced ? "i" : "p", static_cast<double>(format.timeScale) / format.frameDuration,
             clip.frames, take.audioTracks);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Makes a sample XDCAM EX card: a take over three clip files, a single clip, a 29.97 Hz drop-frame "
      "clip\n"
      "and a 720p50 clip. Pictures carry their frame number, sound carries its position, both readable by\n"
      "programs, so that a wrong frame or a shifted sample shows itself.");
  std::string folder;
  samples::CardOptions options;
  std::string form = "mixed";
  bool quiet = false;
  app.add_option("OUTDIR", folder, "Folder that receives BPAV; made if missing")->required();
  app.add_option("--seconds", options.seconds, "Length of every take (default: a second or so, up to 4)")
      ->check(CLI::Range(0.5, 6.0 * 3600));
  app.add_option(
         "--form", form,
         "How the catalogue names single clips: child (the Material's Component names ./CLPR/), attribute\n"
         "(its tag does too; such a description does not open as a take), mixed (take 4 attribute)")
      ->check(CLI::IsMember({"mixed", "child", "attribute"}))
      ->capture_default_str();
  app.add_flag("--small", options.small, "Tiny pictures: the same card, made and read in a moment");
  samples::CardLayout& layout = options.layout;
  bool allLayouts = false;
  app.add_option("--rate", options.rate, "All takes in one format: 23.976, 50i, 59.94i or 720p50")
      ->transform(CLI::CheckedTransformer(
          std::map<std::string, samples::CardRate>{{"23.976", samples::CardRate::p23976},
                                                   {"50i", samples::CardRate::i50},
                                                   {"59.94i", samples::CardRate::i5994},
                                                   {"720p50", samples::CardRate::p50}}));
  app.add_flag("--bom", layout.byteOrderMarks, "Byte-order marks before catalogue and descriptions");
  app.add_flag("--crlf", layout.carriageReturns, "Catalogue and descriptions with CR LF line ends");
  app.add_flag("--followed-umid", layout.followedUmids, "Descriptions with attributes behind their UMID");
  app.add_flag("--twin-components", layout.twinComponents, "Clips named by an SMI and an MP4 component each");
  app.add_flag("--relevant-info", layout.relevantInfo, "Clips named once more by RelevantInfo");
  app.add_flag("--broken-tags", layout.brokenTags, "Every attribute on a line of its own");
  app.add_flag("--without-takr", layout.withoutTakr, "No folder TAKR and no name in it");
  app.add_flag("--all-layouts", allLayouts, "All of these, and --form attribute");
  app.add_flag("-q,--quiet", quiet, "Print errors only");
  CLI11_PARSE(app, argc, argv);

  if (allLayouts) {
    layout = {true, true, true, true, true, true, true};
    form = "attribute";
  }
  options.oneForm = form != "mixed";
  options.form = form == "attribute" ? samples::CatalogueForm::attribute : samples::CatalogueForm::child;
  try {
    samples::writeCard(folder, samples::planCard(options), options.layout,
                       quiet ? samples::ClipDone{} : samples::ClipDone{report});
  } catch (std::exception const& error) {
    fmt::print(stderr, "make_card: {}\n", error.what());
    return 1;
  }
  return 0;
}
