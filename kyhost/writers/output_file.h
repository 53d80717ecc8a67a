// Output that is complete or absent.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace kyhost {

// Bytes on their way into a file. A regular file is written as a hidden sibling and gets its name at
// commit(); without commit() nothing is left, and a file of that name stays as it was. "-" is standard
// output; existing pipes and devices are written directly. All operations throw Failure with ExitCode::Write.
class OutputFile {
 public:
  explicit OutputFile(std::filesystem::path const& path);
  ~OutputFile();
  OutputFile(OutputFile const&) = delete;
  OutputFile& operator=(OutputFile const&) = delete;

  void write(std::span<unsigned char const> bytes);
  void write(std::string_view text);
  // `rows` rows of `rowBytes` bytes, `stride` bytes from one to the next.
  void writeRows(unsigned char const* first, int rows, int rowBytes, int stride);

  bool seekable() const { return !temporary_.empty(); }
  void seek(int64_t position);  // only when seekable()
  int64_t position() const { return position_; }

  void commit();
  // As messages show it.
  std::string const& name() const { return name_; }

 private:
  [[noreturn]] void fail(std::string const& what, int error) const;

  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::filesystem::path path_;
  std::filesystem::path temporary_;  // empty when the output is written directly
  std::string name_;
  std::unique_ptr<std::FILE, Close> file_;
  int64_t position_ = 0;
};

// Throws Failure (usage) when `output` is the same file as `input`.
void refuseToOverwriteInput(std::filesystem::path const& output, std::filesystem::path const& input);

}  // namespace kyhost
