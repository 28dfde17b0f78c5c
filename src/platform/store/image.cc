#include "platform/store/image.h"

#include <algorithm>
#include <string>

#include "platform/store/schema.h"
#include "platform/store/shared_file.h"
#include "platform/store/squeeze.h"
#include "platform/store/statement.h"
#include "platform/store/stay.h"

namespace qob::store {

bool Image::IsBehind(std::string_view key, std::int64_t number, std::size_t row) const {
  const int order = key.compare(this->key(row));
  return order > 0 || (order == 0 && number > rows_[row].number);
}

std::size_t Image::At(std::string_view key, std::int64_t number) const {
  std::size_t from = 0;
  for (std::size_t to = size(); from < to;) {
    const std::size_t middle = from + (to - from) / 2;
    if (IsBehind(key, number, middle)) {
      from = middle + 1;
    } else {
      to = middle;
    }
  }
  return from;
}

std::shared_ptr<const Image> ImageKeeper::Current() {
  if (image_ != nullptr && !image_->IsCurrent()) image_ = nullptr;
  return image_;
}

bool ImageKeeper::IsDue(std::uint32_t* log_index) {
  const LogHeader now = ReadLogHeader(log_index);
  if (now != seen_) {
    seen_ = now;
    counted_ = 0;
    in_vain_ = false;
  }
  return !in_vain_ && ++counted_ > due_at_;
}

void ImageKeeper::Keep(std::shared_ptr<const Image> image, std::size_t rows_met) {
  image_ = std::move(image);
  in_vain_ = image_ == nullptr;
  due_at_ = std::max(kFewest, in_vain_ ? rows_met : rows_met / kRowsPerLookup);
}

namespace {

// Null when a record is damaged, too many stand there, or the file could not be read: one that asks
// for records one by one is told what is wrong.
std::shared_ptr<const Image> MakeImage(Connection& connection, std::uint32_t* log_index,
                                       std::size_t* rows_met) {
  const FileDescription& description = connection.description();
  auto image = std::make_shared<Image>(log_index, description.record_bytes);
  Statement all(connection, EveryInOrderSql());
  while (all.Step()) {
    ++*rows_met;
    const std::int64_t number = all.Number(0);
    const std::string_view key = all.Bytes(3);
    const bool added = image->Add(number, all.Number(1), key, [&](std::span<std::byte> record) {
      return Unsqueeze(all.Raw(2), number, record) &&
             key == IndexKeyOf(description.keys[0], record);
    });
    if (!added) return nullptr;
  }
  return all.status() == kOk ? image : nullptr;
}

}  // namespace

std::shared_ptr<const Image> SharedFile::CurrentImage() {
  std::shared_ptr<const Image> image;
  Reading([&] {
    ImageKeeper& keeper = connection_.images();
    ReadAhead* const ahead = connection_.Ahead();
    if (ahead == nullptr || description().index_count == 0) return kOk;
    image = keeper.Current();
    if (image != nullptr || !keeper.IsDue(ahead->log_index())) return kOk;
    std::size_t rows_met = 0;
    image = MakeImage(connection_, ahead->log_index(), &rows_met);
    keeper.Keep(image, rows_met);
    return kOk;
  });
  return image;
}

}  // namespace qob::store
