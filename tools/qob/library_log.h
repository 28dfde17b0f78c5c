// What the library logs during a command: kept here instead of the site's log, so that a failure
// can say why, and shown with --verbose.
#ifndef TOOLS_QOB_LIBRARY_LOG_H
#define TOOLS_QOB_LIBRARY_LOG_H

#include <cstdint>
#include <string>
#include <vector>

namespace cli {

class LibraryLog {
 public:
  // Takes the library's log lines from now on.
  static LibraryLog& Get();
  void Start(bool verbose);
  void Stop();

  // Forgets what was logged, so that the next message starts afresh.
  void Clear();
  // The texts of level 1 since Clear, at most kKept of them, without the tracing of opened files.
  const std::vector<std::string>& problems() const { return problems_; }
  std::size_t problem_count() const { return problem_count_; }
  // The last of them without its full stop, to stand inside a sentence, or the other text.
  std::string LastProblem(const std::string& otherwise) const;
  // True when a file was refused because another process holds it.
  bool SawBusyFile() const { return busy_; }

 private:
  static void Take(void* self, std::int32_t level, const char* module, const char* text);
  void Add(std::int32_t level, const std::string& module, const std::string& text);

  static constexpr std::size_t kKept = 50;
  std::vector<std::string> problems_;
  std::size_t problem_count_ = 0;
  bool busy_ = false;
  bool verbose_ = false;
};

}  // namespace cli

#endif
