// The record manager's status numbers: what every call of the store gives, and what BTRCALL hands
// on. 0 is success; texts are those of ShowBtrError.
#pragma once

namespace qob::store {

enum Status : int {
  kOk = 0,
  kIoError = 2,
  kNotOpen = 3,  // closed, never opened, or carried over a fork
  kNotFound = 4,
  kDuplicateKey = 5,
  kNoSuchIndex = 6,
  kOtherIndex = 7,  // next on another index than the place was read by
  kNoPosition = 8,
  kEndOfFile = 9,
  kBadFileName = 11,
  kNoSuchFile = 12,
  kDiskFull = 18,
  kBufferTooShort = 22,
  kNotOurFile = 30,  // foreign, damaged or cut short
  kDirectoryError = 35,
  kNotAllowed = 41,
  kNumberTooLarge = 43,
  kNoPermission = 46,
  kBadKeyType = 49,
  kFileExists = 59,
  kConflict = 80,  // the record was changed or deleted since it was read
  kLostPosition = 82,
  kBusy = 84,  // others held the file for longer than the wait
  kTooManyOpen = 87,
  kNoMemory = 101,
};

// The status of one of the system's error numbers; 0 is kOk.
Status StatusOfError(int error);

}  // namespace qob::store
