// Our message database through the exported calls, in the shared library, as the mail system's
// programs use it.
#include <qob3xapi/errors.h>
#include <qob3xapi/frame.h>

#include <cstdlib>
#include <stdexcept>

#include "queue_side.h"

namespace {

void Must(std::int32_t status, const char* what) {
  if (status != 0)
    throw std::runtime_error(std::string(what) + ": status " + std::to_string(status));
}

class ExportedSide : public bench::QueueSide {
 public:
  explicit ExportedSide(const std::string& directory) {
    Must(OpenMesgFile(directory.c_str(), &handle_), "OpenMesgFile");
  }
  ~ExportedSide() override { CloseMesgFile(&handle_); }

  void Insert(MesgRecord* record) override {
    Must(InsertMesgRecord(&handle_, record), "InsertMesgRecord");
  }
  void Find(const char* key, MesgRecord* record) override {
    Must(FindMesgRecord(&handle_, key, record), "FindMesgRecord");
  }
  bool Next(MesgRecord* record) override {
    constexpr std::int32_t kEndOfFile = 9;
    const std::int32_t status = GetNextMesgRecord(&handle_, nullptr, record);
    if (status == kEndOfFile) return false;
    Must(status, "GetNextMesgRecord");
    return true;
  }

 private:
  MesgHandle handle_ = {};
};

void Create(const std::string& directory) {
  Must(CreateMesgFile(directory.c_str()), "CreateMesgFile");
}

}  // namespace

int main(int argc, char** argv) {
  const bench::QueueMaker maker = {
      Create,
      [](const std::string& directory) { return std::make_unique<ExportedSide>(directory); },
      nullptr};
  return bench::RunQueueBench(argc, argv, maker);
}
