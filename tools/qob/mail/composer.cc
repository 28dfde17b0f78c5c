#include "composer.h"

#include <algorithm>
#include <array>

#include <qob3xapi/mimebuild.h>

#include "../config_keys.h"
#include "../failure.h"
#include "../library_log.h"
#include "../output.h"
#include "../system_recode.h"
#include "../system_terminal.h"

namespace cli::mail {
namespace {

constexpr std::int32_t kNoContentHeader = 2;
constexpr std::int64_t kLargest = 0x7FFFFFFF;
constexpr int kStandardInput = 0;

// A chain of texts as the library takes it.
class Chain {
 public:
  explicit Chain(std::vector<std::string> texts) : texts_(std::move(texts)), nodes_(texts_.size()) {
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
      nodes_[i] = {texts_[i].data(), i + 1 < nodes_.size() ? &nodes_[i + 1] : nullptr};
    }
  }
  Chain(const Chain&) = delete;
  Chain& operator=(const Chain&) = delete;
  const ms* get() const { return nodes_.empty() ? nullptr : nodes_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<ms> nodes_;
};

std::vector<std::string> HeaderForms(const std::vector<Mailbox>& mailboxes,
                                     const WordCharset& words) {
  std::vector<std::string> forms;
  for (const Mailbox& mailbox : mailboxes) forms.push_back(HeaderForm(mailbox, words));
  return forms;
}

// The header values of the whole message, in the form that the library passes through.
struct Header {
  Header(const MessageOptions& options, bool with_bcc)
      : to(HeaderForms(options.to, options.words)),
        cc(HeaderForms(options.cc, options.words)),
        bcc(HeaderForms(with_bcc ? options.bcc : std::vector<Mailbox>(), options.words)),
        subject(HeaderText(options.subject, options.words)) {
    if (!options.from.empty()) from = HeaderForm(options.from.front(), options.words);
  }
  const char* From() const { return from.empty() ? nullptr : from.c_str(); }
  const char* Subject() const { return subject.empty() ? nullptr : subject.c_str(); }

