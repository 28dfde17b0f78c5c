// Tabs of a text file replaced by blanks.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace qob {

inline constexpr int kLargestTabSize = 80;

// Expands one piece of a line; *column is where it starts and becomes where the next piece goes on.
// The result replaces *expanded.
void ExpandTabs(std::string_view piece, int tab_size, int* column, std::string* expanded);

// Replaces the file by its copy without tabs. tab_size is 1 .. kLargestTabSize. False after a
// failure, which is logged; the file is then as it was. Throws std::bad_alloc, the file as it was.
bool ExpandTabsInFile(const char* path, int tab_size);

}  // namespace qob
