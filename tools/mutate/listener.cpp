// Writes which mutants each test reached: a line with name, milliseconds and numbers. The name "-" stands for
// what runs outside tests.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "mutant.h"

namespace {

class Listener final : public testing::EmptyTestEventListener {
 public:
  explicit Listener(std::FILE* report) : report_(report) {}

  void OnTestStart(testing::TestInfo const&) override { write("-", 0); }
  void OnTestEnd(testing::TestInfo const& info) override {
    std::string const name = std::string(info.test_suite_name()) + "." + info.name();
    write(name.c_str(), static_cast<long>(info.result()->elapsed_time()));
    if (info.result()->Failed()) std::fprintf(report_, "%s\tfailed\t\n", name.c_str());
  }
  void OnTestProgramEnd(testing::UnitTest const&) override { write("-", 0); }

 private:
  void write(char const* name, long milliseconds) {
    ky_mutation::State const& state = ky_mutation::state();
    std::fprintf(report_, "%s\t%ld\t", name, milliseconds);
    for (long i = 0; i < state.size; ++i)
      if (state.reached[i]) std::fprintf(report_, "%ld,", i);
    std::fprintf(report_, "\n");
    std::fflush(report_);
    std::memset(state.reached, 0, static_cast<size_t>(state.size));
  }

  std::FILE* report_;
};

bool const listening = [] {
  char const* const name = std::getenv("KY_MUTANT_REPORT");
  std::FILE* const report = name && ky_mutation::state().reached ? std::fopen(name, "we") : nullptr;
  ::unsetenv("KY_MUTANT_REPORT");  // a death test runs its program once more
  if (report) testing::UnitTest::GetInstance()->listeners().Append(new Listener(report));
  return true;
}();

}  // namespace
