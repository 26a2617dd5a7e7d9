// SPDX-License-Identifier: MIT
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/PlatformError.h"
#include "platform/host/Result.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

/// A sound file that libsndfile reads. The library reads through this class, so that a failed read can be told from the
/// end of the file. Holds a `ReadClaim` on the file. Any file content is handled safely. Not thread-safe; not real-time
/// safe.
class SoundFileInput {
 public:
  /// Opens `file`, whose `path` is used in messages; `claimName` names the claim. Fails with `invalidFile` if it is not
  /// a sound file or is shorter than its header declares.
  static Result<std::unique_ptr<SoundFileInput>> open(FileDescriptor file, const std::string& path,
                                                      std::string claimName);

  /// Returns the library's handle, through which the samples are read.
  SNDFILE* handle() const { return mFile.get(); }
  const SF_INFO& info() const { return mInfo; }
  /// Returns the number of frames that the header declares, or `std::nullopt` if it declares none.
  std::optional<std::uint64_t> declaredFrames() const;
  /// Returns whether it is an Ogg file without the last page of its stream, which libsndfile reads as if it were whole.
  bool lacksLastPage() const { return mLacksLastPage; }
  int descriptor() const { return mClaim.descriptor(); }

  /// Returns the failure of the last read, or `std::nullopt`: `ioFailure` if the file cannot be read, `invalidFile` if
  /// it cannot be decoded. The reason is the end of a sentence about the file: "cannot be decoded (...)".
  std::optional<platform::Failure> failure() const;

 private:
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };

  SoundFileInput(FileDescriptor file, std::string claimName) : mClaim(std::move(file), std::move(claimName)) {}
  void openLibrary();
  sf_count_t fileBytes() const;
  sf_count_t seekBytes(sf_count_t offset, int whence);
  sf_count_t readBytes(char* bytes, sf_count_t count);

  SF_INFO mInfo{};
  const ReadClaim mClaim;
  /// Offset of four bytes that are presented to libsndfile as 0xFF, see `SoundFileSize::openSizeAt`.
  std::optional<std::uint64_t> mOpenSizeAt;
  bool mLacksLastPage = false;
  std::uint64_t mPlace = 0;  ///< Read position in the file, in bytes.
  int mReadError = 0;        ///< An `errno` value; 0 for none.
  std::unique_ptr<SNDFILE, Close> mFile;
};

}  // namespace orvane::host
