// What the program does when something fails: exit codes, texts, and that nothing unfinished is left.
#include <gtest/gtest.h>

#include "tests/kyhost/program.h"

namespace {

using namespace program;

constexpr char const* kScript = "layout=I420\nwidth=6\nheight=4\nframes=5\nbytes=2\n";

bool says(Outcome const& run, std::string const& text) { return run.errors.find(text) != std::string::npos; }

TEST(ExitCode, WrongArguments_AreOne) {
  Folder const folder;
  std::string const file = folder.write("a.txt", kScript).string();
  for (std::string const& arguments :
       {std::string(), std::string("play"), std::string("info"), "info --bad " + file, "info --set x " + file,
        "info --debug loud " + file, "info --set nonsense=1 " + file, "frames " + file,
        "frames -o x.avi " + file, "frames -o x.y4m --from 5 " + file,
        "frames -o x.y4m --from 2 --to 2 " + file, "frames -o x.y4m --from later " + file,
        "frames -o x.y4m --stream 1 " + file, "audio -o x.wav --stream -1 " + file,
        "frames -o x.y4m --overlay 0 " + file, "contact -o x.png --columns 0 " + file}) {
    Outcome const run = shell("cd " + folder.path().string() + " && " + scriptedCommand(arguments));
    EXPECT_EQ(run.code, 1) << arguments << "\n" << run.errors;
    EXPECT_EQ(run.output, "") << arguments;
    EXPECT_NE(run.errors, "") << arguments;
  }
  EXPECT_EQ(folder.entries(), std::vector<std::string>{"a.txt"});
}

TEST(ExitCode, Help_IsZeroAndExplainsTheCodes) {
  Outcome const run = kyhost("--help");
  EXPECT_EQ(run.code, 0);
  EXPECT_NE(run.output.find("Exit codes"), std::string::npos);
  EXPECT_EQ(kyhost("frames --help").code, 0);
}

TEST(ExitCode, StreamThatIsNotThere_NamesThoseThatAre) {
  Folder const folder;
  Outcome const run = scripted("frames -o x.y4m --stream 1 " + folder.write("a.txt", kScript).string());
  EXPECT_TRUE(says(run, "no video stream 1: the file has one video stream, number 0")) << run.errors;
}

TEST(ExitCode, PluginThatCannotBeLoaded_IsTwo) {
  Folder const folder;
  std::string const file = folder.write("a.txt", kScript).string();
  Outcome const missing = kyhost("info --plugin /nowhere/x.so " + file);
  EXPECT_EQ(missing.code, 2);
  EXPECT_TRUE(says(missing, "/nowhere/x.so")) << missing.errors;
  EXPECT_EQ(kyhost("info --plugin " + file + " " + file).code, 2);
  Outcome const other = kyhost("info --plugin " KY_BIN_DIR "/libkyplugcore.so.3 " + file);
  EXPECT_EQ(other.code, 2);
  EXPECT_TRUE(says(other, "plugin_init")) << other.errors;
  EXPECT_EQ(shell("SCRIPTED_REFUSES=1 " + scriptedCommand("info " + file)).code, 2);
}

TEST(ExitCode, FileThatCannotBeOpened_IsThree_AndTheDecodersReasonIsShown) {
  Folder const folder;
  EXPECT_EQ(scripted("info " + (folder / "missing.txt").string()).code, 3);
  EXPECT_EQ(scripted("info " + folder.path().string()).code, 3);
  std::string const file = folder.write("a.txt", "fail=Broken for a reason\n").string();
  Outcome const run = scripted("info " + file);
  EXPECT_EQ(run.code, 3);
  EXPECT_TRUE(says(run, file + ": cannot be opened: Broken for a reason")) << run.errors;
}

TEST(ExitCode, FileWithUnknownStreams_IsThree_AndTheSettingIsNamed) {
  Folder const folder;
  Outcome const run =
      scripted("info " + folder.write("a.txt", "fail=Found 1 unknown audio streams, giving up.\n").string());
  EXPECT_EQ(run.code, 3);
  EXPECT_TRUE(says(run, "--set openParameters.ignoreUnknownStreams=1")) << run.errors;
}

TEST(ExitCode, PictureThatCannotBeDecoded_IsFour_AndNothingIsLeft) {
  Folder const folder;
  std::string const file = folder.write("a.txt", std::string(kScript) + "bad=3\n").string();
  folder.write("x.y4m", "before");
  for (char const* name : {"x.y4m", "new.yuv"}) {
    Outcome const run = scripted("frames -q " + file + " -o " + (folder / name).string());
    EXPECT_EQ(run.code, 4);
    EXPECT_TRUE(says(run, file + ": video stream 0: frame 3 cannot be decoded: Error in readFrame"))
        << run.errors;
    EXPECT_TRUE(says(run, "--skip-errors")) << run.errors;
  }
  EXPECT_EQ(folder.entries(), (std::vector<std::string>{"a.txt", "x.y4m"}));
  EXPECT_EQ(fileText(folder / "x.y4m"), "before");
}

TEST(ExitCode, SkippedPictures_AreFour_ButTheOthersAreWritten) {
  Folder const folder;
  std::string const file = folder.write("a.txt", std::string(kScript) + "bad=3\n").string();
  Outcome const run = scripted("frames -q --skip-errors " + file + " -o " + (folder / "x.yuv").string());
  EXPECT_EQ(run.code, 4);
  EXPECT_TRUE(says(run, "1 of 5 frames could not be decoded")) << run.errors;
  EXPECT_EQ(fileText(folder / "x.yuv").size(), 4U * 36);
}

TEST(ExitCode, SkippedPicture_MayBeTheFirstOfTheRange) {
  Folder const folder;
  std::string const file = folder.write("a.txt", std::string(kScript) + "bad=3\n").string();
  std::string const output = (folder / "x.yuv").string();
  Outcome const run = scripted("frames -q --skip-errors --from 3 " + file + " -o " + output);
  EXPECT_EQ(run.code, 4);
  EXPECT_TRUE(says(run, "frame 3 cannot be reached: seekToFrame failed: left out")) << run.errors;
  EXPECT_EQ(fileText(folder / "x.yuv").size(), 36U);
}

TEST(ExitCode, StreamThatEndsEarly_IsFour) {
  Folder const folder;
  std::string const file = folder.write("a.txt", std::string(kScript) + "ends=2\n").string();
  Outcome const run = scripted("frames " + file + " -o " + (folder / "x.y4m").string());
  EXPECT_EQ(run.code, 4);
  EXPECT_TRUE(says(run, "ends after 2 of 5 frames")) << run.errors;
  EXPECT_EQ(folder.entries(), std::vector<std::string>{"a.txt"});
}

TEST(ExitCode, OutputThatCannotBeWritten_IsFive) {
  Folder const folder;
  std::string const file = folder.write("a.txt", kScript).string();
  for (std::string const arguments :
       {"frames --format y4m -o /dev/full ", "audio -o /dev/full ", "contact -o /dev/full "}) {
    Outcome const run = scripted(arguments + file);
    EXPECT_EQ(run.code, 5) << arguments << run.errors;
    EXPECT_TRUE(says(run, "/dev/full")) << run.errors;
  }
  Outcome const missing = scripted("frames " + file + " -o " + (folder / "no/x.y4m").string());
  EXPECT_EQ(missing.code, 5);
  EXPECT_TRUE(says(missing, "create its folder first")) << missing.errors;
  EXPECT_EQ(shell(scriptedCommand("hash " + file) + " >/dev/full").code, 5);
  EXPECT_EQ(folder.entries(), std::vector<std::string>{"a.txt"});
}

TEST(Output, ThatIsTheInput_IsRefused) {
  Folder const folder;
  std::string const file = folder.write("a.txt", kScript).string();
  for (char const* command : {"frames --format raw", "audio", "contact"})
    EXPECT_EQ(scripted(std::string(command) + " " + file + " -o " + folder.path().string() + "/./a.txt").code,
              1);
  EXPECT_EQ(fileText(file), kScript);
}

TEST(Output, KeepsTheModeThatNewFilesHave) {
  Folder const folder;
  std::string const file = folder.write("a.txt", kScript).string();
  ASSERT_EQ(
      shell("umask 027; " + scriptedCommand("frames -q " + file + " -o " + (folder / "x.yuv").string())).code,
      0);
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(folder / "x.yuv").permissions(),
            perms::owner_read | perms::owner_write | perms::group_read);
}

