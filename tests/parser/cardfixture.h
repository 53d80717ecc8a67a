#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "parser_xdcam_ex/source/xdcamexparser.h"

/// The parser with its inner operations and fields open to tests.
struct OpenParser : XDCamExParser {
  using XDCamExParser::clip_list;
  using XDCamExParser::CreateMzlFile;
  using XDCamExParser::FindTextPartBetween;
  using XDCamExParser::getAttributeValue;
  using XDCamExParser::getTextBetween;
  using XDCamExParser::is_smi;
  using XDCamExParser::ParseXml;
  using XDCamExParser::path_separator;
  using XDCamExParser::ReadXmlFile;
  using XDCamExParser::root_dir;
  using XDCamExParser::take_umid;
};

/// An empty folder per test, removed with it; `card()` below it holds BPAV/CLPR.
class CardTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "card-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    std::filesystem::create_directories(folder_ / "card/BPAV/CLPR");
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string at(std::string_view name) const { return (folder_ / name).string(); }
  std::string card() const { return at("card/BPAV/"); }

  std::string write(std::string_view name, std::string_view bytes) const {
    std::filesystem::path const path = folder_ / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
  }

  static std::string read(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::filesystem::path folder_;
};
