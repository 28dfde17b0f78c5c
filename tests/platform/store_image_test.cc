// The image of a small file says what the file says, and nobody is shown one that is out of date.
#include <filesystem>

#include "platform/store/image.h"
#include "platform/store_fixture.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using namespace store;

using ImagePointer = std::shared_ptr<const Image>;

class StoreImage : public StoreFile {
 protected:
  // Asked often enough to get one, if there can be one.
  static ImagePointer ImageOf(RecordFile& file, int most = 10000) {
    for (int i = 0; i < most; ++i) {
      if (ImagePointer image = file.CurrentImage()) return image;
    }
    return nullptr;
  }
  static void Fill(RecordFile& file, int records) {
    Transaction together(file);
    for (int i = 0; i < records; ++i) {
      Entry entry;
      const std::string text = "t" + std::to_string(i * 7 % 10);
      ASSERT_EQ(file.Insert(SmallRecord(text, i).bytes, &entry), kOk);
    }
    ASSERT_EQ(together.Commit(), kOk);
  }
  // Row by row what a walk through the file gives.
  static void ExpectTheFile(RecordFile& file, const Image& image) {
    SmallRecord record;
    Entry entry;
    Status status = file.Find(0, Seek::kFirst, {}, &entry, record.bytes);
    for (std::size_t row = 0; row < image.size(); ++row) {
      ASSERT_EQ(status, kOk) << row;
      ASSERT_EQ(image.number(row), entry.number);
      ASSERT_EQ(image.version(row), entry.version);
      ASSERT_EQ(image.key(row), entry.key);
      ASSERT_EQ(std::memcmp(image.record(row).data(), record.bytes, kSmallRecord), 0);
      const std::string key = entry.key;
      status = file.Next(0, key, entry.number, &entry, record.bytes);
    }
    ASSERT_EQ(status, kEndOfFile);
  }
};

TEST_F(StoreImage, HoldsEveryRecordInTheOrderOfTheFirstIndex) {
  const FilePointer file = MakeAndOpen();
  Fill(*file, 300);
  const ImagePointer image = ImageOf(*file);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->size(), 300u);
  ExpectTheFile(*file, *image);
}

TEST_F(StoreImage, IsMadeOnlyWhenThereWereSomeLookUpsWithoutAChange) {
  const FilePointer file = MakeAndOpen();
  Fill(*file, 10);
  Entry entry;
  for (int round = 0; round < 20; ++round) {
    for (int i = 0; i < 8; ++i) EXPECT_EQ(file->CurrentImage(), nullptr);
    ASSERT_EQ(file->Insert(SmallRecord("more", round).bytes, &entry), kOk);
  }
  for (int i = 0; i < 8; ++i) EXPECT_EQ(file->CurrentImage(), nullptr);
  EXPECT_NE(file->CurrentImage(), nullptr);
}

TEST_F(StoreImage, OfALargerFileTakesMoreLookUps) {
  const FilePointer file = MakeAndOpen();
  Fill(*file, 1600);
  ASSERT_NE(ImageOf(*file), nullptr);
  Entry entry;
  ASSERT_EQ(file->Insert(SmallRecord("more", 1).bytes, &entry), kOk);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(file->CurrentImage(), nullptr);
  EXPECT_NE(file->CurrentImage(), nullptr);
}

TEST_F(StoreImage, IsTheSameOneForAsLongAsNobodyChangesTheFile) {
  const FilePointer file = MakeAndOpen();
  Fill(*file, 10);
  const ImagePointer image = ImageOf(*file);
  ASSERT_NE(image, nullptr);
  const FilePointer second = OpenIt();
  EXPECT_EQ(second->CurrentImage(), image);
  EXPECT_TRUE(image->IsCurrent());
}

TEST_F(StoreImage, IsOutOfDateAfterAnyChangeByAnybody) {
  const FilePointer file = MakeAndOpen();
  Fill(*file, 10);
  const auto expect_stale = [&](const char* who, auto&& change) {
    const ImagePointer image = ImageOf(*file);
    ASSERT_NE(image, nullptr);
    change();
    EXPECT_FALSE(image->IsCurrent()) << who;
    EXPECT_NE(file->CurrentImage(), image) << who;
    const ImagePointer fresh = ImageOf(*file);
    ASSERT_NE(fresh, nullptr);
    ExpectTheFile(*file, *fresh);
  };
  Entry entry;
  SmallRecord record;
  expect_stale("insert", [&] { file->Insert(SmallRecord("new", 1).bytes, &entry); });
  expect_stale("update", [&] { file->Update(&entry, SmallRecord("new", 2).bytes); });
  expect_stale("delete", [&] { file->Delete(entry); });
  expect_stale("another process", [&] {
    EXPECT_EQ(InChild([&] {
                FilePointer theirs;
                if (RecordFile::Open(Path(), {}, &theirs) != kOk) return 1;
                return theirs->Insert(SmallRecord("theirs", 1).bytes, &entry) == kOk ? 0 : 2;
              }),
              0);
  });
}

