#include "output_file.h"

#include "failure.h"
#include "output.h"

namespace cli {
namespace {

void PlaceAs(const std::string& source, const std::string& path, bool force) {
  const std::size_t slash = path.find_last_of('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  sys::OutputFolder out(folder);
  const sys::Placed placed =
      out ? out.Place(source, LastComponent(path), force) : sys::Placed::kFailed;
  if (placed == sys::Placed::kDone) return;
  if (placed == sys::Placed::kExists)
    throw Failure(ExitCode::kCantCreate,
                  path + ": exists: use --force to take its place, or give another name");
  const ExitCode code =
      sys::IsPermission(out.error()) ? ExitCode::kNoPermission : ExitCode::kCantCreate;
  throw Failure(code, path + ": cannot be written: " + sys::ErrorText(out.error()) +
                          ": give another file with -o");
}

void CopyToOutput(const std::string& path) {
  const bool read = ForEachBlock(path, [](std::string_view block) {
    Out().Write(block);
    return true;
  });
  if (!read)
    throw Failure(ExitCode::kIo, path + ": cannot be read again: check the temporary directory");
}

}  // namespace

std::string LastComponent(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

void DeliverOutput(const std::string& source, const Arguments& arguments) {
  const std::string out = arguments.Value("--output");
  if (out.empty() || out == "-") {
    CopyToOutput(source);
  } else {
    PlaceAs(source, out, arguments.Has("--force"));
  }
}

}  // namespace cli
