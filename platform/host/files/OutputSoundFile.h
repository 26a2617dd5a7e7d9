#pragma once

#include <sndfile.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Failure.h"
#include "platform/host/audio/SliceQueue.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

/// What a sound file that is written holds.
struct SoundFileFormat {
  int libraryFormat = 0;       ///< Container and encoding, in libsndfile's terms (`SF_FORMAT_WAV | SF_FORMAT_FLOAT`).
  double sampleRate = 0;       ///< Hertz: a whole number from 1 to 6144000.
  std::uint32_t channels = 0;  ///< 1 to 256.
};

/// Why no file of this format can be written, where none can.
std::optional<platform::Failure> checkFormat(const std::string& path, const SoundFileFormat& format);

/// A sound file that is open to be written. One thread at a time; not real-time safe.
class OutputSoundFile {
 public:
  /// Which file it is, whatever path led to it: device and inode.
  using Identity = std::pair<dev_t, ino_t>;

  /// `file` is open to write; what it holds stays. The format has passed `checkFormat`. `diskIsFull` may be empty;
  /// where it says yes, a write fails as on a full disk.
  OutputSoundFile(std::string path, FileDescriptor file, const SoundFileFormat& format,
                  std::function<bool()> diskIsFull);
  OutputSoundFile(const OutputSoundFile&) = delete;
  OutputSoundFile& operator=(const OutputSoundFile&) = delete;

  Identity identity() const;
  /// Erases what the file held and writes a header without sound. Called first, once.
  std::optional<platform::Failure> begin();
  /// Appends a block of at most `SliceQueue::mostBlockFrames` frames. After a failure the file ends with the last whole
  /// frame that found room.
  std::optional<platform::Failure> write(const SliceQueue::Block& block);
  /// Brings the header up to date, so that other programs find all that was written so far.
  std::optional<platform::Failure> refreshHeader();
  /// Completes and closes the file. Called last, once; a file that is destroyed without it is completed as well.
  std::optional<platform::Failure> finish();
  /// Frames that were written.
  std::uint64_t frames() const { return mFrames; }

 private:
  struct Close {
    void operator()(SNDFILE* handle) const { sf_close(handle); }
  };

  bool is16Bit() const { return (mFormat.libraryFormat & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16; }
  sf_count_t writeFrames(const SliceQueue::Block& block);
  void dropPartialFrame();
  platform::Failure lastFailure() const;

  std::string mPath;
  SoundFileFormat mFormat;
  std::function<bool()> mDiskIsFull;
  FileDescriptor mFile;  ///< Outlives the handle, which does not close it.
  std::unique_ptr<SNDFILE, Close> mHandle;
  std::vector<std::int16_t> m16Bit;
  std::vector<float> mFloats;
  off_t mHeaderSize = 0;
  std::uint64_t mFrames = 0;
};

}  // namespace orvane::host
