#include "queue/same_path.h"

namespace qob {
namespace {

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

// The next character of the path with its separators made one kind, or 0 at its end.
char Take(std::string_view* path) {
  if (path->empty()) return '\0';
  const char first = path->front();
  path->remove_prefix(1);
  if (!IsSeparator(first)) return first;
  while (!path->empty() && IsSeparator(path->front())) path->remove_prefix(1);
  return '/';
}

std::string_view WithoutEnd(std::string_view path) {
  while (path.size() > 1 && IsSeparator(path.back())) path.remove_suffix(1);
  return path;
}

}  // namespace

bool IsSamePath(std::string_view a, std::string_view b) {
  a = WithoutEnd(a);
  b = WithoutEnd(b);
  while (!a.empty() && !b.empty()) {
    if (Take(&a) != Take(&b)) return false;
  }
  return a.empty() && b.empty();
}

}  // namespace qob