TEST(Output, ReaderOfThePipeThatGoes_IsAWriteError) {
  Folder const folder;
  std::string const file = folder.write("a.txt", "layout=I420\nwidth=640\nheight=480\nframes=50\n").string();
  Outcome const run = shell("bash -c '" + scriptedCommand("frames " + file + " -o -") +
                            " | head -c 10 >/dev/null; exit ${PIPESTATUS[0]}'");
  EXPECT_EQ(run.code, 5);
  EXPECT_TRUE(says(run, "standard output: its reader has gone")) << run.errors;
}

// Starts the program on a slow script and lets the shell go on once the unfinished file is there.
std::string startedOnSlowScript(Folder const& folder, std::string const& script) {
  std::string const file = folder.write("a.txt", script).string();
  return scriptedCommand("frames " + file + " -o " + (folder / "x.y4m").string()) +
         " & program=$!; while ! ls " + folder.path().string() +
         "/.x.y4m.* >/dev/null 2>&1; do sleep 0.02; done; ";
}

TEST(Signal, FirstOne_StopsTheWorkAndLeavesNothing) {
  for (auto const& [name, code] : {std::pair{"TERM", 143}, std::pair{"INT", 130}}) {
    Folder const folder;
    // A shell starts background programs with SIGINT ignored; the program installs its handler all the same.
    Outcome const run = shell(startedOnSlowScript(folder, "layout=I420\nframes=100000\ndelay=20\n") +
                              "kill -" + name + " $program; wait $program");
    EXPECT_EQ(run.code, code);
    EXPECT_TRUE(says(run, "interrupted")) << run.errors;
    EXPECT_EQ(folder.entries(), std::vector<std::string>{"a.txt"});
  }
}

TEST(Signal, SecondOne_EndsWorkThatHangs) {
  Folder const folder;
  Outcome const run = shell(startedOnSlowScript(folder, "layout=I420\nframes=10\ndelay=100000000\n") +
                            // Two that come at once may count as one.
                            "while kill -TERM $program 2>/dev/null; do sleep 0.02; done; wait $program");
  EXPECT_EQ(run.code, 143);
  EXPECT_EQ(folder.entries(), std::vector<std::string>{"a.txt"});
}

}  // namespace
