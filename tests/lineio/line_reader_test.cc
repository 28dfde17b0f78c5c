// The library's own reader: the same pieces, nothing lost, positions of every piece.
#include "lineio/line_reader.h"

#include <sys/stat.h>

#include <random>

#include "lineio/lineio_support.h"

namespace qob::testing {
namespace {

using Status = LineReader::Status;

class LineReaderTest : public ::testing::Test {
 protected:
  // Opens a file of those bytes.
  void Open(LineReader& reader, std::string_view bytes) {
    ASSERT_TRUE(reader.Open(spool_.File("in", bytes).c_str()));
  }

  TempSpool spool_;
  CapturedLog log_;
};

std::vector<std::size_t> Lengths(LineReader& reader, std::string* all) {
  std::vector<std::size_t> lengths;
  LineReader::Piece piece;
  while (reader.Next(&piece) == Status::kPiece) {
    EXPECT_EQ(piece.start, static_cast<std::int64_t>(all->size()));
    EXPECT_EQ(piece.at_line_start, all->empty() || all->back() == '\n');
    *all += piece.text;
    EXPECT_EQ(piece.end, static_cast<std::int64_t>(all->size()));
    EXPECT_EQ(reader.position(), piece.end);
    lengths.push_back(piece.text.size());
  }
  return lengths;
}

TEST_F(LineReaderTest, TellsFilesFromPipesAndDevices) {
  LineReader reader;
  Open(reader, "");
  EXPECT_FALSE(reader.IsNoFile());
  const std::string pipe = spool_.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  ASSERT_TRUE(reader.Open(pipe.c_str()));
  EXPECT_TRUE(reader.IsNoFile());
  ASSERT_TRUE(reader.Open("/dev/null"));
  EXPECT_TRUE(reader.IsNoFile());
}

TEST_F(LineReaderTest, KeepsTheLastPieceOfEveryFile) {
  struct Row {
    std::string bytes;
    std::vector<std::size_t> lengths;
  };
  const Row rows[] = {
      {"", {}},
      {"a", {1}},
      {"a\n\nb", {2, 1, 1}},
      {std::string("a\0b\n\0", 5), {4, 1}},
      {std::string(4096, 'a'), {1024, 1024, 1024, 1024}},
      {std::string(1024, 'a') + "\n", {1024, 1}},
      {std::string(2500, 'a') + "\n", {1024, 1024, 453}},
  };
  for (const Row& row : rows) {
    LineReader reader;
    Open(reader, row.bytes);
    EXPECT_EQ(reader.size(), static_cast<std::int64_t>(row.bytes.size()));
    std::string all;
    EXPECT_EQ(Lengths(reader, &all), row.lengths);
    EXPECT_EQ(all, row.bytes);
    EXPECT_TRUE(reader.at_end());
  }
}

TEST_F(LineReaderTest, GivesThePiecesOfGetlineAcrossItsOwnBlocks) {
  std::mt19937 random(5);
  std::string bytes;
  while (bytes.size() < 5 * LineReader::kBlockSize) {
    bytes += std::string(random() % (random() % 50 == 0 ? 5000 : 90), 'x') + "\n";
  }
  bytes += "tail";
  LineReader reader;
  Open(reader, bytes);
  QOB_FILE* file = FileOpen(spool_.path("in").c_str(), 0, 1);
  LineReader::Piece piece;
  char* line = nullptr;
  while (GetLine(file, &line) == 1) {
    ASSERT_EQ(reader.Next(&piece), Status::kPiece);
    ASSERT_EQ(piece.text, line);
    ASSERT_EQ(piece.end, GetFilePos(file));
  }
  EXPECT_EQ(reader.Next(&piece), Status::kEnd);
  FileClose(file);
}

TEST_F(LineReaderTest, SeeksInsideAndOutsideTheBlock) {
  std::string bytes;
  for (int i = 0; bytes.size() < 4 * LineReader::kBlockSize; ++i) bytes += std::to_string(i) + "\n";
  LineReader reader;
  Open(reader, bytes);
  LineReader::Piece piece;
  ASSERT_EQ(reader.Next(&piece), Status::kPiece);
  const std::int64_t size = static_cast<std::int64_t>(bytes.size());
  for (const std::int64_t to : {std::int64_t{1}, std::int64_t{0}, size - 7, std::int64_t{40},
                                size / 2, size / 2 + 5, size, std::int64_t{3}}) {
    ASSERT_TRUE(reader.Seek(to));
    EXPECT_EQ(reader.position(), to);
    const std::string rest = bytes.substr(static_cast<std::size_t>(to));
    if (rest.empty()) {
      EXPECT_EQ(reader.Next(&piece), Status::kEnd);
      continue;
    }
    ASSERT_EQ(reader.Next(&piece), Status::kPiece);
    EXPECT_EQ(piece.text, rest.substr(0, rest.find('\n') + 1));
    EXPECT_EQ(piece.start, to);
    EXPECT_TRUE(piece.at_line_start);
  }
  EXPECT_FALSE(reader.Seek(-1));
  EXPECT_TRUE(reader.Seek(size + 10));
  EXPECT_EQ(reader.Next(&piece), Status::kEnd);
}

TEST_F(LineReaderTest, TheWindowHoldsWhatIsWanted) {
  std::string bytes;
  for (int i = 0; bytes.size() < 3 * LineReader::kBlockSize; ++i) bytes += std::to_string(i) + "\n";
  LineReader reader;
  Open(reader, bytes);
  std::string all;
  constexpr std::size_t kWanted = LineReader::kBlockSize / 2;
  while (true) {
    ASSERT_TRUE(reader.Fill(kWanted));
    const std::string_view window = reader.window();
    if (window.empty()) break;
    ASSERT_TRUE(window.size() >= kWanted || all.size() + window.size() == bytes.size());
    const std::size_t taken = std::min<std::size_t>(window.size(), 10007);
    all += window.substr(0, taken);
    reader.Consume(taken);
    ASSERT_EQ(reader.position(), static_cast<std::int64_t>(all.size()));
  }
  EXPECT_EQ(all, bytes);
  EXPECT_TRUE(reader.at_end());
}

TEST_F(LineReaderTest, ConsumingTellsWhetherALineStartsThere) {
  LineReader reader;
  Open(reader, "ab\ncd\n");
  ASSERT_TRUE(reader.Fill(6));
  LineReader::Piece piece;
  reader.Consume(1);
  reader.Consume(0);
  ASSERT_EQ(reader.Next(&piece), Status::kPiece);
  EXPECT_EQ(piece.text, "b\n");
  EXPECT_FALSE(piece.at_line_start);
  reader.Consume(2);
  ASSERT_EQ(reader.Next(&piece), Status::kPiece);
  EXPECT_FALSE(piece.at_line_start);
  ASSERT_TRUE(reader.Seek(0));
  reader.Consume(3);
  ASSERT_EQ(reader.Next(&piece), Status::kPiece);
  EXPECT_TRUE(piece.at_line_start);
}

TEST_F(LineReaderTest, AttachesToAHandleWhereItStands) {
  const std::string path = spool_.File("in", "one\ntwo\n");
  const os::Result<os::Handle> opened = os::OpenFile(path, {});
  ASSERT_TRUE(opened);
  ASSERT_TRUE(os::SeekFile(opened.value, 4, os::From::kStart));
  {
    LineReader reader;
    reader.Attach(opened.value);
    EXPECT_EQ(reader.size(), 8);
    EXPECT_EQ(reader.position(), 4);
    LineReader::Piece piece;
    ASSERT_EQ(reader.Next(&piece), Status::kPiece);
    EXPECT_EQ(piece.text, "two\n");
    EXPECT_EQ(piece.start, 4);
  }
  EXPECT_EQ(os::CloseFile(opened.value), 0);
}

TEST_F(LineReaderTest, OpensAsTheHandleFaceDoes) {
  LineReader reader;
  const std::string missing = spool_.path("missing");
  EXPECT_FALSE(reader.Open(missing.c_str()));
  EXPECT_FALSE(reader.Open(nullptr));
  EXPECT_FALSE(reader.Open(""));
  EXPECT_EQ(log_.texts(), Texts{"CreateFile failed: " + missing + ", error 2"});
  log_.Clear();
  spool_.SetIni("[Debug]\nLogFileIO=TRUE\n");
  const std::string path = spool_.File("in", "a");
  {
    LineReader traced;
    ASSERT_TRUE(traced.Open(path.c_str()));
  }
  ASSERT_EQ(log_.texts().size(), 2u);
  EXPECT_EQ(log_.texts()[0].rfind("fileopen: " + path + ", FileHandle #", 0), 0u);
  EXPECT_EQ(log_.texts()[1].rfind("fileclose: FileHandle #", 0), 0u);
}

}  // namespace
}  // namespace qob::testing
