#include "samples/card_xml.h"

#include <fmt/core.h>

namespace samples {
namespace {

constexpr char const* kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr char const* kCreated = "2014-05-06T10:00:00Z";

std::string rateName(PictureFormat const& format) {
  bool const whole = format.timeScale % format.frameDuration == 0;
  if (format.interlaced) return whole ? "50i" : "59.94i";
  return whole ? "50p" : "23.98p";
}

/// Every attribute on a line of its own, the end of the tag too.
std::string broken(std::string const& text) {
  std::string out;
  bool inTag = false, inValue = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    char const character = text[at];
    if (character == '<') inTag = text[at + 1] != '?' && text[at + 1] != '/';
    if (character == '"' && inTag) inValue = !inValue;
    bool const ends = character == '>' || text.compare(at, 2, "/>") == 0;
    if (inTag && !inValue && ends && text[at - 1] == '"') out += "\n\t";
    if (character == '>') inTag = false;
    if (character == ' ' && inTag && !inValue)
      out += "\n\t\t";
    else
      out += character;
  }
  return out;
}

std::string laidOut(std::string const& text, CardLayout const& layout) {
  return layout.brokenTags ? broken(text) : text;
}

std::string videoType(PictureFormat const& format) {
  return fmt::format("MPEG2HD35_{}_{}_MP@HL", format.width, format.height);
}

/// Path of a clip's file below BPAV.
std::string inClipFolder(Clip const& clip, char const* ending) {
  return fmt::format("CLPR/{0}/{0}{1}", clip.name, ending);
}

std::string essenceTag(Take const& take, Clip const& clip) {
  return fmt::format(
      "\t\t\t<Component uri=\"./{}\" type=\"MP4\" videoType=\"{}\" audioType=\"LPCM16\" umid=\"{}\"/>\n",
      inClipFolder(clip, ".MP4"), videoType(take.format), clip.umid);
}

std::string descriptionTag(Clip const& clip) {
  return fmt::format("\t\t\t<Component uri=\"./{}\" type=\"PD-EDL\" umid=\"{}\"/>\n",
                     inClipFolder(clip, ".SMI"), clip.umid);
}

std::string sidecarTag(Clip const& clip) {
  return fmt::format("\t\t\t<RelevantInfo uri=\"./{}\" type=\"XML\"/>\n", inClipFolder(clip, "M01.XML"));
}

/// Components of a clip's own entry.
std::string ownComponents(Take const& take, Clip const& clip, CardLayout const& layout) {
  return essenceTag(take, clip) + (layout.twinComponents ? descriptionTag(clip) : "");
}

/// Entry whose tag names "./CLPR/" itself.
std::string attributeEntry(Take const& take, Clip const& clip, CardLayout const& layout) {
  return fmt::format(
             "\t\t<Material uri=\"./{}\" type=\"PD-EDL\" dur=\"{}\" fps=\"{}\" ch=\"{}\" "
             "aspectRatio=\"16:9\" "
             "umid=\"{}\">\n",
             inClipFolder(clip, ".SMI"), clip.frames, rateName(take.format), take.audioTracks, clip.umid) +
         ownComponents(take, clip, layout) + sidecarTag(clip) + "\t\t</Material>\n";
}

/// Entry in which only the essence's `Component` names "./CLPR/"; attributes over several lines.
std::string childEntry(Take const& take, Clip const& clip, CardLayout const& layout) {
  std::string const sidecar =
      layout.relevantInfo
          ? sidecarTag(clip)
          : fmt::format("\t\t\t<RelevantInfo type=\"XML\" uri=\"{}\"/>\n", inClipFolder(clip, "M01.XML"));
  return fmt::format(
             "\t\t<Material type=\"PD-EDL\" umid=\"{}\"\n\t\t\tdur=\"{}\" fps=\"{}\" ch=\"{}\" "
             "aspectRatio=\"16:9\"\n"
             "\t\t\turi=\"CLPR/{}/{}.SMI\">\n",
             clip.umid, clip.frames, rateName(take.format), take.audioTracks, clip.name, clip.name) +
         ownComponents(take, clip, layout) + sidecar + "\t\t</Material>\n";
}

std::string takeEntry(Take const& take, CardLayout const& layout) {
  std::string text = "\t\t<Material ";
  if (!layout.withoutTakr) text += fmt::format("uri=\"./TAKR/{0}/{0}.SMI\" ", take.name);
  text += fmt::format("type=\"PD-EDL\" dur=\"{}\" fps=\"{}\" ch=\"{}\" aspectRatio=\"16:9\" umid=\"{}\">\n",
                      take.frames(), rateName(take.format), take.audioTracks, take.umid);
  for (Clip const& clip : take.clips) {
    text += descriptionTag(clip);
    if (layout.twinComponents) text += essenceTag(take, clip);
    if (layout.relevantInfo) text += sidecarTag(clip);
  }
  if (!layout.withoutTakr)
    text += fmt::format("\t\t\t<RelevantInfo uri=\"./TAKR/{0}/{0}M01.XML\" type=\"XML\"/>\n", take.name);
  return text + "\t\t</Material>\n";
}

std::string smi(Take const& take, std::string const& name, std::string const& body,
                CardLayout const& layout) {
  std::string const kind = "xmlns=\"urn:schemas-professionalDisc:edl:ver.1.30:clipInfo\"";
  std::string const umid = fmt::format("umid=\"{}\"", take.umid);
  return fmt::format(
      "{}<smil {}>\n"
      "\t<head>\n\t\t<metadata>\n\t\t\t<ref src=\"{}M01.XML\" "
      "type=\"NonRealTimeMeta\"/>\n\t\t</metadata>\n\t</head>\n"
      "\t<body>\n{}\t</body>\n</smil>\n",
      kDeclaration, layout.followedUmids ? umid + " " + kind : kind + " " + umid, name, body);
}

/// "frames seconds minutes hours" in BCD; bit 6 of the frames byte marks drop frame.
std::string ltcValue(Take const& take, int frame) {
  Timecode const code = timecodeAt(take, frame);
  int const framesByte = code.frames / 10 << 4 | code.frames % 10 | (take.format.dropFrame ? 0x40 : 0);
  return fmt::format("{:02X}{:02}{:02}{:02}", framesByte, code.seconds, code.minutes, code.hours);
}

std::string audioPorts(Take const& take) {
  std::string ports;
  for (int track = 1; track <= take.audioTracks; ++track)
    ports +=
        fmt::format("\t\t<AudioRecPort port=\"DIRECT\" audioCodec=\"LPCM16\" trackDst=\"CH{}\"/>\n", track);
  return ports;
}

}  // namespace

