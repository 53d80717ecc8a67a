// File names of numbered pictures.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace kyhost {

// A file name with the place of a number in it.
class NumberedName {
 public:
  // None when there is no %d; throws Failure (usage) for anything else behind a %.
  static std::optional<NumberedName> parse(std::string const& text);
  std::filesystem::path at(int64_t number) const;

 private:
  std::string before_;
  std::string after_;
  int width_ = 0;
  bool zero_ = false;
};

// What an output stands for that takes pictures: a folder, made when missing (files are called
// "<prefix>_000123.png"), a name with one %d or %05d, or the plain name of one picture.
class PictureNames {
 public:
  // Throws Failure: (write) when the folder cannot be made, (usage) with `advice` for one name and several
  // pictures.
  PictureNames(std::filesystem::path const& output, std::string prefix, int64_t count,
               std::string const& advice);
  std::filesystem::path at(int64_t number) const;

 private:
  std::filesystem::path folder_;
  std::filesystem::path single_;
  std::string prefix_;
  std::optional<NumberedName> numbered_;
};

}  // namespace kyhost
