// Makes a test program a server: having run all its tests without a mutant, and so made all its media, it
// takes requests, a line each with the number of a mutant, seconds and a filter of tests, and answers each
// with a line: "0" when the tests pass, "1" when one fails, "crashes" or "hangs". Each request runs in a
// process of its own.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "mutant.h"

namespace {

// The exit code; -1 after a crash, -2 when the time was not enough.
int outcomeOf(pid_t child, double seconds) {
  auto const last = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (auto pause = std::chrono::microseconds(500);; pause = std::min(pause * 2, decltype(pause)(10000))) {
    int status = 0;
    if (::waitpid(child, &status, WNOHANG) == child) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (std::chrono::steady_clock::now() > last) {
      ::kill(-child, SIGKILL);
      ::waitpid(child, &status, 0);
      return -2;
    }
    std::this_thread::sleep_for(pause);
  }
}

class Server final : public testing::EmptyTestEventListener {
 public:
  Server(char const* requests, char const* answers) : requests_(requests), answers_(answers) {}

  void OnTestProgramEnd(testing::UnitTest const& program) override {
    if (serving_) return;
    serving_ = true;
    std::ifstream requests(requests_);
    std::FILE* const answers = std::fopen(answers_.c_str(), "we");
    std::fprintf(answers, "%s\n", program.Passed() ? "ready" : "failing");
    std::fflush(answers);
    int number = 0;
    double seconds = 0;
    for (std::string filter; requests >> number >> seconds >> filter;) {
      *ky_mutation::state().active = number;
      pid_t const child = ::fork();
      if (child == 0) {
        ::setpgid(0, 0);
        GTEST_FLAG_SET(filter, filter);
        GTEST_FLAG_SET(fail_fast, true);
        ::_exit(testing::UnitTest::GetInstance()->Run());
      }
      int const code = outcomeOf(child, seconds);
      *ky_mutation::state().active = 0;
      std::fprintf(answers, "%s\n", code == -1 ? "crashes" : code == -2 ? "hangs" : code ? "1" : "0");
      std::fflush(answers);
    }
  }

 private:
  std::string requests_, answers_;
  bool serving_ = false;
};

bool const serves = [] {
  char const* const requests = std::getenv("KY_MUTANT_REQUESTS");
  char const* const answers = std::getenv("KY_MUTANT_ANSWERS");
  if (requests && answers)
    testing::UnitTest::GetInstance()->listeners().Append(new Server(requests, answers));
  ::unsetenv("KY_MUTANT_REQUESTS");  // a death test runs its program once more
  return true;
}();

}  // namespace
