// Random calls in random order, compared with the naive file after each.
#include <random>

#include "lineio/lineio_support.h"
#include "lineio/naive_file.h"

namespace qob::testing {
namespace {

using RandomCalls = LineIo;
using Random = std::mt19937;

std::size_t Below(Random& random, std::size_t limit) { return random() % limit; }

// Lines of very different lengths, some with NULs, ends near the block's edges.
std::string RandomFile(Random& random) {
  static constexpr std::size_t kSizes[] = {0, 1, 4095, 4096, 4097, 8192, 12288, 5000, 20000};
  const std::size_t size = kSizes[Below(random, std::size(kSizes))];
  const std::size_t mean = std::size_t{1} << Below(random, 12);
  std::string bytes;
  while (bytes.size() < size) {
    bytes += std::string(Below(random, 2 * mean), static_cast<char>(random()));
    bytes += Below(random, 3) == 0 ? "\n" : "\r\n";
  }
  bytes.resize(size);
  return bytes;
}

TEST_F(RandomCalls, ReadersAgreeWithTheNaiveFile) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    Random random(seed);
    std::string disk = RandomFile(random);
    QOB_FILE* file = FileOpen(spool_.File("in", disk).c_str(), 0, 1);
    ASSERT_NE(file, nullptr);
    NaiveFile naive(&disk, true, 1);
    for (int step = 0; step < 300; ++step) {
      std::string expected;
      char* line = nullptr;
      switch (Below(random, 12)) {
        case 0:
          UninCh(file);
          naive.UninCh();
          break;
        case 1:
        case 2:
          for (std::size_t i = Below(random, 3000); i > 0; --i) {
            ASSERT_EQ(InCh(file), naive.InCh()) << seed << " " << step;
          }
          break;
        case 3: {
          const std::size_t to = Below(random, disk.size() + 100);
          ASSERT_EQ(SetFilePos(file, static_cast<int>(to)), static_cast<int>(to));
          naive.Seek(to);
          break;
        }
        default: {
          const int result = GetLine(file, &line);
          ASSERT_EQ(result, naive.GetLine(&expected)) << seed << " " << step;
          if (result == 1) {
            ASSERT_EQ(std::string(line, expected.size()), expected) << seed << " " << step;
            ASSERT_EQ(line[expected.size()], '\0');
          }
        }
      }
      ASSERT_EQ(static_cast<std::size_t>(GetFilePos(file)), naive.position())
          << seed << " " << step;
    }
    FileClose(file);
  }
}

TEST_F(RandomCalls, WritersAgreeWithTheNaiveFile) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    Random random(seed);
    const int buffered = static_cast<int>(Below(random, 3));
    std::string disk;
    QOB_FILE* file = FileCreate(OutPath().c_str(), 0, buffered);
    ASSERT_NE(file, nullptr);
    NaiveFile naive(&disk, false, buffered);
    for (int step = 0; step < 60; ++step) {
      const std::size_t kind = Below(random, 12);
      if (kind == 0) {
        const std::size_t to = Below(random, 20000);
        ASSERT_EQ(SetFilePos(file, static_cast<int>(to)), static_cast<int>(to));
        naive.Seek(to);
      } else if (kind < 4) {
        for (std::size_t i = Below(random, 2000); i > 0; --i) {
          const char byte = static_cast<char>(random());
          ASSERT_EQ(OutCh(file, byte), 1);
          naive.OutCh(byte);
        }
      } else {
        const std::size_t longest = kind == 4 ? 13000 : 200;
        std::string text(Below(random, longest), static_cast<char>('a' + Below(random, 26)));
        // Now and then exactly the free space.
        if (kind == 5 && file->cursor != nullptr)
          text.assign(static_cast<std::size_t>(file->count), '=');
        ASSERT_EQ(PutLine(file, text.c_str()), 1);
        naive.PutText(text);
      }
      ASSERT_EQ(static_cast<std::size_t>(GetFilePos(file)), naive.position())
          << seed << " " << step;
    }
    FileClose(file);
    naive.Close();
    ASSERT_EQ(Written(), disk) << seed;
  }
}

}  // namespace
}  // namespace qob::testing
