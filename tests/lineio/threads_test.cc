// Different handles on different threads at once: opening, closing and looking up must not disturb
// each other.
#include <atomic>
#include <thread>

#include "lineio/lineio_support.h"

namespace qob::testing {
namespace {

using Threads = LineIo;

TEST_F(Threads, EachThreadReadsItsOwnFiles) {
  constexpr int kThreads = 4;
  std::vector<std::string> paths;
  for (int i = 0; i < kThreads; ++i) {
    std::string text;
    for (int line = 0; line < 200; ++line)
      text += std::to_string(i) + " " + std::to_string(line) + "\n";
    paths.push_back(spool_.File("f" + std::to_string(i), text));
  }
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 50; ++round) {
        const int handle = fileopen(paths[static_cast<std::size_t>(i)].c_str(), 0, 1);
        int line = 0;
        char* text = nullptr;
        while (QOB_getline(handle, &text) == 1) {
          if (std::string(text) != std::to_string(i) + " " + std::to_string(line++) + "\n") ++wrong;
        }
        if (line != 200 || fileclose(handle) != 1) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

// One thread keeps asking about handles that others open and close: known or not, the answer is one
// of two.
TEST_F(Threads, UnknownHandlesMayBeAskedAboutAtAnyTime) {
  const std::string path = spool_.File("in", "a\n");
  const int mine = fileopen(path.c_str(), 0, 1);
  std::atomic<bool> stop{false};
  std::thread others([&] {
    for (int round = 0; round < 500; ++round) {
      const int a = fileopen(path.c_str(), 0, 1);
      const int b = fileopen(path.c_str(), 0, 1);
      fileclose(a);
      fileclose(b);
    }
    stop = true;
  });
  int wrong = 0;
  while (!stop) {
    if (getfpos(mine) != 0 || inch(mine) != 'a') ++wrong;
    uninch(0, mine);
    if (fileclose(70000) != 0) ++wrong;
  }
  others.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(fileclose(mine), 1);
}

}  // namespace
}  // namespace qob::testing