TEST_F(StoreImage, AProcessThatOnlyReadsOrMovesTheLogDoesNoHarm) {
  const FilePointer file = MakeAndOpen();
  Fill(*file, 50);
  ASSERT_NE(ImageOf(*file), nullptr);
  EXPECT_EQ(InChild([&] {
              FilePointer theirs;
              if (RecordFile::Open(Path(), {}, &theirs) != kOk) return 1;
              return theirs->Checkpoint() == kOk ? 0 : 2;
            }),
            0);
  const ImagePointer image = ImageOf(*file);
  ASSERT_NE(image, nullptr);
  ExpectTheFile(*file, *image);
}

TEST_F(StoreImage, IsNotToBeHadWithinATransaction) {
  const FilePointer file = MakeAndOpen();
  Fill(*file, 10);
  ASSERT_NE(ImageOf(*file), nullptr);
  Transaction transaction(*file);
  EXPECT_EQ(ImageOf(*file, 100), nullptr);
}

TEST_F(StoreImage, OfAnEmptyFileIsEmpty) {
  const FilePointer file = MakeAndOpen();
  const ImagePointer image = ImageOf(*file);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->size(), 0u);
  EXPECT_EQ(image->At("a", 1), 0u);
}

TEST_F(StoreImage, ThereIsNoneOfALargeFile) {
  FileDescription wide = SmallDescription();
  wide.record_bytes = 32768;
  const FilePointer file = MakeAndOpen(wide);
  std::vector<std::byte> record(wide.record_bytes);
  const int fits = static_cast<int>(kMostImageBytes / wide.record_bytes);
  Entry entry;
  for (int i = 0; i < fits; ++i) ASSERT_EQ(file->Insert(record, &entry), kOk);
  EXPECT_NE(ImageOf(*file), nullptr);
  ASSERT_EQ(file->Insert(record, &entry), kOk);
  EXPECT_EQ(ImageOf(*file, 1000), nullptr);
  ASSERT_EQ(file->Delete(entry), kOk);
  EXPECT_NE(ImageOf(*file), nullptr) << "small again";
}

TEST_F(StoreImage, ThereIsNoneOfAFileWithADamagedRecord) {
  const std::string mark = "this is the text that will be found and changed";
  {
    const FilePointer file = MakeAndOpen();
    Fill(*file, 3);
    Entry entry;
    ASSERT_EQ(file->Insert(SmallRecord("hit", 1, {}, mark).bytes, &entry), kOk);
    ASSERT_EQ(file->Checkpoint(), kOk);
  }
  for (const char* suffix : {"-wal", "-shm"}) std::filesystem::remove(Path() + suffix);
  std::string bytes = TempSpool::Read(Path());
  int found = 0;
  for (std::size_t at = bytes.find(mark.substr(0, 32)); at != std::string::npos;
       at = bytes.find(mark.substr(0, 32), at + 1)) {
    bytes[at + 3] ^= 1;
    ++found;
  }
  ASSERT_GE(found, 1);
  TempSpool::Write(Path(), bytes);
  const FilePointer file = OpenIt();
  EXPECT_EQ(ImageOf(*file, 1000), nullptr);
  SmallRecord record;
  Entry entry;
  EXPECT_EQ(file->Find(0, Seek::kEqual, Key(*file, 0, "hit"), &entry, record.bytes), kNotOurFile);
  EXPECT_EQ(file->Find(0, Seek::kEqual, Key(*file, 0, "t0"), &entry, record.bytes), kOk);
}

TEST_F(StoreImage, FindsThePlaceOfAnyKeyAndNumber) {
  const FilePointer file = MakeAndOpen();
  Fill(*file, 40);
  const ImagePointer image = ImageOf(*file);
  ASSERT_NE(image, nullptr);
  for (const char* key : {"", "a", "t", "t0", "t00", "t3", "t5", "t9", "t99", "z"}) {
    for (std::int64_t number = 0; number <= 42; ++number) {
      std::size_t expected = 0;
      while (expected < image->size() &&
             std::pair(std::string(image->key(expected)), image->number(expected)) <
                 std::pair(std::string(key), number)) {
        ++expected;
      }
      ASSERT_EQ(image->At(key, number), expected) << key << " " << number;
    }
  }
}

}  // namespace
}  // namespace qob::testing