  Chain to;
  Chain cc;
  Chain bcc;
  std::string from;
  std::string subject;
};

Failure CannotBuild() {
  return Failure(ExitCode::kIo,
                 "the message cannot be built: " +
                     LibraryLog::Get().LastProblem("a file cannot be read or written") +
                     ": check the space in the temporary directory and its rights");
}

bool IsUtf8Name(const std::string& charset) {
  return EqualFold(charset, "UTF-8") || EqualFold(charset, "UTF8");
}

bool IsJapanese(const std::string& charset) { return EqualFold(charset, "ISO-2022-JP"); }

// The boundary of a multipart as the library wrote it into the header.
std::string BoundaryOf(const std::string& path) {
  std::array<char, 65536> head{};
  // The field may be the first of all.
  std::string text = "\r\n";
  sys::File file = sys::File::OpenToRead(path);
  constexpr std::string_view kField = "\r\nContent-type: multipart/";
  constexpr std::string_view kMark = "; boundary=\"";
  for (;;) {
    const std::ptrdiff_t got = file.Read(head.data(), head.size());
    if (got <= 0) return {};
    text.append(head.data(), static_cast<std::size_t>(got));
    const std::size_t field = text.find(kField);
    const std::size_t at = field == std::string::npos ? field : text.find(kMark, field);
    const std::size_t end = at == std::string::npos ? at : text.find('"', at + kMark.size());
    if (end != std::string::npos) return text.substr(at + kMark.size(), end - at - kMark.size());
  }
}

bool HasLine(const std::string& path, const std::string& start) {
  sys::File file = sys::File::OpenToRead(path);
  std::string text = "\n";
  std::array<char, 65536> block{};
  for (;;) {
    const std::ptrdiff_t got = file.Read(block.data(), block.size());
    if (got <= 0) return false;
    text.append(block.data(), static_cast<std::size_t>(got));
    if (text.find("\n" + start) != std::string::npos) return true;
    text.erase(0, text.size() - std::min(text.size(), start.size() + 1));
  }
}

TextTraits Scanned(Input* input) {
  TextScan scan;
  for (std::string_view block = input->Next(); !block.empty(); block = input->Next())
    scan.Take(block);
  return scan.Finish();
}

}  // namespace

BuiltFile::BuiltFile(char* library_path) {
  if (library_path == nullptr) return;
  path_ = library_path;
  FreeString(library_path);
  std::replace(path_.begin(), path_.end(), '\\', '/');
}

BuiltFile::BuiltFile(BuiltFile&& other) noexcept : path_(std::move(other.path_)) {
  other.path_.clear();
}

BuiltFile& BuiltFile::operator=(BuiltFile&& other) noexcept {
  std::swap(path_, other.path_);
  return *this;
}

BuiltFile::~BuiltFile() {
  if (!path_.empty()) sys::Remove(path_);
}

void Composer::Read() {
  if (options_.has_body) PlanBody();
  Progress progress(options_.attachments.size());
  for (const Attachment& attachment : options_.attachments) {
    progress.Step(attachment.file);
    PlanAttachment(attachment);
  }
}

BuiltFile Composer::Build() {
  BuiltFile built = BuildWhole();
  for (const Input& input : inputs_) input.RequireUnchanged();
  if (sys::StatusOf(built.path()).size_bytes > kLargest)
    throw Failure(ExitCode::kData,
                  "the message would be larger than 2147483647 bytes: send fewer or smaller files");
  return built;
}

void Composer::PlanBody() {
  Attachment part;
  part.type = options_.body_type;
  part.encoding = options_.body_encoding;
  const bool from_standard_input = !options_.body_text.has_value() && options_.body_file == "-";
  Input input = options_.body_text.has_value() ? Input::OfText(*options_.body_text)
                                               : Input::OfFile(options_.body_file);
  if (from_standard_input && dot_ends_) input.EndAtDot();
  if (from_standard_input && sys::IsTerminal(kStandardInput))
    Message(dot_ends_ ? "write the text; a line with a single dot ends it"
                      : "write the text; Ctrl-D ends it");
  const std::string what = input.name();
  if (part.type.IsText()) {
    PlanText(std::move(input), part, what);
  } else if (part.type.Is("message", "rfc822")) {
    PlanMessage(std::move(input), part);
  } else {
    PlanFile(std::move(input), part);
  }
}

void Composer::PlanAttachment(const Attachment& attachment) {
  Input input = Input::OfFile(attachment.file);
  const bool is_message = attachment.type.Is("message", "rfc822");
  const bool coded = attachment.encoding == Encoding::kBase64 ||
                     attachment.encoding == Encoding::kUuencode ||
                     attachment.encoding == Encoding::kQuotedPrintable;
  if (attachment.is_body) {
    PlanText(std::move(input), attachment, attachment.file);
  } else if (is_message && !coded) {
    PlanMessage(std::move(input), attachment);
  } else {
    PlanFile(std::move(input), attachment);
  }
}

void Composer::Add(PartPlan plan, const Attachment& part) {
  plan.disposition = part.disposition;
  plan.id = part.id;
  plan.description = part.description;
  plan.name = part.is_body ? "" : part.name;
  plans_.push_back(std::move(plan));
}

void Composer::Fill(Input* input, Spool* spool, const std::string& from) {
  if (from.empty()) {
    for (std::string_view block = input->Next(); !block.empty(); block = input->Next())
      spool->Write(block);
    return spool->Finish();
  }
  sys::Recoder recoder(from, "UTF-8");
  std::string text;
  bool good = static_cast<bool>(recoder);
  for (std::string_view block = input->Next(); good && !block.empty(); block = input->Next()) {
    good = recoder.Take(block, &text);
    spool->Write(text);
    text.clear();
  }
  if (!good || !recoder.Finish(&text))
    throw Failure(ExitCode::kData, input->name() + ": not a text in " + from +
                                       ": name its character set with --text-charset");
  spool->Write(text);
  spool->Finish();
}

// The last spool's UTF-8 text takes the form of another set.
void Composer::Convert(const std::string& what, const std::string& charset) {
  auto converted = std::make_unique<Spool>(true);
  sys::Recoder recoder("UTF-8", charset);
  sys::File& file = spools_.back()->file();
  std::string text;
  std::array<char, 65536> block{};
  std::ptrdiff_t got = file.Seek(0) ? 1 : -1;
  bool good = static_cast<bool>(recoder);
  while (good && got > 0) {
    got = file.Read(block.data(), block.size());
    if (got <= 0) break;
    good = recoder.Take({block.data(), static_cast<std::size_t>(got)}, &text);
    converted->Write(text);
    text.clear();
  }
  if (got < 0) throw CannotBuild();
  if (!good || !recoder.Finish(&text))
    throw Failure(ExitCode::kData, what + ": holds characters that " + charset +
                                       " does not have: send it as UTF-8, or name another set with "
                                       "--charset");
  converted->Write(text);
  converted->Finish();
  spools_.back() = std::move(converted);
}

// What the text of the last spool is in, and its conversion where it comes in another set.
void Composer::Label(const std::string& what, PartPlan* plan) {
  const TextTraits& traits = spools_.back()->traits();
  plan->charset = options_.charset;
  if (plan->charset.empty()) {
    plan->charset = traits.eight_bit == 0 ? "US-ASCII" : "UTF-8";
    if (!traits.utf8)
      throw Failure(ExitCode::kData, what + ": not UTF-8: name its character set with --charset");
    return;
  }
  if (traits.eight_bit == 0 && options_.text_charset.empty()) return;
  if (traits.utf8 && !IsUtf8Name(plan->charset)) return Convert(what, plan->charset);
  if (traits.utf8) return;
  if (IsUtf8Name(plan->charset))
    throw Failure(ExitCode::kData,
                  what + ": not UTF-8: name its character set with --text-charset");
  plan->from_shift_jis = IsJapanese(plan->charset);
}

void Composer::PlanText(Input input, const Attachment& part, const std::string& what) {
  spools_.push_back(std::make_unique<Spool>(options_.raw));
  const bool japanese =
      IsJapanese(options_.charset) &&
      (EqualFold(options_.text_charset, "Shift_JIS") || EqualFold(options_.text_charset, "SJIS"));
  // The library has its own way from Shift-JIS.
  Fill(&input, spools_.back().get(), japanese ? "" : options_.text_charset);
  PartPlan plan;
  plan.type = part.type;
  Label(what, &plan);
  const TextTraits traits = spools_.back()->traits();
  plan.path = spools_.back()->path();
  plan.encoding = part.encoding;
  if (plan.from_shift_jis) {
    plan.encoding = Encoding::k7bit;
  } else if (plan.encoding == Encoding::kChoose) {
    plan.encoding = ChooseEncoding(traits);
  } else {
    RequireFits(what, plan.encoding, traits);
  }
  plan.has_delimiter = traits.delimiter;
  Add(std::move(plan), part);
}

// A message goes as it is, since no encoding is allowed for it; one that cannot is a file.
void Composer::PlanMessage(Input input, const Attachment& part) {
  spools_.push_back(std::make_unique<Spool>(options_.raw));
  Fill(&input, spools_.back().get(), "");
  const TextTraits& traits = spools_.back()->traits();
  PartPlan plan;
  plan.type = part.type;
  plan.path = spools_.back()->path();
  plan.encoding = traits.eight_bit > 0 ? Encoding::k8bit : Encoding::k7bit;
  if (part.encoding != Encoding::kChoose) {
    RequireFits(part.file, part.encoding, traits);
  } else if (traits.nul || traits.bare_feed || traits.longest_line > 998) {
    plan.type = {"application", "octet-stream"};
    plan.encoding = Encoding::kBase64;
  }
  plan.has_delimiter = traits.delimiter;
  Add(std::move(plan), part);
}

void Composer::PlanFile(Input input, const Attachment& part) {
  PartPlan plan;
  plan.type = part.type;
  plan.encoding = part.encoding == Encoding::kChoose ? Encoding::kBase64 : part.encoding;
  const bool bare = plan.encoding == Encoding::k7bit || plan.encoding == Encoding::k8bit;
  const bool is_text = part.type.IsText();
  if (input.IsRegular() && input.size_bytes() > kLargest / 2)
    throw Failure(ExitCode::kData, input.name() + ": too large for a message: split it first");
  TextTraits traits;
  if (!input.IsRegular()) {
    spools_.push_back(std::make_unique<Spool>(true));
    Fill(&input, spools_.back().get(), "");
    traits = spools_.back()->traits();
    plan.path = spools_.back()->path();
  } else {
    if (bare || is_text) traits = Scanned(&input);
    plan.path = sys::PathOf(input.file());
    inputs_.push_back(std::move(input));
  }
  plan.has_delimiter = traits.delimiter;
  if (bare) RequireFits(part.file, plan.encoding, traits);
  if (is_text && traits.utf8) plan.charset = traits.eight_bit == 0 ? "US-ASCII" : "UTF-8";
  Add(std::move(plan), part);
}

// A part that is carried as it is may hold the very delimiter that the message gets; the next
// second brings another one.
BuiltFile Composer::BuildWhole() {
  constexpr int kTries = 5;
  for (int tried = 0;; ++tried) {
    BuiltFile built = options_.multipart.empty() ? BuildOne(plans_.front(), true) : BuildMany();
    if (!built) throw CannotBuild();
    if (options_.multipart.empty() || !HoldsOwnDelimiter(built.path())) return built;
    if (tried == kTries)
      throw Failure(ExitCode::kData,
                    "the parts hold every delimiter that the message could get: "
                    "send them one by one");
    sys::Sleep(1000);
  }
}

bool Composer::HoldsOwnDelimiter(const std::string& path) const {
  if (std::none_of(plans_.begin(), plans_.end(), [](const PartPlan& p) { return p.has_delimiter; }))
    return false;
  const std::string boundary = BoundaryOf(path);
  return std::any_of(plans_.begin(), plans_.end(), [&](const PartPlan& plan) {
    return plan.has_delimiter && HasLine(plan.path, "--" + boundary);
  });
}

BuiltFile Composer::BuildOne(const PartPlan& plan, bool whole) {
  std::vector<std::string> lines = whole ? options_.headers : std::vector<std::string>();
  if (whole) lines.push_back("MIME-Version: 1.0");
  for (std::string& line : ContentHeader(plan, options_.words)) lines.push_back(std::move(line));
  const Chain extra(std::move(lines));
  // What the writers of the body look at: the conversion from Shift-JIS, and uuencode's file name.
  std::vector<std::string> looked_at;
  if (plan.from_shift_jis) looked_at.push_back("charset=ISO-2022-JP");
  if (!plan.name.empty()) looked_at.push_back("name=" + plan.name);
  const Chain parameters(std::move(looked_at));
  static const MessageOptions kNothing;
  const Header header(whole ? options_ : kNothing, with_bcc_);
  return BuiltFile(
      MimeBuildMessageWithBCC(header.From(), header.to.get(), header.Subject(), header.cc.get(),
                              header.bcc.get(), plan.type.type.c_str(), plan.type.subtype.c_str(),
                              parameters.get(), LibraryEncoding(plan.encoding), nullptr, nullptr,
                              plan.path.c_str(), extra.get(), kNoContentHeader));
}

BuiltFile Composer::BuildMany() {
  std::vector<BuiltFile> parts;
  std::vector<const char*> paths;
  Progress progress(plans_.size() + 1);
  for (const PartPlan& plan : plans_) {
    progress.Step(plan.name);
    parts.push_back(BuildOne(plan, false));
    if (!parts.back()) throw CannotBuild();
  }
  for (const BuiltFile& part : parts) paths.push_back(part.path().c_str());
  paths.push_back(nullptr);
  std::vector<std::string> lines = options_.headers;
  lines.push_back("MIME-Version: 1.0");
  const Chain extra(std::move(lines));
  std::vector<std::string> root;
  // RFC 2387: which type the part has that the others belong to.
  if (EqualFold(options_.multipart, "related"))
    root.push_back("type=" + plans_.front().type.Text());
  const Chain parameters(std::move(root));
  const Header header(options_, with_bcc_);
  return BuiltFile(MimeBuildMultipartMessageWithBCC(
      header.From(), header.to.get(), header.Subject(), header.cc.get(), header.bcc.get(),
      paths.data(), options_.multipart.c_str(), parameters.get(), extra.get(), 0));
}

}  // namespace cli::mail