std::string catalogueXml(std::vector<Take> const& takes, CardLayout const& layout) {
  std::string text = fmt::format(
      "{}<MediaProfile xmlns=\"http://xmlns.sony.net/pro/metadata/mediaprofile\" createdAt=\"{}\" "
      "version=\"2.00\">\n"
      "\t<Properties>\n\t\t<System systemId=\"0800460201000001\" systemKind=\"Sample card\"/>\n"
      "\t\t<Attached mediaId=\"0000000000000001\" mediaKind=\"PROAV\" "
      "mediaName=\"SAMPLE\"/>\n\t</Properties>\n"
      "\t<Contents>\n",
      kDeclaration, kCreated);
  for (Take const& take : takes) {
    for (Clip const& clip : take.clips)
      text += !take.spanned() && take.form == CatalogueForm::child ? childEntry(take, clip, layout)
                                                                   : attributeEntry(take, clip, layout);
    if (take.spanned()) text += takeEntry(take, layout);
  }
  return laidOut(text + "\t</Contents>\n</MediaProfile>\n", layout);
}

std::string clipSmi(Take const& take, Clip const& clip, CardLayout const& layout) {
  std::string body =
      fmt::format("\t\t<par>\n\t\t\t<video src=\"{}.MP4\" type=\"MP4\" clipBegin=\"0\" clipEnd=\"{}\"/>\n",
                  clip.name, clip.frames);
  for (int track = 1; track <= take.audioTracks; ++track)
    body += fmt::format(
        "\t\t\t<audio src=\"{}.MP4\" type=\"MP4\" clipBegin=\"0\" clipEnd=\"{}\" trackDst=\"CH{}\"/>\n",
        clip.name, clip.frames, track);
  return laidOut(smi(take, clip.name, body + "\t\t</par>\n", layout), layout);
}

std::string takeSmi(Take const& take, CardLayout const& layout) {
  std::string body;
  for (Clip const& clip : take.clips)
    body += fmt::format(
        "\t\t<par>\n\t\t\t<video src=\"../../CLPR/{0}/{0}.SMI\" type=\"PD-EDL\" clipBegin=\"0\" "
        "clipEnd=\"{1}\"/>\n\t\t</par>\n",
        clip.name, clip.frames);
  return laidOut(smi(take, take.name, body, layout), layout);
}

std::string sidecarXml(Take const& take, int firstFrame, int frames, CardLayout const& layout) {
  PictureFormat const& format = take.format;
  int const rate = (format.timeScale + format.frameDuration - 1) / format.frameDuration;
  std::string const text =
      fmt::format(
          "{}<NonRealTimeMeta xmlns=\"urn:schemas-professionalDisc:nonRealTimeMeta:ver.1.30\" "
          "lastUpdate=\"{}\">\n"
          "\t<TargetMaterial umidRef=\"{}\"{}/>\n\t<Duration value=\"{}\"/>\n"
          "\t<LtcChangeTable tcFps=\"{}\" halfStep=\"{}\">\n"
          "\t\t<LtcChange frameCount=\"0\" value=\"{}\" status=\"increment\"/>\n"
          "\t\t<LtcChange frameCount=\"{}\" value=\"{}\" status=\"end\"/>\n\t</LtcChangeTable>\n"
          "\t<CreationDate value=\"{}\"/>\n"
          "\t<VideoFormat>\n\t\t<VideoFrame videoCodec=\"{}\" captureFps=\"{}\" formatFps=\"{}\"/>\n"
          "\t\t<VideoLayout pixel=\"{}\" numOfVerticalLine=\"{}\" "
          "aspectRatio=\"16:9\"/>\n\t</VideoFormat>\n"
          "\t<AudioFormat numOfChannel=\"{}\">\n",
          kDeclaration, kCreated, take.umid, layout.followedUmids ? " status=\"OK\"" : "", frames,
          rate > 30 ? rate / 2 : rate, rate > 30 ? "true" : "false", ltcValue(take, firstFrame), frames - 1,
          ltcValue(take, firstFrame + frames - 1), kCreated, videoType(format), rateName(format),
          rateName(format), format.width, format.height, take.audioTracks) +
      audioPorts(take) +
      "\t</AudioFormat>\n\t<Device manufacturer=\"Sample\" modelName=\"Sample card\" "
      "serialNo=\"0000001\"/>\n"
      "</NonRealTimeMeta>\n";
  return laidOut(text, layout);
}

}  // namespace samples
