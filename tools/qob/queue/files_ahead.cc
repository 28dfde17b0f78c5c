#include "files_ahead.h"

namespace cli::queue {

std::future<FilesOfPlaces> LookAhead(const OpenQueue& queue) {
  return std::async(std::launch::async | std::launch::deferred, [&queue] {
    FilesOfPlaces files(queue.places().size());
    for (std::size_t i = 0; i < files.size(); ++i) {
      if (files[i].Open(queue.places()[i].path) == 0) files[i].LookAtAll();
    }
    return files;
  });
}

}  // namespace cli::queue
