// A message built by the library from checked options.
#ifndef TOOLS_QOB_MAIL_COMPOSER_H
#define TOOLS_QOB_MAIL_COMPOSER_H

#include <memory>
#include <string>
#include <vector>

#include "input.h"
#include "options.h"
#include "part_plan.h"
#include "spool.h"

namespace cli::mail {

// A file that the library built, removed with the object.
class BuiltFile {
 public:
  BuiltFile() = default;
  explicit BuiltFile(char* library_path);
  BuiltFile(BuiltFile&& other) noexcept;
  BuiltFile& operator=(BuiltFile&& other) noexcept;
  BuiltFile(const BuiltFile&) = delete;
  BuiltFile& operator=(const BuiltFile&) = delete;
  ~BuiltFile();

  explicit operator bool() const { return !path_.empty(); }
  // As the system takes it.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class Composer {
 public:
  // with_bcc: a Bcc field is written. dot_ends: a line with a single dot ends a text from standard
  // input. options must outlive the object.
  Composer(const MessageOptions& options, bool with_bcc, bool dot_ends)
      : options_(options), with_bcc_(with_bcc), dot_ends_(dot_ends) {}

  // Opens every file and takes in every text. Leaves nothing that an interrupt would have to
  // remove. Throws Failure.
  void Read();
  // Has the library build what was read; it must be started. Throws Failure; nothing is left then.
  BuiltFile Build();

 private:
  void PlanBody();
  void PlanAttachment(const Attachment& attachment);
  void PlanText(Input input, const Attachment& part, const std::string& what);
  void PlanMessage(Input input, const Attachment& part);
  void PlanFile(Input input, const Attachment& part);
  void Add(PartPlan plan, const Attachment& part);

  void Fill(Input* input, Spool* spool, const std::string& from);
  void Label(const std::string& what, PartPlan* plan);
  void Convert(const std::string& what, const std::string& charset);

  BuiltFile BuildWhole();
  BuiltFile BuildOne(const PartPlan& plan, bool whole);
  BuiltFile BuildMany();
  bool HoldsOwnDelimiter(const std::string& path) const;

  const MessageOptions& options_;
  bool with_bcc_;
  bool dot_ends_;
  std::vector<PartPlan> plans_;
  std::vector<std::unique_ptr<Spool>> spools_;  // open until the message is built
  std::vector<Input> inputs_;                   // likewise
};

}  // namespace cli::mail

#endif
